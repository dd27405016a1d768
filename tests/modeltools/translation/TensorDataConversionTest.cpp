#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "modeltools/ir/TransformManager.hpp"
#include "modeltools/translation/TensorDataConversion.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

template <class T>
std::shared_ptr<IrStaticTensor> staticTensor(const std::string& name, Dims dims, uint32_t dataType,
                                             std::vector<T> values) {
  return std::make_shared<IrStaticTensor>(
      TensorFields{.name = name, .shape = IrTensorShape(std::move(dims)), .dataType = dataType,
                 .kind = tensorkind::kStatic},
      values.data(), static_cast<uint32_t>(values.size() * sizeof(T)));
}

template <class T>
std::vector<T> valuesOf(const std::shared_ptr<IrStaticTensor>& tensor) {
  auto span = tensor->values<T>();
  return {span.begin(), span.end()};
}

template <class T>
T convertOne(float value, uint32_t dataType) {
  T out{};
  convertFromFloat32ToTargetDtype(&value, 1, dataType, reinterpret_cast<uint8_t*>(&out));
  return out;
}

TEST(TensorDataConversion, SaturatingIntegerConversionRoundsTiesToEven) {
  EXPECT_EQ(convertOne<uint8_t>(0.5f, VRX_DATATYPE_UINT_8), 0);
  EXPECT_EQ(convertOne<uint8_t>(1.5f, VRX_DATATYPE_UINT_8), 2);
  EXPECT_EQ(convertOne<uint8_t>(-1.0f, VRX_DATATYPE_UINT_8), 0);
  EXPECT_EQ(convertOne<uint8_t>(300.0f, VRX_DATATYPE_UINT_8), 255);
  EXPECT_EQ(convertOne<uint8_t>(3.0f, VRX_DATATYPE_BOOL_8), 3);  // a bool is not reduced to 0 or 1
  EXPECT_EQ(convertOne<int8_t>(std::numeric_limits<float>::infinity(), VRX_DATATYPE_INT_8), 127);
  EXPECT_EQ(convertOne<uint32_t>(4294967296.0f, VRX_DATATYPE_UINT_32), 4294967295u);
  EXPECT_EQ(convertOne<int32_t>(2147483648.0f, VRX_DATATYPE_INT_32), 2147483647);
  EXPECT_THROW_MSG(convertOne<int16_t>(std::nanf(""), VRX_DATATYPE_INT_16), std::runtime_error,
                   "saturateToInt: saturateToInt: cannot encode NaN into an integer destination type");
}

TEST(TensorDataConversion, HalfAndBrainFloatFormats) {
  EXPECT_EQ(convertOne<uint16_t>(1.00390625f, VRX_DATATYPE_BFLOAT_16), 0x3F80);  // truncated, not rounded
  EXPECT_EQ(convertOne<uint16_t>(1.0f, VRX_DATATYPE_FLOAT_16), 0x3C00);
  EXPECT_EQ(convertOne<uint16_t>(-std::nanf(""), VRX_DATATYPE_FLOAT_16), 0xFE00);
  EXPECT_EQ(convertOne<uint16_t>(1e6f, VRX_DATATYPE_FLOAT_16), 0x7C00);
  EXPECT_EQ(convertOne<uint16_t>(1.0f + 1.0f / 2048, VRX_DATATYPE_FLOAT_16), 0x3C00);  // tie to even
  EXPECT_EQ(convertOne<uint16_t>(5.9604645e-8f, VRX_DATATYPE_FLOAT_16), 0x0001);        // smallest subnormal

  auto half = staticTensor<uint16_t>("h", {4}, VRX_DATATYPE_FLOAT_16, {0x3C00, 0x0001, 0x7C00, 0xC000});
  auto floats = convertTensorToFloat32(half);
  EXPECT_FLOAT_EQ(floats[0], 1.0f);
  EXPECT_FLOAT_EQ(floats[1], 5.9604645e-8f);
  EXPECT_TRUE(std::isinf(floats[2]));
  EXPECT_FLOAT_EQ(floats[3], -2.0f);
  auto brain = staticTensor<uint16_t>("b", {1}, VRX_DATATYPE_BFLOAT_16, {0x3F80});
  EXPECT_FLOAT_EQ(convertTensorToFloat32(brain)[0], 1.0f);
}

