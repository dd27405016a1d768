#include "OpClasses.hpp"

#include "modeltools/ops/Ops.hpp"

namespace modeltools::ops {

OpTranslationRegistry& opClassRegistry() {
  static OpTranslationRegistry& registry = []() -> OpTranslationRegistry& {
    auto& filled = OpTranslationRegistry::instance();
    registerDataMovementOps(filled);
    registerConvolutionOps(filled);
    registerElementwiseOps(filled);
    registerRecurrentDetectionMatrixOps(filled);
    return filled;
  }();
  return registry;
}

std::shared_ptr<IrOp> typedView(const IrOp& op) {
  auto& registry = opClassRegistry();
  if (!registry.hasTranslationMethod(op.type())) return nullptr;
  return registry.applyMethod(op.type(), op.name(), op.attrs(), op.getInputs(), op.getOutputs());
}

}  // namespace modeltools::ops
