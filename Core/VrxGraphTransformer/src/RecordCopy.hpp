#pragma once

// Deep copies of backend records. A copy's pointers lead into memory that the copy owns,
// so a client may free or reuse what it handed in as soon as a call returns.

#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "VrxBackendRecords.h"

namespace vrx::core::graphtransformer {

// Owns the memory that copied records point into. Blocks never move, so the pointers
// stay valid when the arena itself is moved.
class RecordArena {
 public:
  // A copy of `count` elements; null stays null, so a copy keeps the null-ness of its source.
  template <class T>
  T* copyArray(const T* source, size_t count) {
    if (source == nullptr) return nullptr;
    T* target = allocate<T>(count);
    if (count > 0) std::memcpy(static_cast<void*>(target), source, count * sizeof(T));
    return target;
  }

  // Zeroed storage for `count` elements (at least one, so the pointer is never null).
  template <class T>
  T* allocate(size_t count) {
    const size_t units = ((count == 0 ? 1 : count) * sizeof(T) + sizeof(std::max_align_t) - 1) /
                         sizeof(std::max_align_t);
    auto& block = blocks_.emplace_back(new std::max_align_t[units]);
    // Value-initializing max_align_t would leave its padding bytes unset.
    std::memset(static_cast<void*>(block.get()), 0, units * sizeof(std::max_align_t));
    return reinterpret_cast<T*>(block.get());
  }

  const char* copyString(const char* source);

 private:
  std::vector<std::unique_ptr<std::max_align_t[]>> blocks_;
};

// Copies a tensor record and all it points to. A record whose version isn't 2 is read only
// up to its version-2 fields, which the copy gets as "none".
Vrx_Tensor_t copyTensorRecord(const Vrx_Tensor_t& source, RecordArena& arena);

// Copies quantization params; `dims` are the tensor's dimensions, which size the block encodings.
Vrx_QuantizeParams_t copyQuantizeParams(const Vrx_QuantizeParams_t& source, std::span<const uint32_t> dims,
                                        RecordArena& arena);

// Copies an op config with its params and tensor records. A version other than 1 has no
// config: only the version is kept.
Vrx_OpConfig_t copyOpConfig(const Vrx_OpConfig_t& source, RecordArena& arena);

// A tensor record that owns everything it points to.
class TensorRecordCopy {
 public:
  explicit TensorRecordCopy(const Vrx_Tensor_t& source);
  TensorRecordCopy(TensorRecordCopy&&) = default;
  TensorRecordCopy& operator=(TensorRecordCopy&&) = default;

  Vrx_Tensor_t& record() { return record_; }
  const Vrx_Tensor_t& record() const { return record_; }

 private:
  std::unique_ptr<RecordArena> arena_;
  Vrx_Tensor_t record_;
};

// An op config that owns everything it points to.
class OpConfigCopy {
 public:
  explicit OpConfigCopy(const Vrx_OpConfig_t& source);
  OpConfigCopy(OpConfigCopy&&) = default;
  OpConfigCopy& operator=(OpConfigCopy&&) = default;

  Vrx_OpConfig_t& record() { return record_; }
  const Vrx_OpConfig_t& record() const { return record_; }

 private:
  std::unique_ptr<RecordArena> arena_;
  Vrx_OpConfig_t record_;
};

}  // namespace vrx::core::graphtransformer
