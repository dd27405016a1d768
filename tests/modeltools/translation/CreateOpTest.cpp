#include <gtest/gtest.h>

#include "modeltools/ir/IrTensor.hpp"
#include "modeltools/ops/Ops.hpp"
#include "modeltools/translation/CreateOp.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools::iroptimizer {
namespace {

using U32s = std::vector<uint32_t>;

std::shared_ptr<IrStaticTensor> listOf(const OpPtr& op, const std::string& name) {
  return op->attrs()->getStaticTensor(name);
}

// The least each type of the dispatch table needs, constructor checks included.
const std::vector<std::pair<std::string, OpAttrMap>>& minimalMaps() {
  static const std::vector<std::pair<std::string, OpAttrMap>> maps = {
      {"BatchToSpace", {{"block_size", U32s{2, 2}}}},
      {"ChannelShuffle", {{"num_groups", 2u}}},
      {"Concat", {}},
      {"Conv2d", {{"stride", U32s{1, 1}}, {"pad_amount", U32s{0, 0, 0, 0}}}},
      {"Conv3d", {{"stride", U32s{1, 1, 1}}, {"pad_amount", U32s(6, 0)}, {"reuse_sparse_indicies", false}}},
      {"CreateSparse", {}},
      {"DepthToSpace", {{"block_size", U32s{2, 2}}}},
      {"DepthWiseConv2d", {{"stride", U32s{1, 1}}, {"pad_amount", U32s{0, 0, 0, 0}}}},
      {"DetectionOutput",
       {{"delta_scaling_factors", std::vector<float>{10, 10, 5, 5}},
        {"confidence_threshold", 0.5f},
        {"iou_threshold", 0.5f},
        {"detection_limit", 10}}},
      {"Eltwise_Binary", {{"operation", 0u}}},
      {"ElementWiseNeuron", {{"operation", 4u}}},
      {"Eltwise_Ternary", {{"eltwise_type", "ElementWiseSelect"}}},
      {"Eltwise_Unary", {{"operation", 0u}}},
      {"ExpandDims", {{"axes", U32s{0}}}},
      {"Expand", {{"shape", U32s{1, 4}}}},
      {"FullyConnected", {}},
      {"Gather", {{"axis", 0}}},
      {"GatherElements", {{"axis", 0u}}},
      {"GatherNd", {{"batch_dims", 0}}},
      {"GetSparseIndices", {{"num_specified_elements", 4u}}},
      {"GetSparseValues", {{"num_specified_elements", 4u}}},
      {"Gru", {{"hidden_size", 8u}}},
      {"HadamardTransform", {}},
      {"LayerNorm", {{"axes", U32s{1}}}},
      {"L2Norm", {}},
      {"Lstm", {{"hidden_size", 8u}}},
      {"MatMul", {}},
      {"Pack", {{"axis", 0}}},
      {"Pad", {{"pad_amount", U32s{0, 0, 0, 0}}, {"scheme", 0u}}},
      {"Reduce", {{"reduce_type", "ReduceMax"}, {"axes", U32s{1}}}},
      {"ReduceL2", {{"axes", U32s{1}}}},
      {"Reshape", {{"shape", U32s{4}}}},
      {"Resize", {{"scale_width", 2.0f}}},
      {"RmsNorm", {{"axes", U32s{1}}}},
      {"Softmax", {}},
      {"SpaceToBatch", {{"block_size", U32s{2, 2}}}},
      {"SpaceToDepth", {{"block_size", U32s{2, 2}}}},
      {"Split", {{"axis", 0}, {"split_index", U32s{2}}}},
      {"StridedSlice", {{"ranges", std::vector<int32_t>{0, 4, 1}}}},
      {"ThresholdedRelu", {{"alpha", 1.0f}}},
      {"Tile", {{"multiples", U32s{1, 2}}}},
      {"TopK", {{"k", 2u}}},
      {"TransposeConv2d", {{"stride", U32s{1, 1}}, {"pad_amount", U32s{0, 0, 0, 0}}}},
      {"TransposeConv3d", {{"stride", U32s{1, 1, 1}}, {"pad_amount", U32s(6, 0)}}},
      {"Transpose", {{"perm", U32s{1, 0}}}},
      {"Batchnorm", {}},
      {"Cast", {}},
      {"Erf", {}},
      {"Identity", {}},
      {"Inverse", {}},
      {"Logit", {}},
      {"Prelu", {}},
      {"ElementWiseMux", {}},
      {"ElementWiseMean", {}},
  };
  return maps;
}

TEST(CreateOp, EveryTypeOfTheTableMakesItsTypedClassWithThePackageName) {
  for (const auto& [type, map] : minimalMaps()) {
    SCOPED_TRACE(type);
    const auto op = createOp(type, "op", map);
    EXPECT_EQ(op->type(), type);
    EXPECT_EQ(op->numInputs() + op->numOutputs(), 0u);
    EXPECT_EQ(op->attrs()->getAttr<std::string>("packageName"), "vrx.core");
    EXPECT_EQ(op->attrs()->get("packageName").category, attrcategory::kSupplemental);
  }
  EXPECT_NE(std::dynamic_pointer_cast<ops::TransposeOp>(createOp("Transpose", "t", {{"perm", U32s{1, 0}}})), nullptr);
  EXPECT_THROW_MSG(createOp("ColorTransform", "c", {}), std::runtime_error,
                   "modeltools::iroptimizer::createOp: Op not supported: ColorTransform");
  EXPECT_THROW_MSG(createOp("transpose", "c", {}), std::runtime_error,
                   "modeltools::iroptimizer::createOp: Op not supported: transpose");
}

TEST(CreateOp, ACastCarriesOnlyThePackageName) {
  const auto cast = createOp("Cast", "cast", {});
  EXPECT_NE(std::dynamic_pointer_cast<ops::CastOp>(cast), nullptr);
  EXPECT_EQ(cast->attrs()->count(), 1u);
}

TEST(CreateOp, APackageNameIsReadOnlyWhereTheTypeTakesOne) {
  const OpAttrMap conv = {{"stride", U32s{1, 1}}, {"pad_amount", U32s{0, 0, 0, 0}}, {"packageName", "custom"}};
  EXPECT_EQ(createOp("Conv2d", "c", conv)->attrs()->getAttr<std::string>("packageName"), "vrx.core");
  EXPECT_EQ(createOp("Concat", "c", {{"packageName", "custom"}})->attrs()->getAttr<std::string>("packageName"),
            "custom");
  EXPECT_FALSE(createTransposeOp("t", {{"perm", U32s{1, 0}}})->attrs()->hasAttr("packageName"));
}

TEST(CreateOp, ListsBecomeStaticTensorsNamedAfterOpAndAttribute) {
  const auto conv = createOp("Conv2d", "conv1", {{"stride", U32s{2, 2}}, {"pad_amount", U32s{1, 1, 1, 1}}});
  const auto stride = listOf(conv, "stride");
  EXPECT_EQ(stride->name(), "conv1_stride");
  EXPECT_EQ(stride->dataType(), static_cast<uint32_t>(VRX_DATATYPE_UINT_32));
  EXPECT_EQ(stride->dims(), (Dims{2}));
  EXPECT_EQ(std::vector<uint32_t>(stride->values<uint32_t>().begin(), stride->values<uint32_t>().end()), (U32s{2, 2}));
  EXPECT_EQ(listOf(conv, "pad_amount")->dims(), (Dims{2, 2}));
  EXPECT_EQ(listOf(conv, "dilation")->name(), "dilation");  // the constructor's default
  EXPECT_EQ(conv->attrs()->getAttr<uint32_t>("group"), 1u);

  const auto conv3 = createOp("Conv3d", "c3", minimalMaps()[4].second);
  EXPECT_EQ(listOf(conv3, "pad_amount")->dims(), (Dims{3, 2}));

  const auto slice = createOp("StridedSlice", "s", {{"ranges", std::vector<int32_t>{0, 4, 1, -1, 0, -1}}});
  EXPECT_EQ(listOf(slice, "ranges")->dataType(), static_cast<uint32_t>(VRX_DATATYPE_INT_32));
  EXPECT_EQ(listOf(slice, "ranges")->dims(), (Dims{2, 3}));

  const auto detection = createOp("DetectionOutput", "d", minimalMaps()[8].second);
  EXPECT_EQ(listOf(detection, "delta_scaling_factors")->dataType(), static_cast<uint32_t>(VRX_DATATYPE_FLOAT_32));
  EXPECT_EQ(detection->attrs()->get("background_class_idx").dataType, static_cast<uint32_t>(VRX_DATATYPE_INT_32));

  const auto reshape = createOp("Reshape", "r", {{"shape", U32s{4}}});
  EXPECT_EQ(reshape->attrs()->get("shape").category, attrcategory::kSupplemental);
}

TEST(CreateOp, ReadersTakeTheirFieldWhateverTheTagSays) {
  OpAttrValue operation;
  operation.uint32Value = 13;
  operation.tag = attrtag::kFloat;
  const auto mul = createOp("Eltwise_Binary", "m", {{"operation", operation}});
  EXPECT_EQ(mul->attrs()->getAttr<uint32_t>("operation"), 13u);

  // Neuron parameters other than the clip bounds come only from the constructor.
  const auto elu = createOp("ElementWiseNeuron", "e", {{"operation", 0u}, {"alpha", 3.0f}, {"min_value", -1.0f}});
  EXPECT_EQ(elu->attrs()->getAttr<float>("alpha"), 1.0f);
  EXPECT_EQ(elu->attrs()->getAttr<float>("min_value"), -1.0f);
}

TEST(CreateOp, AxisTakesItsTypeFromTheTag) {
  EXPECT_EQ(createOp("Concat", "c", {})->attrs()->getAttr<int32_t>("axis"), -1);
  EXPECT_EQ(createOp("Concat", "c", {{"axis", 2u}})->attrs()->getAttr<uint32_t>("axis"), 2u);
  EXPECT_EQ(createOp("Softmax", "s", {{"axis", -2}})->attrs()->getAttr<int32_t>("axis"), -2);
  EXPECT_THROW_MSG(createOp("Concat", "cat", {{"axis", uint8_t{1}}}), std::runtime_error,
                   "modeltools::iroptimizer::createConcatOp: Concat op 'cat': Invalid type for axis parameter, "
                   "expected INT32 or UINT32");
  EXPECT_THROW_MSG(createOp("Split", "sp", {{"axis", 1.0f}, {"split_index", U32s{1}}}), std::runtime_error,
                   "modeltools::iroptimizer::createSplitOp: Split op 'sp': Invalid type for axis parameter, "
                   "expected INT32 or UINT32");
}

TEST(CreateOp, MissingMandatoryAttributesAreReportedInTableOrder) {
  EXPECT_THROW_MSG(createOp("Conv2d", "c", {}), std::runtime_error,
                   "modeltools::iroptimizer::createConv2dOp: Conv2D op 'c': Mandatory attribute 'stride' not supplied");
  EXPECT_THROW_MSG(createOp("DepthWiseConv2d", "d", {{"stride", U32s{1, 1}}}), std::runtime_error,
                   "modeltools::iroptimizer::createDepthwiseConv2dOp: DepthwiseConv2D op 'd': Mandatory attribute "
                   "'pad_amount' not supplied");
  EXPECT_THROW_MSG(createOp("GetSparseValues", "g", {}), std::runtime_error,
                   "modeltools::iroptimizer::createGetSparseValuesOp: GetSparseValuesOp op 'g': Mandatory attribute "
                   "'num_specified_elements' not supplied");
  EXPECT_THROW_MSG(createOp("ElementWiseNeuron", "n", {}), std::runtime_error,
                   "modeltools::iroptimizer::createElementwiseNeuronOp: Mandatory attribute value not supplied");
  // Not mandatory for the create function, but for the constructor.
  EXPECT_THROW_HAS(
      createOp(
          "DetectionOutput", "d",
          {{"delta_scaling_factors", std::vector<float>{1}}, {"confidence_threshold", 0.5f}, {"iou_threshold", 0.5f}}),
      std::runtime_error, "Attribute 'detection_limit' not present");
}

TEST(CreateOp, BlockSizesMustHoldHeightAndWidth) {
  EXPECT_THROW_MSG(createOp("BatchToSpace", "b", {{"block_size", U32s{2, 2, 2}}}), std::runtime_error,
                   "modeltools::iroptimizer::createBatchToSpaceOp: BatchToSpace op 'b': block_size must have exactly 2 "
                   "elements (height, width), got 3");
  EXPECT_THROW_MSG(createOp("SpaceToBatch", "s", {{"block_size", U32s{}}}), std::runtime_error,
                   "modeltools::iroptimizer::createSpaceToBatchOp: SpaceToBatch op 's': block_size must have exactly 2 "
                   "elements (height, width), got 0");
  EXPECT_THROW_MSG(createOp("DepthToSpace", "d", {{"block_size", U32s{2}}}), std::runtime_error,
                   "modeltools::iroptimizer::createDepthToSpaceOp: DepthToSpace block size must have exactly 2 "
                   "elements (height, width), got 1");
  EXPECT_THROW_MSG(createOp("SpaceToDepth", "s", {{"block_size", U32s{2}}}), std::runtime_error,
                   "modeltools::iroptimizer::createSpaceToDepthOp: SpaceToDepth block size must have exactly 2 "
                   "elements (height, width), got 1");
}

}  // namespace
}  // namespace modeltools::iroptimizer
