#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "IrGraphBuilder.hpp"
#include "RecordCopy.hpp"
#include "VrxGraphTransformer.h"

namespace modeltools {
class IrGraph;
}

namespace vrx::core::graphtransformer {

// What addNode keeps of a node while graph dumps are asked for.
struct OpDumpRecord {
  struct Tensor {
    std::string name;
    std::vector<uint32_t> dims;
    std::shared_ptr<TensorRecordCopy> record;
  };
  std::string name;
  std::string packageName;
  std::string typeName;
  std::vector<Tensor> inputs;
  std::vector<Tensor> outputs;
  std::vector<std::string> paramNames;
};

// What the last optimization of a transformer did, for tools that show it to a person.
struct OptimizationReport {
  bool ran = false;
  std::vector<std::string> executedPasses;  // passes that changed the graph, in order
  uint64_t macs = 0;
  uint64_t params = 0;
  // The names of executedPasses as the C report hands them out.
  std::vector<const char*> executedPassNames;
};

// The name of a backend kind for the target information ("UNKNOWN" outside 1 to 7).
const char* backendNameForKind(uint32_t backendKind);

// The transformer behind one graph handle.
class VrxGraphTransformer {
 public:
  VrxGraphTransformer() = default;
  VrxGraphTransformer(const VrxGraphTransformer&) = delete;
  VrxGraphTransformer& operator=(const VrxGraphTransformer&) = delete;

  Vrx_Status_t initialize(Vrx_BackendHandle_t backendHandle, Vrx_ContextHandle_t contextHandle,
                          Vrx_GraphHandle_t graphHandle, Vrx_LogHandle_t loggerHandle, const char* graphName,
                          const VrxBackendFunctionTable* backendTable, uint32_t backendKind,
                          const GraphTransformerConfig* config);
  Vrx_Status_t addGraphTensor(Vrx_Tensor_t* tensor);
  Vrx_Status_t addNode(const Vrx_OpConfig_t& opConfig);
  Vrx_Status_t finalizeGraph(void* finalizeArg1, void* finalizeArg2, const VrxBackendFunctionTable* backendTable);

  Vrx_Status_t optimizeGraph(const std::shared_ptr<modeltools::IrGraph>& irGraph);
  // Exactly these passes, in this order, instead of the pipeline; VRX_GT_ERROR_UNKNOWN_PASS
  // (and nothing changes) when a name is no pass.
  Vrx_Status_t runOnlyPasses(const std::vector<std::string>& passNames);
  Vrx_Status_t composeGraph(const std::shared_ptr<modeltools::IrGraph>& irGraph, Vrx_GraphHandle_t graphHandle,
                            const VrxBackendFunctionTable& backendTable, bool useContextTensors = false);

  const std::shared_ptr<vrx::ir::IrGraphBuilder>& irGraphBuilder() const { return irGraphBuilder_; }
  bool composed() const { return composed_ != 0; }
  uint32_t backendKind() const { return backendKind_; }
  const std::map<std::string, std::vector<std::string>>& passOptions() const { return passOptions_; }
  const std::vector<std::string>& allowedPasses() const { return allowedPasses_; }
  const std::vector<std::string>& additionalPassList() const { return additionalPassList_; }
  bool dumpGraphs() const { return dumpGraphs_ != 0; }
  const std::vector<OpDumpRecord>& opDumpRecords() const { return opDumpRecords_; }
  const std::unordered_map<std::string, TensorRecordCopy>& graphIoTensors() const { return graphIoTensors_; }
  const OptimizationReport& optimizationReport() const { return optimizationReport_; }

 private:
  void log(uint32_t level, const char* format, ...) const __attribute__((format(printf, 3, 4)));
  void appendOpDumpRecord(const Vrx_OpConfig_t& opConfig);

  Vrx_BackendHandle_t backendHandle_ = nullptr;
  Vrx_ContextHandle_t contextHandle_ = nullptr;
  Vrx_GraphHandle_t graphHandle_ = nullptr;
  // A copy of the table given at creation: the client may free its own after the call.
  std::optional<VrxBackendFunctionTable> backendTable_;
  uint32_t backendKind_ = 0;
  std::shared_ptr<vrx::ir::IrGraphBuilder> irGraphBuilder_;
  std::map<std::string, std::vector<std::string>> passOptions_;
  Vrx_LogHandle_t loggerHandle_ = 0;
  std::unordered_map<std::string, TensorRecordCopy> graphIoTensors_;
  uint8_t composed_ = 0;
  std::vector<OpDumpRecord> opDumpRecords_;
  std::vector<std::string> allowedPasses_;
  std::vector<std::string> additionalPassList_;
  uint8_t dumpGraphs_ = 0;
  OptimizationReport optimizationReport_;
  // Pass ids to run instead of the pipeline, when the client named them.
  std::optional<std::vector<uint32_t>> passSequence_;
};

// A copy of a client's function table: the 600 bytes from byte 40 on; the head stays zero.
VrxBackendFunctionTable copyFunctionTable(const VrxBackendFunctionTable& table);

// True for the tensor types that are the graph's inputs and outputs (0, 1, 8, 9).
bool isGraphIoTensorType(uint32_t type);

// A tensor name as the backend takes it: letters, digits and "_", not starting with a digit.
std::string sanitizeTensorName(const std::string& name);

}  // namespace vrx::core::graphtransformer
