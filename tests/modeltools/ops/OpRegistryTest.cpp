#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "OpTestSupport.hpp"
#include "modeltools/ops/Ops.hpp"
#include "modeltools/ops/OpClasses.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools::ops {
namespace {

using attrcategory::kBackendParam;
using attrcategory::kInternal;
using attrcategory::kSupplemental;
using testing::Attrs;

OpTranslationRegistry& registry() { return modeltools::ops::opClassRegistry(); }

OpPtr build(const std::string& type, const std::shared_ptr<IrAttributes>& attrs, const TensorList& inputs = {},
            const TensorList& outputs = {}) {
  return registry().applyMethod(type, "node", attrs, inputs, outputs);
}

// A fresh copy of a row's table, so that tests may change it.
std::shared_ptr<IrAttributes> fresh(const Attrs& attrs) { return std::make_shared<IrAttributes>(*attrs.table()); }

// One registered type: its string, its mandatory attributes in checking order, a table that
// holds exactly them, and a test of the class.
struct TypeRow {
  std::string type;
  std::vector<std::string> mandatory;
  Attrs attrs;
  std::function<bool(const IrOp*)> isClass;
};

template <class T>
TypeRow row(std::string type, std::vector<std::string> mandatory = {}, Attrs attrs = Attrs()) {
  return {std::move(type), std::move(mandatory), std::move(attrs),
          [](const IrOp* op) { return dynamic_cast<const T*>(op) != nullptr; }};
}

Attrs blockSize() { return Attrs().list("block_size", {2, 2}); }
Attrs convAttrs() { return Attrs().list("stride", {1, 1}).list("pad_amount", {0, 0, 0, 0}, {2, 2}); }
Attrs operation(uint32_t code) { return Attrs().u32("operation", code); }
Attrs axes() { return Attrs().list("axes", {1}); }
Attrs padAttrs() { return Attrs().list("pad_amount", {0, 0}, {1, 2}).u32("scheme", 0); }
Attrs rangesAttrs() { return Attrs().signedList("ranges", {0, 1, 1}, {1, 3}); }
Attrs scaleWidth() { return Attrs().f32("scale_width", 2.0f, kSupplemental); }

const std::vector<TypeRow>& typeRows() {
  static const std::vector<TypeRow> rows = {
      row<TransposeOp>("Transpose", {"perm"}, Attrs().list("perm", {1, 0})),
      row<ReshapeOp>("Reshape", {"shape"}, Attrs().list("shape", {4}, {}, kSupplemental)),
      row<ConcatOp>("Concat"),
      row<SplitOp>("Split", {"axis", "split_index"}, Attrs().i32("axis", 0).list("split_index", {})),
      row<PackOp>("Pack", {"axis"}, Attrs().i32("axis", 0)),
      row<TileOp>("Tile", {"multiples"}, Attrs().list("multiples", {2})),
      row<PadOp>("Pad", {"pad_amount", "scheme"}, padAttrs()),
      row<GatherOp>("Gather", {"axis"}, Attrs().i32("axis", 0)),
      row<GatherElementsOp>("GatherElements", {"axis"}, Attrs().u32("axis", 0)),
      row<GatherNDOp>("GatherNd"),
      row<StridedSliceOp>("StridedSlice", {"ranges"}, rangesAttrs()),
      row<ExpandDimsOp>("ExpandDims", {"axes"}, Attrs().list("axes", {0})),
      row<ExpandOp>("Expand", {"shape"}, Attrs().list("shape", {2})),
      row<DepthToSpaceOp>("DepthToSpace", {"block_size"}, blockSize()),
      row<SpaceToDepthOp>("SpaceToDepth", {"block_size"}, blockSize()),
      row<BatchToSpaceOp>("BatchToSpace", {"block_size"}, blockSize()),
      row<SpaceToBatchOp>("SpaceToBatch", {"block_size"}, blockSize()),
      row<ChannelShuffleOp>("ChannelShuffle", {"num_groups"}, Attrs().u32("num_groups", 2)),
      row<ResizeOp>("Resize", {"scale_width"}, scaleWidth()),
      row<Conv2dOp>("Conv2d", {"stride", "pad_amount"}, convAttrs()),
      row<Conv3dOp>("Conv3d", {"stride", "pad_amount", "reuse_sparse_indicies"},
                    convAttrs().flag("reuse_sparse_indicies", false)),
      row<DepthwiseConv2dOp>("DepthWiseConv2d", {"stride", "pad_amount"}, convAttrs()),
      row<TransposeConv2dOp>("TransposeConv2d", {"stride", "pad_amount"}, convAttrs()),
      row<TransposeConv3dOp>("TransposeConv3d", {"stride", "pad_amount"}, convAttrs()),
      row<ElementwiseBinaryOp>("Eltwise_Binary", {"operation"}, operation(0)),
      row<ElementwiseUnaryOp>("Eltwise_Unary", {"operation"}, operation(5)),
      row<ElementwiseTernaryOp>("Eltwise_Ternary", {"eltwise_type"}, Attrs().str("eltwise_type", "ElementWiseSelect")),
      row<ElementwiseNeuronOp>("ElementWiseNeuron", {"operation"}, operation(4)),
      row<ElementwiseMeanOp>("ElementWiseMean"),
      row<ElementWiseMuxOp>("ElementWiseMux"),
      row<ErfOp>("Erf"),
      row<LogitOp>("Logit"),
      row<PreluOp>("Prelu"),
      row<ThresholdedReluOp>("ThresholdedRelu"),
      row<SoftmaxOp>("Softmax"),
      row<ReduceOp>("Reduce", {"reduce_type", "axes"}, axes().str("reduce_type", "ReduceSum")),
      row<ReduceL2Op>("ReduceL2", {"axes"}, axes()),
      row<BatchnormOp>("Batchnorm"),
      row<LayerNormOp>("LayerNorm", {"axes"}, axes()),
      row<L2NormOp>("L2Norm"),
      row<RMSNormOp>("RmsNorm", {"axes"}, axes()),
      row<CastOp>("Cast"),
      row<ConvertOp>("Convert"),
      row<IdentityOp>("Identity"),
      row<DequantizeOp>("Dequantize"),
      row<LstmOp>("Lstm", {"hidden_size"}, Attrs().u32("hidden_size", 8, kSupplemental)),
      row<GruOp>("Gru", {"hidden_size"}, Attrs().u32("hidden_size", 8, kSupplemental)),
      row<DetectionOutputOp>("DetectionOutput",
                             {"delta_scaling_factors", "confidence_threshold", "iou_threshold", "detection_limit"},
                             Attrs()
                                 .list("delta_scaling_factors", {1, 1, 1, 1})
                                 .f32("confidence_threshold", 0.5f)
                                 .f32("iou_threshold", 0.5f)
                                 .i32("detection_limit", -1)),
      row<FullyConnectedOp>("FullyConnected"),
      row<MatMulOp>("MatMul"),
      row<TopKOp>("TopK", {"k"}, Attrs().u32("k", 3)),
      row<InverseOp>("Inverse"),
      row<HadamardTransformOp>("HadamardTransform"),
      row<CreateSparseOp>("CreateSparse"),
      row<GetSparseIndicesOp>("GetSparseIndices", {"num_specified_elements"},
                              Attrs().u32("num_specified_elements", 4, kSupplemental)),
      row<GetSparseValuesOp>("GetSparseValues", {"num_specified_elements"},
                             Attrs().u32("num_specified_elements", 4, kSupplemental)),
      row<ColorTransformOp>("ColorTransform"),
  };
  return rows;
}

TEST(OpRegistry, HoldsExactlyTheFiftySevenTypes) {
  std::vector<std::string> expected;
  for (const auto& r : typeRows()) expected.push_back(r.type);
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(expected.size(), 57u);
  EXPECT_EQ(registry().registeredTypes(), expected);
}

TEST(OpRegistry, EveryTypeBuildsItsClassWithItsTypeStringAndTheGivenTensors) {
  for (const auto& r : typeRows()) {
    SCOPED_TRACE(r.type);
    const OpPtr op = build(r.type, fresh(r.attrs));
    ASSERT_TRUE(op);
    EXPECT_EQ(op->type(), r.type);
    EXPECT_EQ(op->name(), "node");
    EXPECT_TRUE(r.isClass(op.get()));
  }
  testing::OpBench bench;
  auto in = bench.tensor("x", {2, 3});
  auto out = bench.tensor("y", {3, 2});
  const OpPtr op = build("Transpose", Attrs().list("perm", {1, 0}), {in}, {out});
  EXPECT_EQ(op->getInputs(), TensorList{in});
  EXPECT_EQ(op->getOutputs(), TensorList{out});
}

TEST(OpRegistry, EachMissingMandatoryAttributeSurfacesThroughApplyMethod) {
  for (const auto& r : typeRows()) {
    for (const auto& missing : r.mandatory) {
      SCOPED_TRACE(r.type + " without " + missing);
      auto attrs = fresh(r.attrs);
      attrs->remove(missing);
      EXPECT_THROW_MSG(build(r.type, attrs), std::runtime_error,
                       "modeltools::TranslationRegistry::applyMethod: Translation applyMethod returned with error: "
                       "modeltools::IrAttributes::assertAttrExists: Attribute '" +
                           missing +
                           "' not present. Available attributes count: " + std::to_string(r.mandatory.size() - 1));
    }
  }
}

TEST(OpRegistry, UnknownTypesIncludingCaseVariantsAndFamilyStringsAndSecondRegistrationsAreRefused) {
  for (const std::string type :
       {"transpose", "RMSNorm", "GatherND", "DepthwiseConv2d", "Neuron", "Arg", "Pool", "Pool3d", "Lrn"}) {
    SCOPED_TRACE(type);
    EXPECT_FALSE(registry().hasTranslationMethod(type));
    EXPECT_THROW_MSG(build(type, Attrs()), std::runtime_error,
                     "modeltools::TranslationRegistry::applyMethod: Error creating translation type: " + type +
                         ". Is your translation registered?");
  }
  EXPECT_TRUE(registry().hasTranslationMethod("ElementWiseNeuron"));
  EXPECT_THROW_MSG(registerOpClasses<TransposeOp>(registry()), std::invalid_argument,
                   "modeltools::TranslationRegistry::registerTranslationMethod: Translation: Transpose already "
                   "registered");
  EXPECT_TRUE(registry().hasTranslationMethod("Transpose"));
}

TEST(OpDefaults, ConstructorsWriteDefaultsWithTheirKindsIntoTheSharedTable) {
  struct DefaultRow {
    std::string type;
    Attrs attrs;
    std::string name;
    uint32_t dataType;
    uint8_t category;
  };
  const auto detection = Attrs()
                             .list("delta_scaling_factors", {1})
                             .f32("confidence_threshold", 0.5f)
                             .f32("iou_threshold", 0.5f)
                             .i32("detection_limit", 1);
  const std::vector<DefaultRow> rows = {
      {"Concat", Attrs(), "axis", VRX_DATATYPE_INT_32, kBackendParam},
      {"StridedSlice", rangesAttrs(), "shrink_axes", VRX_DATATYPE_UINT_32, kBackendParam},
      {"BatchToSpace", blockSize(), "crops", VRX_DATATYPE_UINT_32, kBackendParam},
      {"SpaceToBatch", blockSize(), "pad_amount", VRX_DATATYPE_UINT_32, kBackendParam},
      {"SpaceToDepth", blockSize(), "data_format", VRX_DATATYPE_STRING, kInternal},
      {"GatherNd", Attrs(), "batch_dims", VRX_DATATYPE_INT_32, kBackendParam},
      {"Pad", padAttrs(), "pad_constant_value", VRX_DATATYPE_FLOAT_32, kBackendParam},
      {"Resize", scaleWidth(), "transformation_mode", VRX_DATATYPE_UINT_32, kSupplemental},
      {"Conv2d", convAttrs(), "padding_size_strategy", VRX_DATATYPE_UINT_8, kSupplemental},
      {"Conv3d", convAttrs().flag("reuse_sparse_indicies", true), "dilation", VRX_DATATYPE_UINT_32, kBackendParam},
      {"TransposeConv2d", convAttrs(), "output_size", VRX_DATATYPE_UINT_32, kSupplemental},
      {"ElementWiseNeuron", operation(2), "beta", VRX_DATATYPE_FLOAT_32, kBackendParam},
      {"Convert", Attrs(), "dynamic_output_data", VRX_DATATYPE_BOOL_8, kBackendParam},
      {"FullyConnected", Attrs(), "transpose_b", VRX_DATATYPE_BOOL_8, kInternal},
      {"Lstm", Attrs().u32("hidden_size", 4), "hidden_state_offset", VRX_DATATYPE_INT_32, kBackendParam},
      {"Gru", Attrs().u32("hidden_size", 4), "rec_gate_activation", VRX_DATATYPE_STRING, kInternal},
      {"DetectionOutput", detection, "background_class_idx", VRX_DATATYPE_INT_32, kBackendParam},
      {"TopK", Attrs().u32("k", 1), "largest", VRX_DATATYPE_BOOL_8, kBackendParam},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.type + " " + r.name);
    auto generic = std::make_shared<IrOp>("node", r.type, fresh(r.attrs));
    ASSERT_FALSE(generic->attrs()->hasAttr(r.name));
    build(r.type, generic->attrs());
    ASSERT_TRUE(generic->attrs()->hasAttr(r.name));
    const AttrValue& value = generic->attrs()->get(r.name);
    EXPECT_EQ(value.dataType, r.dataType);
    EXPECT_EQ(value.category, r.category);
  }
}

