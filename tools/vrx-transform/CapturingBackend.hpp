#pragma once

// The backend of vrx-transform. It accepts every call, hands out tensor IDs, and keeps a
// copy of each tensor it is asked to create and of each node it is given, so that the
// composed graph can be written out.

#include <set>
#include <string>
#include <vector>

#include "RecordCopy.hpp"
#include "VrxGraphTransformer.h"
#include "tools/graphfile/GraphFile.hpp"

namespace vrx::tools {

class CapturingBackend {
 public:
  CapturingBackend();
  CapturingBackend(const CapturingBackend&) = delete;
  CapturingBackend& operator=(const CapturingBackend&) = delete;

  const VrxBackendFunctionTable* table() const { return &table_; }
  Vrx_BackendHandle_t backendHandle() { return &backendTag_; }
  Vrx_ContextHandle_t contextHandle() { return &contextTag_; }
  Vrx_GraphHandle_t graphHandle() { return &graphTag_; }

  // The graph as received; its records point into this backend. A tensor that the backend
  // knows only as a param's tensor is left out of the tensor list: the param carries it.
  GraphRecords graph() const;

  bool finalized() const { return finalized_; }
  // Names under which a tensor was created more than once; only the first one is kept.
  const std::vector<std::string>& repeatedTensors() const { return repeatedTensors_; }

 private:
  struct Tag {
    CapturingBackend* owner;
  };

  static CapturingBackend& ownerOf(void* handle) { return *static_cast<Tag*>(handle)->owner; }
  static Vrx_Status_t validateOpConfig(Vrx_BackendHandle_t handle, Vrx_OpConfig_t config);
  static Vrx_Status_t addNode(Vrx_GraphHandle_t handle, Vrx_OpConfig_t config);
  static Vrx_Status_t graphFinalize(Vrx_GraphHandle_t handle, void* arg1, void* arg2);
  static Vrx_Status_t createTensor(void* handle, Vrx_Tensor_t* tensor);

  VrxBackendFunctionTable table_{};
  Tag backendTag_{this};
  Tag contextTag_{this};
  Tag graphTag_{this};
  std::vector<core::graphtransformer::TensorRecordCopy> tensors_;
  std::set<std::string> tensorNames_;
  std::vector<core::graphtransformer::OpConfigCopy> nodes_;
  std::vector<std::string> repeatedTensors_;
  uint32_t nextTensorId_ = 1;
  bool finalized_ = false;
};

}  // namespace vrx::tools
