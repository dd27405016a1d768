#include "RecurrentDetectionMatrixOps.hpp"

namespace modeltools::ops {
namespace {

using attrcategory::kBackendParam;
using attrcategory::kInternal;
using attrcategory::kSupplemental;

}  // namespace

VRX_DEFINE_TYPED_OP(LstmOp, IrOp)
void LstmOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"hidden_size"});
  addDefaultAttr(table, "direction", uint32_t{0}, kBackendParam);
  for (const char* name : {"cell_clip_threshold", "output_clip_threshold", "input_gate_qscale", "forget_gate_qscale",
                           "cell_gate_qscale", "output_gate_qscale", "hidden_state_qscale"}) {
    addDefaultAttr(table, name, 0.0f, kBackendParam);
  }
  addDefaultAttr(table, "hidden_state_offset", int32_t{0}, kBackendParam);
  addDefaultAttr(table, "time_major", true, kBackendParam);
  addDefaultAttr(table, "reset_state_at_time_step_0", false, kSupplemental);
  addDefaultAttr(table, "h_0_input_name", "", kSupplemental);
  addDefaultAttr(table, "c_0_input_name", "", kSupplemental);
  addDefaultAttr(table, "sequence_continuation_name", "", kInternal);
  addDefaultAttr(table, "x_static_name", "", kInternal);
}

VRX_DEFINE_TYPED_OP(GruOp, IrOp)
void GruOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"hidden_size"});
  addDefaultAttr(table, "direction", uint32_t{0}, kBackendParam);
  addDefaultAttr(table, "linear_before_reset", uint32_t{0}, kBackendParam);
  addDefaultAttr(table, "time_major", true, kBackendParam);
  addDefaultAttr(table, "h_0_input_name", "", kSupplemental);
  addDefaultAttr(table, "activation", "Sigmoid", kInternal);
  addDefaultAttr(table, "gate_activation", "Sigmoid", kInternal);
  addDefaultAttr(table, "rec_gate_activation", "Tanh", kInternal);
}

VRX_DEFINE_TYPED_OP(DetectionOutputOp, IrOp)
void DetectionOutputOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"delta_scaling_factors", "confidence_threshold", "iou_threshold", "detection_limit"});
  addDefaultAttr(table, "nms_type", uint32_t{0}, kBackendParam);
  addDefaultAttr(table, "background_class_idx", int32_t{0}, kBackendParam);
  addDefaultAttr(table, "use_bg_in_nms", false, kBackendParam);
  addDefaultAttr(table, "output_background", true, kBackendParam);
  addDefaultAttr(table, "share_location", true, kBackendParam);
  addDefaultAttr(table, "nms_eta", 1.0f, kBackendParam);
}

VRX_DEFINE_TYPED_OP(FullyConnectedOp, IrOp)
void FullyConnectedOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  addDefaultAttr(table, "keep_dims", false, kBackendParam);
  addDefaultAttr(table, "transpose_a", false, kInternal);
  addDefaultAttr(table, "transpose_b", true, kInternal);
  addDefaultAttr(table, "bias_op_name", "bias", kSupplemental);
}

VRX_DEFINE_TYPED_OP(MatMulOp, IrOp)
void MatMulOp::prepareAttributes() {
  addDefaultAttr(*attrs(), "transpose_in0", false, kBackendParam);
  addDefaultAttr(*attrs(), "transpose_in1", false, kBackendParam);
}

VRX_DEFINE_TYPED_OP(TopKOp, IrOp)
void TopKOp::prepareAttributes() {
  requireAttrs(*attrs(), {"k"});
  addDefaultAttr(*attrs(), "largest", true, kBackendParam);
}

VRX_DEFINE_TYPED_OP(InverseOp, IrOp)
void InverseOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(HadamardTransformOp, IrOp)
void HadamardTransformOp::prepareAttributes() { addDefaultAttr(*attrs(), "scale", 1.0f, kBackendParam); }

VRX_DEFINE_TYPED_OP(CreateSparseOp, IrOp)
void CreateSparseOp::prepareAttributes() {}

VRX_DEFINE_TYPED_OP(GetSparseIndicesOp, IrOp)
void GetSparseIndicesOp::prepareAttributes() { requireAttrs(*attrs(), {"num_specified_elements"}); }

VRX_DEFINE_TYPED_OP(GetSparseValuesOp, IrOp)
void GetSparseValuesOp::prepareAttributes() { requireAttrs(*attrs(), {"num_specified_elements"}); }

VRX_DEFINE_TYPED_OP(ColorTransformOp, IrOp)
void ColorTransformOp::prepareAttributes() {}

void registerRecurrentDetectionMatrixOps(OpTranslationRegistry& registry) {
  registerOpClasses<LstmOp, GruOp, DetectionOutputOp, FullyConnectedOp, MatMulOp, TopKOp, InverseOp,
                    HadamardTransformOp, CreateSparseOp, GetSparseIndicesOp, GetSparseValuesOp, ColorTransformOp>(
      registry);
}

}  // namespace modeltools::ops
