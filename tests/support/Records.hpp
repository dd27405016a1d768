#pragma once

// Builders of client records for tests. A `Records` object owns every string and array its
// records point to; `scribble()` overwrites all of it, so a test can prove that the library
// kept nothing of the client's memory.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "VrxGraphTransformer.h"

namespace vrx::test {

class Records {
 public:
  // A dense float tensor record of version 2 without quantization and data.
  Vrx_Tensor_t tensor(const std::string& name, uint32_t type, std::vector<uint32_t> dims,
                      uint32_t dataType = VRX_DATATYPE_FLOAT_32);
  // A static tensor whose buffer holds `bytes`.
  Vrx_Tensor_t staticTensor(const std::string& name, std::vector<uint32_t> dims, uint32_t dataType,
                            std::vector<uint8_t> bytes);
  Vrx_Tensor_t floatWeights(const std::string& name, std::vector<uint32_t> dims);

  Vrx_Param_t scalarU32(const std::string& name, uint32_t value);
  Vrx_Param_t scalarF32(const std::string& name, float value);
  Vrx_Param_t scalarBool(const std::string& name, bool value);
  Vrx_Param_t tensorU32(const std::string& name, std::vector<uint32_t> values, std::vector<uint32_t> dims);

  Vrx_OpConfig_t op(const std::string& name, const std::string& type, std::vector<Vrx_Tensor_t> inputs,
                    std::vector<Vrx_Tensor_t> outputs, std::vector<Vrx_Param_t> params = {},
                    const std::string& package = "vrx.core");

  const char* text(const std::string& s) { return strings_.emplace_back(s).c_str(); }
  template <class T>
  T* array(std::vector<T> values) {
    auto& bytes = buffers_.emplace_back(values.size() * sizeof(T) + 1);
    std::copy(reinterpret_cast<const uint8_t*>(values.data()),
              reinterpret_cast<const uint8_t*>(values.data() + values.size()), bytes.begin());
    return reinterpret_cast<T*>(bytes.data());
  }

  // Overwrites every byte and character that records of this object point to.
  void scribble();

 private:
  std::deque<std::string> strings_;
  std::deque<std::vector<uint8_t>> buffers_;
  std::deque<std::vector<Vrx_Tensor_t>> tensorArrays_;
  std::deque<std::vector<Vrx_Param_t>> paramArrays_;
};

}  // namespace vrx::test
