#pragma once

// The command line of vrx-transform, shared by the program and by the golden runner, which
// reads each case's options as command-line arguments.

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

#include "Transform.hpp"

namespace vrx::tools {

struct CommandLine {
  TransformOptions options;
  bool listPasses = false;
};

// Declares the options on `app`; parsing fills `commandLine`.
void defineCommandLine(CLI::App& app, CommandLine& commandLine);

// Parses arguments (without the program name); a bad one throws TransformError.
CommandLine parseArguments(const std::vector<std::string>& args);

}  // namespace vrx::tools
