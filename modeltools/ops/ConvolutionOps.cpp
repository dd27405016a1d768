#include "ConvolutionOps.hpp"

namespace modeltools::ops {
namespace {

using attrcategory::kBackendParam;
using attrcategory::kSupplemental;

constexpr uint8_t kDefaultPaddingStrategy = 5;

// Attributes that every convolution carries for the rewrites.
void addCommonConvDefaults(IrAttributes& attrs) {
  addDefaultAttr(attrs, "padding_size_strategy", kDefaultPaddingStrategy, kSupplemental);
  addDefaultAttr(attrs, "bias_op_name", "", kSupplemental);
}

void addListDefault(IrAttributes& attrs, const char* name, uint32_t value, uint32_t count, uint8_t category) {
  addDefaultListAttr(attrs, name, std::vector<uint32_t>(count, value), Dims{count}, category);
}

}  // namespace

ConvOp::ConvOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs)
    : IrOp(name, type, std::move(attrs)) {}

BaseConv2dOp::BaseConv2dOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs)
    : ConvOp(name, type, std::move(attrs)) {}

BaseConv3dOp::BaseConv3dOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs)
    : ConvOp(name, type, std::move(attrs)) {}

TransposeConvOp::TransposeConvOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs)
    : IrOp(name, type, std::move(attrs)) {}

BaseTransposeConv2dOp::BaseTransposeConv2dOp(const std::string& name, const std::string& type,
                                             std::shared_ptr<IrAttributes> attrs)
    : TransposeConvOp(name, type, std::move(attrs)) {}

BaseTransposeConv3dOp::BaseTransposeConv3dOp(const std::string& name, const std::string& type,
                                             std::shared_ptr<IrAttributes> attrs)
    : TransposeConvOp(name, type, std::move(attrs)) {}

// The convolution shape and cost rules are not written yet: the bases answer as a generic op.
uint64_t BaseConv2dOp::macs(const AxisOrderPtr& axisOrder) { return IrOp::macs(axisOrder); }
std::vector<Dims> BaseConv2dOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return IrOp::inferOutputShapes(axisOrder, numOutputs);
}
uint64_t BaseConv3dOp::macs(const AxisOrderPtr& axisOrder) { return IrOp::macs(axisOrder); }
std::vector<Dims> BaseConv3dOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return IrOp::inferOutputShapes(axisOrder, numOutputs);
}
uint64_t BaseTransposeConv2dOp::macs(const AxisOrderPtr& axisOrder) { return IrOp::macs(axisOrder); }
std::vector<Dims> BaseTransposeConv2dOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return IrOp::inferOutputShapes(axisOrder, numOutputs);
}
uint64_t BaseTransposeConv3dOp::macs(const AxisOrderPtr& axisOrder) { return IrOp::macs(axisOrder); }
std::vector<Dims> BaseTransposeConv3dOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return IrOp::inferOutputShapes(axisOrder, numOutputs);
}

VRX_DEFINE_TYPED_OP(Conv2dOp, BaseConv2dOp)
void Conv2dOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"stride", "pad_amount"});
  addDefaultAttr(table, "group", uint32_t{1}, kBackendParam);
  addDefaultAttr(table, "reuse_sparse_indices", false, kBackendParam);
  addListDefault(table, "dilation", 1, 2, kBackendParam);
  addCommonConvDefaults(table);
}

VRX_DEFINE_TYPED_OP(DepthwiseConv2dOp, BaseConv2dOp)
void DepthwiseConv2dOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"stride", "pad_amount"});
  addListDefault(table, "dilation", 1, 2, kBackendParam);
  addCommonConvDefaults(table);
}

VRX_DEFINE_TYPED_OP(Conv3dOp, BaseConv3dOp)
void Conv3dOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"stride", "pad_amount", "reuse_sparse_indicies"});
  addDefaultAttr(table, "group", uint32_t{1}, kBackendParam);
  addListDefault(table, "dilation", 1, 3, kBackendParam);
  addCommonConvDefaults(table);
}

VRX_DEFINE_TYPED_OP(TransposeConv2dOp, BaseTransposeConv2dOp)
void TransposeConv2dOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"stride", "pad_amount"});
  addDefaultAttr(table, "group", uint32_t{1}, kBackendParam);
  addListDefault(table, "output_padding", 0, 2, kBackendParam);
  addListDefault(table, "output_size", 0, 2, kSupplemental);
  addCommonConvDefaults(table);
}

VRX_DEFINE_TYPED_OP(TransposeConv3dOp, BaseTransposeConv3dOp)
void TransposeConv3dOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"stride", "pad_amount"});
  addDefaultAttr(table, "group", uint32_t{1}, kBackendParam);
  addListDefault(table, "output_padding", 0, 3, kBackendParam);
  addListDefault(table, "output_size", 0, 3, kSupplemental);
  addListDefault(table, "dilation", 1, 3, kBackendParam);
  addCommonConvDefaults(table);
}

void registerConvolutionOps(OpTranslationRegistry& registry) {
  registerOpClasses<Conv2dOp, DepthwiseConv2dOp, Conv3dOp, TransposeConv2dOp, TransposeConv3dOp>(registry);
}

}  // namespace modeltools::ops
