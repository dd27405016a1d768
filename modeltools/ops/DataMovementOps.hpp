#pragma once

// Ops that reorganize data without computing on it. Shapes follow from the inputs and the
// attributes; classes that accept dynamic dimensions implement inferOutputTensorShapes and
// derive the plain form from it, the others implement inferOutputShapes only.

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ops/OpSupport.hpp"

namespace modeltools::ops {

using AxisFormatMap = std::map<std::string, AxisFormat>;

class TransposeOp : public IrOp {
  VRX_TYPED_OP(TransposeOp, "Transpose")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  std::vector<IrTensorShape> inferOutputTensorShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  void populateOutputAxisFormats(const AxisOrderPtr& axisOrder, const AxisFormatMap& inputFormats,
                                 bool treatAsTimeSeries) override;

 private:
  void checkOrder() const;
};

class ReshapeOp : public IrOp {
  VRX_TYPED_OP(ReshapeOp, "Reshape")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  void populateOutputAxisFormats(const AxisOrderPtr& axisOrder, const AxisFormatMap& inputFormats,
                                 bool treatAsTimeSeries) override;
  // The output dimensions for an input and the "shape" values: 0 copies the input's
  // dimension, 0xFFFFFFFF takes what is left.
  Dims calculateShape(const Dims& inputDims, const std::vector<uint32_t>& shapeValues) const;
};

class ConcatOp : public IrOp {
  VRX_TYPED_OP(ConcatOp, "Concat")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  std::vector<IrTensorShape> inferOutputTensorShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class SplitOp : public IrOp {
  VRX_TYPED_OP(SplitOp, "Split")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  void resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class PackOp : public IrOp {
  VRX_TYPED_OP(PackOp, "Pack")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class TileOp : public IrOp {
  VRX_TYPED_OP(TileOp, "Tile")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class PadOp : public IrOp {
  VRX_TYPED_OP(PadOp, "Pad")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  void overrideDataAxisFormats(const AxisOrderPtr& axisOrder) override;
};

class GatherOp : public IrOp {
  VRX_TYPED_OP(GatherOp, "Gather")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  std::vector<IrTensorShape> inferOutputTensorShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class GatherElementsOp : public IrOp {
  VRX_TYPED_OP(GatherElementsOp, "GatherElements")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class GatherNDOp : public IrOp {
  VRX_TYPED_OP(GatherNDOp, "GatherNd")
  uint64_t macs(const AxisOrderPtr& axisOrder) override;
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  void overrideDataAxisFormats(const AxisOrderPtr& axisOrder) override;
  void resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class StridedSliceOp : public IrOp {
  VRX_TYPED_OP(StridedSliceOp, "StridedSlice")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  std::vector<IrTensorShape> inferOutputTensorShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  // Size of a slice of a dynamic axis of input 0, and whether it stays dynamic.
  std::pair<uint32_t, bool> calcSliceSizeDynamic(int32_t begin, int32_t end, int32_t stride, uint32_t axis) const;
};

class ExpandDimsOp : public IrOp {
  VRX_TYPED_OP(ExpandDimsOp, "ExpandDims")
  void canonicalizeOp(uint32_t numOutputs) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  std::vector<IrTensorShape> inferOutputTensorShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class ExpandOp : public IrOp {
  VRX_TYPED_OP(ExpandOp, "Expand")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class DepthToSpaceOp : public IrOp {
  VRX_TYPED_OP(DepthToSpaceOp, "DepthToSpace")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class SpaceToDepthOp : public IrOp {
  VRX_TYPED_OP(SpaceToDepthOp, "SpaceToDepth")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class BatchToSpaceOp : public IrOp {
  VRX_TYPED_OP(BatchToSpaceOp, "BatchToSpace")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class SpaceToBatchOp : public IrOp {
  VRX_TYPED_OP(SpaceToBatchOp, "SpaceToBatch")
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class ChannelShuffleOp : public IrOp {
  VRX_TYPED_OP(ChannelShuffleOp, "ChannelShuffle")
  void canonicalizeOp(uint32_t numOutputs) override;
  void resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
};

class ResizeOp : public IrOp {
  VRX_TYPED_OP(ResizeOp, "Resize")
  uint64_t macs(const AxisOrderPtr& axisOrder) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;
  void overrideDataAxisFormats(const AxisOrderPtr& axisOrder) override;
};

// Registers every class of this family under its type string.
void registerDataMovementOps(OpTranslationRegistry& registry);

}  // namespace modeltools::ops
