#include <algorithm>
#include <set>

#include "GraphTransformer.hpp"
#include "modeltools/backendinfo/BackendInfo.hpp"
#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/iroptimizer/IrOptimizer.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/passes/PassCatalogue.hpp"

namespace vrx::core::graphtransformer {
namespace {

OptimizationReport reportOf(const modeltools::iroptimizer::PassManager& passManager) {
  const auto [macs, params] = passManager.lastMacsParams();
  OptimizationReport report;
  report.ran = true;
  report.executedPasses = passManager.getExecutedPasses();
  report.macs = macs;
  report.params = params;
  for (const auto& name : report.executedPasses) report.executedPassNames.push_back(name.c_str());
  return report;
}

}  // namespace

Vrx_Status_t VrxGraphTransformer::runOnlyPasses(const std::vector<std::string>& passNames) {
  std::vector<uint32_t> ids;
  const auto& known = modeltools::iroptimizer::passNamesInIdOrder();
  for (const auto& name : passNames) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      log(VRX_GT_LOG_ERROR, "No pass is named %s", name.c_str());
      return VRX_GT_ERROR_UNKNOWN_PASS;
    }
    ids.push_back(modeltools::iroptimizer::getPassIdFromPassName(name));
  }
  passSequence_ = std::move(ids);
  return VRX_GT_SUCCESS;
}

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
  // Passes the client named one by one run whatever the allowed list says.
  if (!passSequence_) config.passLists = passOptions_;
  IrOptimizer optimizer(irGraph, optimizationStages, std::move(backendInfo), std::move(config), passRegistry());
  if (passSequence_) {
    optimizer.runPasses(*passSequence_);
  } else {
    optimizer.optimize();
  }
  log(VRX_GT_LOG_INFO, "VrxGraphTransformer: IrOptimizer passes applied");
  optimizationReport_ = reportOf(*optimizer.passManager());
  return VRX_GT_SUCCESS;
}

}  // namespace vrx::core::graphtransformer
