#include "Transform.hpp"

#include <cstdarg>
#include <cstdio>
#include <set>

#include "CapturingBackend.hpp"
#include "GraphDot.hpp"
#include "tools/graphfile/Enums.hpp"

namespace vrx::tools {
namespace {

using Clock = std::chrono::steady_clock;

// The library logs through a registered callback that carries no context of its own; the
// run in progress collects its failure lines here. Runs are not reentrant.
std::vector<std::string>* g_libraryErrors = nullptr;

void collectLibraryError(const char* format, uint32_t, uint64_t, va_list args) {
  if (g_libraryErrors == nullptr) return;
  char line[1024];
  std::vsnprintf(line, sizeof line, format, args);
  g_libraryErrors->push_back(line);
}

// The logger, and every graph of the process, go when the run ends, also by an exception.
class LibrarySession {
 public:
  explicit LibrarySession(std::vector<std::string>& errors) {
    g_libraryErrors = &errors;
    VrxGraphTransformer_registerLogger(handle(), collectLibraryError, VRX_GT_LOG_ERROR);
  }
  ~LibrarySession() {
    VrxGraphTransformer_free();
    VrxGraphTransformer_unregisterLogger(handle());
    g_libraryErrors = nullptr;
  }
  LibrarySession(const LibrarySession&) = delete;
  LibrarySession& operator=(const LibrarySession&) = delete;

  static Vrx_LogHandle_t handle() { return reinterpret_cast<Vrx_LogHandle_t>(&g_libraryErrors); }
};

std::string quotedName(const char* name) {
  if (name == nullptr) return "(unnamed)";
  std::string quoted = "'";
  quoted.append(name).push_back('\'');
  return quoted;
}

OptimizationSummary optimizationSummary(Vrx_GraphHandle_t handle) {
  VrxGraphTransformer_OptimizationReport_t report{};
  if (VrxGraphTransformer_getOptimizationReport(handle, &report) != VRX_GT_SUCCESS) return {};
  OptimizationSummary summary;
  summary.ran = report.optimized != 0;
  summary.macs = report.macs;
  summary.params = report.params;
  for (uint32_t i = 0; i < report.numExecutedPasses; ++i) summary.executedPasses.emplace_back(report.executedPasses[i]);
  return summary;
}

// The five exports, in the client's order. Stops at the first nonzero status.
void driveExports(GraphRecords& graph, CapturingBackend& backend, const GraphTransformerConfig& config,
                  TransformResult& result) {
  std::string call = "createGraph";
  auto succeeded = [&](Vrx_Status_t status) {
    if (status == 0) return true;
    result.status = status;
    result.failedCall = call;
    return false;
  };
  LibrarySession session(result.libraryErrors);
  try {
    const auto handle = backend.graphHandle();
    if (!succeeded(VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), handle,
                                                   LibrarySession::handle(), graph.name.c_str(), backend.table(),
                                                   result.backendKind, &config))) {
      return;
    }
    if (!result.passesRun.empty()) {
      call = "runOnlyPasses";
      std::vector<const char*> names;
      for (const auto& name : result.passesRun) names.push_back(name.c_str());
      const auto count = static_cast<uint32_t>(names.size());
      if (!succeeded(VrxGraphTransformer_runOnlyPasses(handle, names.data(), count))) return;
    }
    for (auto& tensor : graph.tensors) {
      call = "addGraphTensor " + quotedName(tensor.name);
      if (!succeeded(VrxGraphTransformer_addGraphTensor(handle, &tensor))) return;
    }
    for (const auto& node : graph.nodes) {
      call = "addNode " + quotedName(node.name);
      if (!succeeded(VrxGraphTransformer_addNode(handle, node))) return;
    }
    call = "finalizeGraph";
    if (!succeeded(VrxGraphTransformer_finalizeGraph(handle, nullptr, nullptr, backend.table()))) return;
    result.optimization = optimizationSummary(handle);
  } catch (const std::exception& e) {
    throw TransformError("the library threw during " + call + ": " + e.what());
  }
}

