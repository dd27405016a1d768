#include "IrOptimizer.hpp"

#include <iostream>

#include "PassDump.hpp"
#include "PassIds.hpp"
#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {
namespace {

void appendPassIds(const std::vector<std::string>& names, std::vector<uint32_t>& ids) {
  for (const auto& name : names) ids.push_back(getPassIdFromPassName(name));
}

}  // namespace

IrOptimizer::IrOptimizer(std::shared_ptr<IrGraph> graph, std::vector<uint32_t> stages,
                         std::shared_ptr<backendinfo::BackendInfo> backendInfo, OptimizerConfig config,
                         const PassRegistry& registry)
    : graph_(std::move(graph)),
      stages_(std::move(stages)),
      backendInfo_(std::move(backendInfo)),
      config_(std::move(config)),
      registry_(registry) {
  if (config_.passLists.empty()) return;
  appendPassIds(config_.passLists["enabledPasses"], config_.enabledPasses);
  appendPassIds(config_.passLists["disabledPasses"], config_.disabledPasses);
}

void IrOptimizer::dumpStage(const char* when, uint32_t stage) const {
  if (!config_.dumpGraphs || config_.dumpLevel != dumplevel::kPerStage) return;
  writePassDump(*graph_, when + optimizationStageName(stage) + "Optimizations.json");
}

void IrOptimizer::optimize() {
  passManager_ = std::make_shared<PassManager>(config_, registry_);
  // Tensors that passes create get ids above every id in the graph.
  graph_->resetTensorIds();
  for (const uint32_t stage : stages_) {
    dumpStage("Before", stage);
    passManager_->optimizeStage(*graph_, backendInfo_, stage);
    dumpStage("After", stage);
  }
  if (config_.passTrace) {
    std::string trace;
    for (const auto& name : passManager_->getExecutedPasses()) trace += name + ", ";
    std::cout << "PASS TRACE INFO: " << trace << std::endl;
  }
}

}  // namespace modeltools::iroptimizer
