#pragma once

// Ops that compute a value per element or per reduced group: element-wise, reduction and
// normalization ops, and the type conversions.

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ops/OpSupport.hpp"

namespace modeltools::ops {

class ElementwiseBinaryOp : public IrOp {
  VRX_TYPED_OP(ElementwiseBinaryOp, "Eltwise_Binary")
};

class ElementwiseUnaryOp : public IrOp {
  VRX_TYPED_OP(ElementwiseUnaryOp, "Eltwise_Unary")
};

class ElementwiseTernaryOp : public IrOp {
  VRX_TYPED_OP(ElementwiseTernaryOp, "Eltwise_Ternary")
};

class ElementwiseNeuronOp : public IrOp {
  VRX_TYPED_OP(ElementwiseNeuronOp, "ElementWiseNeuron")
};

class ElementwiseMeanOp : public IrOp {
  VRX_TYPED_OP(ElementwiseMeanOp, "ElementWiseMean")
};

class ElementWiseMuxOp : public IrOp {
  VRX_TYPED_OP(ElementWiseMuxOp, "ElementWiseMux")
};

class ErfOp : public IrOp {
  VRX_TYPED_OP(ErfOp, "Erf")
};

class LogitOp : public IrOp {
  VRX_TYPED_OP(LogitOp, "Logit")
};

class PreluOp : public IrOp {
  VRX_TYPED_OP(PreluOp, "Prelu")
};

class ThresholdedReluOp : public IrOp {
  VRX_TYPED_OP(ThresholdedReluOp, "ThresholdedRelu")
};

class SoftmaxOp : public IrOp {
  VRX_TYPED_OP(SoftmaxOp, "Softmax")
};

class ReduceOp : public IrOp {
  VRX_TYPED_OP(ReduceOp, "Reduce")
};

class ReduceL2Op : public IrOp {
  VRX_TYPED_OP(ReduceL2Op, "ReduceL2")
};

class BatchnormOp : public IrOp {
  VRX_TYPED_OP(BatchnormOp, "Batchnorm")
};

class LayerNormOp : public IrOp {
  VRX_TYPED_OP(LayerNormOp, "LayerNorm")
};

class L2NormOp : public IrOp {
  VRX_TYPED_OP(L2NormOp, "L2Norm")
};

class RMSNormOp : public IrOp {
  VRX_TYPED_OP(RMSNormOp, "RmsNorm")
};

class CastOp : public IrOp {
  VRX_TYPED_OP(CastOp, "Cast")
};

class ConvertOp : public IrOp {
  VRX_TYPED_OP(ConvertOp, "Convert")
};

class IdentityOp : public IrOp {
  VRX_TYPED_OP(IdentityOp, "Identity")
};

class DequantizeOp : public IrOp {
  VRX_TYPED_OP(DequantizeOp, "Dequantize")
};

// Registers every class of this family under its type string.
void registerElementwiseOps(OpTranslationRegistry& registry);

}  // namespace modeltools::ops