TEST(OpDefaults, DefaultValuesAndTensorsFollowTheTables) {
  auto conv = Attrs(convAttrs()).table();
  build("TransposeConv3d", conv);
  EXPECT_EQ(conv->getAttr<uint32_t>("group"), 1u);
  EXPECT_EQ(readU32List(*conv, "dilation"), (std::vector<uint32_t>{1, 1, 1}));
  EXPECT_EQ(conv->getStaticTensorName("output_padding"), "output_padding");
  EXPECT_EQ(conv->getAttr<uint8_t>("padding_size_strategy"), 5);

  auto crops = blockSize().table();
  build("BatchToSpace", crops);
  EXPECT_EQ(listAttrShape(*crops, "crops"), (Dims{2, 2}));
  EXPECT_EQ(readU32List(*crops, "crops"), (std::vector<uint32_t>{0, 0, 0, 0}));

  auto softplus = operation(7).table();
  build("ElementWiseNeuron", softplus);
  EXPECT_FLOAT_EQ(softplus->getAttr<float>("threshold"), -1.0f);
  EXPECT_FALSE(softplus->hasAttr("alpha"));

  auto resize = scaleWidth().table();
  build("Resize", resize);
  EXPECT_FLOAT_EQ(resize->getAttr<float>("cubic_coeff"), -0.75f);
  EXPECT_FLOAT_EQ(resize->getAttr<float>("scale_height"), 1.0f);
}

