#include <gtest/gtest.h>

#include "modeltools/ir/AxisOrder.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

TEST(AxisOrder, ExtractsAxesInIrOrder) {
  OnnxAxisOrder onnx;
  IrAxisOrder ir;
  EXPECT_EQ(onnx.extractSpatialDims({1, 3, 224, 224}), (Dims{1, 224, 224, 3}));
  EXPECT_EQ(ir.extractSpatialDims({1, 224, 224, 3}), (Dims{1, 224, 224, 3}));
  EXPECT_EQ(onnx.extractTimeSeriesDims({10, 2, 5}), (Dims{2, 10, 5}));
  EXPECT_EQ(onnx.extractConvWeightsDims({16, 8, 3, 5}), (Dims{3, 5, 8, 16}));
  EXPECT_EQ(onnx.extractTransposeConvWeightsDims({8, 16, 3, 5}), (Dims{3, 5, 8, 16}));
  EXPECT_EQ(onnx.extractFcWeightsDims({10, 20}), (Dims{20, 10}));
}

TEST(AxisOrder, ExtractRefusesRanksOutsideTheTableWithClassSpecificText) {
  EXPECT_THROW_MSG(IrAxisOrder().extractSpatialDims({1, 2}), std::invalid_argument,
                   "modeltools::SpatialFirstAxisOrder::extractSpatialDims: Invalid dimension rank 2 for extracting "
                   "spatial dims, expected rank 3, 4, or 5");
  EXPECT_THROW_MSG(CaffeAxisOrder().extractSpatialDims({1, 2}), std::invalid_argument,
                   "modeltools::SpatialLastAxisOrder::extractSpatialDims: Invalid dimension rank 2 for extracting "
                   "tensor, expected rank 3, 4, or 5");
  EXPECT_THROW_MSG(TfAxisOrder().extractFcWeightsDims({1, 2, 3}), std::invalid_argument,
                   "modeltools::SpatialFirstAxisOrder::extractFcWeightsDims: Shape needs to be of length 2 for FC "
                   "weights, but got length 3");
  EXPECT_THROW_MSG(OnnxAxisOrder().extractTimeSeriesDims({1, 2, 3, 4}), std::invalid_argument,
                   "modeltools::SpatialLastAxisOrder::extractTimeSeriesDims: Invalid dimension rank 4 for extracting "
                   "time series dims, expected rank 3");
}

TEST(AxisOrder, FormatsPlaceNamedValuesInFrameworkOrder) {
  EXPECT_EQ(TfAxisOrder().formatDims2d(1, 2, 3, 4), (Dims{1, 2, 3, 4}));
  EXPECT_EQ(CaffeAxisOrder().formatDims2d(1, 2, 3, 4), (Dims{1, 4, 2, 3}));
  EXPECT_EQ(OnnxAxisOrder().formatDims3d(1, 2, 3, 4, 5), (Dims{1, 5, 2, 3, 4}));
  EXPECT_EQ(OnnxAxisOrder().formatTimeSeriesDims(1, 2, 3), (Dims{2, 1, 3}));
}

TEST(AxisOrder, AxisFormatsByRank) {
  IrAxisOrder ir;
  OnnxAxisOrder onnx;
  EXPECT_EQ(ir.getAxisFormat(0, false), AxisFormat::NONTRIVIAL);
  EXPECT_EQ(ir.getAxisFormat(6, false), AxisFormat::NONTRIVIAL);
  EXPECT_EQ(ir.getAxisFormat(1, true), AxisFormat::ANY);
  EXPECT_EQ(ir.getAxisFormat(3, true), AxisFormat::NTF);
  EXPECT_EQ(onnx.getAxisFormat(3, false), AxisFormat::NCF);
  EXPECT_EQ(onnx.getAxisFormat(4, false), AxisFormat::NCHW);
  EXPECT_EQ(onnx.getConvWeightsFormat(4), AxisFormat::OIHW);
  EXPECT_EQ(onnx.getTransposeConvWeightsFormat(5), AxisFormat::IODHW);
  EXPECT_EQ(ir.getTransposeConvWeightsFormat(4), AxisFormat::HWIO);
}

TEST(AxisOrder, SpatialLastPermutesByFormatRowThenByRank) {
  OnnxAxisOrder onnx;
  // NCHW with no flag uses the rank table, so a rank-3 vector takes the rank-3 order.
  EXPECT_EQ(onnx.permuteDimsToIr({1, 2, 3}, AxisFormat::NCHW, false, false), (Dims{1, 3, 2}));
  EXPECT_EQ(onnx.permuteDimsToIr({1, 3, 5, 7}, AxisFormat::NCHW, false, false), (Dims{1, 5, 7, 3}));
  EXPECT_EQ(onnx.permuteDimsFromIr({1, 5, 7, 3}, AxisFormat::NHWC, false, false), (Dims{1, 3, 5, 7}));
  EXPECT_EQ(onnx.permuteDimsToIr({16, 8, 3, 5}, AxisFormat::NCHW, true, false), (Dims{3, 5, 8, 16}));
  EXPECT_EQ(onnx.permuteDimsToIr({8, 16, 3}, AxisFormat::NCF, false, true), (Dims{3, 8, 16}));
  // A TNF row wins over the flags.
  EXPECT_EQ(onnx.permuteDimsToIr({7, 1, 4}, AxisFormat::TNF, true, false), (Dims{1, 7, 4}));
  const auto shape = onnx.permuteShapeToIr(IrTensorShape({1, 3, 5, 7}, {1}), AxisFormat::NCHW, false, false);
  EXPECT_EQ(shape.dims(), (Dims{1, 5, 7, 3}));
  EXPECT_EQ(shape.dynamicAxes(), (std::set<uint32_t>{3}));
  EXPECT_TRUE(onnx.permuteDimsToIr({}, AxisFormat::NOT_YET_DEFINED, false, false).empty());
}

TEST(AxisOrder, RankAboveFiveAndBothWeightFlagsAreRefused) {
  EXPECT_EQ(IrAxisOrder().permuteDimsToIr({1, 2, 3, 4, 5, 6, 7}, AxisFormat::NONTRIVIAL, false, false).size(), 7u);
  EXPECT_THROW_MSG(OnnxAxisOrder().permuteDimsToIr({1, 2, 3, 4, 5, 6, 7}, AxisFormat::NONTRIVIAL, false, false),
                   std::invalid_argument,
                   "modeltools::SpatialLastAxisOrder::permuteDimsToIr: Cannot assume permute order of dimensions with "
                   "rank 7, maximum supported rank is 5");
  EXPECT_THROW_HAS(OnnxAxisOrder().permuteShapeFromIr(IrTensorShape({1, 2, 3, 4, 5, 6}), AxisFormat::NONTRIVIAL,
                                                      false, false),
                   std::invalid_argument, "Cannot assume permute order of shape with rank 6");
  EXPECT_THROW_MSG(IrAxisOrder().permuteDimsFromIr({1}, AxisFormat::ANY, true, true), std::invalid_argument,
                   "modeltools::SpatialFirstAxisOrder::permuteDimsFromIr: These dimensions cannot represent both conv "
                   "weights and deconv weights.");
}

}  // namespace
}  // namespace modeltools
