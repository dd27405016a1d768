#include "GraphTransformer.hpp"

#include <cstdarg>
#include <cstring>
#include <stdexcept>

#include "LibraryGraph.hpp"
#include "Logger.hpp"
#include "modeltools/ir/IrGraph.hpp"

namespace vrx::core::graphtransformer {

const char* backendNameForKind(uint32_t backendKind) {
  switch (backendKind) {
    case VRX_GT_BACKEND_NXA: return "NXA";
    case VRX_GT_BACKEND_NXC: return "NXC";
    case VRX_GT_BACKEND_CPU: return "CPU";
    case VRX_GT_BACKEND_GPU: return "GPU";
    case VRX_GT_BACKEND_DSP: return "DSP";
    case VRX_GT_BACKEND_NXB: return "NXB";
    case VRX_GT_BACKEND_NXE: return "NXE";
    default: return "UNKNOWN";
  }
}

VrxBackendFunctionTable copyFunctionTable(const VrxBackendFunctionTable& table) {
  constexpr size_t kHead = offsetof(VrxBackendFunctionTable, reserved0);
  VrxBackendFunctionTable copy{};
  std::memcpy(reinterpret_cast<char*>(&copy) + kHead, reinterpret_cast<const char*>(&table) + kHead,
              sizeof(VrxBackendFunctionTable) - kHead);
  return copy;
}

bool isGraphIoTensorType(uint32_t type) {
  return type == VRX_TENSORTYPE_APP_WRITE || type == VRX_TENSORTYPE_APP_READ ||
         type == VRX_TENSORTYPE_UPDATEABLE_APP_WRITE || type == VRX_TENSORTYPE_UPDATEABLE_APP_READ;
}

void VrxGraphTransformer::log(uint32_t level, const char* format, ...) const {
  va_list args;
  va_start(args, format);
  vlogTo(loggerHandle_, level, format, args);
  va_end(args);
}

Vrx_Status_t VrxGraphTransformer::initialize(Vrx_BackendHandle_t backendHandle, Vrx_ContextHandle_t contextHandle,
                                             Vrx_GraphHandle_t graphHandle, Vrx_LogHandle_t loggerHandle,
                                             const char* graphName, const VrxBackendFunctionTable* backendTable,
                                             uint32_t backendKind, const GraphTransformerConfig* config) {
  if (backendHandle == nullptr || contextHandle == nullptr || graphHandle == nullptr)
    return VRX_GT_ERROR_INVALID_HANDLE;
  backendHandle_ = backendHandle;
  contextHandle_ = contextHandle;
  graphHandle_ = graphHandle;
  loggerHandle_ = loggerHandle;
  if (backendTable != nullptr) backendTable_ = copyFunctionTable(*backendTable);
  backendKind_ = backendKind;
  if (config != nullptr) {
    allowedPasses_ = config->allowedPasses;
    additionalPassList_ = config->additionalPassList;
    dumpGraphs_ = config->dumpGraphs;
  }
  try {
    auto builder = std::make_shared<vrx::ir::IrGraphBuilder>(loggerHandle_);
    builder->setIrGraph(makeLibraryGraph(graphName != nullptr ? graphName : ""));
    irGraphBuilder_ = std::move(builder);
  } catch (const std::exception&) {
    log(VRX_GT_LOG_ERROR, "Found NULL IrGraphBuilder");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }
  log(VRX_GT_LOG_INFO, "VrxGraphTransformer initialize done");
  return VRX_GT_SUCCESS;
}

Vrx_Status_t VrxGraphTransformer::addGraphTensor(Vrx_Tensor_t* tensor) {
  if (!irGraphBuilder_) {
    log(VRX_GT_LOG_ERROR, "Found NULL IrGraphBuilder");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }
  if (tensor == nullptr) {
    log(VRX_GT_LOG_ERROR, "Found NULL vrxTensor");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }
  if (isGraphIoTensorType(tensor->type)) {
    // The backend learns of graph inputs and outputs at once; its status is not looked at.
    if (backendTable_ && backendTable_->createGraphTensor != nullptr) {
      backendTable_->createGraphTensor(graphHandle_, tensor);
    }
    const std::string name = tensor->name != nullptr ? tensor->name : "";
    if (!graphIoTensors_.contains(name)) graphIoTensors_.emplace(name, TensorRecordCopy(*tensor));
  }
  return irGraphBuilder_->addTensor(tensor);
}

void VrxGraphTransformer::appendOpDumpRecord(const Vrx_OpConfig_t& opConfig) {
  auto& record = opDumpRecords_.emplace_back();
  if (opConfig.version != 1) return;
  auto text = [](const char* s) { return std::string(s != nullptr ? s : ""); };
  record.name = text(opConfig.name);
  record.packageName = text(opConfig.packageName);
  record.typeName = text(opConfig.typeName);
  auto tensorsOf = [&](const Vrx_Tensor_t* tensors, uint32_t count) {
    std::vector<OpDumpRecord::Tensor> list;
    for (uint32_t i = 0; tensors != nullptr && i < count; ++i) {
      auto copy = std::make_shared<TensorRecordCopy>(tensors[i]);
      const auto& rec = copy->record();
      std::vector<uint32_t> dims(rec.dimensions, rec.dimensions ? rec.dimensions + rec.rank : rec.dimensions);
      list.push_back({text(rec.name), std::move(dims), std::move(copy)});
    }
    return list;
  };
  record.inputs = tensorsOf(opConfig.inputTensors, opConfig.numOfInputs);
  record.outputs = tensorsOf(opConfig.outputTensors, opConfig.numOfOutputs);
  for (uint32_t i = 0; opConfig.params != nullptr && i < opConfig.numOfParams; ++i) {
    record.paramNames.push_back(text(opConfig.params[i].name));
  }
}

Vrx_Status_t VrxGraphTransformer::addNode(const Vrx_OpConfig_t& opConfig) {
  if (!irGraphBuilder_) {
    log(VRX_GT_LOG_ERROR, "Found NULL IrGraphBuilder");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }
  if (dumpGraphs_) appendOpDumpRecord(opConfig);
  return irGraphBuilder_->addNode(opConfig);
}

Vrx_Status_t VrxGraphTransformer::finalizeGraph(void* finalizeArg1, void* finalizeArg2,
                                                const VrxBackendFunctionTable* backendTable) {
  if (backendTable == nullptr) {
    log(VRX_GT_LOG_ERROR, "VrxGraphTransformer_finalizeGraph: NULL backend function table");
    return VRX_GT_ERROR_INVALID_HANDLE;
  }
  const VrxBackendFunctionTable table = copyFunctionTable(*backendTable);
  auto finalizeInBackend = [&]() -> Vrx_Status_t {
    if (table.graphFinalize == nullptr) {
      log(VRX_GT_LOG_ERROR, "VrxGraphTransformer_finalizeGraph: backend has no graphFinalize");
      return VRX_GT_ERROR_INVALID_HANDLE;
    }
    return table.graphFinalize(graphHandle_, finalizeArg1, finalizeArg2);
  };
  if (composed_) {
    log(VRX_GT_LOG_INFO,
        "VrxGraphTransformer_finalizeGraph: graph already composed, skipping optimize+compose and calling backend "
        "graphFinalize directly.");
    return finalizeInBackend();
  }
  if (!irGraphBuilder_) {
    log(VRX_GT_LOG_ERROR, "Found NULL IrGraphBuilder");
  } else if (auto irGraph = irGraphBuilder_->getIrGraph()) {
    Vrx_Status_t status = optimizeGraph(irGraph);
    if (status != VRX_GT_SUCCESS) {
      log(VRX_GT_LOG_ERROR, "VrxGraphTransformer optimizeGraph failed. status = 0x%x", static_cast<unsigned>(status));
      return status;
    }
    status = composeGraph(irGraph, graphHandle_, table);
    if (status != VRX_GT_SUCCESS) {
      log(VRX_GT_LOG_ERROR, "VrxGraphTransformer composeTargetBackendGraph failed. status = 0x%x",
          static_cast<unsigned>(status));
      return status;
    }
    composed_ = 1;
    return finalizeInBackend();
  }
  log(VRX_GT_LOG_ERROR, "VrxGraphTransformer getIrGraph failed.");
  return VRX_GT_ERROR_INVALID_HANDLE;
}

}  // namespace vrx::core::graphtransformer
