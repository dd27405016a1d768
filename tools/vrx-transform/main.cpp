// vrx-transform: a graph file through the graph transformer, the result written as a graph
// file, and a summary of what changed. All work is in runTransform.

#include <iostream>

#include "CommandLine.hpp"
#include "Summary.hpp"

int main(int argc, char** argv) {
  CLI::App app{"vrx-transform"};
  vrx::tools::CommandLine commandLine;
  vrx::tools::defineCommandLine(app, commandLine);
  CLI11_PARSE(app, argc, argv);
  if (commandLine.listPasses) {
    for (const auto& name : vrx::tools::allPassNames()) std::cout << name << "\n";
    return 0;
  }
  try {
    const auto result = vrx::tools::runTransform(commandLine.options);
    vrx::tools::printSummary(result.status == 0 ? std::cout : std::cerr, commandLine.options, result);
    return result.status == 0 ? 0 : 1;
  } catch (const std::exception& e) {
    std::cerr << "vrx-transform: error: " << e.what() << "\n";
    return 1;
  }
}
