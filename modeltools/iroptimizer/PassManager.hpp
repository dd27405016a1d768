#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "OptimizerConfig.hpp"
#include "PassRegistry.hpp"

namespace modeltools {
class IrGraph;
}
namespace modeltools::backendinfo {
class BackendInfo;
}

namespace modeltools::iroptimizer {

// Runs the pipelines of one optimization over a graph: which pass runs, how often, what is
// dumped around it, and what follows all passes of a stage. Lives for one optimize call.
class PassManager {
 public:
  // `registry` must outlive the manager.
  PassManager(OptimizerConfig config, const PassRegistry& registry);

  void optimizeStage(IrGraph& graph, const std::shared_ptr<backendinfo::BackendInfo>& backendInfo, uint32_t stage);
  void applyOptimizationPasses(IrGraph& graph, const std::vector<uint32_t>& ids, uint32_t stage);
  void runPostOptimizationSteps(IrGraph& graph, uint32_t stage);

  // Names of the passes that changed the graph, in order, once per run that changed it.
  std::vector<std::string> getExecutedPasses() const { return executedPasses_; }
  const OptimizerConfig& config() const { return config_; }
  // MACs and params as the last runPostOptimizationSteps counted them; zeros before.
  std::pair<uint64_t, uint64_t> lastMacsParams() const { return lastMacsParams_; }

  // A pass that runs until stable is called at most this often in a row.
  static constexpr uint32_t kMaxRunsUntilStable = 51;

 private:
  using Fingerprints = std::map<std::string, uint64_t>;

  bool isEnabled(const Pass& pass, uint32_t id) const;
  bool dumpsAt(uint32_t level) const { return config_.dumpGraphs && config_.dumpLevel == level; }
  bool wantsPassDump(const std::string& passName) const;
  Fingerprints watchedOpFingerprints(const IrGraph& graph) const;
  // Dumps for each watched op that changed or left the graph; true when a file was written.
  bool dumpChangedWatchedOps(const IrGraph& graph, const Fingerprints& before, const std::string& suffix) const;
  void logDebug(const IrGraph& graph, const std::string& passName, const char* text) const;

  OptimizerConfig config_;
  std::vector<std::string> executedPasses_;
  const PassRegistry& registry_;
  std::pair<uint64_t, uint64_t> lastMacsParams_{0, 0};
};

}  // namespace modeltools::iroptimizer
