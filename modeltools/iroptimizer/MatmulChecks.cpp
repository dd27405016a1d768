#include "MatmulChecks.hpp"

namespace modeltools::iroptimizer {
namespace {

bool boolAttributeOr(const ops::IrOp& op, const std::string& name, bool fallback) {
  const auto& attrs = *op.attrs();
  return attrs.hasAttr(name) ? attrs.getAttr<bool>(name) : fallback;
}

bool hasDynamicAxes(const TensorPtr& tensor) { return tensor && tensor->shape().hasDynamicAxes(); }

void sayNoDynamicSupport(const IrGraph& graph, const char* function) {
  graph.diagnostics().write(function,
                            ": MatMul/FC Op does not have dynamic axes support. MatMul-Add Fusion / Matmul to FC "
                            "optimization will not be performed.\n");
}

}  // namespace

bool matmulValidateBias(const IrGraph& graph, const Dims& weightDims, const Dims& biasDims, const OpPtr& op,
                        const TensorPtr& bias) {
  if (biasDims.empty()) return false;
  if ((op->numInputs() > 1 && hasDynamicAxes(op->getInput(1))) || hasDynamicAxes(bias)) {
    sayNoDynamicSupport(graph, "matmulValidateBias");
    return false;
  }
  if (weightDims.empty()) return false;
  const bool transposed = boolAttributeOr(*op, "transpose_in1", false);
  if (transposed && weightDims.size() < 2) return false;
  const uint32_t outFeatures = transposed ? weightDims[weightDims.size() - 2] : weightDims.back();
  uint64_t count = 1;
  for (uint32_t d : biasDims) count *= d;
  return count == biasDims.back() && count == outFeatures;
}

bool matmulValidateDims(const IrGraph& graph, const Dims& input0Dims, const Dims& input1Dims, const OpPtr& op) {
  if (input1Dims.size() != 2) return false;
  if (boolAttributeOr(*op, "transpose_in0", false)) return false;
  if (hasDynamicAxes(op->getInput(0)) || (op->numInputs() > 1 && hasDynamicAxes(op->getInput(1)))) {
    sayNoDynamicSupport(graph, "matmulValidateDims");
    return false;
  }
  if (input0Dims.empty()) return false;
  const bool transposed = boolAttributeOr(*op, "transpose_in1", false);
  return input0Dims.back() == (transposed ? input1Dims[1] : input1Dims[0]);
}

}  // namespace modeltools::iroptimizer
