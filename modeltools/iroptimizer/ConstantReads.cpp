#include "ConstantReads.hpp"

#include <algorithm>
#include <cmath>

#include "HelperFailure.hpp"
#include "OpStructure.hpp"
#include "modeltools/translation/TensorDataConversion.hpp"

namespace modeltools::iroptimizer {
namespace {

template <class T>
bool allEqualTyped(const IrStaticTensor& tensor, uint32_t count, float* first) {
  const auto values = tensor.values<T>();
  if (values.size() < count) return false;
  for (uint32_t i = 1; i < count; ++i) {
    if (values[i] != values[0]) return false;
  }
  if (first != nullptr) *first = static_cast<float>(values[0]);
  return true;
}

template <class T>
bool anyNegativeTyped(const IrStaticTensor& tensor) {
  const auto values = tensor.values<T>();
  return std::any_of(values.begin(), values.end(), [](T v) { return v < T(0); });
}

bool isFloatScalarTensor(const StaticTensorPtr& tensor) {
  return tensor && !tensor->shape().hasDynamicAxes() && tensor->elements() == 1 &&
         (tensor->dataType() == VRX_DATATYPE_FLOAT_32 || tensor->dataType() == VRX_DATATYPE_FLOAT_16);
}

}  // namespace

float getConstValue(const TensorPtr& tensor) {
  if (!tensor) throw helperFailure("getConstValue", "Null tensor passed to getConstValue");
  const uint32_t count = tensor->elements();
  if (count != 1) throw helperFailure("getConstValue", "Expected 1 element but found ", count);
  auto data = asStatic(tensor);
  switch (tensor->dataType()) {
    case VRX_DATATYPE_INT_32:
    case VRX_DATATYPE_UINT_32:
    case VRX_DATATYPE_FLOAT_16:
    case VRX_DATATYPE_FLOAT_32:
      if (data) return convertTensorToFloat32(data)[0];
      [[fallthrough]];
    default:
      throw helperFailure("getConstValue", "Found Unsupported VRX datatype in getConstValue function.");
  }
}

bool getStaticFloatScalar(const TensorPtr& tensor, double& value) {
  auto data = asStatic(tensor);
  if (!isFloatScalarTensor(data)) return false;
  value = convertTensorToFloat32(data)[0];
  return true;
}

bool allElementsEqualToValue(const TensorPtr& tensor, float* first) {
  auto data = asStatic(tensor);
  if (!data || data->shape().hasDynamicAxes() || data->elements() == 0) return false;
  const uint32_t count = data->elements();
  switch (data->dataType()) {
    case VRX_DATATYPE_INT_8: return allEqualTyped<int8_t>(*data, count, first);
    case VRX_DATATYPE_UINT_8: return allEqualTyped<uint8_t>(*data, count, first);
    case VRX_DATATYPE_INT_16: return allEqualTyped<int16_t>(*data, count, first);
    case VRX_DATATYPE_UINT_16: return allEqualTyped<uint16_t>(*data, count, first);
    case VRX_DATATYPE_INT_32: return allEqualTyped<int32_t>(*data, count, first);
    case VRX_DATATYPE_UINT_32: return allEqualTyped<uint32_t>(*data, count, first);
    case VRX_DATATYPE_FLOAT_32: return allEqualTyped<float>(*data, count, first);
    case VRX_DATATYPE_FLOAT_16: {
      const FloatBuffer values = convertTensorToFloat32(data);
      for (uint32_t i = 1; i < count; ++i) {
        if (values[i] != values[0]) return false;
      }
      if (first != nullptr) *first = values[0];
      return true;
    }
    default:
      return false;
  }
}

bool allElementsEqualTo(const TensorPtr& tensor, float value) {
  if (!tensor) throw helperFailure("allElementsEqualToValue", "Null tensor passed to allElementsEqualToValue");
  auto data = asStatic(tensor);
  if (!data || data->shape().hasDynamicAxes()) return false;
  const uint32_t count = data->elements();
  if (count == 0) throw helperFailure("allElementsEqualToValue", "Tensor has zero elements");
  switch (data->dataType()) {
    case VRX_DATATYPE_INT_8: case VRX_DATATYPE_UINT_8: case VRX_DATATYPE_INT_16: case VRX_DATATYPE_UINT_16:
    case VRX_DATATYPE_INT_32: case VRX_DATATYPE_UINT_32: case VRX_DATATYPE_FLOAT_16: case VRX_DATATYPE_FLOAT_32:
      break;
    default:
      return false;
  }
  const FloatBuffer values = convertTensorToFloat32(data);
  return std::all_of(values.get(), values.get() + count, [value](float v) { return v == value; });
}

bool anyElementNegative(const TensorPtr& tensor) {
  if (!tensor) throw helperFailure("anyElementNegative", "Null tensor passed to anyElementNegative");
  auto data = asStatic(tensor);
  if (!data) return false;
  switch (data->dataType()) {
    case VRX_DATATYPE_INT_8: return anyNegativeTyped<int8_t>(*data);
    case VRX_DATATYPE_INT_16: return anyNegativeTyped<int16_t>(*data);
    case VRX_DATATYPE_INT_32: return anyNegativeTyped<int32_t>(*data);
    case VRX_DATATYPE_INT_64: return anyNegativeTyped<int64_t>(*data);
    case VRX_DATATYPE_FLOAT_32: return anyNegativeTyped<float>(*data);
    case VRX_DATATYPE_FLOAT_16: {
      const FloatBuffer values = convertTensorToFloat32(data);
      return std::any_of(values.get(), values.get() + data->elements(), [](float v) { return v < 0; });
    }
    default:
      return false;
  }
}

std::vector<uint32_t> staticTensorToU32List(const StaticTensorPtr& tensor) {
  if (!tensor) return {};  // e.g. a list attribute whose tensor holds no data
  const uint32_t count = tensor->dims().empty() ? 0 : tensor->dims()[0];
  const auto values = tensor->values<uint32_t>();
  if (count > values.size()) throw std::out_of_range("Index out of bounds for IrStaticTensor");
  return {values.begin(), values.begin() + count};
}

std::vector<uint32_t> listAttribute(const ops::IrOp& op, const std::string& name) {
  return staticTensorToU32List(op.attrs()->getStaticTensor(name));
}

bool allNearZero(const float* values, size_t count) {
  return std::all_of(values, values + count, [](float v) { return std::fabs(v) <= 1e-8f; });
}

bool isClose(double a, double b, double rtol, double atol) { return std::fabs(a - b) <= std::fabs(b) * rtol + atol; }

bool hasStaticScalarNear(const OpPtr& op, double value, double rtol, double atol) {
  for (const auto& input : op->getInputs()) {
    double x = 0;
    if (getStaticFloatScalar(input, x) && isClose(x, value, rtol, atol)) return true;
  }
  return false;
}

}  // namespace modeltools::iroptimizer
