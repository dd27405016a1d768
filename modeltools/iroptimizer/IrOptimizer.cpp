#include "IrOptimizer.hpp"

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

void IrOptimizer::startRun() {
  passManager_ = std::make_shared<PassManager>(config_, registry_);
  // Tensors that passes create get ids above every id in the graph.
  graph_->resetTensorIds();
}

void IrOptimizer::writePassTrace() const {
  if (!config_.passTrace) return;
  std::string trace;
  for (const auto& name : passManager_->getExecutedPasses()) trace += name + ", ";
  graph_->diagnostics().write("PASS TRACE INFO: ", trace, "\n");
}

void IrOptimizer::optimize() {
  startRun();
  for (const uint32_t stage : stages_) {
    dumpStage("Before", stage);
    passManager_->optimizeStage(*graph_, backendInfo_, stage);
    dumpStage("After", stage);
  }
  writePassTrace();
}

void IrOptimizer::runPasses(const std::vector<uint32_t>& ids) {
  startRun();
  if (!ids.empty()) passManager_->applyOptimizationPasses(*graph_, ids, PostLayout);
  passManager_->runPostOptimizationSteps(*graph_, PostLayout);
  writePassTrace();
}

}  // namespace modeltools::iroptimizer
