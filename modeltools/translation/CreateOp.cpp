// Typed op creation. Every create function follows one recipe, so the types are described by
// a table of rules (which attributes, read from which field, with which category, which of
// them mandatory) and one routine carries the recipe out.

#include "CreateOp.hpp"

#include <stdexcept>

#include "modeltools/ir/IrAttributes.hpp"
#include "modeltools/ir/IrTensor.hpp"
#include "modeltools/ops/Ops.hpp"

namespace modeltools::iroptimizer {
namespace {

// The field of OpAttrValue an attribute is read from, and how it is stored.
enum class Read : uint8_t { U32, I32, F32, Bool, Str, U8, UnsignedList, SignedList, FloatList, Axis };

using ListShape = Dims (*)(size_t count);

Dims flatShape(size_t count) { return {static_cast<uint32_t>(count)}; }
Dims padAmount2d(size_t) { return {2, 2}; }
Dims padAmount3d(size_t) { return {3, 2}; }
Dims rangeTriples(size_t count) { return {static_cast<uint32_t>(count / 3), 3}; }

struct AttrRule {
  const char* name;
  Read read;
  uint8_t category;
  bool mandatory;
  ListShape shape = flatShape;
  size_t exactLength = 0;  // 0: any length
};

AttrRule required(const char* name, Read read, uint8_t category, ListShape shape = flatShape) {
  return {name, read, category, true, shape};
}

AttrRule allowed(const char* name, Read read, uint8_t category) { return {name, read, category, false}; }

AttrRule blockSize() {
  AttrRule rule = required("block_size", Read::UnsignedList, attrcategory::kBackendParam);
  rule.exactLength = 2;
  return rule;
}

const AttrRule kPackageName = allowed("packageName", Read::Str, attrcategory::kSupplemental);

// How a wrong block size is reported: behind the op's display head, or in the type's own words.
enum class BlockSizeText : uint8_t { DisplayHead, OwnWords };

using Construct = OpPtr (*)(const std::string& name, std::shared_ptr<IrAttributes> attrs);

template <class OpClass>
OpPtr construct(const std::string& name, std::shared_ptr<IrAttributes> attrs) {
  return std::make_shared<OpClass>(name, std::move(attrs));
}

struct CreateRule {
  const char* function = "createOp";
  const char* displayName = "";
  Construct construct = nullptr;
  std::vector<AttrRule> attrs;
  BlockSizeText blockSizeText = BlockSizeText::DisplayHead;
  const char* missingText = nullptr;  // replaces the usual text for a missing mandatory attribute
};

template <class OpClass>
std::pair<std::string, CreateRule> entry(const char* function, const char* displayName, std::vector<AttrRule> attrs) {
  return {OpClass::kType, CreateRule{.function = function,
                                     .displayName = displayName,
                                     .construct = &construct<OpClass>,
                                     .attrs = std::move(attrs)}};
}

template <class OpClass>
std::pair<std::string, CreateRule> unnamedEntry(std::vector<AttrRule> attrs = {}) {
  return entry<OpClass>("createOp", "", std::move(attrs));
}

std::unordered_map<std::string, CreateRule> buildRules() {
  using namespace ops;
  constexpr uint8_t kParam = attrcategory::kBackendParam;
  constexpr uint8_t kSupp = attrcategory::kSupplemental;
  constexpr uint8_t kInternal = attrcategory::kInternal;
  const AttrRule stride = required("stride", Read::UnsignedList, kParam);
  const AttrRule strategy = allowed("padding_size_strategy", Read::U8, kSupp);
  const AttrRule biasName = allowed("bias_op_name", Read::Str, kSupp);
  const AttrRule dilation = allowed("dilation", Read::UnsignedList, kParam);
  const AttrRule group = allowed("group", Read::U32, kParam);
  const AttrRule axes = required("axes", Read::UnsignedList, kParam);
  const AttrRule epsilon = allowed("epsilon", Read::F32, kParam);
  const AttrRule keepDims = allowed("keep_dims", Read::Bool, kParam);
  const AttrRule axisByTag = allowed("axis", Read::Axis, kParam);
  const AttrRule mode = allowed("mode", Read::U32, kParam);

  std::unordered_map<std::string, CreateRule> rules{
      entry<BatchToSpaceOp>("createBatchToSpaceOp", "BatchToSpace", {blockSize()}),
      entry<ChannelShuffleOp>("createChannelShuffleOp", "ChannelShuffle",
                              {required("num_groups", Read::U32, kParam), allowed("axis", Read::U32, kParam)}),
      entry<ConcatOp>("createConcatOp", "Concat", {axisByTag, kPackageName}),
      entry<Conv2dOp>("createConv2dOp", "Conv2D",
                      {stride, required("pad_amount", Read::UnsignedList, kParam, padAmount2d), group, dilation,
                       strategy, biasName, allowed("reuse_sparse_indices", Read::Bool, kParam)}),
      entry<Conv3dOp>("createConv3dOp", "Conv3D",
                      {stride, required("pad_amount", Read::UnsignedList, kParam, padAmount3d),
                       required("reuse_sparse_indicies", Read::Bool, kParam), group, dilation, strategy, biasName}),
      unnamedEntry<CreateSparseOp>({kPackageName}),
      entry<DepthToSpaceOp>("createDepthToSpaceOp", "DepthToSpace", {blockSize(), mode}),
      entry<DepthwiseConv2dOp>(
          "createDepthwiseConv2dOp", "DepthwiseConv2D",
          {stride, required("pad_amount", Read::UnsignedList, kParam, padAmount2d), dilation, strategy, biasName}),
      entry<DetectionOutputOp>(
          "createDetectionOutputOp", "DetectionOutput",
          {required("delta_scaling_factors", Read::FloatList, kParam),
           required("confidence_threshold", Read::F32, kParam), required("iou_threshold", Read::F32, kParam),
           allowed("nms_type", Read::U32, kParam), allowed("background_class_idx", Read::U32, kParam),
           allowed("use_bg_in_nms", Read::Bool, kParam), allowed("output_background", Read::Bool, kParam),
           allowed("share_location", Read::Bool, kParam), allowed("nms_eta", Read::F32, kParam),
           allowed("detection_limit", Read::I32, kParam), kPackageName}),
      entry<ElementwiseBinaryOp>("createElementwiseBinaryOp", "ElementWiseBinary",
                                 {required("operation", Read::U32, kParam), kPackageName}),
      entry<ElementwiseNeuronOp>("createElementwiseNeuronOp", "",
                                 {required("operation", Read::U32, kParam), allowed("min_value", Read::F32, kParam),
                                  allowed("max_value", Read::F32, kParam), kPackageName}),
      entry<ElementwiseTernaryOp>("createElementwiseTernaryOp", "ElementwiseTernary",
                                  {required("eltwise_type", Read::Str, kSupp)}),
      entry<ElementwiseUnaryOp>("createElementwiseUnaryOp", "ElementWiseUnary",
                                {required("operation", Read::U32, kParam)}),
      entry<ExpandDimsOp>("createExpandDimsOp", "ExpandDims", {axes}),
      entry<ExpandOp>("createExpandOp", "Expand", {required("shape", Read::UnsignedList, kParam)}),
      unnamedEntry<FullyConnectedOp>({keepDims, allowed("transpose_a", Read::Bool, kInternal),
                                      allowed("transpose_b", Read::Bool, kInternal), biasName}),
      entry<GatherOp>("createGatherOp", "Gather", {required("axis", Read::I32, kParam)}),
      entry<GatherElementsOp>("createGatherElementsOp", "GatherElements", {required("axis", Read::U32, kParam)}),
      entry<GatherNDOp>("createGatherNDOp", "GatherND", {required("batch_dims", Read::I32, kParam)}),
      entry<GetSparseIndicesOp>("createGetSparseIndicesOp", "GetSparseIndices",
                                {required("num_specified_elements", Read::U32, kSupp), kPackageName}),
      entry<GetSparseValuesOp>("createGetSparseValuesOp", "GetSparseValuesOp",
                               {required("num_specified_elements", Read::U32, kSupp), kPackageName}),
      unnamedEntry<GruOp>({allowed("hidden_size", Read::U32, kSupp), allowed("h_0_input_name", Read::Str, kSupp),
                           allowed("direction", Read::U32, kParam), allowed("time_major", Read::Bool, kParam),
                           allowed("linear_before_reset", Read::U32, kParam),
                           allowed("activation", Read::Str, kInternal),
                           allowed("gate_activation", Read::Str, kInternal),
                           allowed("rec_gate_activation", Read::Str, kInternal), kPackageName}),
      unnamedEntry<HadamardTransformOp>({allowed("scale", Read::F32, kParam)}),
      entry<LayerNormOp>("createLayerNormOp", "LayerNorm", {axes, epsilon}),
      unnamedEntry<L2NormOp>(
          {allowed("axis", Read::U32, kParam), allowed("axes", Read::UnsignedList, kParam), epsilon}),
      unnamedEntry<LstmOp>(
          {allowed("hidden_size", Read::U32, kSupp), allowed("reset_state_at_time_step_0", Read::Bool, kSupp),
           allowed("h_0_input_name", Read::Str, kSupp), allowed("c_0_input_name", Read::Str, kSupp),
           allowed("direction", Read::U32, kParam), allowed("time_major", Read::Bool, kParam),
           allowed("cell_clip_threshold", Read::F32, kParam), allowed("output_clip_threshold", Read::F32, kParam),
           allowed("sequence_continuation_name", Read::Str, kInternal),
           allowed("x_static_name", Read::Str, kInternal)}),
      unnamedEntry<MatMulOp>(
          {allowed("transpose_in0", Read::Bool, kParam), allowed("transpose_in1", Read::Bool, kParam)}),
      entry<PackOp>("createPackOp", "Pack", {axisByTag}),
      entry<PadOp>("createPadOp", "Pad",
                   {required("pad_amount", Read::UnsignedList, kParam), required("scheme", Read::U32, kParam),
                    allowed("pad_constant_value", Read::F32, kParam)}),
      entry<ReduceOp>("createReduceOp", "Reduce", {required("reduce_type", Read::Str, kSupp), axes, keepDims}),
      entry<ReduceL2Op>("createReduceL2Op", "ReduceL2", {axes, keepDims}),
      entry<ReshapeOp>("createReshapeOp", "Reshape", {required("shape", Read::UnsignedList, kSupp)}),
      entry<ResizeOp>("createResizeOp", "Resize",
                      {required("scale_width", Read::F32, kSupp), allowed("interpolation_mode", Read::U32, kSupp),
                       allowed("transformation_mode", Read::U32, kSupp), allowed("nearest_mode", Read::U32, kSupp),
                       allowed("exclude_outside", Read::Bool, kSupp), allowed("cubic_coeff", Read::F32, kSupp),
                       allowed("antialias", Read::Bool, kSupp), allowed("scale_height", Read::F32, kSupp),
                       allowed("scale_depth", Read::F32, kSupp)}),
      entry<RMSNormOp>("createRmsNormOp", "RmsNorm", {axes, epsilon}),
      entry<SoftmaxOp>("createSoftmaxOp", "Softmax", {axisByTag, allowed("beta", Read::F32, kParam)}),
      entry<SpaceToBatchOp>("createSpaceToBatchOp", "SpaceToBatch", {blockSize()}),
      entry<SpaceToDepthOp>("createSpaceToDepthOp", "SpaceToDepth", {blockSize(), mode}),
      entry<SplitOp>(
          "createSplitOp", "Split",
          {required("axis", Read::Axis, kParam), required("split_index", Read::UnsignedList, kParam), kPackageName}),
      entry<StridedSliceOp>("createStridedSliceOp", "StridedSlice",
                            {required("ranges", Read::SignedList, kParam, rangeTriples),
                             allowed("begin_mask", Read::U32, kParam), allowed("end_mask", Read::U32, kParam),
                             allowed("shrink_axes", Read::U32, kParam), allowed("new_axes_mask", Read::U32, kParam)}),
      entry<ThresholdedReluOp>("createThresholdedReluOp", "ThresholdedRelu", {required("alpha", Read::F32, kParam)}),
      entry<TileOp>("createTileOp", "Tile", {required("multiples", Read::UnsignedList, kParam)}),
      entry<TopKOp>("createTopKOp", "TopK", {required("k", Read::U32, kParam), allowed("largest", Read::Bool, kParam)}),
      entry<TransposeConv2dOp>("createTransposeConv2dOp", "TransposeConv2D",
                               {stride, required("pad_amount", Read::UnsignedList, kParam, padAmount2d), group,
                                allowed("output_padding", Read::UnsignedList, kParam), strategy,
                                allowed("output_size", Read::UnsignedList, kSupp), biasName}),
      entry<TransposeConv3dOp>("createTransposeConv3dOp", "TransposeConv3D",
                               {stride, required("pad_amount", Read::UnsignedList, kParam, padAmount3d), dilation,
                                group, allowed("output_padding", Read::UnsignedList, kParam), strategy,
                                allowed("output_size", Read::UnsignedList, kSupp), biasName}),
      entry<TransposeOp>("createTransposeOp", "Transpose", {required("perm", Read::UnsignedList, kParam)}),
      unnamedEntry<BatchnormOp>(),
      unnamedEntry<CastOp>(),
      unnamedEntry<ErfOp>(),
      unnamedEntry<IdentityOp>(),
      unnamedEntry<InverseOp>(),
      unnamedEntry<LogitOp>(),
      unnamedEntry<PreluOp>(),
      unnamedEntry<ElementWiseMuxOp>(),
      unnamedEntry<ElementwiseMeanOp>(),
  };
  rules.at(DepthToSpaceOp::kType).blockSizeText = BlockSizeText::OwnWords;
  rules.at(SpaceToDepthOp::kType).blockSizeText = BlockSizeText::OwnWords;
  rules.at(ElementwiseNeuronOp::kType).missingText = "Mandatory attribute value not supplied";
  return rules;
}

// Built once, thread-safely, and only read afterwards.
const std::unordered_map<std::string, CreateRule>& createRules() {
  static const auto rules = buildRules();
  return rules;
}

const CreateRule& ruleFor(const std::string& type) { return createRules().at(type); }

// ---- Carrying a rule out ----

[[noreturn]] void fail(const CreateRule& rule, const std::string& text) {
  throw std::runtime_error(std::string("modeltools::iroptimizer::") + rule.function + ": " + text);
}

// "{display} op '{name}': " in front of the texts of most failures.
std::string displayHead(const CreateRule& rule, const std::string& opName) {
  return std::string(rule.displayName) + " op '" + opName + "': ";
}

template <class T>
std::shared_ptr<IrStaticTensor> listTensor(const std::string& tensorName, const std::vector<T>& values,
                                           const Dims& shape, uint32_t dataType) {
  return std::make_shared<IrStaticTensor>(TensorFields{.name = tensorName,
                                                     .shape = IrTensorShape(shape),
                                                     .dataType = dataType,
                                                     .floatDataType = dataType,
                                                     .kind = tensorkind::kStatic},
                                          values.data(), static_cast<uint32_t>(values.size() * sizeof(T)));
}

void checkLength(const CreateRule& rule, const AttrRule& attr, const std::string& opName, size_t length) {
  if (attr.exactLength == 0 || length == attr.exactLength) return;
  const std::string text = rule.blockSizeText == BlockSizeText::OwnWords
                               ? std::string(rule.displayName) + " block size must have exactly 2 elements"
                               : displayHead(rule, opName) + "block_size must have exactly 2 elements";
  fail(rule, text + " (height, width), got " + std::to_string(length));
}

void copyAttribute(const CreateRule& rule, const AttrRule& attr, const std::string& opName, const OpAttrValue& value,
                   IrAttributes& table) {
  const std::string tensorName = opName + "_" + attr.name;
  switch (attr.read) {
    case Read::U32:
      return table.add(attr.name, value.uint32Value, attr.category);
    case Read::I32:
      return table.add(attr.name, value.int32Value, attr.category);
    case Read::F32:
      return table.add(attr.name, value.floatValue, attr.category);
    case Read::Bool:
      return table.add(attr.name, value.boolValue, attr.category);
    case Read::Str:
      return table.add(attr.name, value.stringValue, attr.category);
    case Read::U8:
      return table.add(attr.name, value.uint8Value, attr.category);
    case Read::UnsignedList:
      checkLength(rule, attr, opName, value.uint32Vector.size());
      return table.add(
          attr.name,
          listTensor(tensorName, value.uint32Vector, attr.shape(value.uint32Vector.size()), VRX_DATATYPE_UINT_32),
          attr.category);
    case Read::SignedList:
      return table.add(
          attr.name,
          listTensor(tensorName, value.int32Vector, attr.shape(value.int32Vector.size()), VRX_DATATYPE_INT_32),
          attr.category);
    case Read::FloatList:
      return table.add(
          attr.name,
          listTensor(tensorName, value.floatVector, attr.shape(value.floatVector.size()), VRX_DATATYPE_FLOAT_32),
          attr.category);
    case Read::Axis:
      if (value.tag == attrtag::kInt32) return table.add(attr.name, value.int32Value, attr.category);
      if (value.tag == attrtag::kUint32) return table.add(attr.name, value.uint32Value, attr.category);
      fail(rule, displayHead(rule, opName) + "Invalid type for axis parameter, expected INT32 or UINT32");
  }
}

OpPtr createByRule(const CreateRule& rule, const std::string& name, const OpAttrMap& attributes) {
  for (const auto& attr : rule.attrs) {
    if (!attr.mandatory || attributes.contains(attr.name)) continue;
    fail(rule, rule.missingText != nullptr
                   ? std::string(rule.missingText)
                   : displayHead(rule, name) + "Mandatory attribute '" + attr.name + "' not supplied");
  }
  auto table = std::make_shared<IrAttributes>();
  for (const auto& attr : rule.attrs) {
    auto value = attributes.find(attr.name);
    if (value != attributes.end()) copyAttribute(rule, attr, name, value->second, *table);
  }
  return rule.construct(name, std::move(table));
}

template <class OpClass>
OpPtr createTyped(const std::string& name, const OpAttrMap& attributes) {
  return createByRule(ruleFor(OpClass::kType), name, attributes);
}

}  // namespace

OpPtr createOp(const std::string& type, const std::string& name, const OpAttrMap& attributes) {
  const auto& rules = createRules();
  auto rule = rules.find(type);
  if (rule == rules.end()) throw std::runtime_error("modeltools::iroptimizer::createOp: Op not supported: " + type);
  auto op = createByRule(rule->second, name, attributes);
  if (op->attrs() && !op->attrs()->hasAttr("packageName")) {
    op->attrs()->add("packageName", std::string("vrx.core"), attrcategory::kSupplemental);
  }
  return op;
}

// The named create functions of the dispatch table.
#define VRX_CREATE_FUNCTION(Function, OpClass)                           \
  OpPtr Function(const std::string& name, const OpAttrMap& attributes) { \
    return createTyped<ops::OpClass>(name, attributes);                  \
  }

VRX_CREATE_FUNCTION(createBatchToSpaceOp, BatchToSpaceOp)
VRX_CREATE_FUNCTION(createChannelShuffleOp, ChannelShuffleOp)
VRX_CREATE_FUNCTION(createConcatOp, ConcatOp)
VRX_CREATE_FUNCTION(createConv2dOp, Conv2dOp)
VRX_CREATE_FUNCTION(createConv3dOp, Conv3dOp)
VRX_CREATE_FUNCTION(createDepthToSpaceOp, DepthToSpaceOp)
VRX_CREATE_FUNCTION(createDepthwiseConv2dOp, DepthwiseConv2dOp)
VRX_CREATE_FUNCTION(createDetectionOutputOp, DetectionOutputOp)
VRX_CREATE_FUNCTION(createElementwiseBinaryOp, ElementwiseBinaryOp)
VRX_CREATE_FUNCTION(createElementwiseNeuronOp, ElementwiseNeuronOp)
VRX_CREATE_FUNCTION(createElementwiseTernaryOp, ElementwiseTernaryOp)
VRX_CREATE_FUNCTION(createElementwiseUnaryOp, ElementwiseUnaryOp)
VRX_CREATE_FUNCTION(createExpandDimsOp, ExpandDimsOp)
VRX_CREATE_FUNCTION(createExpandOp, ExpandOp)
VRX_CREATE_FUNCTION(createGatherOp, GatherOp)
VRX_CREATE_FUNCTION(createGatherElementsOp, GatherElementsOp)
VRX_CREATE_FUNCTION(createGatherNDOp, GatherNDOp)
VRX_CREATE_FUNCTION(createGetSparseIndicesOp, GetSparseIndicesOp)
VRX_CREATE_FUNCTION(createGetSparseValuesOp, GetSparseValuesOp)
VRX_CREATE_FUNCTION(createLayerNormOp, LayerNormOp)
VRX_CREATE_FUNCTION(createPackOp, PackOp)
VRX_CREATE_FUNCTION(createPadOp, PadOp)
VRX_CREATE_FUNCTION(createReduceOp, ReduceOp)
VRX_CREATE_FUNCTION(createReduceL2Op, ReduceL2Op)
VRX_CREATE_FUNCTION(createReshapeOp, ReshapeOp)
VRX_CREATE_FUNCTION(createResizeOp, ResizeOp)
VRX_CREATE_FUNCTION(createRmsNormOp, RMSNormOp)
VRX_CREATE_FUNCTION(createSoftmaxOp, SoftmaxOp)
VRX_CREATE_FUNCTION(createSpaceToBatchOp, SpaceToBatchOp)
VRX_CREATE_FUNCTION(createSpaceToDepthOp, SpaceToDepthOp)
VRX_CREATE_FUNCTION(createSplitOp, SplitOp)
VRX_CREATE_FUNCTION(createStridedSliceOp, StridedSliceOp)
VRX_CREATE_FUNCTION(createThresholdedReluOp, ThresholdedReluOp)
VRX_CREATE_FUNCTION(createTileOp, TileOp)
VRX_CREATE_FUNCTION(createTopKOp, TopKOp)
VRX_CREATE_FUNCTION(createTransposeConv2dOp, TransposeConv2dOp)
VRX_CREATE_FUNCTION(createTransposeConv3dOp, TransposeConv3dOp)
VRX_CREATE_FUNCTION(createTransposeOp, TransposeOp)

#undef VRX_CREATE_FUNCTION

}  // namespace modeltools::iroptimizer
