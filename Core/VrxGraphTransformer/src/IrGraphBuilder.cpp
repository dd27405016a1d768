#include "IrGraphBuilder.hpp"

#include <string>
#include <vector>

#include "Logger.hpp"
#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/translation/BuildIrOp.hpp"
#include "modeltools/translation/BuildIrTensor.hpp"

namespace vrx::ir {
namespace {

using core::graphtransformer::logTo;

std::string nameOf(const Vrx_Tensor_t& tensor) { return tensor.name != nullptr ? tensor.name : ""; }

const char* textOf(const char* text) { return text != nullptr ? text : ""; }

bool isStaticType(uint32_t type) { return type == VRX_TENSORTYPE_STATIC || type == VRX_TENSORTYPE_UPDATEABLE_STATIC; }

bool isUpdateableType(uint32_t type) {
  return type == VRX_TENSORTYPE_UPDATEABLE_STATIC || type == VRX_TENSORTYPE_UPDATEABLE_NATIVE ||
         type == VRX_TENSORTYPE_UPDATEABLE_APP_WRITE || type == VRX_TENSORTYPE_UPDATEABLE_APP_READ ||
         type == VRX_TENSORTYPE_UPDATEABLE_APP_READWRITE;
}

}  // namespace

Vrx_Status_t IrGraphBuilder::addTensor(const Vrx_Tensor_t* tensor) {
  if (tensor == nullptr) return VRX_GT_ERROR_INVALID_HANDLE;
  if (tensor->dataFormat == VRX_TENSOR_DATA_FORMAT_SPARSE || tensor->dataFormat == VRX_TENSOR_DATA_FORMAT_OTHER) {
    return VRX_GT_ERROR_UNSUPPORTED_DATA_FORMAT;
  }
  if (tensor->type == VRX_TENSORTYPE_APP_READWRITE) return VRX_GT_ERROR_UNSUPPORTED_TENSOR;
  if (tensor->dataType == VRX_DATATYPE_UNDEFINED || tensor->dataType == VRX_DATATYPE_STRING) {
    return VRX_GT_ERROR_UNSUPPORTED_TENSOR;
  }
  if (graph_->hasTensor(nameOf(*tensor))) {
    logTo(loggerHandle_, VRX_GT_LOG_ERROR, "Tensor already exist in the graph, tensor ID: %u", tensor->id);
    return VRX_GT_ERROR_TENSOR_EXISTS;
  }
  const bool hasData = modeltools::recordData(*tensor) != nullptr;
  if (!isStaticType(tensor->type)) {
    if (hasData) return VRX_GT_ERROR_UNSUPPORTED_TENSOR;
    auto irTensor = modeltools::buildIrTensor(*tensor);
    irTensor->setUpdateable(isUpdateableType(tensor->type));
    graph_->addTensor(irTensor);
    logTo(loggerHandle_, VRX_GT_LOG_VERBOSE, "Added tensor to graph: Tensor Name: %s", irTensor->name().c_str());
    return VRX_GT_SUCCESS;
  }
  if (!hasData) return VRX_GT_ERROR_UNSUPPORTED_TENSOR;
  auto irTensor = modeltools::buildIrStaticTensor(*tensor);
  graph_->addTensor(irTensor);
  irTensor->setUpdateable(tensor->type == VRX_TENSORTYPE_UPDATEABLE_STATIC);
  logTo(loggerHandle_, VRX_GT_LOG_VERBOSE, "Added static tensor to graph: Tensor Name: %s", irTensor->name().c_str());
  return VRX_GT_SUCCESS;
}

Vrx_Status_t IrGraphBuilder::resolveInputs(const Vrx_OpConfig_t& opConfig,
                                           std::vector<std::shared_ptr<modeltools::IrTensor>>& inputs) const {
  for (uint32_t i = 0; opConfig.inputTensors != nullptr && i < opConfig.numOfInputs; ++i) {
    const Vrx_Tensor_t& record = opConfig.inputTensors[i];
    if (record.name == nullptr) continue;
    auto tensor = graph_->getTensor(record.name);
    if (!tensor) {
      logTo(loggerHandle_, VRX_GT_LOG_ERROR, "Input Tensor : %s Doesn't exist in the graph", record.name);
      return VRX_GT_ERROR_BAD_INPUT;
    }
    // Nodes come in topological order: a native input must have been written already.
    if (tensor->getTensorType() == VRX_TENSORTYPE_NATIVE && !tensor->producer()) return VRX_GT_ERROR_BAD_INPUT;
    inputs.push_back(std::move(tensor));
  }
  return VRX_GT_SUCCESS;
}

Vrx_Status_t IrGraphBuilder::resolveOutputs(const Vrx_OpConfig_t& opConfig,
                                            std::vector<std::shared_ptr<modeltools::IrTensor>>& outputs) const {
  for (uint32_t i = 0; opConfig.outputTensors != nullptr && i < opConfig.numOfOutputs; ++i) {
    const Vrx_Tensor_t& record = opConfig.outputTensors[i];
    if (record.name == nullptr) continue;
    auto tensor = graph_->getTensor(record.name);
    if (!tensor) {
      logTo(loggerHandle_, VRX_GT_LOG_ERROR, "Output Tensor : %s Doesn't exist in the graph", record.name);
      return VRX_GT_ERROR_BAD_NODE_OR_OUTPUT;
    }
    const uint32_t type = tensor->getTensorType();
    if (type == VRX_TENSORTYPE_APP_WRITE || type == VRX_TENSORTYPE_STATIC) return VRX_GT_ERROR_BAD_NODE_OR_OUTPUT;
    outputs.push_back(std::move(tensor));
  }
  return VRX_GT_SUCCESS;
}

Vrx_Status_t IrGraphBuilder::addNode(const Vrx_OpConfig_t& opConfig) {
  if (opConfig.version != 1 || opConfig.name == nullptr) return VRX_GT_SUCCESS;
  if (graph_->hasOp(opConfig.name)) {
    logTo(loggerHandle_, VRX_GT_LOG_ERROR, "Node already exist in the graph, Node name: %s", opConfig.name);
    return VRX_GT_ERROR_BAD_NODE_OR_OUTPUT;
  }
  // Every tensor is found and checked before any edge is made: a refused node leaves no trace.
  std::vector<std::shared_ptr<modeltools::IrTensor>> inputs;
  std::vector<std::shared_ptr<modeltools::IrTensor>> outputs;
  if (const Vrx_Status_t status = resolveInputs(opConfig, inputs); status != VRX_GT_SUCCESS) return status;
  if (const Vrx_Status_t status = resolveOutputs(opConfig, outputs); status != VRX_GT_SUCCESS) return status;
  auto op = modeltools::buildIrOp(opConfig);
  if (inputs.empty()) {
    // Such an op stays out of the graph, but its outputs know it as their producer.
    graph_->connect(op, inputs, outputs);
    return VRX_GT_SUCCESS;
  }
  graph_->appendResolvedOp(op, inputs, outputs);
  logTo(loggerHandle_, VRX_GT_LOG_VERBOSE, "addNode(): Op Package Name: %s, Node Name: %s, Type: %s",
        textOf(opConfig.packageName), opConfig.name, textOf(opConfig.typeName));
  return VRX_GT_SUCCESS;
}

}  // namespace vrx::ir
