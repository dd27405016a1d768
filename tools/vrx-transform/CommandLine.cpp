#include "CommandLine.hpp"

#include <algorithm>

namespace vrx::tools {

void defineCommandLine(CLI::App& app, CommandLine& commandLine) {
  TransformOptions& options = commandLine.options;
  app.description(
      "Runs a graph file through the graph transformer into a backend that records what it receives, writes that "
      "graph, and tells what changed.");
  app.add_option("graph", options.input, "the graph file (JSON) to transform");
  app.add_option("-o,--output", options.output, "where to write the transformed graph (JSON)");
  app.add_option_function<std::string>(
      "-b,--backend", [&options](const std::string& name) { options.backend = name; },
      "CPU, GPU, DSP, NXA, NXB, NXC or NXE; wins over the graph file's \"backend\"");
  auto* allow = app.add_option_function<std::string>(
      "--allow",
      [&options](const std::string& list) {
        auto names = CLI::detail::split(list, ',');
        std::erase(names, std::string());  // --allow "" allows none
        options.allowedPasses = PassSelection{false, std::move(names)};
      },
      "comma-separated pass names that may run in the backend's pipeline; wins over the graph file's "
      "\"allowedPasses\" (without it and without --no-passes, every pass may run)");
  auto* none = app.add_flag_callback(
                      "--no-passes", [&options] { options.allowedPasses = PassSelection{false, {}}; },
                      "run no pass: the graph goes to the backend as it came")
                   ->excludes(allow);
  app.add_option("--run-pass", options.runPasses,
                 "run this pass alone, outside any pipeline; repeat it for several, which run in the order given")
      ->excludes(allow)
      ->excludes(none);
  auto* output = app.get_option("--output");
  app.add_flag("--dot", options.writeDot, "also write Graphviz files OUT.before.dot and OUT.after.dot")->needs(output);
  app.add_option("--inline-limit", options.write.inlineDataLimit,
                 "static data of more bytes goes to the side file OUT.bin (default 1024)");
  app.add_flag("--list-passes", commandLine.listPasses, "print the names of all passes and exit");
}

CommandLine parseArguments(const std::vector<std::string>& args) {
  CLI::App app{"vrx-transform"};
  CommandLine commandLine;
  defineCommandLine(app, commandLine);
  std::vector<std::string> reversed(args.rbegin(), args.rend());  // CLI11 takes them last first
  try {
    app.parse(reversed);
  } catch (const CLI::ParseError& e) {
    throw TransformError(std::string("bad arguments: ") + e.what());
  }
  return commandLine;
}

}  // namespace vrx::tools
