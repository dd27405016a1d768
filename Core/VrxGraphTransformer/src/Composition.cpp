// Writing the optimized graph into the backend: ops in execution order, each tensor created
// once, graph inputs and outputs under the IDs the backend gave them when the client added them.

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <functional>
#include <map>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "GraphTransformer.hpp"
#include "Logger.hpp"
#include "modeltools/ir/FlatHashMap.hpp"
#include "modeltools/ir/IrGraph.hpp"

namespace vrx::core::graphtransformer {

namespace {

bool isNameCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

bool isNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }

// True when sanitizing would leave the name as it is.
bool isSanitizedTensorName(std::string_view name) {
  return !name.empty() && isNameStart(name.front()) && std::all_of(name.begin(), name.end(), isNameCharacter);
}

}  // namespace

std::string sanitizeTensorName(const std::string& name) {
  std::string sanitized = name;
  for (char& c : sanitized) {
    if (!isNameCharacter(c)) c = '_';
  }
  if (sanitized.empty() || !isNameStart(sanitized[0])) sanitized.insert(sanitized.begin(), '_');
  return sanitized;
}

namespace {

const char* textOf(const char* text) { return text != nullptr ? text : ""; }

// One composition. Records handed out by the translator are changed in place; what they are
// made to point to (sanitized names, rebuilt tensor arrays) lives in `arena_`, which the
// translator keeps alive with its records, so a later finalize can read them again.
class Composer {
 public:
  struct Setup {
    modeltools::IrGraph& graph;
    Vrx_GraphHandle_t graphHandle;
    Vrx_BackendHandle_t backendHandle;
    Vrx_ContextHandle_t contextHandle;
    const VrxBackendFunctionTable& table;
    const std::unordered_map<std::string, TensorRecordCopy>& graphIoTensors;
    Vrx_LogHandle_t loggerHandle;
    bool useContextTensors;
    // Hears of every node just before it goes to the backend.
    std::function<void(const Vrx_OpConfig_t&)> onNodeSent;
  };

  explicit Composer(const Setup& setup)
      : s_(setup), logger_(getLogger(setup.loggerHandle)), arena_(std::make_shared<RecordArena>()) {
    // Once for all the op records of this composition rather than once per record.
    s_.graph.translator().keepWithRecords(arena_);
    // Every tensor is created at most once: the map fills without rehashing.
    createdTensors_.reserve(s_.graph.numTensors());
  }

  Vrx_Status_t composeOp(Vrx_OpConfig_t& config);
  Vrx_Status_t createDanglingInputs();

 private:
  void log(uint32_t level, const char* format, ...) const __attribute__((format(printf, 3, 4)));
  // The op's tensor records, in `records_`.
  void collectRecords(Vrx_OpConfig_t& config);
  std::string sanitizeRecordName(Vrx_Tensor_t& record);
  Vrx_Status_t createTensor(Vrx_Tensor_t& record, const std::string& irName);
  Vrx_Status_t createContextTensor(Vrx_Tensor_t& record, const std::string& irName);
  Vrx_Tensor_t* rebuildTensorArray(const Vrx_OpConfig_t& config, Vrx_Tensor_t* records, uint32_t count,
                                   bool (*isGraphIo)(uint32_t));
  Vrx_Status_t addNode(Vrx_OpConfig_t& config, bool touchesGraphIo);
  Vrx_Status_t missingFunction(const char* entry) const;
  Vrx_Tensor_t graphIoRecord(const Vrx_Tensor_t& record, const Vrx_OpConfig_t& config);

