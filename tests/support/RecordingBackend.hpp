#pragma once

// A backend for tests: its function table deep-copies every record it receives into an
// inspectable log, gives out tensor IDs, and can be told to fail a chosen call.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "RecordCopy.hpp"
#include "VrxGraphTransformer.h"

namespace vrx::test {

enum class BackendCall { ValidateOpConfig, AddNode, GraphFinalize, CreateContextTensor, CreateGraphTensor };

const char* backendCallName(BackendCall call);

struct RecordedCall {
  BackendCall kind = BackendCall::AddNode;
  void* handle = nullptr;
  std::shared_ptr<core::graphtransformer::OpConfigCopy> op;          // validateOpConfig, addNode
  std::shared_ptr<core::graphtransformer::TensorRecordCopy> tensor;  // create*Tensor, after the backend's changes
  void* finalizeArg1 = nullptr;
  void* finalizeArg2 = nullptr;
  Vrx_Status_t status = 0;

  // The op's or the tensor's name, "" for graphFinalize.
  std::string subjectName() const;
};

class RecordingBackend {
 public:
  RecordingBackend();
  RecordingBackend(const RecordingBackend&) = delete;
  RecordingBackend& operator=(const RecordingBackend&) = delete;

  const VrxBackendFunctionTable* table() const { return &table_; }
  Vrx_BackendHandle_t backendHandle() { return &backendTag_; }
  Vrx_ContextHandle_t contextHandle() { return &contextTag_; }
  Vrx_GraphHandle_t graphHandle() { return &graphTag_; }

  // The next call of this kind (on the op or tensor of that name, if one is given) returns
  // `status`; the call is still recorded.
  void failNext(BackendCall kind, Vrx_Status_t status, std::string subjectName = {});

  // The status graphFinalize returns when it doesn't fail.
  void setFinalizeStatus(Vrx_Status_t status) { finalizeStatus_ = status; }

  const std::vector<RecordedCall>& calls() const { return calls_; }
  std::vector<const RecordedCall*> callsOf(BackendCall kind) const;
  size_t count(BackendCall kind) const { return callsOf(kind).size(); }
  // Names of the ops or tensors of the calls of one kind, in order.
  std::vector<std::string> namesOf(BackendCall kind) const;
  // The first addNode record of the op of that name, or null.
  const Vrx_OpConfig_t* addedNode(const std::string& name) const;
  // The first createGraphTensor record of the tensor of that name, or null.
  const Vrx_Tensor_t* createdTensor(const std::string& name) const;
  void clear() { calls_.clear(); }

  // Tensor IDs handed out by the create functions start here.
  static constexpr uint32_t kFirstTensorId = 1000;

 private:
  struct Tag {
    RecordingBackend* owner;
  };
  struct Failure {
    BackendCall kind = BackendCall::AddNode;
    Vrx_Status_t status;
    std::string subjectName;
  };

  static RecordingBackend& ownerOf(void* handle) { return *static_cast<Tag*>(handle)->owner; }
  static Vrx_Status_t validateOpConfig(Vrx_BackendHandle_t handle, Vrx_OpConfig_t config);
  static Vrx_Status_t addNode(Vrx_GraphHandle_t handle, Vrx_OpConfig_t config);
  static Vrx_Status_t graphFinalize(Vrx_GraphHandle_t handle, void* arg1, void* arg2);
  static Vrx_Status_t createContextTensor(Vrx_ContextHandle_t handle, Vrx_Tensor_t* tensor);
  static Vrx_Status_t createGraphTensor(Vrx_GraphHandle_t handle, Vrx_Tensor_t* tensor);

  Vrx_Status_t recordOp(BackendCall kind, void* handle, const Vrx_OpConfig_t& config);
  Vrx_Status_t recordTensor(BackendCall kind, void* handle, Vrx_Tensor_t* tensor);
  Vrx_Status_t takeFailure(BackendCall kind, const std::string& subjectName);

  VrxBackendFunctionTable table_{};
  Tag backendTag_{this};
  Tag contextTag_{this};
  Tag graphTag_{this};
  std::vector<RecordedCall> calls_;
  std::vector<Failure> failures_;
  uint32_t nextTensorId_ = kFirstTensorId;
  Vrx_Status_t finalizeStatus_ = 0;
};

}  // namespace vrx::test