uint32_t chooseBackend(const TransformOptions& options, const GraphRecords& graph) {
  if (options.backend) return backendKindFromName(*options.backend);
  if (graph.backendKind) return *graph.backendKind;
  throw TransformError("no backend: give --backend (" + backendNames().listNames() + ") or \"backend\" in " +
                       options.input.string());
}

void writeOutputs(const TransformOptions& options, const GraphRecords& before, const GraphRecords& after,
                  TransformResult& result) {
  if (options.output.empty()) return;
  result.written = writeGraphFile(after, options.output, options.write);
  if (!options.writeDot) return;
  for (const auto& [stage, graph] : {std::pair{"before", &before}, std::pair{"after", &after}}) {
    const auto path = dotPathFor(options.output, stage);
    writeFileBytes(path, renderDot(*graph));
    result.written.push_back(path);
  }
}

}  // namespace

uint32_t backendKindFromName(const std::string& name) {
  const auto kind = backendNames().parse(name);
  if (!kind) throw TransformError("unknown backend '" + name + "' (known: " + backendNames().listNames() + ")");
  return *kind;
}

std::vector<std::string> allPassNames() {
  std::vector<std::string> names;
  for (uint32_t i = 0; i < VrxGraphTransformer_passCount(); ++i) names.emplace_back(VrxGraphTransformer_passName(i));
  return names;
}

namespace {

void requireKnownPasses(const std::vector<std::string>& names) {
  const auto known = allPassNames();
  const std::set<std::string> knownSet(known.begin(), known.end());
  for (const auto& name : names) {
    if (!knownSet.contains(name)) {
      throw TransformError("unknown pass '" + name + "' (vrx-transform --list-passes names them all)");
    }
  }
}

}  // namespace

std::vector<std::string> allowedPassNames(const PassSelection& selection) {
  if (selection.all) return allPassNames();
  requireKnownPasses(selection.names);
  return selection.names;
}

std::filesystem::path dotPathFor(const std::filesystem::path& output, const char* stage) {
  auto path = output;
  return path.replace_extension(std::string(".") + stage + ".dot");
}

GraphCounts countGraph(const GraphRecords& graph) {
  GraphCounts counts;
  counts.ops = graph.nodes.size();
  counts.tensors = graph.tensors.size();
  for (const auto& node : graph.nodes) ++counts.opsByType[node.typeName != nullptr ? node.typeName : "(none)"];
  for (const auto& tensor : graph.tensors) ++counts.tensorsByType[nameOrNumber(tensorTypeNames(), tensor.type)];
  return counts;
}

TransformResult runTransform(const TransformOptions& options) {
  const auto start = Clock::now();
  if (options.input.empty()) throw TransformError("no graph file given");
  LoadedGraph loaded = loadGraphFile(options.input);
  GraphRecords& input = loaded.records();

  TransformResult result;
  result.backendKind = chooseBackend(options, input);
  // A person who runs a model through the tool wants to see what the backend's pipeline does.
  result.allowedPasses = options.allowedPasses.value_or(input.allowedPasses.value_or(PassSelection{true, {}}));
  // The command line wins over the file: its --allow or --no-passes set aside the file's "runPasses".
  if (!options.runPasses.empty()) {
    result.passesRun = options.runPasses;
  } else if (!options.allowedPasses) {
    result.passesRun = input.runPasses;
  }
  requireKnownPasses(result.passesRun);
  GraphTransformerConfig config;
  config.allowedPasses = allowedPassNames(result.allowedPasses);
  result.before = countGraph(input);

  CapturingBackend backend;
  const auto libraryStart = Clock::now();
  driveExports(input, backend, config, result);
  result.libraryTime = Clock::now() - libraryStart;

  if (result.status == 0) {
    GraphRecords output = backend.graph();
    output.name = input.name;
    output.backendKind = result.backendKind;
    output.runPasses = result.passesRun;
    output.allowedPasses = result.allowedPasses;
    result.after = countGraph(output);
    for (const auto& name : backend.repeatedTensors()) {
      result.warnings.push_back("the backend was asked to create tensor '" + name + "' more than once");
    }
    writeOutputs(options, input, output, result);
  }
  result.totalTime = Clock::now() - start;
  return result;
}

}  // namespace vrx::tools