TEST(OpDefaults, ASecondBuildingLeavesPresentValuesAlone) {
  auto generic = std::make_shared<IrOp>("node", "BatchToSpace", blockSize().table());
  build("BatchToSpace", generic->attrs());
  const auto crops = generic->attrs()->getStaticTensor("crops");
  const size_t count = generic->attrs()->count();
  build("BatchToSpace", generic->attrs());
  EXPECT_EQ(generic->attrs()->getStaticTensor("crops"), crops);
  EXPECT_EQ(generic->attrs()->count(), count);

  auto concat = Attrs().table();
  build("Concat", concat);
  concat->add("axis", uint32_t{2}, kBackendParam);
  build("Concat", concat);
  EXPECT_EQ(concat->getAttr<uint32_t>("axis"), 2u);
}

TEST(OpConstructors, SupplementalAttributesMustBeCategoryTwo) {
  const std::string head =
      "modeltools::TranslationRegistry::applyMethod: Translation applyMethod returned with error: ";
  EXPECT_THROW_MSG(build("Reshape", Attrs().list("shape", {4})), std::runtime_error,
                   head +
                       "modeltools::ops::ReshapeOp::ReshapeOp: shape attribute must be set as supplemental attr "
                       "for op node");
  EXPECT_THROW_MSG(build("Resize", Attrs().f32("scale_width", 2.0f)), std::runtime_error,
                   head +
                       "modeltools::ops::ResizeOp::ResizeOp: scale_width attribute must be set as supplemental "
                       "attr for op node");
  EXPECT_THROW_HAS(build("Eltwise_Ternary", Attrs().str("eltwise_type", "ElementWiseSelect", kInternal)),
                   std::runtime_error, "eltwise_type attribute must be set as supplemental attribute for op node");
  EXPECT_THROW_HAS(build("Reduce", Attrs().str("reduce_type", "ReduceSum", kBackendParam).list("axes", {1})),
                   std::runtime_error, "reduce_type attribute must be set as supplemental attribute for op node");
}

TEST(OpConstructors, CodeAndAxesRulesOfTheComputingFamilies) {
  EXPECT_THROW_HAS(build("ElementWiseNeuron", operation(5).f32("min_value", 0.0f)), std::runtime_error,
                   "Attribute 'max_value' not present");
  EXPECT_NO_THROW(build("ElementWiseNeuron", operation(5).f32("min_value", 0.0f).f32("max_value", 6.0f)));
  EXPECT_THROW_HAS(build("Reduce", Attrs().str("reduce_type", "ReduceSum").list("axes", {1, 2, 1})), std::runtime_error,
                   "modeltools::ops::ReduceOp::ReduceOp: ReduceOp (node) axes 1 can't be repeated");
  // Values are compared as they stand: -1 and the last axis are different here.
  EXPECT_NO_THROW(build("ReduceL2", Attrs().signedList("axes", {-1, 3})));
  EXPECT_THROW_HAS(build("ReduceL2", Attrs().signedList("axes", {-1, -1})), std::runtime_error,
                   "ReduceL2Op (node) axis -1 can't be repeated");
}

}  // namespace
}  // namespace modeltools::ops
