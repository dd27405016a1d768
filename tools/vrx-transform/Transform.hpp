#pragma once

// The core of vrx-transform: a graph file in, through the five exports, the composed graph
// out. Tests and the golden runner call it in-process.

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "VrxGraphTransformer.h"
#include "tools/graphfile/GraphFile.hpp"

namespace vrx::tools {

// Options that can't be used (an unknown backend or pass name), or an exception out of the
// library.
class TransformError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct TransformOptions {
  std::filesystem::path input;
  std::filesystem::path output;  // empty: nothing is written
  // These win over what the graph file says.
  std::optional<std::string> backend;
  // Without either: the graph file's "allowedPasses", or else every pass of the pipeline.
  std::optional<PassSelection> allowedPasses;
  // Passes to run alone, in this order, instead of the backend's pipeline.
  std::vector<std::string> runPasses;
  bool writeDot = false;  // OUT.before.dot and OUT.after.dot next to the output
  WriteOptions write;
};

// Ops by type and tensors by tensor type.
struct GraphCounts {
  size_t ops = 0;
  size_t tensors = 0;
  std::map<std::string, size_t> opsByType;
  std::map<std::string, size_t> tensorsByType;
};

// What the library's optimization did (VrxGraphTransformer_getOptimizationReport).
struct OptimizationSummary {
  bool ran = false;
  std::vector<std::string> executedPasses;  // passes that changed the graph, in order
  uint64_t macs = 0;
  uint64_t params = 0;
};

struct TransformResult {
  // 0, or the first nonzero status of an export, and the call that returned it.
  Vrx_Status_t status = 0;
  std::string failedCall;
  std::vector<std::string> libraryErrors;  // the library's failure log lines of the run
  uint32_t backendKind = 0;
  PassSelection allowedPasses;
  std::vector<std::string> passesRun;  // the passes run alone, if any
  GraphCounts before;
  GraphCounts after;
  OptimizationSummary optimization;
  std::chrono::nanoseconds libraryTime{};
  std::chrono::nanoseconds totalTime{};
  std::vector<std::filesystem::path> written;
  std::vector<std::string> warnings;
};

// Loads the graph, drives it through the exports into a backend that records what it
// receives, and writes that. A bad graph file throws GraphFileError, bad options and
// exceptions out of the library throw TransformError; a status is in the result.
// Ends with VrxGraphTransformer_free, which releases every graph of the process.
TransformResult runTransform(const TransformOptions& options);

GraphCounts countGraph(const GraphRecords& graph);

// "NXA" and its kin (any case) to the backendKind of createGraph.
uint32_t backendKindFromName(const std::string& name);

// Every pass name, in id order.
std::vector<std::string> allPassNames();

// The pass names that a selection allows; an unknown name throws TransformError.
std::vector<std::string> allowedPassNames(const PassSelection& selection);

// OUT.json gives OUT.before.dot and OUT.after.dot.
std::filesystem::path dotPathFor(const std::filesystem::path& output, const char* stage);

}  // namespace vrx::tools
