#include "Records.hpp"

#include <algorithm>
#include <cstring>

namespace vrx::test {

Vrx_Tensor_t Records::tensor(const std::string& name, uint32_t type, std::vector<uint32_t> dims, uint32_t dataType) {
  Vrx_Tensor_t t{};
  t.version = 2;
  t.name = text(name);
  t.type = type;
  t.dataFormat = VRX_TENSOR_DATA_FORMAT_DENSE;
  t.dataType = dataType;
  t.quantizeParams.encodingDefinition = VRX_DEFINITION_UNDEFINED;
  t.quantizeParams.quantizationEncoding = VRX_QUANTIZATION_ENCODING_UNDEFINED;
  t.rank = static_cast<uint32_t>(dims.size());
  t.dimensions = dims.empty() ? nullptr : array(std::move(dims));
  t.sparseParams.layout = VRX_SPARSE_LAYOUT_UNDEFINED;
  return t;
}

Vrx_Tensor_t Records::staticTensor(const std::string& name, std::vector<uint32_t> dims, uint32_t dataType,
                                   std::vector<uint8_t> bytes) {
  Vrx_Tensor_t t = tensor(name, VRX_TENSORTYPE_STATIC, std::move(dims), dataType);
  t.clientBuf.dataSize = static_cast<uint32_t>(bytes.size());
  t.clientBuf.data = array(std::move(bytes));
  return t;
}

Vrx_Tensor_t Records::floatWeights(const std::string& name, std::vector<uint32_t> dims) {
  size_t count = 1;
  for (uint32_t d : dims) count *= d;
  std::vector<float> values(count);
  for (size_t i = 0; i < count; ++i) values[i] = static_cast<float>(i) * 0.5f;
  std::vector<uint8_t> bytes(count * sizeof(float));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return staticTensor(name, std::move(dims), VRX_DATATYPE_FLOAT_32, std::move(bytes));
}

Vrx_Param_t Records::scalarU32(const std::string& name, uint32_t value) {
  Vrx_Param_t p{};
  p.paramType = VRX_PARAMTYPE_SCALAR;
  p.name = text(name);
  p.scalar.dataType = VRX_DATATYPE_UINT_32;
  p.scalar.value.uint32Value = value;
  return p;
}

Vrx_Param_t Records::scalarF32(const std::string& name, float value) {
  Vrx_Param_t p = scalarU32(name, 0);
  p.scalar.dataType = VRX_DATATYPE_FLOAT_32;
  p.scalar.value.floatValue = value;
  return p;
}

Vrx_Param_t Records::scalarBool(const std::string& name, bool value) {
  Vrx_Param_t p = scalarU32(name, 0);
  p.scalar.dataType = VRX_DATATYPE_BOOL_8;
  p.scalar.value.bool8Value = value ? 1 : 0;
  return p;
}

Vrx_Param_t Records::tensorU32(const std::string& name, std::vector<uint32_t> values, std::vector<uint32_t> dims) {
  Vrx_Param_t p{};
  p.paramType = VRX_PARAMTYPE_TENSOR;
  p.name = text(name);
  std::vector<uint8_t> bytes(values.size() * sizeof(uint32_t));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  p.tensor = staticTensor(name, std::move(dims), VRX_DATATYPE_UINT_32, std::move(bytes));
  return p;
}

Vrx_OpConfig_t Records::op(const std::string& name, const std::string& type, std::vector<Vrx_Tensor_t> inputs,
                           std::vector<Vrx_Tensor_t> outputs, std::vector<Vrx_Param_t> params,
                           const std::string& package) {
  Vrx_OpConfig_t config{};
  config.version = 1;
  config.name = text(name);
  config.packageName = text(package);
  config.typeName = text(type);
  config.numOfParams = static_cast<uint32_t>(params.size());
  config.params = params.empty() ? nullptr : paramArrays_.emplace_back(std::move(params)).data();
  config.numOfInputs = static_cast<uint32_t>(inputs.size());
  config.inputTensors = inputs.empty() ? nullptr : tensorArrays_.emplace_back(std::move(inputs)).data();
  config.numOfOutputs = static_cast<uint32_t>(outputs.size());
  config.outputTensors = outputs.empty() ? nullptr : tensorArrays_.emplace_back(std::move(outputs)).data();
  return config;
}

void Records::scribble() {
  for (auto& s : strings_) std::fill(s.begin(), s.end(), '#');
  for (auto& b : buffers_) std::fill(b.begin(), b.end(), 0xA5);
  for (auto& list : tensorArrays_) {
    for (auto& t : list) std::memset(static_cast<void*>(&t), 0xA5, sizeof t);
  }
  for (auto& list : paramArrays_) {
    for (auto& p : list) std::memset(static_cast<void*>(&p), 0xA5, sizeof p);
  }
}

}  // namespace vrx::test
