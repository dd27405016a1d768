#include "GraphTransformer.hpp"
#include "modeltools/ir/IrGraph.hpp"

namespace vrx::core::graphtransformer {

Vrx_Status_t VrxGraphTransformer::composeGraph(const std::shared_ptr<modeltools::IrGraph>& /*irGraph*/,
                                               Vrx_GraphHandle_t /*graphHandle*/,
                                               const VrxBackendFunctionTable& /*backendTable*/,
                                               bool /*useContextTensors*/) {
  log(VRX_GT_LOG_INFO, "VrxGraphTransformer: composing ops into backend graph");
  if (dumpGraphs_) {
    log(VRX_GT_LOG_ERROR, "VrxGraphTransformer dumping JSON Not supported");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }
  return VRX_GT_SUCCESS;
}

}  // namespace vrx::core::graphtransformer
