#include "CapturingBackend.hpp"


namespace vrx::tools {
namespace {

std::string nameOf(const Vrx_Tensor_t& tensor) { return tensor.name != nullptr ? tensor.name : ""; }

void collectNames(const Vrx_Tensor_t* tensors, uint32_t count, std::set<std::string>& names) {
  for (uint32_t i = 0; tensors != nullptr && i < count; ++i) names.insert(nameOf(tensors[i]));
}

}  // namespace

CapturingBackend::CapturingBackend() {
  table_.validateOpConfig = &CapturingBackend::validateOpConfig;
  table_.addNode = &CapturingBackend::addNode;
  table_.graphFinalize = &CapturingBackend::graphFinalize;
  table_.createContextTensor = &CapturingBackend::createTensor;
  table_.createGraphTensor = &CapturingBackend::createTensor;
}

Vrx_Status_t CapturingBackend::validateOpConfig(Vrx_BackendHandle_t, Vrx_OpConfig_t) { return 0; }

Vrx_Status_t CapturingBackend::addNode(Vrx_GraphHandle_t handle, Vrx_OpConfig_t config) {
  ownerOf(handle).nodes_.emplace_back(config);
  return 0;
}

Vrx_Status_t CapturingBackend::graphFinalize(Vrx_GraphHandle_t handle, void*, void*) {
  ownerOf(handle).finalized_ = true;
  return 0;
}

Vrx_Status_t CapturingBackend::createTensor(void* handle, Vrx_Tensor_t* tensor) {
  auto& self = ownerOf(handle);
  if (tensor == nullptr) return 0;
  tensor->id = self.nextTensorId_++;
  if (self.tensorNames_.insert(nameOf(*tensor)).second) {
    self.tensors_.emplace_back(*tensor);
  } else {
    self.repeatedTensors_.push_back(nameOf(*tensor));
  }
  return 0;
}

GraphRecords CapturingBackend::graph() const {
  std::set<std::string> wired, paramTensors;
  GraphRecords graph;
  for (const auto& node : nodes_) {
    const Vrx_OpConfig_t& op = node.record();
    graph.nodes.push_back(op);
    collectNames(op.inputTensors, op.numOfInputs, wired);
    collectNames(op.outputTensors, op.numOfOutputs, wired);
    for (uint32_t i = 0; op.params != nullptr && i < op.numOfParams; ++i) {
      if (op.params[i].paramType == VRX_PARAMTYPE_TENSOR) paramTensors.insert(nameOf(op.params[i].tensor));
    }
  }
  for (const auto& copy : tensors_) {
    const Vrx_Tensor_t& tensor = copy.record();
    const bool onlyInParams = paramTensors.contains(nameOf(tensor)) && !wired.contains(nameOf(tensor));
    if (!onlyInParams || isGraphIoTensorType(tensor.type)) graph.tensors.push_back(tensor);
  }
  return graph;
}

}  // namespace vrx::tools
