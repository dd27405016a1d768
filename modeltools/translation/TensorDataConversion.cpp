#include "TensorDataConversion.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "modeltools/ir/DataTypes.hpp"
#include "modeltools/ir/TransformManager.hpp"

namespace modeltools {
namespace {

constexpr const char* kOutputSuffix = "_tensorOut_0";

std::runtime_error unsupportedType(const char* function, uint32_t dataType) {
  std::ostringstream message;
  message << function << ": " << function << ": unsupported data type " << dataType
          << " (fixed-point dtypes require scale/offset and are not supported here)";
  return std::runtime_error(message.str());
}

uint64_t product(const Dims& dims) {
  uint64_t count = 1;
  for (uint32_t d : dims) count *= d;
  return count;
}

float halfToFloat(uint16_t half) {
  const uint32_t sign = static_cast<uint32_t>(half & 0x8000u) << 16;
  const uint32_t exponent = (half >> 10) & 0x1Fu;
  uint32_t mantissa = half & 0x3FFu;
  uint32_t bits;
  if (exponent == 0x1F) {
    bits = sign | 0x7F800000u | (mantissa << 13);  // infinity or NaN
  } else if (exponent != 0) {
    bits = sign | ((exponent + 112) << 23) | (mantissa << 13);
  } else if (mantissa == 0) {
    bits = sign;
  } else {
    // Subnormal: normalize into a single-precision normal number.
    int shift = 0;
    while ((mantissa & 0x400u) == 0) {
      mantissa <<= 1;
      ++shift;
    }
    mantissa &= 0x3FFu;
    bits = sign | (static_cast<uint32_t>(113 - shift) << 23) | (mantissa << 13);
  }
  return std::bit_cast<float>(bits);
}

uint16_t floatToHalf(float value) {
  const uint32_t bits = std::bit_cast<uint32_t>(value);
  const uint16_t sign = static_cast<uint16_t>((bits >> 16) & 0x8000u);
  if (std::isnan(value)) return sign | 0x7E00u;
  const uint32_t magnitude = bits & 0x7FFFFFFFu;
  if (magnitude >= 0x477FF000u) return sign | 0x7C00u;  // rounds to infinity
  if (magnitude < 0x38800000u) {
    // Subnormal half or zero: add the value to 0.5 so the FPU rounds to nearest even.
    const float rounded = std::bit_cast<float>(magnitude) + 0.5f;
    return sign | static_cast<uint16_t>(std::bit_cast<uint32_t>(rounded) - 0x3F000000u);
  }
  const uint32_t mantissaOdd = (magnitude >> 13) & 1u;
  const uint32_t adjusted = magnitude + 0xC8000FFFu + mantissaOdd;  // rebias and round to nearest even
  return sign | static_cast<uint16_t>(adjusted >> 13);
}

template <class T>
void widen(const void* data, uint32_t count, float* out) {
  const auto* values = static_cast<const T*>(data);
  for (uint32_t i = 0; i < count; ++i) out[i] = static_cast<float>(values[i]);
}

template <class Int>
void narrow(const float* source, uint32_t count, uint8_t* destination) {
  auto* out = reinterpret_cast<Int*>(destination);
  for (uint32_t i = 0; i < count; ++i) out[i] = saturateToInt<Int>(source[i]);
}

FloatBuffer freshFloats(uint64_t count) { return FloatBuffer(new float[count == 0 ? 1 : count]()); }

FloatBuffer viewOf(float* data) {
  return FloatBuffer(data, [](float*) {});
}

ByteBuffer viewOf(uint8_t* data) {
  return ByteBuffer(data, [](uint8_t*) {});
}

// The tensor's own data, owned by it, ready to be written.
uint8_t* writableData(const std::shared_ptr<IrStaticTensor>& tensor) {
  if (tensor->borrowedData()) tensor->updateData(tensor->getData(), tensor->dataSize(), false);
  return static_cast<uint8_t*>(tensor->getData());
}

// A new static tensor like `source` but with other shape and data; its history is the
// source's followed by `transform`.
std::shared_ptr<IrStaticTensor> derivedTensor(const std::shared_ptr<IrStaticTensor>& source, const std::string& name,
                                              const Dims& shape, uint32_t dataType, const void* data, uint32_t size,
                                              std::shared_ptr<BaseTransform> transform) {
  auto history = std::make_shared<TransformManager>();
  if (source->transformManager()) {
    for (const auto& earlier : source->transformManager()->transforms()) history->addTransform(earlier);
  }
  if (transform) history->addTransform(std::move(transform));
  auto tensor = std::make_shared<IrStaticTensor>(TensorFields{.name = name.empty() ? source->name() + kOutputSuffix : name,
                                                            .shape = IrTensorShape(shape),
                                                            .dataType = dataType,
                                                            .floatDataType = source->floatDataType(),
                                                            .quantizable = source->quantizable(),
                                                            .axisFormat = source->axisFormat(),
                                                            .srcAxisFormat = source->srcAxisFormat(),
                                                            .kind = tensorkind::kStatic},
                                                 data, size, false, std::move(history));
  tensor->setQuantInfo(source->quantInfo());
  return tensor;
}

[[noreturn]] void unsupportedOperation() { throw std::runtime_error("Unsupported VRX ElementWise operation"); }

float applyOperation(uint32_t operation, float a, float b) {
  switch (operation) {
    case 0: return a + b;
    case 2: return a / b;
    case 13: return a * b;
    case 16: return std::pow(a, b);
    case 18: return a - b;
    default: unsupportedOperation();
  }
}

// Strides of a shape right-aligned to `rank` dimensions; broadcast (size-1) dimensions get 0.
std::vector<uint64_t> broadcastStrides(const Dims& aligned) {
  std::vector<uint64_t> strides(aligned.size(), 0);
  uint64_t stride = 1;
  for (size_t i = aligned.size(); i-- > 0;) {
    strides[i] = aligned[i] == 1 ? 0 : stride;
    stride *= aligned[i];
  }
  return strides;
}

Dims alignTo(const Dims& dims, size_t rank) {
  Dims aligned(rank - dims.size(), 1);
  aligned.insert(aligned.end(), dims.begin(), dims.end());
  return aligned;
}

template <class T>
void permuteElements(const T* input, T* output, const Dims& inputShape, const Dims& outputShape,
                     const std::vector<uint32_t>& permutation) {
  const size_t rank = inputShape.size();
  std::vector<uint64_t> inputStrides(rank, 1);
  for (size_t i = rank; i-- > 1;) inputStrides[i - 1] = inputStrides[i] * inputShape[i];
  const uint64_t count = product(inputShape);
  std::vector<uint32_t> index(rank, 0);  // the output's multi-index, counted up in row-major order
  for (uint64_t flat = 0; flat < count; ++flat) {
    uint64_t source = 0;
    for (size_t d = 0; d < rank; ++d) source += index[d] * inputStrides[permutation[d]];
    output[flat] = input[source];
    for (size_t d = rank; d-- > 0;) {
      if (++index[d] < outputShape[d]) break;
      index[d] = 0;
    }
  }
}

}  // namespace

uint32_t elementSize(uint32_t dataType) {
  const uint32_t width = modeltools::dataTypeByteWidth(dataType);
  return width == 0 ? 1 : width;
}

template <class Int>
Int saturateToInt(float value) {
  if (std::isnan(value)) throw std::runtime_error("saturateToInt: saturateToInt: cannot encode NaN into an integer destination type");
  const double rounded = std::nearbyint(static_cast<double>(value));
  const auto low = static_cast<double>(std::numeric_limits<Int>::min());
  const auto high = static_cast<double>(std::numeric_limits<Int>::max());
  if (rounded <= low) return std::numeric_limits<Int>::min();
  if (rounded >= high) return std::numeric_limits<Int>::max();
  return static_cast<Int>(rounded);
}
template int8_t saturateToInt<int8_t>(float);
template uint8_t saturateToInt<uint8_t>(float);
template int16_t saturateToInt<int16_t>(float);
template uint16_t saturateToInt<uint16_t>(float);
template int32_t saturateToInt<int32_t>(float);
template uint32_t saturateToInt<uint32_t>(float);

FloatBuffer convertTensorToFloat32(const std::shared_ptr<IrStaticTensor>& tensor) {
  const uint32_t dataType = tensor->dataType();
  if (dataType == VRX_DATATYPE_FLOAT_32) return viewOf(static_cast<float*>(tensor->getData()));
  const uint32_t count = static_cast<uint32_t>(product(tensor->dims()));
  FloatBuffer out = freshFloats(count);
  const void* data = tensor->getData();
  switch (dataType) {
    case VRX_DATATYPE_BFLOAT_16: {
      const auto* values = static_cast<const uint16_t*>(data);
      for (uint32_t i = 0; i < count; ++i) out[i] = std::bit_cast<float>(static_cast<uint32_t>(values[i]) << 16);
      break;
    }
    case VRX_DATATYPE_FLOAT_16: {
      const auto* values = static_cast<const uint16_t*>(data);
      for (uint32_t i = 0; i < count; ++i) out[i] = halfToFloat(values[i]);
      break;
    }
    case VRX_DATATYPE_UINT_8:
    case VRX_DATATYPE_BOOL_8: widen<uint8_t>(data, count, out.get()); break;
    case VRX_DATATYPE_UINT_16: widen<uint16_t>(data, count, out.get()); break;
    case VRX_DATATYPE_UINT_32: widen<uint32_t>(data, count, out.get()); break;
    case VRX_DATATYPE_INT_8: widen<int8_t>(data, count, out.get()); break;
    case VRX_DATATYPE_INT_16: widen<int16_t>(data, count, out.get()); break;
    case VRX_DATATYPE_INT_32: widen<int32_t>(data, count, out.get()); break;
    default: throw unsupportedType("convertTensorToFloat32", dataType);
  }
  return out;
}

ByteBuffer convertFromFloat32ToTargetDtype(const float* source, uint32_t count, uint32_t targetDataType,
                                           uint8_t* destination) {
  if (targetDataType == VRX_DATATYPE_FLOAT_32 && destination == nullptr) {
    return viewOf(reinterpret_cast<uint8_t*>(const_cast<float*>(source)));
  }
  switch (targetDataType) {
    case VRX_DATATYPE_FLOAT_32: case VRX_DATATYPE_FLOAT_16: case VRX_DATATYPE_BFLOAT_16:
    case VRX_DATATYPE_UINT_8: case VRX_DATATYPE_BOOL_8: case VRX_DATATYPE_UINT_16: case VRX_DATATYPE_UINT_32:
    case VRX_DATATYPE_INT_8: case VRX_DATATYPE_INT_16: case VRX_DATATYPE_INT_32:
      break;
    default:
      throw unsupportedType("convertFromFloat32ToTargetDtype", targetDataType);
  }
  ByteBuffer out = destination != nullptr
                       ? viewOf(destination)
                       : ByteBuffer(new uint8_t[static_cast<size_t>(count) * elementSize(targetDataType) + 1]());
  uint8_t* bytes = out.get();
  switch (targetDataType) {
    case VRX_DATATYPE_FLOAT_32: std::memmove(bytes, source, static_cast<size_t>(count) * sizeof(float)); break;
    case VRX_DATATYPE_FLOAT_16: {
      auto* values = reinterpret_cast<uint16_t*>(bytes);
      for (uint32_t i = 0; i < count; ++i) values[i] = floatToHalf(source[i]);
      break;
    }
    case VRX_DATATYPE_BFLOAT_16: {
      auto* values = reinterpret_cast<uint16_t*>(bytes);
      for (uint32_t i = 0; i < count; ++i) values[i] = static_cast<uint16_t>(std::bit_cast<uint32_t>(source[i]) >> 16);
      break;
    }
    case VRX_DATATYPE_UINT_8:
    case VRX_DATATYPE_BOOL_8: narrow<uint8_t>(source, count, bytes); break;
    case VRX_DATATYPE_UINT_16: narrow<uint16_t>(source, count, bytes); break;
    case VRX_DATATYPE_UINT_32: narrow<uint32_t>(source, count, bytes); break;
    case VRX_DATATYPE_INT_8: narrow<int8_t>(source, count, bytes); break;
    case VRX_DATATYPE_INT_16: narrow<int16_t>(source, count, bytes); break;
    default: narrow<int32_t>(source, count, bytes); break;
  }
  return out;
}

void applyElementwiseBinary(uint32_t operation, const Dims& shapeA, const Dims& shapeB, const Dims& outputShape,
                            const float* a, const float* b, float* out) {
  const size_t rank = std::max({shapeA.size(), shapeB.size(), outputShape.size()});
  const Dims alignedA = alignTo(shapeA, rank);
  const Dims alignedB = alignTo(shapeB, rank);
  const Dims alignedOut = alignTo(outputShape, rank);
  for (size_t d = 0; d < rank; ++d) {
    if (alignedA[d] != alignedB[d] && alignedA[d] != 1 && alignedB[d] != 1) {
      throw std::runtime_error("Error in the input dimensions");
    }
    if (alignedOut[d] != std::max(alignedA[d], alignedB[d])) throw std::runtime_error("Error in the output dimensions");
    if (alignedOut[d] == 0) unsupportedOperation();
  }
  applyOperation(operation, 0.0f, 1.0f);  // refuses an unserved code before anything is written
  const auto stridesA = broadcastStrides(alignedA);
  const auto stridesB = broadcastStrides(alignedB);
  const uint64_t count = product(alignedOut);
  std::vector<uint32_t> index(rank, 0);
  for (uint64_t flat = 0; flat < count; ++flat) {
    uint64_t offsetA = 0, offsetB = 0;
    for (size_t d = 0; d < rank; ++d) {
      offsetA += index[d] * stridesA[d];
      offsetB += index[d] * stridesB[d];
    }
    out[flat] = applyOperation(operation, a[offsetA], b[offsetB]);
    for (size_t d = rank; d-- > 0;) {
      if (++index[d] < alignedOut[d]) break;
      index[d] = 0;
    }
  }
}

std::shared_ptr<IrStaticTensor> foldStaticBinary(uint32_t operation, const std::shared_ptr<IrStaticTensor>& a,
                                                 const std::shared_ptr<IrStaticTensor>& b,
                                                 const std::string& outputName, bool inPlace) {
  const Dims shapeA = a->dims();
  const Dims shapeB = b->dims();
  const uint32_t dataType = a->dataType();
  const FloatBuffer valuesA = convertTensorToFloat32(a);
  const FloatBuffer valuesB = convertTensorToFloat32(b);
  const auto count = static_cast<uint32_t>(product(shapeA));
  if (inPlace) {
    if (dataType == VRX_DATATYPE_FLOAT_32) {
      applyElementwiseBinary(operation, shapeA, shapeB, shapeA, valuesA.get(), valuesB.get(),
                             reinterpret_cast<float*>(writableData(a)));
      return a;
    }
    FloatBuffer result = freshFloats(count);
    applyElementwiseBinary(operation, shapeA, shapeB, shapeA, valuesA.get(), valuesB.get(), result.get());
    convertFromFloat32ToTargetDtype(result.get(), count, dataType, writableData(a));
    return a;
  }
  FloatBuffer result = freshFloats(count);
  applyElementwiseBinary(operation, shapeA, shapeB, shapeA, valuesA.get(), valuesB.get(), result.get());
  const ByteBuffer converted = convertFromFloat32ToTargetDtype(result.get(), count, dataType, nullptr);
  return derivedTensor(a, outputName, shapeA, dataType, converted.get(), count * elementSize(dataType), nullptr);
}

std::shared_ptr<IrStaticTensor> foldStaticAdd(const std::shared_ptr<IrStaticTensor>& a,
                                              const std::shared_ptr<IrStaticTensor>& b, const std::string& outputName,
                                              bool inPlace) {
  return foldStaticBinary(0, a, b, outputName, inPlace);
}

std::shared_ptr<IrStaticTensor> foldStaticMultiply(const std::shared_ptr<IrStaticTensor>& a,
                                                   const std::shared_ptr<IrStaticTensor>& b,
                                                   const std::string& outputName, bool inPlace) {
  return foldStaticBinary(13, a, b, outputName, inPlace);
}

void applyGroupedScale(const float* data, const float* scales, const GroupedScaleLayout& layout, float* out) {
  if ((layout.outerDims.size() != 2 && layout.outerDims.size() != 3) || layout.groups == 0) return;
  const uint64_t outer = product(layout.outerDims);
  const uint32_t members = layout.rowLength / layout.groups;
  for (uint64_t o = 0; o < outer; ++o) {
    for (uint32_t group = 0; group < layout.groups; ++group) {
      for (uint32_t member = 0; member < members; ++member) {
        const uint64_t row = (o * layout.rowLength + group * members + member) * layout.inner;
        for (uint32_t j = 0; j < layout.inner; ++j) out[row + j] = data[row + j] * scales[j];
      }
    }
  }
}

std::shared_ptr<IrStaticTensor> foldGroupedScale(const std::shared_ptr<IrStaticTensor>& data,
                                                 const std::shared_ptr<IrStaticTensor>& scales,
                                                 const GroupedScaleLayout& layout, const std::string& outputName,
                                                 bool inPlace) {
  const uint32_t dataType = data->dataType();
  const auto count = static_cast<uint32_t>(product(data->dims()));
  const FloatBuffer values = convertTensorToFloat32(data);
  const FloatBuffer scaleValues = convertTensorToFloat32(scales);
  if (inPlace && dataType == VRX_DATATYPE_FLOAT_32) {
    applyGroupedScale(values.get(), scaleValues.get(), layout, reinterpret_cast<float*>(writableData(data)));
    return data;
  }
  FloatBuffer result = freshFloats(count);
  applyGroupedScale(values.get(), scaleValues.get(), layout, result.get());
  if (inPlace) {
    convertFromFloat32ToTargetDtype(result.get(), count, dataType, writableData(data));
    return data;
  }
  const ByteBuffer converted = convertFromFloat32ToTargetDtype(result.get(), count, dataType, nullptr);
  return derivedTensor(data, outputName, data->dims(), dataType, converted.get(), count * elementSize(dataType),
                       nullptr);
}

ByteBuffer dispatchTransposeTensorRefImpl(const std::shared_ptr<IrStaticTensor>& tensor, const Dims& outputShape,
                                          const std::vector<uint32_t>& permutation) {
  const Dims& inputShape = tensor->dims();
  const uint64_t count = product(inputShape);
  ByteBuffer out(new uint8_t[count * elementSize(tensor->dataType()) + 1]());
  const void* input = tensor->getData();
  switch (tensor->dataType()) {
    case VRX_DATATYPE_FLOAT_32:
    case VRX_DATATYPE_UINT_32:
    case VRX_DATATYPE_UFIXED_POINT_32:
    case VRX_DATATYPE_INT_32:
    case VRX_DATATYPE_SFIXED_POINT_32:
      permuteElements(static_cast<const uint32_t*>(input), reinterpret_cast<uint32_t*>(out.get()), inputShape,
                      outputShape, permutation);
      break;
    case VRX_DATATYPE_UINT_16:
    case VRX_DATATYPE_UFIXED_POINT_16:
    case VRX_DATATYPE_FLOAT_16:
    case VRX_DATATYPE_BFLOAT_16:
    case VRX_DATATYPE_INT_16:
    case VRX_DATATYPE_SFIXED_POINT_16:
      permuteElements(static_cast<const uint16_t*>(input), reinterpret_cast<uint16_t*>(out.get()), inputShape,
                      outputShape, permutation);
      break;
    case VRX_DATATYPE_UINT_8:
    case VRX_DATATYPE_UFIXED_POINT_8:
    case VRX_DATATYPE_BOOL_8:
    case VRX_DATATYPE_INT_8:
    case VRX_DATATYPE_SFIXED_POINT_8:
      permuteElements(static_cast<const uint8_t*>(input), out.get(), inputShape, outputShape, permutation);
      break;
    default:
      throw std::runtime_error("dispatchTransposeTensorRefImpl: Unsupported data type");
  }
  return out;
}

std::shared_ptr<IrStaticTensor> transposeStaticTensor(const std::shared_ptr<IrStaticTensor>& tensor,
                                                      const std::vector<uint32_t>& permutation,
                                                      const std::string& outputName, bool inPlace) {
  Dims outputShape;
  for (uint32_t axis : permutation) outputShape.push_back(tensor->dims().at(axis));
  const ByteBuffer permuted = dispatchTransposeTensorRefImpl(tensor, outputShape, permutation);
  auto transform = std::make_shared<TransposeTransform>(permutation);
  if (inPlace) {
    std::memcpy(writableData(tensor), permuted.get(), tensor->dataSize());
    tensor->setShape(outputShape);
    tensor->getTransformManager()->addTransform(std::move(transform));
    return tensor;
  }
  return derivedTensor(tensor, outputName, outputShape, tensor->dataType(), permuted.get(), tensor->dataSize(),
                       std::move(transform));
}

std::shared_ptr<IrStaticTensor> reshapeStaticTensor(const std::shared_ptr<IrStaticTensor>& tensor, const Dims& newShape,
                                                    const std::string& outputName, bool inPlace) {
  auto transform = std::make_shared<ReshapeTransform>(newShape);
  if (inPlace) {
    tensor->setShape(newShape);
    tensor->getTransformManager()->addTransform(std::move(transform));
    return tensor;
  }
  return derivedTensor(tensor, outputName, newShape, tensor->dataType(), tensor->getData(), tensor->dataSize(),
                       std::move(transform));
}

}  // namespace modeltools
