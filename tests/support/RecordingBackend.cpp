#include "RecordingBackend.hpp"

#include <algorithm>

namespace vrx::test {

using core::graphtransformer::OpConfigCopy;
using core::graphtransformer::TensorRecordCopy;

const char* backendCallName(BackendCall call) {
  switch (call) {
    case BackendCall::ValidateOpConfig: return "validateOpConfig";
    case BackendCall::AddNode: return "addNode";
    case BackendCall::GraphFinalize: return "graphFinalize";
    case BackendCall::CreateContextTensor: return "createContextTensor";
    case BackendCall::CreateGraphTensor: return "createGraphTensor";
  }
  return "?";
}

std::string RecordedCall::subjectName() const {
  const char* name = op ? op->record().name : tensor ? tensor->record().name : nullptr;
  return name != nullptr ? name : "";
}

RecordingBackend::RecordingBackend() {
  table_.validateOpConfig = &RecordingBackend::validateOpConfig;
  table_.addNode = &RecordingBackend::addNode;
  table_.graphFinalize = &RecordingBackend::graphFinalize;
  table_.createContextTensor = &RecordingBackend::createContextTensor;
  table_.createGraphTensor = &RecordingBackend::createGraphTensor;
}

void RecordingBackend::failNext(BackendCall kind, Vrx_Status_t status, std::string subjectName) {
  failures_.push_back({kind, status, std::move(subjectName)});
}

Vrx_Status_t RecordingBackend::takeFailure(BackendCall kind, const std::string& subjectName) {
  auto it = std::find_if(failures_.begin(), failures_.end(), [&](const Failure& f) {
    return f.kind == kind && (f.subjectName.empty() || f.subjectName == subjectName);
  });
  if (it == failures_.end()) return 0;
  const Vrx_Status_t status = it->status;
  failures_.erase(it);
  return status;
}

std::vector<const RecordedCall*> RecordingBackend::callsOf(BackendCall kind) const {
  std::vector<const RecordedCall*> found;
  for (const auto& call : calls_) {
    if (call.kind == kind) found.push_back(&call);
  }
  return found;
}

std::vector<std::string> RecordingBackend::namesOf(BackendCall kind) const {
  std::vector<std::string> names;
  for (const auto* call : callsOf(kind)) names.push_back(call->subjectName());
  return names;
}

const Vrx_OpConfig_t* RecordingBackend::addedNode(const std::string& name) const {
  for (const auto* call : callsOf(BackendCall::AddNode)) {
    if (call->subjectName() == name) return &call->op->record();
  }
  return nullptr;
}

const Vrx_Tensor_t* RecordingBackend::createdTensor(const std::string& name) const {
  for (const auto* call : callsOf(BackendCall::CreateGraphTensor)) {
    if (call->subjectName() == name) return &call->tensor->record();
  }
  return nullptr;
}

Vrx_Status_t RecordingBackend::recordOp(BackendCall kind, void* handle, const Vrx_OpConfig_t& config) {
  RecordedCall call;
  call.kind = kind;
  call.handle = handle;
  call.op = std::make_shared<OpConfigCopy>(config);
  call.status = takeFailure(kind, call.subjectName());
  calls_.push_back(std::move(call));
  return calls_.back().status;
}

Vrx_Status_t RecordingBackend::recordTensor(BackendCall kind, void* handle, Vrx_Tensor_t* tensor) {
  const std::string name = tensor != nullptr && tensor->name != nullptr ? tensor->name : "";
  const Vrx_Status_t status = takeFailure(kind, name);
  if (status == 0 && tensor != nullptr) tensor->id = nextTensorId_++;
  RecordedCall call;
  call.kind = kind;
  call.handle = handle;
  if (tensor != nullptr) call.tensor = std::make_shared<TensorRecordCopy>(*tensor);
  call.status = status;
  calls_.push_back(std::move(call));
  return status;
}

Vrx_Status_t RecordingBackend::validateOpConfig(Vrx_BackendHandle_t handle, Vrx_OpConfig_t config) {
  return ownerOf(handle).recordOp(BackendCall::ValidateOpConfig, handle, config);
}

Vrx_Status_t RecordingBackend::addNode(Vrx_GraphHandle_t handle, Vrx_OpConfig_t config) {
  return ownerOf(handle).recordOp(BackendCall::AddNode, handle, config);
}

Vrx_Status_t RecordingBackend::graphFinalize(Vrx_GraphHandle_t handle, void* arg1, void* arg2) {
  auto& self = ownerOf(handle);
  RecordedCall call;
  call.kind = BackendCall::GraphFinalize;
  call.handle = handle;
  call.finalizeArg1 = arg1;
  call.finalizeArg2 = arg2;
  const Vrx_Status_t failure = self.takeFailure(BackendCall::GraphFinalize, "");
  call.status = failure != 0 ? failure : self.finalizeStatus_;
  self.calls_.push_back(call);
  return call.status;
}

Vrx_Status_t RecordingBackend::createContextTensor(Vrx_ContextHandle_t handle, Vrx_Tensor_t* tensor) {
  return ownerOf(handle).recordTensor(BackendCall::CreateContextTensor, handle, tensor);
}

Vrx_Status_t RecordingBackend::createGraphTensor(Vrx_GraphHandle_t handle, Vrx_Tensor_t* tensor) {
  return ownerOf(handle).recordTensor(BackendCall::CreateGraphTensor, handle, tensor);
}

}  // namespace vrx::test
