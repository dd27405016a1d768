#pragma once

// The convolution branch of the op classes. The concrete classes add only their type
// string and their attribute rules; the shape and cost rules live in the bases.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ops/OpSupport.hpp"

namespace modeltools::ops {

// Forward convolutions.
class ConvOp : public IrOp {
 public:
  uint64_t macs(const AxisOrderPtr& axisOrder) override = 0;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override = 0;

 protected:
  ConvOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs);
};

class BaseConv2dOp : public ConvOp {
 public:
  uint64_t macs(const AxisOrderPtr& axisOrder) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;

 protected:
  BaseConv2dOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs);
};

class BaseConv3dOp : public ConvOp {
 public:
  uint64_t macs(const AxisOrderPtr& axisOrder) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;

 protected:
  BaseConv3dOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs);
};

class Conv2dOp : public BaseConv2dOp {
  VRX_TYPED_OP(Conv2dOp, "Conv2d")
};

class DepthwiseConv2dOp : public BaseConv2dOp {
  VRX_TYPED_OP(DepthwiseConv2dOp, "DepthWiseConv2d")
};

class Conv3dOp : public BaseConv3dOp {
  VRX_TYPED_OP(Conv3dOp, "Conv3d")
};

// Transposed convolutions.
class TransposeConvOp : public IrOp {
 public:
  uint64_t macs(const AxisOrderPtr& axisOrder) override = 0;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override = 0;

 protected:
  TransposeConvOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs);
};

class BaseTransposeConv2dOp : public TransposeConvOp {
 public:
  uint64_t macs(const AxisOrderPtr& axisOrder) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;

 protected:
  BaseTransposeConv2dOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs);
};

class BaseTransposeConv3dOp : public TransposeConvOp {
 public:
  uint64_t macs(const AxisOrderPtr& axisOrder) override;
  std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) override;

 protected:
  BaseTransposeConv3dOp(const std::string& name, const std::string& type, std::shared_ptr<IrAttributes> attrs);
};

class TransposeConv2dOp : public BaseTransposeConv2dOp {
  VRX_TYPED_OP(TransposeConv2dOp, "TransposeConv2d")
};

class TransposeConv3dOp : public BaseTransposeConv3dOp {
  VRX_TYPED_OP(TransposeConv3dOp, "TransposeConv3d")
};

// Registers every class of this family under its type string.
void registerConvolutionOps(OpTranslationRegistry& registry);

}  // namespace modeltools::ops
