#include <gtest/gtest.h>

#include <cstring>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ir/IrTensor.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

TensorFields fields(const std::string& name, Dims dims, uint32_t dataType = VRX_DATATYPE_FLOAT_32) {
  return TensorFields{.name = name, .shape = IrTensorShape(std::move(dims)), .dataType = dataType,
                    .floatDataType = VRX_DATATYPE_FLOAT_32};
}

QuantInfo scaleOffset(float scale, double offset) {
  QuantInfo info;
  info.encoding = VRX_QUANTIZATION_ENCODING_SCALE_OFFSET;
  info.definition = VRX_DEFINITION_DEFINED;
  info.scaleOffset.scale = scale;
  info.scaleOffset.offset = offset;
  return info;
}

TEST(IrTensor, ElementsOfScalarsZerosAndDynamicShapes) {
  EXPECT_EQ(IrTensor(fields("s", {})).elements(), 0u);
  EXPECT_EQ(IrTensor(fields("z", {2, 0, 3})).elements(), 0u);
  EXPECT_EQ(IrTensor(fields("t", {2, 3, 4})).elements(), 24u);
  TensorFields dynamic = fields("d", {});
  dynamic.shape = IrTensorShape({2, 3}, {1});
  EXPECT_THROW_MSG(IrTensor(dynamic).elements(), std::invalid_argument,
                   "modeltools::IrTensor::elements: Cannot get number of elements for tensor named d with dynamic "
                   "shape IrTensorShape(dims = [2,3] , dy_axes=[1])");
}

TEST(IrTensor, IdsComeFromOneCounterAndRenamingTakesAFreshOne) {
  IrTensor::resetIdCounter(7);
  IrTensor a(fields("a", {1}));
  EXPECT_EQ(a.id(), 8u);
  IrTensor b(fields("b", {1}));
  EXPECT_EQ(b.id(), 9u);
  a.setName("a2");
  EXPECT_EQ(a.name(), "a2");
  EXPECT_EQ(a.id(), 10u);
}

TEST(IrTensor, SingleDataTypeConstructorDecidesQuantizable) {
  IrTensor f16("h", IrTensorShape({1}), VRX_DATATYPE_FLOAT_16, AxisFormat::ANY, AxisFormat::ANY, tensorkind::kNative);
  IrTensor i32("i", IrTensorShape({1}), VRX_DATATYPE_INT_32, AxisFormat::ANY, AxisFormat::ANY, tensorkind::kNative);
  EXPECT_TRUE(f16.quantizable());
  EXPECT_EQ(f16.floatDataType(), static_cast<uint32_t>(VRX_DATATYPE_FLOAT_16));
  EXPECT_FALSE(i32.quantizable());
}

TEST(IrTensor, QuantizationSettersKeepTheirRules) {
  TensorFields s = fields("q", {4});
  s.quantizable = true;
  IrTensor tensor(s);
  tensor.setQInfo(VRX_DATATYPE_UFIXED_POINT_8, scaleOffset(0.5f, 128));
  EXPECT_TRUE(tensor.isQuantized());

  // Turning quantizable off keeps the data type but drops the encoding.
  tensor.setQuantizable(false);
  EXPECT_EQ(tensor.dataType(), static_cast<uint32_t>(VRX_DATATYPE_UFIXED_POINT_8));
  EXPECT_FALSE(tensor.isQuantized());
  EXPECT_THROW_MSG(tensor.setQInfo(VRX_DATATYPE_UFIXED_POINT_8, scaleOffset(1, 0)), std::invalid_argument,
                   "modeltools::IrTensor::setQInfo: Can't set quantization data with data type: "
                   "VRX_DATATYPE_UFIXED_POINT_8 for: q with quantizable flag 0");
  EXPECT_THROW_MSG(tensor.setQuantizable(true), std::invalid_argument,
                   "modeltools::IrTensor::setQuantizable: Tensor: q must be of type float to be quantizable, but "
                   "it's: VRX_DATATYPE_UFIXED_POINT_8");

  IrTensor other(s);
  EXPECT_THROW_MSG(other.setQInfo(VRX_DATATYPE_SFIXED_POINT_8, QuantInfo{}), std::invalid_argument,
                   "modeltools::IrTensor::setQInfo: Must set valid quantization info for tensor q with quantized data "
                   "type VRX_DATATYPE_SFIXED_POINT_8, but got undefined quantization encoding.");
}

TEST(IrTensor, FloatQuantInfoCarriesRangesWithoutEncoding) {
  IrTensor tensor(fields("f", {4}));
  QuantInfo ranges = scaleOffset(1, 0);
  ranges.scaleOffset.minimum = -2;
  ranges.scaleOffset.maximum = 2;
  tensor.setFloatQInfo(VRX_DATATYPE_FLOAT_16, ranges);
  EXPECT_EQ(tensor.dataType(), static_cast<uint32_t>(VRX_DATATYPE_FLOAT_16));
  EXPECT_FALSE(tensor.quantInfo().isDefined());
  EXPECT_TRUE(tensor.quantInfo().overridden);
  EXPECT_FALSE(tensor.quantInfo().scaleOffset.isFixedPoint);
  EXPECT_FLOAT_EQ(tensor.quantInfo().scaleOffset.maximum, 2);
  EXPECT_THROW_HAS(tensor.setFloatQInfo(VRX_DATATYPE_INT_8, ranges), std::invalid_argument,
                   "Datatype provided to setFloatQInfo should be float but got VRX_DATATYPE_INT_8");
}

