#include "ElementwiseOps.hpp"

#include <set>

namespace modeltools::ops {
namespace {

using attrcategory::kBackendParam;

// The "axes" list must not name an axis twice; values are compared as they stand.
void requireDistinctAxes(const IrAttributes& attrs, std::string_view head, const std::string& prefix) {
  std::set<int32_t> seen;
  for (int32_t axis : readI32List(attrs, "axes")) {
    if (!seen.insert(axis).second) fail<std::invalid_argument>(head, prefix, axis, " can't be repeated");
  }
}

}  // namespace

VRX_DEFINE_TYPED_OP(ElementwiseBinaryOp, IrOp)
void ElementwiseBinaryOp::prepareAttributes() { requireAttrs(*attrs(), {"operation"}); }

VRX_DEFINE_TYPED_OP(ElementwiseUnaryOp, IrOp)
void ElementwiseUnaryOp::prepareAttributes() { requireAttrs(*attrs(), {"operation"}); }

VRX_DEFINE_TYPED_OP(ElementwiseTernaryOp, IrOp)
void ElementwiseTernaryOp::prepareAttributes() {
  requireAttrs(*attrs(), {"eltwise_type"});
  requireSupplemental(*attrs(), "eltwise_type", name(), "modeltools::ops::ElementwiseTernaryOp::ElementwiseTernaryOp",
                      "attribute");
}

VRX_DEFINE_TYPED_OP(ElementwiseNeuronOp, IrOp)
void ElementwiseNeuronOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"operation"});
  switch (table.getAttr<uint32_t>("operation")) {
    case 0:  // Elu
      addDefaultAttr(table, "alpha", 1.0f, kBackendParam);
      break;
    case 2:  // hard sigmoid
      addDefaultAttr(table, "alpha", 0.2f, kBackendParam);
      addDefaultAttr(table, "beta", 0.5f, kBackendParam);
      break;
    case 5:  // ReluMinMax
      requireAttrs(table, {"min_value", "max_value"});
      break;
    case 7:  // softplus
      addDefaultAttr(table, "beta", 1.0f, kBackendParam);
      addDefaultAttr(table, "threshold", -1.0f, kBackendParam);
      break;
    default:
      break;
  }
}

VRX_DEFINE_TYPED_OP(ElementwiseMeanOp, IrOp)
void ElementwiseMeanOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(ElementWiseMuxOp, IrOp)
void ElementWiseMuxOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(ErfOp, IrOp)
void ErfOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(LogitOp, IrOp)
void LogitOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(PreluOp, IrOp)
void PreluOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(ThresholdedReluOp, IrOp)
void ThresholdedReluOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(SoftmaxOp, IrOp)
void SoftmaxOp::prepareAttributes() { addDefaultAttr(*attrs(), "axis", int32_t{-1}, kBackendParam); }

VRX_DEFINE_TYPED_OP(ReduceOp, IrOp)
void ReduceOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"reduce_type", "axes"});
  requireSupplemental(table, "reduce_type", name(), "modeltools::ops::ReduceOp::ReduceOp", "attribute");
  addDefaultAttr(table, "keep_dims", false, kBackendParam);
  requireDistinctAxes(table, "modeltools::ops::ReduceOp::ReduceOp", "ReduceOp (" + name() + ") axes ");
}

VRX_DEFINE_TYPED_OP(ReduceL2Op, IrOp)
void ReduceL2Op::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"axes"});
  addDefaultAttr(table, "keep_dims", false, kBackendParam);
  requireDistinctAxes(table, "modeltools::ops::ReduceL2Op::ReduceL2Op", "ReduceL2Op (" + name() + ") axis ");
}

VRX_DEFINE_TYPED_OP(BatchnormOp, IrOp)
void BatchnormOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(LayerNormOp, IrOp)
void LayerNormOp::prepareAttributes() {
  requireAttrs(*attrs(), {"axes"});
  addDefaultAttr(*attrs(), "epsilon", 0.001f, kBackendParam);
}

VRX_DEFINE_TYPED_OP(L2NormOp, IrOp)
void L2NormOp::prepareAttributes() {
  addDefaultAttr(*attrs(), "axis", uint32_t{0}, kBackendParam);
  addDefaultAttr(*attrs(), "epsilon", 1e-12f, kBackendParam);
}

VRX_DEFINE_TYPED_OP(RMSNormOp, IrOp)
void RMSNormOp::prepareAttributes() {
  requireAttrs(*attrs(), {"axes"});
  addDefaultAttr(*attrs(), "epsilon", 0.000001f, kBackendParam);
}

VRX_DEFINE_TYPED_OP(CastOp, IrOp)
void CastOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(ConvertOp, IrOp)
void ConvertOp::prepareAttributes() {
  addDefaultAttr(*attrs(), "dynamic_input_data", false, kBackendParam);
  addDefaultAttr(*attrs(), "dynamic_output_data", false, kBackendParam);
}

VRX_DEFINE_TYPED_OP(IdentityOp, IrOp)
void IdentityOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(DequantizeOp, IrOp)
void DequantizeOp::prepareAttributes() {}

void registerElementwiseOps(OpTranslationRegistry& registry) {
  registerOpClasses<ElementwiseBinaryOp, ElementwiseUnaryOp, ElementwiseTernaryOp, ElementwiseNeuronOp,
                    ElementwiseMeanOp, ElementWiseMuxOp, ErfOp, LogitOp, PreluOp, ThresholdedReluOp, SoftmaxOp,
                    ReduceOp, ReduceL2Op, BatchnormOp, LayerNormOp, L2NormOp, RMSNormOp, CastOp, ConvertOp, IdentityOp,
                    DequantizeOp>(registry);
}

}  // namespace modeltools::ops
