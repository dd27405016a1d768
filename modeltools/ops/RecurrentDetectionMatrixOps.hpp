#pragma once

// The remaining op classes: recurrent cells, detection, dense and matrix products, top-k,
// sparse tensors and colour transforms. Each differs from the base mostly in how many
// outputs it has and how they are shaped.

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ops/OpSupport.hpp"

namespace modeltools::ops {

class LstmOp : public IrOp {
  VRX_TYPED_OP(LstmOp, "Lstm")
};

class GruOp : public IrOp {
  VRX_TYPED_OP(GruOp, "Gru")
};

class DetectionOutputOp : public IrOp {
  VRX_TYPED_OP(DetectionOutputOp, "DetectionOutput")
};

class FullyConnectedOp : public IrOp {
  VRX_TYPED_OP(FullyConnectedOp, "FullyConnected")
};

class MatMulOp : public IrOp {
  VRX_TYPED_OP(MatMulOp, "MatMul")
};

class TopKOp : public IrOp {
  VRX_TYPED_OP(TopKOp, "TopK")
};

class InverseOp : public IrOp {
  VRX_TYPED_OP(InverseOp, "Inverse")
};

class HadamardTransformOp : public IrOp {
  VRX_TYPED_OP(HadamardTransformOp, "HadamardTransform")
};

class CreateSparseOp : public IrOp {
  VRX_TYPED_OP(CreateSparseOp, "CreateSparse")
};

class GetSparseIndicesOp : public IrOp {
  VRX_TYPED_OP(GetSparseIndicesOp, "GetSparseIndices")
};

class GetSparseValuesOp : public IrOp {
  VRX_TYPED_OP(GetSparseValuesOp, "GetSparseValues")
};

class ColorTransformOp : public IrOp {
  VRX_TYPED_OP(ColorTransformOp, "ColorTransform")
};

// Registers every class of this family under its type string.
void registerRecurrentDetectionMatrixOps(OpTranslationRegistry& registry);

}  // namespace modeltools::ops