  Setup s_;
  // Looked up once: a composition logs a few lines for every op.
  std::shared_ptr<Logger> logger_;
  std::shared_ptr<RecordArena> arena_;
  // Found by the records' own names, without making strings of them.
  modeltools::FlatHashMap<std::string, Vrx_Tensor_t*> createdTensors_;
  std::map<std::string, uint32_t> contextTensorIds_;
  std::vector<Vrx_Tensor_t*> records_;  // reused from op to op
};

void Composer::log(uint32_t level, const char* format, ...) const {
  if (!logger_) return;
  va_list args;
  va_start(args, format);
  vlog(logger_, level, format, args);
  va_end(args);
}

Vrx_Status_t Composer::missingFunction(const char* entry) const {
  log(VRX_GT_LOG_ERROR, "VrxGraphTransformer: backend function table has no %s", entry);
  return VRX_GT_ERROR_INVALID_HANDLE;
}

bool isGraphOutputType(uint32_t type) {
  return type == VRX_TENSORTYPE_APP_READ || type == VRX_TENSORTYPE_UPDATEABLE_APP_READ;
}

void Composer::collectRecords(Vrx_OpConfig_t& config) {
  records_.clear();
  for (uint32_t i = 0; i < config.numOfInputs; ++i) records_.push_back(&config.inputTensors[i]);
  for (uint32_t i = 0; i < config.numOfOutputs; ++i) records_.push_back(&config.outputTensors[i]);
  for (uint32_t i = 0; i < config.numOfParams; ++i) {
    if (config.params[i].paramType == VRX_PARAMTYPE_TENSOR) records_.push_back(&config.params[i].tensor);
  }
}

// Points the record at its sanitized name and returns the name it had.
std::string Composer::sanitizeRecordName(Vrx_Tensor_t& record) {
  std::string irName = textOf(record.name);
  if (record.name == nullptr || !isSanitizedTensorName(irName)) {
    record.name = arena_->copyString(sanitizeTensorName(irName).c_str());
  }
  return irName;
}

Vrx_Status_t Composer::createContextTensor(Vrx_Tensor_t& record, const std::string& irName) {
  if (auto it = contextTensorIds_.find(irName); it != contextTensorIds_.end()) {
    record.id = it->second;
    return VRX_GT_SUCCESS;
  }
  log(VRX_GT_LOG_DEBUG, "Calling createContextTensor() with Context Tensor %s", record.name);
  if (s_.table.createContextTensor == nullptr) return missingFunction("createContextTensor");
  const Vrx_Status_t status = s_.table.createContextTensor(s_.contextHandle, &record);
  if (status == VRX_GT_SUCCESS) contextTensorIds_[irName] = record.id;
  return status;
}

Vrx_Status_t Composer::createTensor(Vrx_Tensor_t& record, const std::string& irName) {
  if (s_.useContextTensors) {
    auto tensor = s_.graph.getTensor(irName);
    if (tensor && tensor->kind() == modeltools::tensorkind::kContext) return createContextTensor(record, irName);
  }
  log(VRX_GT_LOG_DEBUG, "Calling createGraphTensor() with Graph Tensor %s", record.name);
  if (s_.table.createGraphTensor == nullptr) return missingFunction("createGraphTensor");
  return s_.table.createGraphTensor(s_.graphHandle, &record);
}

// The record the client's createGraphTensor left for a graph input or output. One that the
// client never added (a pass made it) keeps the op's own record rather than an empty one.
Vrx_Tensor_t Composer::graphIoRecord(const Vrx_Tensor_t& record, const Vrx_OpConfig_t& config) {
  const std::string name = textOf(record.name);
  auto it = s_.graphIoTensors.find(name);
  if (it == s_.graphIoTensors.end()) {
    log(VRX_GT_LOG_ERROR,
        "Graph I/O tensor %s of op %s was not added by the client; the backend gets the op's own record",
        name.c_str(), textOf(config.name));
    return record;
  }
  return copyTensorRecord(it->second.record(), *arena_);
}

// A new array in place of an op's inputs or outputs: graph I/O records as the client's
// createGraphTensor left them, the others as they stand.
Vrx_Tensor_t* Composer::rebuildTensorArray(const Vrx_OpConfig_t& config, Vrx_Tensor_t* records, uint32_t count,
                                           bool (*isGraphIo)(uint32_t)) {
  if (records == nullptr) return nullptr;
  Vrx_Tensor_t* rebuilt = arena_->allocate<Vrx_Tensor_t>(count);
  for (uint32_t i = 0; i < count; ++i) {
    Vrx_Tensor_t& record = records[i];
    if (!isGraphIo(record.type)) {
      rebuilt[i] = record;
      continue;
    }
    rebuilt[i] = graphIoRecord(record, config);
    createdTensors_[textOf(record.name)] = &record;
  }
  return rebuilt;
}

Vrx_Status_t Composer::addNode(Vrx_OpConfig_t& config, bool touchesGraphIo) {
  log(VRX_GT_LOG_DEBUG, "Calling addNode() with Op %s", textOf(config.name));
  if (touchesGraphIo) {
    config.inputTensors = rebuildTensorArray(config, config.inputTensors, config.numOfInputs, isGraphIoTensorType);
    config.outputTensors = rebuildTensorArray(config, config.outputTensors, config.numOfOutputs, isGraphOutputType);
  }
  if (s_.onNodeSent) s_.onNodeSent(config);
  if (s_.table.addNode == nullptr) return missingFunction("addNode");
  return s_.table.addNode(s_.graphHandle, config);
}

Vrx_Status_t Composer::composeOp(Vrx_OpConfig_t& config) {
  log(VRX_GT_LOG_DEBUG, "Composing Op %s of type %s", textOf(config.name), textOf(config.typeName));
  collectRecords(config);
  log(VRX_GT_LOG_DEBUG, "Calling validateOpConfig() for Op %s of type %s", textOf(config.name),
      textOf(config.typeName));
  if (s_.table.validateOpConfig == nullptr) return missingFunction("validateOpConfig");
  if (const Vrx_Status_t status = s_.table.validateOpConfig(s_.backendHandle, config); status != VRX_GT_SUCCESS) {
    return status;
  }
  bool touchesGraphIo = false;
  for (Vrx_Tensor_t* record : records_) {
    // Graph inputs and outputs exist in the backend since the client added them.
    if (isGraphIoTensorType(record->type)) {
      touchesGraphIo = true;
      continue;
    }
    const std::string irName = sanitizeRecordName(*record);
    // One lookup finds the tensor made earlier or holds the place for this one.
    auto [slot, isNew] = createdTensors_.try_emplace(record->name, record);
    if (!isNew) {
      log(VRX_GT_LOG_DEBUG, "Tensor %s has already been created, updating ID.", record->name);
      record->id = slot->second->id;
      continue;
    }
    if (const Vrx_Status_t status = createTensor(*record, irName); status != VRX_GT_SUCCESS) {
      createdTensors_.erase(slot);
      return status;
    }
  }
  return addNode(config, touchesGraphIo);
}

Vrx_Status_t Composer::createDanglingInputs() {
  for (const auto& input : s_.graph.getInputs()) {
    Vrx_Tensor_t* record = s_.graph.getVrxTensor(input->name());
    if (record == nullptr) {
      log(VRX_GT_LOG_ERROR, "Failed to get VRX tensor for dangling input %s", input->name().c_str());
      continue;
    }
    s_.graph.translator().keepWithTensor(input->name(), *record, arena_);
    sanitizeRecordName(*record);
    const bool created = createdTensors_.contains(record->name);
    if (created || (record->type != VRX_TENSORTYPE_APP_WRITE && record->type != VRX_TENSORTYPE_APP_READ)) continue;
    log(VRX_GT_LOG_DEBUG, "Calling createGraphTensor() with Dangling Input Tensor %s", record->name);
    if (s_.table.createGraphTensor == nullptr) return missingFunction("createGraphTensor");
    if (const Vrx_Status_t status = s_.table.createGraphTensor(s_.graphHandle, record); status != VRX_GT_SUCCESS) {
      return status;
    }
    createdTensors_[record->name] = record;
  }
  return VRX_GT_SUCCESS;
}

}  // namespace

