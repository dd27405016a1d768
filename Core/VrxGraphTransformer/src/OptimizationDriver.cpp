#include <set>

#include "GraphTransformer.hpp"
#include "modeltools/backendinfo/BackendInfo.hpp"
#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/iroptimizer/IrOptimizer.hpp"
#include "modeltools/iroptimizer/PassRegistry.hpp"

namespace vrx::core::graphtransformer {

Vrx_Status_t VrxGraphTransformer::optimizeGraph(const std::shared_ptr<modeltools::IrGraph>& irGraph) {
  using namespace modeltools::iroptimizer;
  const std::vector<uint32_t> optimizationStages = {PostLayout};
  auto backendInfo = modeltools::backendinfo::createBackendInfo(backendNameForKind(backendKind_), "");

  // The client names the passes that may run; every other one is disabled.
  const std::set<std::string> allowed(allowedPasses_.begin(), allowedPasses_.end());
  auto& disabled = passOptions_["disabledPasses"];
  for (const auto& name : getRegisteredPassNames()) {
    if (!allowed.contains(name)) disabled.push_back(name);
  }

  if (dumpGraphs_) {
    // Graph dumps at this level are not supported: asking for them fails before any pass runs.
    log(VRX_GT_LOG_ERROR, "VrxGraphTransformer dumping MCF Not supported");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }

  OptimizerConfig config;
  config.passLists = passOptions_;
  IrOptimizer optimizer(irGraph, optimizationStages, std::move(backendInfo), std::move(config));
  optimizer.optimize();
  log(VRX_GT_LOG_INFO, "VrxGraphTransformer: IrOptimizer passes applied");

  const auto& passManager = *optimizer.passManager();
  const auto [macs, params] = passManager.lastMacsParams();
  optimizationReport_ = OptimizationReport{
      .ran = true, .executedPasses = passManager.getExecutedPasses(), .macs = macs, .params = params};
  return VRX_GT_SUCCESS;
}

}  // namespace vrx::core::graphtransformer
