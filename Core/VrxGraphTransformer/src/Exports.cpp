// The five exports and the extras: thin, each looks the transformer up and hands over to it.

#include <mutex>
#include <unordered_map>

#include "HandleMap.hpp"
#include "Logger.hpp"
#include "modeltools/ir/DataTypes.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"

namespace vrx::core::graphtransformer {
namespace {

struct HandleMap {
  std::mutex mutex;
  std::unordered_map<Vrx_GraphHandle_t, std::shared_ptr<VrxGraphTransformer>> transformers;
};

HandleMap& handleMap() {
  static HandleMap instance;
  return instance;
}

}  // namespace

std::shared_ptr<VrxGraphTransformer> findTransformer(Vrx_GraphHandle_t graphHandle) {
  auto& map = handleMap();
  std::lock_guard lock(map.mutex);
  auto it = map.transformers.find(graphHandle);
  return it == map.transformers.end() ? nullptr : it->second;
}

void enterTransformer(Vrx_GraphHandle_t graphHandle, std::shared_ptr<VrxGraphTransformer> transformer) {
  std::shared_ptr<VrxGraphTransformer> previous;  // dies outside the lock
  auto& map = handleMap();
  std::lock_guard lock(map.mutex);
  auto& slot = map.transformers[graphHandle];
  previous = std::move(slot);
  slot = std::move(transformer);
}

void clearTransformers() {
  // The transformers die outside the lock: a dying graph may take its time.
  std::unordered_map<Vrx_GraphHandle_t, std::shared_ptr<VrxGraphTransformer>> dropped;
  auto& map = handleMap();
  {
    std::lock_guard lock(map.mutex);
    dropped.swap(map.transformers);
  }
}

}  // namespace vrx::core::graphtransformer

using namespace vrx::core::graphtransformer;

extern "C" {

Vrx_Status_t VrxGraphTransformer_createGraph(Vrx_BackendHandle_t backendHandle, Vrx_ContextHandle_t contextHandle,
                                             Vrx_GraphHandle_t graphHandle, Vrx_LogHandle_t loggerHandle,
                                             const char* graphName, const VrxBackendFunctionTable* backendTable,
                                             uint32_t backendKind, const GraphTransformerConfig* config) {
  auto transformer = std::make_shared<VrxGraphTransformer>();
  const Vrx_Status_t status = transformer->initialize(backendHandle, contextHandle, graphHandle, loggerHandle,
                                                      graphName, backendTable, backendKind, config);
  if (status != VRX_GT_SUCCESS) {
    logTo(loggerHandle, VRX_GT_LOG_ERROR, "VrxGraphTransformer initialize failed. status = 0x%x",
          static_cast<unsigned>(status));
    return status;
  }
  enterTransformer(graphHandle, std::move(transformer));
  return VRX_GT_SUCCESS;
}

Vrx_Status_t VrxGraphTransformer_addGraphTensor(Vrx_GraphHandle_t graphHandle, Vrx_Tensor_t* tensor) {
  auto transformer = findTransformer(graphHandle);
  if (!transformer) return VRX_GT_ERROR_INVALID_HANDLE;
  return transformer->addGraphTensor(tensor);
}

Vrx_Status_t VrxGraphTransformer_addNode(Vrx_GraphHandle_t graphHandle, Vrx_OpConfig_t opConfig) {
  auto transformer = findTransformer(graphHandle);
  if (!transformer) return VRX_GT_ERROR_INVALID_HANDLE;
  return transformer->addNode(opConfig);
}

Vrx_Status_t VrxGraphTransformer_finalizeGraph(Vrx_GraphHandle_t graphHandle, void* finalizeArg1, void* finalizeArg2,
                                               const VrxBackendFunctionTable* backendTable) {
  auto transformer = findTransformer(graphHandle);
  if (!transformer) return VRX_GT_ERROR_INVALID_HANDLE;
  return transformer->finalizeGraph(finalizeArg1, finalizeArg2, backendTable);
}

Vrx_Status_t VrxGraphTransformer_free(void) {
  clearTransformers();
  return VRX_GT_SUCCESS;
}

const char* VrxGraphTransformer_dataTypeName(uint32_t dataType) { return modeltools::dataTypeName(dataType); }

uint32_t VrxGraphTransformer_passCount(void) { return modeltools::iroptimizer::kNumPasses; }

const char* VrxGraphTransformer_passName(uint32_t index) {
  const auto& names = modeltools::iroptimizer::passNamesInIdOrder();
  return index < names.size() ? names[index].c_str() : nullptr;
}

Vrx_Status_t VrxGraphTransformer_runOnlyPasses(Vrx_GraphHandle_t graphHandle, const char* const* passNames,
                                               uint32_t count) {
  auto transformer = findTransformer(graphHandle);
  if (!transformer || (passNames == nullptr && count > 0)) return VRX_GT_ERROR_INVALID_HANDLE;
  std::vector<std::string> names;
  for (uint32_t i = 0; i < count; ++i) names.emplace_back(passNames[i] != nullptr ? passNames[i] : "");
  return transformer->runOnlyPasses(names);
}

Vrx_Status_t VrxGraphTransformer_getOptimizationReport(Vrx_GraphHandle_t graphHandle,
                                                       VrxGraphTransformer_OptimizationReport_t* report) {
  auto transformer = findTransformer(graphHandle);
  if (!transformer || report == nullptr) return VRX_GT_ERROR_INVALID_HANDLE;
  const auto& done = transformer->optimizationReport();
  *report = VrxGraphTransformer_OptimizationReport_t{
      .optimized = done.ran ? 1u : 0u,
      .numExecutedPasses = static_cast<uint32_t>(done.executedPassNames.size()),
      .executedPasses = done.executedPassNames.data(),
      .macs = done.macs,
      .params = done.params};
  return VRX_GT_SUCCESS;
}

}