TEST(TensorDataConversion, FloatTensorsAreViewedNotCopiedAndFixedPointIsRefused) {
  auto weights = staticTensor<float>("w", {2}, VRX_DATATYPE_FLOAT_32, {1, 2});
  EXPECT_EQ(convertTensorToFloat32(weights).get(), weights->getData());
  auto fixed = staticTensor<uint8_t>("q", {2}, VRX_DATATYPE_UFIXED_POINT_8, {1, 2});
  EXPECT_THROW_MSG(convertTensorToFloat32(fixed), std::runtime_error,
                   "convertTensorToFloat32: convertTensorToFloat32: unsupported data type 1032 (fixed-point dtypes "
                   "require scale/offset and are not supported here)");
  float one = 1;
  EXPECT_THROW_HAS(convertFromFloat32ToTargetDtype(&one, 1, VRX_DATATYPE_SFIXED_POINT_8, nullptr), std::runtime_error,
                   "convertFromFloat32ToTargetDtype: unsupported data type 776");
}

TEST(TensorDataConversion, ElementwiseKernelBroadcastsAndChecksShapes) {
  const float a[] = {1, 2, 3, 4, 5, 6};
  const float b[] = {10, 20, 30};
  float out[6];
  applyElementwiseBinary(0, {2, 3}, {3}, {2, 3}, a, b, out);
  EXPECT_EQ(std::vector<float>(out, out + 6), (std::vector<float>{11, 22, 33, 14, 25, 36}));
  applyElementwiseBinary(18, {2, 3}, {1}, {2, 3}, a, b, out);
  EXPECT_FLOAT_EQ(out[5], -4);
  EXPECT_THROW_MSG(applyElementwiseBinary(0, {2, 3}, {2}, {2, 3}, a, b, out), std::runtime_error,
                   "Error in the input dimensions");
  EXPECT_THROW_MSG(applyElementwiseBinary(0, {1, 3}, {2, 3}, {1, 3}, a, a, out), std::runtime_error,
                   "Error in the output dimensions");
  EXPECT_THROW_MSG(applyElementwiseBinary(11, {3}, {3}, {3}, a, b, out), std::runtime_error,
                   "Unsupported VRX ElementWise operation");
  EXPECT_THROW_MSG(applyElementwiseBinary(0, {0}, {0}, {0}, a, b, out), std::runtime_error,
                   "Unsupported VRX ElementWise operation");
}

