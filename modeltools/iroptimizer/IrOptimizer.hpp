#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "OptimizerConfig.hpp"
#include "PassManager.hpp"

namespace modeltools {
class IrGraph;
}
namespace modeltools::backendinfo {
class BackendInfo;
}

namespace modeltools::iroptimizer {

// One optimization of one graph over a list of stages.
class IrOptimizer {
 public:
  // Resolves the names under "enabledPasses" and "disabledPasses" of `config.passLists` to ids;
  // an unknown name throws. An empty backend info is allowed (no backend-specific pipeline).
  // `registry` must outlive the optimizer.
  IrOptimizer(std::shared_ptr<IrGraph> graph, std::vector<uint32_t> stages,
              std::shared_ptr<backendinfo::BackendInfo> backendInfo, OptimizerConfig config,
              const PassRegistry& registry);

  void optimize();
  // Exactly these passes, in this order, outside any pipeline; then the steps that follow
  // every stage (statistics, and what must not reach the backend).
  void runPasses(const std::vector<uint32_t>& ids);

  const OptimizerConfig& config() const { return config_; }
  // The scheduler of the last optimize call; empty before the first.
  const std::shared_ptr<PassManager>& passManager() const { return passManager_; }

 private:
  void startRun();
  void writePassTrace() const;
  void dumpStage(const char* when, uint32_t stage) const;

  std::shared_ptr<IrGraph> graph_;
  std::vector<uint32_t> stages_;
  std::shared_ptr<backendinfo::BackendInfo> backendInfo_;
  OptimizerConfig config_;
  const PassRegistry& registry_;
  std::shared_ptr<PassManager> passManager_;
};

}  // namespace modeltools::iroptimizer