TEST(IrTensor, BackendTypeFollowsKindAndUpdateableFlag) {
  auto ofKind = [](uint32_t kind, bool updateable) {
    TensorFields f = fields("t", {1});
    f.kind = kind;
    f.updateable = updateable;
    return IrTensor(f).getTensorType();
  };
  const std::pair<uint32_t, uint32_t> plain[] = {{0, 0}, {1, 1}, {3, 3}, {4, 4}, {5, 5}, {12, 12},
                                                 {tensorkind::kContext, 4}, {6, kUndefined}, {9, kUndefined}};
  for (auto [kind, type] : plain) EXPECT_EQ(ofKind(kind, false), type) << "kind " << kind;
  const std::pair<uint32_t, uint32_t> updateable[] = {{0, 8}, {1, 9}, {2, 10}, {3, 7}, {4, 6}, {5, kUndefined}};
  for (auto [kind, type] : updateable) EXPECT_EQ(ofKind(kind, true), type) << "updateable kind " << kind;
}

TEST(IrTensor, PermutationToSourceFromFormats) {
  IrTensor tensor(fields("t", {1, 5, 5, 3}));
  EXPECT_TRUE(tensor.permutationToSource().empty());
  tensor.setAxisFormat(AxisFormat::NHWC);
  tensor.setSrcAxisFormat(AxisFormat::NCHW);
  EXPECT_EQ(tensor.permutationToSource(), (std::vector<uint32_t>{0, 3, 1, 2}));
  tensor.setSrcAxisFormat(AxisFormat::NCF);
  EXPECT_EQ(tensor.permutationToSource(), (std::vector<uint32_t>{0, 3, 1, 2}));
  tensor.setAxisFormat(AxisFormat::NONTRIVIAL);
  EXPECT_EQ(tensor.permutationToSource(), (std::vector<uint32_t>{0, 1, 2, 3}));
  tensor.setPermToSource({3, 2, 1, 0});
  EXPECT_EQ(tensor.permutationToSource(), (std::vector<uint32_t>{3, 2, 1, 0}));
}

TEST(IrStaticTensor, CopiesDataUnlessBorrowed) {
  float values[] = {1, 2, 3, 4};
  IrStaticTensor owned(fields("w", {4}), values, sizeof values);
  IrStaticTensor borrowed(fields("b", {4}), values, sizeof values, true);
  values[0] = 42;
  EXPECT_FLOAT_EQ(owned.values<float>()[0], 1);
  EXPECT_FLOAT_EQ(borrowed.values<float>()[0], 42);
  EXPECT_TRUE(borrowed.isStaticTensor());
}

TEST(IrStaticTensor, UpdateDataOnBorrowedTensorLeavesOriginalUntouched) {
  float original[] = {1, 2};
  float replacement[] = {7, 8};
  IrStaticTensor tensor(fields("w", {2}), original, sizeof original, true);
  tensor.updateData(replacement, sizeof replacement, false);
  EXPECT_FALSE(tensor.borrowedData());
  EXPECT_FLOAT_EQ(original[0], 1);
  EXPECT_FLOAT_EQ(tensor.values<float>()[1], 8);
  EXPECT_THROW_MSG(tensor.updateData(replacement, 4, false), std::invalid_argument,
                   "modeltools::IrStaticTensor::updateData: Data sizes do not match; existing data size: 8 provided "
                   "data size: 4\n");

  auto* adopted = new uint8_t[8]();
  tensor.updateData(adopted, 8, true);
  EXPECT_EQ(tensor.getData(), adopted);
  float bigger[] = {1, 2, 3};
  tensor.setData(bigger, sizeof bigger);
  EXPECT_EQ(tensor.dataSize(), 12u);
}

TEST(IrStaticTensor, RefusesDataThatDoesNotFitTheDimensions) {
  float values[] = {1, 2, 3};
  EXPECT_THROW_MSG(IrStaticTensor(fields("e", {}), values, sizeof values), std::invalid_argument,
                   "modeltools::IrStaticTensor::IrStaticTensor: IrStaticTensor (e) has empty dims but non-null data "
                   "with dataSize=12. Must specify correct dims!");
  EXPECT_THROW_MSG(IrStaticTensor(fields("m", {2, 2}), values, sizeof values), std::invalid_argument,
                   "modeltools::IrStaticTensor::IrStaticTensor: IrStaticTensor (m) data size mismatch: expected "
                   "tensorSize=16 (from dims), but got dataSize=12");
  // Sub-byte types are not sized here.
  EXPECT_NO_THROW(IrStaticTensor(fields("p", {5}, VRX_DATATYPE_INT_4), values, 3));
}

}  // namespace
}  // namespace modeltools
