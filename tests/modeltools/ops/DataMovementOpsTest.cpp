#include <gtest/gtest.h>

#include "OpTestSupport.hpp"
#include "modeltools/ops/DataMovementOps.hpp"
#include "modeltools/ops/OpClasses.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools::ops {
namespace {

using attrcategory::kSupplemental;
using testing::Attrs;
using testing::shape;
using enum AxisFormat;
using Shapes = std::vector<Dims>;
using TensorShapes = std::vector<IrTensorShape>;
using U32 = std::vector<uint32_t>;

class DataMovementOps : public ::testing::Test, public testing::OpBench {
 protected:
  Shapes inferred(const OpPtr& op) { return op->inferOutputShapes(irOrder, 1); }
  void inferRefuses(const OpPtr& op, const std::string& message) {
    EXPECT_THROW_MSG(op->inferOutputShapes(irOrder, 1), std::invalid_argument, message);
  }
  void canonicalizeRefuses(const OpPtr& op, const std::string& message, uint32_t outputs = 1) {
    EXPECT_THROW_MSG(op->canonicalizeOp(outputs), std::invalid_argument, message);
  }
};

TEST_F(DataMovementOps, TransposeCanonicalizesNegativePermEntriesAndCarriesDynamicAxes) {
  auto op = this->op<TransposeOp>(Attrs().signedList("perm", {0, -1, 1}), {shape({2, 3, 4})});
  const std::string tensorName = op->attrs()->getStaticTensorName("perm");
  op->canonicalizeOp(1);
  EXPECT_TRUE(op->canonicalized());
  EXPECT_EQ(readU32List(*op->attrs(), "perm"), (U32{0, 2, 1}));
  EXPECT_EQ(op->attrs()->getStaticTensor("perm")->dataType(), static_cast<uint32_t>(VRX_DATATYPE_UINT_32));
  EXPECT_EQ(op->attrs()->getStaticTensorName("perm"), tensorName);  // rewritten under the same name
  EXPECT_EQ(inferred(op), (Shapes{{2, 4, 3}}));

  auto dynamic = this->op<TransposeOp>(Attrs().list("perm", {2, 0, 1}), {shape({2, 3, 4}, {0})});
  EXPECT_EQ(dynamic->inferOutputTensorShapes(irOrder, 1), (TensorShapes{shape({4, 2, 3}, {1})}));
  inferRefuses(dynamic,
               "modeltools::ops::TransposeOp::inferOutputShapes: TransposeOp op inputs have dynamic shapes. Use "
               "inferOutputTensorShapes instead.");
}

TEST_F(DataMovementOps, TransposeOutputFormatFollowsInputFormatAndPermutation) {
  struct Case {
    AxisFormat input;
    U32 perm;
    AxisFormat expected;
  };
  const std::vector<Case> cases = {
      {NHWC, {0, 3, 1, 2}, NCHW},      {NCHW, {0, 2, 3, 1}, NHWC}, {NDHWC, {0, 4, 1, 2, 3}, NCDHW},
      {NCF, {0, 2, 1}, NFC},           {TNF, {1, 0, 2}, NTF},      {HWIO, {3, 2, 0, 1}, OIHW},
      {DHWIO, {3, 4, 0, 1, 2}, IODHW}, {OIHW, {0, 1, 2, 3}, OIHW}, {NCHW, {0, 3, 1, 2}, NONTRIVIAL},
      {NCF, {0, 1, 2}, NONTRIVIAL},  // the identity row is for four axes only
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(axisFormatToString(c.input) + " by " + listToString(c.perm));
    auto op = this->op<TransposeOp>(Attrs().list("perm", c.perm), {shape(Dims(c.perm.size(), 2))}, 1, c.input);
    op->populateOutputAxisFormats(irOrder, {}, false);
    EXPECT_EQ(op->getOutput(0)->axisFormat(), c.expected);
  }
}

TEST_F(DataMovementOps, TransposeOrderCheckNamesTheFault) {
  const auto refuses = [this](U32 perm, Dims permDims, TensorShapes inputs, size_t outputs, const std::string& text) {
    auto op = this->op<TransposeOp>(Attrs().list("perm", std::move(perm), std::move(permDims)), inputs, outputs);
    EXPECT_THROW_MSG(op->populateOutputAxisFormats(irOrder, {}, false), std::invalid_argument,
                     "modeltools::ops::TransposeOp::populateOutputAxisFormats: TransposeOp op error: " + text);
  };
  refuses({1, 0}, {}, {shape({2, 3, 4})}, 1, "order dim 2 is not equal input rank 3.");
  refuses({0, 1, 1}, {}, {shape({2, 3, 4})}, 1,
          "illegal order. Axis value 1 at index 2 is either duplicate or >= input rank 3");
  refuses({1, 0}, {1, 2}, {shape({2, 3})}, 1, "order rank expect 1, but actually 2.");
  refuses({1, 0}, {}, {shape({2, 3}), shape({2, 3})}, 1, "TransposeOp expect 1 input, but the size of inputs is 2");
  refuses({1, 0}, {}, {shape({2, 3})}, 2, "TransposeOp expect 1 output, but the size of output is 2");
}

TEST_F(DataMovementOps, ReshapeResolvesZerosWildcardsAndAMissingBatchAndRefusesWhatDoesNotFit) {
  struct Case {
    Dims input;
    std::vector<int32_t> shape;
    Dims expected;
  };
  const std::vector<Case> cases = {
      {{2, 3, 4}, {0, -1}, {2, 12}},
      {{8, 3}, {2, 3}, {8, 3}},  // 24 is a multiple of 6: the first dimension takes the quotient
      {{2, 3, 4}, {-1}, {24}},
      {{1}, {}, {}},  // an empty shape gives a scalar
      {{2, 0, 4}, {0, 0, -1}, {2, 0, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(listToString(c.input));
    EXPECT_EQ(inferred(op<ReshapeOp>(Attrs().signedList("shape", c.shape, {}, kSupplemental), {shape(c.input)})),
              (Shapes{c.expected}));
  }
  const std::string head =
      "modeltools::ops::ReshapeOp::calculateShape: Unable to calculate ReshapeOp output shape for op op: ";
  const auto target = [](U32 dims) { return Attrs().list("shape", std::move(dims), {}, kSupplemental); };
  inferRefuses(op<ReshapeOp>(target({2}), {shape({5})}),
               head + "input total element count (5) != output total element count (2)");
  inferRefuses(op<ReshapeOp>(target({4, 0}), {shape({4})}),
               head + "shape param has 0 at index 1, but input shape has only 1 dimensions");
  EXPECT_THROW_HAS(op<ReshapeOp>(target({4}), {shape({4}, {0})})->inferOutputTensorShapes(irOrder, 1),
                   std::invalid_argument, "Inputs with dynamic shape not supported for op type Reshape");
}

TEST_F(DataMovementOps, ReshapeOutputFormatRecognisesFlatteningAndRestoring) {
  struct Case {
    AxisFormat input;
    Dims in, out;
    AxisFormat expected;
  };
  const std::vector<Case> cases = {
      {NCHW, {2, 3, 4, 5}, {2, 60}, NF},
      {NHWC, {2, 3, 4, 5}, {3, 40}, NONTRIVIAL},
      {NHWC, {2, 3, 4, 5}, {2, 3, 20}, NONTRIVIAL},
      {NC, {2, 6}, {2, 6, 1, 1}, NCHW},
      {NC, {2, 6}, {2, 1, 1, 6}, NHWC},
      {NC, {2, 6}, {2, 6, 1, 1, 1}, NCDHW},
      {NC, {2, 6}, {2, 1, 1, 1, 6}, NDHWC},
      {NC, {2, 6}, {2, 6, 1}, NCF},
      {NC, {2, 6}, {2, 1, 6}, NFC},
      {NC, {2, 6}, {1, 2, 6}, NONTRIVIAL},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(axisFormatToString(c.input) + " to " + listToString(c.out));
    auto op = this->op<ReshapeOp>(Attrs().list("shape", c.out, {}, kSupplemental), {shape(c.in)}, 1, c.input);
    op->getOutput(0)->setShape(c.out);
    op->populateOutputAxisFormats(irOrder, {}, false);
    EXPECT_EQ(op->getOutput(0)->axisFormat(), c.expected);
  }
}

TEST_F(DataMovementOps, ConcatNeedsItsCanonicalAxisThenSumsDimensionsAndDynamicFlags) {
  auto op = this->op<ConcatOp>(Attrs(), {shape({2, 3, 4}), shape({2, 3, 5}, {2})});
  EXPECT_THROW_HAS(op->inferOutputTensorShapes(irOrder, 1), std::runtime_error,
                   "Invalid requested type: VRX_DATATYPE_UINT_32 for attr: axis with type: VRX_DATATYPE_INT_32");
  op->canonicalizeOp(1);
  EXPECT_EQ(op->attrs()->getAttr<uint32_t>("axis"), 2u);
  EXPECT_EQ(op->inferOutputTensorShapes(irOrder, 1), (TensorShapes{shape({2, 3, 9}, {2})}));
  inferRefuses(op,
               "modeltools::ops::ConcatOp::inferOutputShapes: ConcatOp op has dynamic inputs. Use "
               "inferOutputTensorShapes instead.");
}

TEST_F(DataMovementOps, ConcatRefusals) {
  const std::string head = "modeltools::ops::ConcatOp::inferOutputTensorShapes: ";
  const auto axis = [](uint32_t value) { return Attrs().u32("axis", value); };
  inferRefuses(op<ConcatOp>(axis(0), {shape({2, 3}), shape({2, 3, 1})}),
               head + "Cannot Concat inputs with different ranks 2 and 3");
  inferRefuses(op<ConcatOp>(axis(0), {shape({2, 3}), shape({2, 3}, {1})}),
               head +
                   "Inconsistency in dynamic axis shapes. Cannot concat tensor with shapes: "
                   "IrTensorShape(dims = [2,3] , dy_axes=[]) and IrTensorShape(dims = [2,3] , dy_axes=[1]) on axis 0");
  inferRefuses(op<ConcatOp>(axis(2), {shape({2, 3})}),
               head + "Axis 2 is out of bounds for tensor with shape IrTensorShape(dims = [2,3] , dy_axes=[])");
  canonicalizeRefuses(
      op<ConcatOp>(Attrs().i32("axis", -3), {shape({2, 3})}),
      "modeltools::ops::ConcatOp::canonicalizeOp: ConcatOp op axis provided, -3, is incorrect for rank 2.");
}

TEST_F(DataMovementOps, SplitMakesEqualBoundariesWhenNoneAreGivenAndResizeChecksTheSumOfGivenOnes) {
  const auto split = [](int32_t axis, U32 boundaries) {
    return Attrs().i32("axis", axis).list("split_index", std::move(boundaries));
  };
  const auto setOutputs = [](const OpPtr& op, const Shapes& dims) {
    for (size_t i = 0; i < dims.size(); ++i) op->getOutput(i)->setShape(dims[i]);
  };
  auto op = this->op<SplitOp>(split(-1, {}), {shape({4, 6})}, 3);
  op->canonicalizeOp(3);
  EXPECT_EQ(op->attrs()->getAttr<uint32_t>("axis"), 1u);
  EXPECT_EQ(readU32List(*op->attrs(), "split_index"), (U32{2, 4}));
  EXPECT_EQ(op->attrs()->getStaticTensorName("split_index"), "split_index");
  EXPECT_EQ(op->inferOutputShapes(irOrder, 3), (Shapes{{4, 2}, {4, 2}, {4, 2}}));
  setOutputs(op, {{4, 1}, {4, 3}, {4, 2}});
  op->resizeOp(irOrder, 3);  // the parts may move as long as they still cover the axis
  EXPECT_EQ(op->getOutput(2)->dims(), (Dims{4, 2}));
  canonicalizeRefuses(this->op<SplitOp>(split(1, {}), {shape({4, 6})}, 4),
                      "modeltools::ops::SplitOp::canonicalizeOp: SplitOp op cannot split axis 1 equally amongst 4 "
                      "outputs.",
                      4);

  auto given = this->op<SplitOp>(split(0, {1, 5}), {shape({7, 2})}, 3);  // needs no divisibility
  given->canonicalizeOp(3);
  EXPECT_EQ(given->inferOutputShapes(irOrder, 3), (Shapes{{1, 2}, {4, 2}, {2, 2}}));
  setOutputs(given, {{1, 2}, {4, 2}, {1, 2}});
  EXPECT_THROW_MSG(given->resizeOp(irOrder, 3), std::invalid_argument,
                   "modeltools::ops::SplitOp::resizeOp: Unable to resize op op of type Split due to mismatch between "
                   "input dimension (7) and sum of output dimensions (6) along split axis 0.");
}

TEST_F(DataMovementOps, PackInsertsTheInputCountAndTileMultipliesEachDimension) {
  auto pack = op<PackOp>(Attrs().i32("axis", -1), {shape({2, 3}), shape({2, 3}), shape({2, 3})});
  pack->canonicalizeOp(1);
  EXPECT_EQ(pack->attrs()->getAttr<uint32_t>("axis"), 2u);  // may append an axis
  EXPECT_EQ(inferred(pack), (Shapes{{2, 3, 3}}));
  canonicalizeRefuses(op<PackOp>(Attrs().i32("axis", 3), {shape({2, 3})}),
                      "modeltools::ops::PackOp::canonicalizeOp: PackOp op axis = 3, is incorrect for rank 2.");

  EXPECT_EQ(inferred(op<TileOp>(Attrs().list("multiples", {2, 1, 3}), {shape({2, 3, 4})})), (Shapes{{4, 3, 12}}));
  inferRefuses(op<TileOp>(Attrs().list("multiples", {2, 1}), {shape({2, 3, 4})}),
               "modeltools::ops::TileOp::inferOutputShapes: TileOp (op) multiples length 2 doesn't equal input rank 3");
}

TEST_F(DataMovementOps, PadAddsBothSidesAndChecksThePadShape) {
  auto pads = [](U32 values, Dims dims) {
    return Attrs().list("pad_amount", std::move(values), std::move(dims)).u32("scheme", 0);
  };
  EXPECT_EQ(inferred(op<PadOp>(pads({1, 1, 0, 2}, {2, 2}), {shape({2, 3})})), (Shapes{{4, 5}}));
  const std::string head = "modeltools::ops::PadOp::inferOutputShapes: Input Pad shape ";
  inferRefuses(op<PadOp>(pads({1, 1, 0, 2}, {4}), {shape({2, 3})}),
               head + "for op op dims()[1] must be equal with 2, but get:0");
  inferRefuses(op<PadOp>(pads({1, 1}, {1, 2}), {shape({2, 3})}),
               head + "(1) for op op must be equal to Input[0] rank (2).");
  EXPECT_THROW_HAS(inferred(op<PadOp>(pads({1, 1, 1}, {1, 3}), {shape({2})})), std::invalid_argument,
                   "dims()[1] must be equal with 2, but get:3");

  auto image = op<PadOp>(pads(U32(8, 0), {4, 2}), {shape({1, 3, 8, 8})}, 1, NONTRIVIAL);
  image->overrideDataAxisFormats(onnxOrder);
  EXPECT_EQ(image->getInput(0)->axisFormat(), NCHW);
  EXPECT_EQ(image->inputAxisFormats()[0], NCHW);
}

TEST_F(DataMovementOps, GatherAndGatherElementsCanonicalizeTheAxisAndShapeByTheIndices) {
  auto op = this->op<GatherOp>(Attrs().i32("axis", -2), {shape({5, 4, 3}, {0}), shape({2, 7}, {1})});
  op->canonicalizeOp(1);
  EXPECT_EQ(op->attrs()->getAttr<int32_t>("axis"), 1);
  EXPECT_EQ(op->inferOutputTensorShapes(irOrder, 1), (TensorShapes{shape({5, 2, 7, 3}, {0, 2})}));
  inferRefuses(op,
               "modeltools::ops::GatherOp::inferOutputShapes: GatherOp op has dynamic outputs. Use "
               "inferOutputTensorShapes instead.");
  canonicalizeRefuses(
      this->op<GatherOp>(Attrs().i32("axis", 3), {shape({5, 4, 3}), shape({2})}),
      "modeltools::ops::GatherOp::canonicalizeOp: GatherOp op axis provided, 3, is incorrect for rank 3.");

  auto elements = this->op<GatherElementsOp>(Attrs().i32("axis", -1), {shape({4, 5}), shape({4, 2})});
  elements->canonicalizeOp(1);
  EXPECT_EQ(elements->attrs()->getAttr<uint32_t>("axis"), 1u);
  EXPECT_EQ(inferred(elements), (Shapes{{4, 2}}));
  canonicalizeRefuses(this->op<GatherElementsOp>(Attrs().i32("axis", 2), {shape({4, 5}), shape({4, 2})}),
                      "modeltools::ops::GatherElementsOp::canonicalizeOp: GatherElementsOp op axis provided, 2, is "
                      "incorrect for rank 2.");
}

TEST_F(DataMovementOps, GatherNdShapesCostAndFormats) {
  EXPECT_EQ(inferred(op<GatherNDOp>(Attrs(), {shape({2, 3, 4}), shape({5, 1})})), (Shapes{{5, 3, 4}}));
  auto batched = op<GatherNDOp>(Attrs().i32("batch_dims", 1), {shape({2, 3, 4}), shape({2, 5, 1})});
  batched->canonicalizeOp(1);
  EXPECT_EQ(batched->attrs()->getAttr<uint32_t>("batch_dims"), 1u);
  batched->resizeOp(irOrder, 1);
  EXPECT_EQ(batched->getOutput(0)->dims(), (Dims{2, 5, 4}));
  EXPECT_EQ(batched->macs(irOrder), 40u);
  batched->getOutput(0)->setShape(Dims{2, 5});
  EXPECT_EQ(batched->macs(irOrder), 1u);
  batched->overrideDataAxisFormats(irOrder);
  EXPECT_EQ(batched->getInput(1)->axisFormat(), NONTRIVIAL);
}

TEST_F(DataMovementOps, GatherNdRefusals) {
  const std::string head = "modeltools::ops::GatherNDOp::inferOutputShapes: ";
  const std::string lastIndex =
      "The indices_shape[-1] must have a value in [1, data.rank - batch_dims] for op op, but ";
  const auto refuses = [&](int32_t batchDims, Dims data, Dims indices, const std::string& text) {
    inferRefuses(op<GatherNDOp>(Attrs().i32("batch_dims", batchDims), {shape(data), shape(indices)}), head + text);
  };
  refuses(2, {2, 3}, {2, 1},
          "The batch_dims must be a value in [0, min(data.rank, indices.rank)) for op op, but got batch_dims=2, "
          "data.rank=2, indices.rank=2");
  refuses(1, {2, 3}, {3, 1},
          "The first 1 dimensions in the shape of indices tensor and data tensor must be equal for op op, but at "
          "dimension 0: data shape=2, indices shape=3");
  refuses(1, {2, 3}, {2, 2}, lastIndex + "got indices_shape[-1]=2, batch_dims=1, data.rank=2");
  refuses(0, {2, 3}, {4, 0}, lastIndex + "got indices_shape[-1]=0, batch_dims=0, data.rank=2");
}

TEST_F(DataMovementOps, StridedSliceCanonicalFormKeepsAReverseRunToTheStart) {
  auto op = this->op<StridedSliceOp>(Attrs().signedList("ranges", {-1, -1, -1, -3, 7, 1}, {2, 3}), {shape({5, 6})});
  op->canonicalizeOp(1);
  EXPECT_EQ(readI32List(*op->attrs(), "ranges"), (std::vector<int32_t>{4, -1, -1, 3, 6, 1}));
  EXPECT_EQ(listAttrShape(*op->attrs(), "ranges"), (Dims{2, 3}));
  EXPECT_EQ(op->attrs()->getStaticTensor("ranges")->dataType(), static_cast<uint32_t>(VRX_DATATYPE_INT_32));
  EXPECT_EQ(inferred(op), (Shapes{{5, 3}}));
  canonicalizeRefuses(this->op<StridedSliceOp>(Attrs().signedList("ranges", {3, 1, 1}, {1, 3}), {shape({5})}),
                      "modeltools::ops::StridedSliceOp::canonicalizeOp: invalid stride 1 for begin 3 and end 1 at "
                      "axis 0");
}

TEST_F(DataMovementOps, StridedSliceStaticSizesAndMasks) {
  struct Case {
    Dims input;
    std::vector<int32_t> ranges;
    uint32_t shrink, newAxes;
    Dims expected;
  };
  const std::vector<Case> cases = {
      {{10}, {2, 8, 3}, 0, 0, {2}},
      {{10}, {9, 0, -2}, 0, 0, {5}},
      {{4, 5}, {1, 2, 1, 0, 5, 1}, 0b01, 0, {5}},
      {{4, 5}, {1, 2, 1, 0, 5, 1}, 0, 0b01, {1, 1, 5}},
      {{4, 5}, {0, 4, 1, 0, 5, 1}, 0b100, 0b010, {4, 1}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(listToString(c.input));
    Attrs attrs = Attrs()
                      .signedList("ranges", c.ranges, {static_cast<uint32_t>(c.ranges.size() / 3), 3})
                      .u32("shrink_axes", c.shrink)
                      .u32("new_axes_mask", c.newAxes);
    EXPECT_EQ(inferred(op<StridedSliceOp>(attrs, {shape(c.input)})), (Shapes{c.expected}));
  }
  inferRefuses(op<StridedSliceOp>(Attrs().signedList("ranges", {0, 1, 1}, {1, 3}), {shape({4, 5})}),
               "modeltools::ops::StridedSliceOp::inferOutputTensorShapes: Unsupported length for ranges in op. "
               "Expected length of ranges >= 2, but got 1.");
}

TEST_F(DataMovementOps, StridedSliceOnDynamicAxes) {
  struct Case {
    const char* what;
    std::vector<int32_t> firstRow;
    IrTensorShape expected;
  };
  const std::vector<Case> cases = {
      {"the whole axis stays dynamic", {0, 8, 1}, shape({8, 3}, {0})},
      {"a tail of fixed length", {-3, 8, 1}, shape({3, 3})},
      {"a fixed window", {2, 5, 1}, shape({3, 3})},
      {"trimmed at both ends", {1, -1, 1}, shape({6, 3}, {0})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<int32_t> ranges = c.firstRow;
    ranges.insert(ranges.end(), {1, 4, 1});
    auto op = this->op<StridedSliceOp>(Attrs().signedList("ranges", ranges, {2, 3}), {shape({8, 6}, {0})});
    op->canonicalizeOp(1);  // leaves the dynamic row alone
    EXPECT_EQ(op->inferOutputTensorShapes(irOrder, 1), TensorShapes{c.expected});
  }
}

TEST_F(DataMovementOps, StridedSliceRefusalsOnDynamicAxes) {
  const std::string head = "modeltools::ops::StridedSliceOp::";
  const std::string calc = head + "calcSliceSizeDynamic: For StridedSlice op op ";
  auto slice = [this](std::vector<int32_t> row, Attrs attrs = Attrs()) {
    return op<StridedSliceOp>(attrs.signedList("ranges", row, {1, 3}), {shape({8}, {0})});
  };
  EXPECT_THROW_MSG(slice({0, 8, 2})->inferOutputTensorShapes(irOrder, 1), std::invalid_argument,
                   calc + "stride 2 is not supported for axis 0 with dynamic dimensions.");
  EXPECT_THROW_MSG(
      slice({-2, 5, 1})->inferOutputTensorShapes(irOrder, 1), std::invalid_argument,
      calc + "combination of  begin = -2 end = 5 stride = 1 is not supported for axis 0 with dynamic dimensions.");
  EXPECT_THROW_HAS(slice({5, 2, 1})->inferOutputTensorShapes(irOrder, 1), std::invalid_argument,
                   "combination of  begin = 5 end = 2 stride = 1");
  EXPECT_THROW_MSG(slice({0, 8, 1}, Attrs().u32("end_mask", 1))->inferOutputTensorShapes(irOrder, 1),
                   std::invalid_argument,
                   head +
                       "inferOutputTensorShapes: Attribute end_mask with value 1 is not supported in op op which "
                       "has dynamic dimensions.");
  inferRefuses(slice({0, 8, 1}),
               head +
                   "inferOutputShapes: StridedSliceOp op inputs have dynamic shapes. Use inferOutputTensorShapes "
                   "instead.");
}

TEST_F(DataMovementOps, ExpandDimsSortsItsAxesAndInsertsStaticOnes) {
  const auto axes = [](std::vector<int32_t> values) { return Attrs().signedList("axes", std::move(values)); };
  auto op = this->op<ExpandDimsOp>(axes({2, -2}), {shape({3, 4}, {1})});
  op->canonicalizeOp(1);
  EXPECT_EQ(readU32List(*op->attrs(), "axes"), (U32{0, 2}));
  EXPECT_EQ(op->inferOutputTensorShapes(irOrder, 1), (TensorShapes{shape({1, 3, 1, 4}, {3})}));
  const std::string head = "modeltools::ops::ExpandDimsOp::";
  inferRefuses(op,
               head + "inferOutputShapes: ExpandDimsOp op has dynamic inputs. Use inferOutputTensorShapes instead.");
  canonicalizeRefuses(this->op<ExpandDimsOp>(axes({1, -1}), {shape({3, 4})}),
                      head + "canonicalizeOp: ExpandDimsOp axis value -1 at index 1 is not unique.");
  canonicalizeRefuses(this->op<ExpandDimsOp>(axes({0, 3}), {shape({3, 4})}),
                      head + "canonicalizeOp: ExpandDimsOp axis value 3 at index 1 is out of range [0,2)");
}

TEST_F(DataMovementOps, ExpandBroadcastsTheInputWithThePositiveShape) {
  EXPECT_EQ(inferred(op<ExpandOp>(Attrs().list("shape", {2, 1, 4}), {shape({3, 1})})), (Shapes{{2, 3, 4}}));
  inferRefuses(op<ExpandOp>(Attrs().signedList("shape", {2, 0}), {shape({3, 1})}),
               "modeltools::ops::ExpandOp::inferOutputShapes: Unable to calculate ExpandOp output shape for op op. "
               "The value of output_shape parameter must be greater than 0. But got 0 at index 1.");
}

TEST_F(DataMovementOps, SpatialRearrangementsFollowTheAxisOrderAndRefuseZeroBlocksByName) {
  struct Case {
    std::string type;
    Attrs attrs;
    Dims input;
    bool channelFirst;
    Dims expected;
  };
  const auto block = [](uint32_t h, uint32_t w) { return Attrs().list("block_size", {h, w}); };
  const std::vector<Case> cases = {
      {"DepthToSpace", block(2, 2), {1, 4, 6, 8}, false, {1, 8, 12, 2}},
      {"DepthToSpace", block(2, 2), {1, 8, 4, 6}, true, {1, 2, 8, 12}},
      {"SpaceToDepth", block(2, 3), {1, 4, 6, 2}, false, {1, 2, 2, 12}},
      {"BatchToSpace", block(2, 2).list("crops", {1, 0, 0, 1}, {2, 2}), {8, 3, 3, 5}, false, {2, 5, 5, 5}},
      {"BatchToSpace", block(0, 2), {8, 3, 3, 5}, false, {0, 0, 6, 5}},
      {"SpaceToBatch", block(2, 3).list("pad_amount", {1, 0, 0, 1}, {2, 2}), {2, 5, 5, 5}, false, {12, 3, 2, 5}},
      {"SpaceToBatch", block(2, 2), {2, 5, 4, 6}, true, {8, 5, 2, 3}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type + " " + listToString(c.input));
    const TensorList in{tensor("x", c.input)}, out{tensor("y", {1})};
    const OpPtr op = modeltools::ops::opClassRegistry().applyMethod(c.type, "op", c.attrs.table(), in, out);
    EXPECT_EQ(op->inferOutputShapes(c.channelFirst ? onnxOrder : irOrder, 1), (Shapes{c.expected}));
  }
  inferRefuses(op<DepthToSpaceOp>(block(2, 0), {shape({1, 4, 4, 8})}),
               "modeltools::ops::DepthToSpaceOp::inferOutputShapes: DepthToSpaceOp op has zero block_width, which "
               "causes division by zero when calculating output dimensions. block_width must be > 0");
  EXPECT_THROW_HAS(inferred(op<SpaceToDepthOp>(block(0, 2), {shape({1, 4, 4, 8})})), std::invalid_argument,
                   "SpaceToDepthOp op has zero block_height, which causes division by zero");
  EXPECT_THROW_HAS(inferred(op<DepthToSpaceOp>(Attrs().list("block_size", {2}), {shape({1, 4, 4, 8})})),
                   std::out_of_range, "Index out of bounds for IrStaticTensor");
}

TEST_F(DataMovementOps, ChannelShuffleResizeChecksCountsAndChannels) {
  const std::string head = "modeltools::ops::ChannelShuffleOp::resizeOp: ChannelShuffle layer op input ";
  auto op = this->op<ChannelShuffleOp>(Attrs().u32("num_groups", 2), {shape({1, 4, 4, 8})});
  op->canonicalizeOp(1);
  EXPECT_EQ(op->attrs()->getAttr<uint32_t>("axis"), 3u);
  EXPECT_THROW_MSG(op->resizeOp(irOrder, 1), std::invalid_argument,
                   head +
                       "channels 8 != output channels 0 at index 0. Input and output channel counts must match for "
                       "channel shuffle.");
  op->getOutput(0)->setShape(Dims{1, 1, 1, 8});
  op->resizeOp(irOrder, 1);
  EXPECT_EQ(op->getOutput(0)->dims(), (Dims{1, 4, 4, 8}));
  EXPECT_THROW_MSG(this->op<ChannelShuffleOp>(Attrs().u32("num_groups", 2), {shape({1, 8})}, 2)->resizeOp(irOrder, 2),
                   std::invalid_argument, head + "counts 1 !=  output counts 2.");
}

TEST_F(DataMovementOps, ResizeScalesTheSpatialAxesOfTheFormatAndCostsAllButTheBatchUnlessNearest) {
  struct Case {
    Dims input;
    AxisFormat format;
    bool channelFirstOrder;
    Dims expected;
  };
  const std::vector<Case> cases = {
      {{1, 10, 20, 3}, ANY, false, {1, 15, 10, 3}},  // ANY asks the axis order: NHWC
      {{1, 3, 10, 20}, ANY, true, {1, 3, 15, 10}},   // ... or NCHW
      {{1, 3, 10, 20}, NCHW, false, {1, 3, 15, 10}},
      {{1, 5, 4}, NFC, false, {1, 3, 4}},  // 2.5 rounds away from zero
      {{1, 4, 5}, NCF, false, {1, 4, 3}},
      {{1, 2, 10, 20, 3}, NDHWC, false, {1, 6, 15, 10, 3}},
      {{1, 3, 2, 10, 20}, NONTRIVIAL, true, {1, 3, 6, 15, 10}},
  };
  const auto scale = [](float width) { return Attrs().f32("scale_width", width, kSupplemental); };
  for (const auto& c : cases) {
    SCOPED_TRACE(listToString(c.input));
    Attrs attrs = scale(0.5f).f32("scale_height", 1.5f, kSupplemental).f32("scale_depth", 3.0f, kSupplemental);
    auto op = this->op<ResizeOp>(attrs, {shape(c.input)}, 1, c.format);
    EXPECT_EQ(op->inferOutputShapes(c.channelFirstOrder ? onnxOrder : irOrder, 1), (Shapes{c.expected}));
  }
  EXPECT_THROW_MSG(inferred(op<ResizeOp>(scale(2.0f), {shape({4, 4})})), std::runtime_error,
                   "modeltools::ops::ResizeOp::inferOutputShapes: 3D/4D/5D input to resize(scale) is expected, but "
                   "got: 2 for Op: op");

  auto costed = op<ResizeOp>(scale(2.0f), {shape({2, 4, 4, 3})});
  costed->getOutput(0)->setShape(Dims{2, 8, 8, 3});
  EXPECT_EQ(costed->macs(irOrder), 0u);  // nearest
  costed->attrs()->add("interpolation_mode", uint32_t{1}, kSupplemental);
  EXPECT_EQ(costed->macs(irOrder), 192u);
  costed->overrideDataAxisFormats(irOrder);
  EXPECT_EQ(costed->getInput(0)->axisFormat(), NHWC);
}

}  // namespace
}  // namespace modeltools::ops