Vrx_Status_t VrxGraphTransformer::composeGraph(const std::shared_ptr<modeltools::IrGraph>& irGraph,
                                               Vrx_GraphHandle_t graphHandle,
                                               const VrxBackendFunctionTable& backendTable, bool useContextTensors) {
  log(VRX_GT_LOG_INFO, "VrxGraphTransformer: composing ops into backend graph");
  const auto configs = irGraph->getVrxOps();
  Composer composer({.graph = *irGraph,
                     .graphHandle = graphHandle,
                     .backendHandle = backendHandle_,
                     .contextHandle = contextHandle_,
                     .table = backendTable,
                     .graphIoTensors = graphIoTensors_,
                     .loggerHandle = loggerHandle_,
                     .useContextTensors = useContextTensors,
                     .onNodeSent = [this](const Vrx_OpConfig_t& config) {
                       if (dumpGraphs_) appendOpDumpRecord(config);
                     }});
  auto failed = [this](Vrx_Status_t status) {
    log(VRX_GT_LOG_ERROR, "VrxGraphTransformer composeGraph failed. status = 0x%x", static_cast<unsigned>(status));
    return status;
  };
  for (Vrx_OpConfig_t* config : configs) {
    if (const Vrx_Status_t status = composer.composeOp(*config); status != VRX_GT_SUCCESS) return failed(status);
  }
  if (!configs.empty()) log(VRX_GT_LOG_INFO, "VrxGraphTransformer: all ops composed into backend graph");
  if (dumpGraphs_) {
    log(VRX_GT_LOG_ERROR, "VrxGraphTransformer dumping JSON Not supported");
    return failed(VRX_GT_ERROR_INVALID_HANDLE);
  }
  if (const Vrx_Status_t status = composer.createDanglingInputs(); status != VRX_GT_SUCCESS) return failed(status);
  return VRX_GT_SUCCESS;
}

}  // namespace vrx::core::graphtransformer
