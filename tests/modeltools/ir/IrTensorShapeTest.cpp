#include <gtest/gtest.h>

#include <sstream>

#include "modeltools/ir/AxisOrder.hpp"
#include "modeltools/ir/IrTensorShape.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

TEST(IrTensorShape, DynamicAxesDeriveMaskAndFlags) {
  IrTensorShape shape({2, 3, 4}, {0, 2});
  EXPECT_TRUE(shape.isDynamicDim(0));
  EXPECT_FALSE(shape.isDynamicDim(1));
  EXPECT_EQ(shape.dynamicFlags(), (std::vector<uint8_t>{1, 0, 1}));
  EXPECT_TRUE(IrTensorShape({2, 3}).dynamicFlags().empty());
}

TEST(IrTensorShape, RefusesDynamicAxisBeyondRankAndOutOfBoundQuery) {
  EXPECT_THROW_MSG(IrTensorShape({2, 3}, {2}), std::invalid_argument,
                   "modeltools::IrTensorShape::validate: IrTensorShape of rank 2 cannot have 2 as dynamic dimension");
  EXPECT_THROW_MSG(IrTensorShape(Dims{}).isDynamicDim(0), std::invalid_argument,
                   "modeltools::IrTensorShape::isDynamicDim: IrTensorShape::isDynamicDim error: out of bound index 0 "
                   "for IrTensorShape of rank 0");
}

TEST(IrTensorShape, PermuteCarriesDynamicAxesWithTheirDimension) {
  const auto permuted = IrTensorShape({2, 3, 4}, {0}).permute({2, 0, 1});
  EXPECT_EQ(permuted.dims(), (Dims{4, 2, 3}));
  EXPECT_EQ(permuted.dynamicAxes(), (std::set<uint32_t>{1}));
  EXPECT_EQ(IrTensorShape(Dims{}).permute({}).rank(), 0u);
}

TEST(IrTensorShape, PermuteRefusesWrongLengthAndIllegalOrders) {
  const IrTensorShape shape({2, 3, 4});
  EXPECT_THROW_MSG(shape.permute({0, 1}), std::invalid_argument,
                   "modeltools::IrTensorShape::permute: IrTensorShape permute error: permute order [0,1] does not have "
                   "the same rank as TensorShape [2,3,4]");
  EXPECT_THROW_MSG(shape.permute({0, 0, 1}), std::invalid_argument,
                   "modeltools::IrTensorShape::permute: IrTensorShape permute error: illegal order [0,0,1] for shape "
                   "IrTensorShape(dims = [2,3,4] , dy_axes=[])");
  EXPECT_THROW_HAS(shape.permute({0, 1, 3}), std::invalid_argument, "illegal order [0,1,3]");
}

TEST(IrTensorShape, EqualityLooksAtDynamicAxes) {
  EXPECT_EQ(IrTensorShape({1, 2}), IrTensorShape({1, 2}));
  EXPECT_FALSE(IrTensorShape({1, 2}, {0}) == IrTensorShape({1, 2}, {1}));
  EXPECT_FALSE(IrTensorShape({1, 2}) == IrTensorShape({1, 2, 1}));
}

TEST(AxisFormatNames, StringsAndStreamOutput) {
  EXPECT_EQ(axisFormatToString(AxisFormat::NHWC), "NHWC");
  EXPECT_EQ(axisFormatToString(AxisFormat::OIF), "OIF");
  EXPECT_EQ(axisFormatToString(AxisFormat::NOT_YET_DEFINED), "NOT_YET_DEFINED");
  EXPECT_EQ(axisFormatToString(static_cast<AxisFormat>(42)), "NOT_YET_DEFINED");
  std::ostringstream out;
  out << AxisFormat::TNF << "|" << static_cast<AxisFormat>(42) << "|";
  EXPECT_EQ(out.str(), "TNF||");
}

TEST(Broadcast, DimensionListsAlignFromTheLastAxis) {
  auto order = std::make_shared<IrAxisOrder>();
  EXPECT_EQ(getBroadcastedShape({2, 3}, {3}, order, false), (Dims{2, 3}));
  EXPECT_EQ(getBroadcastedShape({1, 3}, {4, 1}, order, false), (Dims{4, 3}));
  EXPECT_EQ(getBroadcastedShape({5, 1, 3}, {2, 1}, order, false), (Dims{5, 2, 3}));
  EXPECT_THROW_MSG(getBroadcastedShape({2, 3}, {4}, order, false), std::invalid_argument,
                   "modeltools::getBroadcastedShape: Unable to broadcast shapes: dimension mismatch at axis 1, "
                   "dimsOne[1]=3 vs dimsTwo[1]=4");
}

TEST(Broadcast, AxisOrderPermutesIntoAndOutOfIrOrder) {
  // NCHW [1,8,4,4] with a per-channel [1,8,1,1] stays NCHW.
  auto onnx = std::make_shared<OnnxAxisOrder>();
  EXPECT_EQ(getBroadcastedShape({1, 8, 4, 4}, {1, 8, 1, 1}, onnx, true), (Dims{1, 8, 4, 4}));
}

TEST(Broadcast, TensorShapesKeepDynamicFlags) {
  const auto result = getBroadcastedTensorShape(IrTensorShape({4, 1}, {0}), IrTensorShape({3}));
  EXPECT_EQ(result.dims(), (Dims{4, 3}));
  EXPECT_EQ(result.dynamicAxes(), (std::set<uint32_t>{0}));
  // A dynamic 1 does not broadcast.
  EXPECT_THROW_MSG(getBroadcastedTensorShape(IrTensorShape({1}, {0}), IrTensorShape({5})), std::invalid_argument,
                   "modeltools::getBroadcastedTensorShape: Unable to broadcast shapes: IrTensorShape(dims = [1] , "
                   "dy_axes=[0]) and IrTensorShape(dims = [5] , dy_axes=[])");
  EXPECT_EQ(getBroadcastedTensorShape(IrTensorShape({1}, {0}), IrTensorShape({1}, {0})).dynamicAxes().size(), 1u);
}

}  // namespace
}  // namespace modeltools