TEST(TensorDataConversion, StaticFoldingInPlaceAndIntoNewTensors) {
  auto big = staticTensor<float>("big", {2, 4}, VRX_DATATYPE_FLOAT_32, {1, 2, 3, 4, 5, 6, 7, 8});
  auto row = staticTensor<float>("row", {1, 4}, VRX_DATATYPE_FLOAT_32, {1, 1, 1, 1});
  EXPECT_EQ(foldStaticAdd(big, row, "", true), big);
  EXPECT_EQ(valuesOf<float>(big), (std::vector<float>{2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_THROW_MSG(foldStaticAdd(row, big, "", true), std::runtime_error, "Error in the output dimensions");

  auto product = foldStaticMultiply(big, row, "", false);
  EXPECT_EQ(product->name(), "big_tensorOut_0");
  EXPECT_EQ(product->dims(), (Dims{2, 4}));
  EXPECT_EQ(foldStaticMultiply(big, row, "scaled", false)->name(), "scaled");

  // Integer data goes through float and back.
  auto ints = staticTensor<int16_t>("i", {3}, VRX_DATATYPE_INT_16, {100, -7, 32000});
  auto twos = staticTensor<int16_t>("t", {1}, VRX_DATATYPE_INT_16, {2});
  foldStaticMultiply(ints, twos, "", true);
  EXPECT_EQ(valuesOf<int16_t>(ints), (std::vector<int16_t>{200, -14, 32767}));
}

TEST(TensorDataConversion, GroupedScaleMultipliesInnerValuesByTheirScale) {
  auto data = staticTensor<float>("d", {1, 2, 2, 2}, VRX_DATATYPE_FLOAT_32, {1, 1, 1, 1, 1, 1, 1, 1});
  auto scales = staticTensor<float>("s", {2}, VRX_DATATYPE_FLOAT_32, {2, 3});
  foldGroupedScale(data, scales, {.outerDims = {1, 2}, .rowLength = 2, .groups = 2, .inner = 2}, "", true);
  EXPECT_EQ(valuesOf<float>(data), (std::vector<float>{2, 3, 2, 3, 2, 3, 2, 3}));
  float untouched[] = {9, 9};
  applyGroupedScale(untouched, untouched, {.outerDims = {2}, .rowLength = 1, .groups = 1, .inner = 1}, untouched);
  EXPECT_FLOAT_EQ(untouched[0], 9);
}

TEST(TensorDataConversion, TransposeAndReshapeRecordTheirTransforms) {
  auto tensor = staticTensor<int8_t>("w", {2, 3}, VRX_DATATYPE_SFIXED_POINT_8, {1, 2, 3, 4, 5, 6});
  auto transposed = transposeStaticTensor(tensor, {1, 0}, "", false);
  EXPECT_EQ(transposed->name(), "w_tensorOut_0");
  EXPECT_EQ(transposed->dims(), (Dims{3, 2}));
  EXPECT_EQ(valuesOf<int8_t>(transposed), (std::vector<int8_t>{1, 4, 2, 5, 3, 6}));
  ASSERT_EQ(transposed->transformManager()->transforms().size(), 1u);

  transposeStaticTensor(tensor, {1, 0}, "", true);
  EXPECT_EQ(tensor->name(), "w");
  EXPECT_EQ(valuesOf<int8_t>(tensor), valuesOf<int8_t>(transposed));
  reshapeStaticTensor(tensor, {6}, "", true);
  EXPECT_EQ(tensor->dims(), (Dims{6}));
  const auto& history = tensor->transformManager()->transforms();
  ASSERT_EQ(history.size(), 2u);
  EXPECT_EQ(history[1]->toString(),
            "{\n\"type\": \"Reshape\",\n\"tensor_attributes\": [\n{\n\"shape\": {\n\"dtype\": \"uint32\",\n"
            "\"dims\": [1],\n\"data\": [6]\n}\n}\n]\n}");

  auto rank3 = staticTensor<float>("r", {2, 3, 4}, VRX_DATATYPE_FLOAT_32, std::vector<float>(24));
  for (int i = 0; i < 24; ++i) static_cast<float*>(rank3->getData())[i] = static_cast<float>(i);
  auto moved = transposeStaticTensor(rank3, {2, 0, 1}, "m", false);
  EXPECT_EQ(moved->dims(), (Dims{4, 2, 3}));
  // moved[k][i][j] = rank3[i][j][k]
  EXPECT_FLOAT_EQ(moved->values<float>()[1 * 6 + 1 * 3 + 2], static_cast<float>(1 * 12 + 2 * 4 + 1));

  auto strings = staticTensor<uint64_t>("s", {1}, VRX_DATATYPE_UINT_64, {1});
  EXPECT_THROW_MSG(transposeStaticTensor(strings, {0}, "", false), std::runtime_error,
                   "dispatchTransposeTensorRefImpl: Unsupported data type");
}

TEST(Transforms, TransposeTextHasTwelveLines) {
  EXPECT_EQ(TransposeTransform({0, 2, 1}).toString(),
            "{\n\"type\": \"Transpose\",\n\"tensor_attributes\": [\n{\n\"perm\": {\n\"dtype\": \"uint32\",\n"
            "\"dims\": [3],\n\"data\": [0, 2, 1]\n}\n}\n]\n}");
}

}  // namespace
}  // namespace modeltools
