#include "IrGraphBuilder.hpp"

#include "modeltools/ir/IrGraph.hpp"

namespace vrx::ir {

Vrx_Status_t IrGraphBuilder::addTensor(const Vrx_Tensor_t* /*tensor*/) { return VRX_GT_SUCCESS; }

Vrx_Status_t IrGraphBuilder::addNode(const Vrx_OpConfig_t& /*opConfig*/) { return VRX_GT_SUCCESS; }

}  // namespace vrx::ir
