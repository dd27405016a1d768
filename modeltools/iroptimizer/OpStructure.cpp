#include "OpStructure.hpp"

#include <algorithm>

namespace modeltools::iroptimizer {

StaticTensorPtr asStatic(const TensorPtr& tensor) {
  return tensor && tensor->isStaticTensor() ? std::static_pointer_cast<IrStaticTensor>(tensor) : nullptr;
}

StaticTensorPtr firstStaticInput(const OpPtr& op) {
  for (const auto& input : op->getInputs()) {
    if (auto data = asStatic(input)) return data;
  }
  return nullptr;
}

std::vector<TensorPtr> dynamicInputs(const OpPtr& op) {
  std::vector<TensorPtr> inputs;
  for (const auto& input : op->getInputs()) {
    if (input && !input->isStaticTensor()) inputs.push_back(input);
  }
  return inputs;
}

StaticTensorPtr staticInputAt(const OpPtr& op, uint32_t index) {
  return index < op->numInputs() ? asStatic(op->getInput(index)) : nullptr;
}

bool sameShape(const TensorPtr& a, const TensorPtr& b) { return a && b && a->dims() == b->dims(); }

bool shareDynamicInput(const OpPtr& a, const OpPtr& b) {
  if (!a || !b) return false;
  const auto inputsA = dynamicInputs(a);
  for (const auto& input : dynamicInputs(b)) {
    const bool shared = std::any_of(inputsA.begin(), inputsA.end(),
                                    [&](const TensorPtr& other) { return other->name() == input->name(); });
    if (shared) return true;
  }
  return false;
}

bool isConvType(const std::string& type) {
  return type == "Conv2d" || type == "DepthWiseConv2d" || type == "TransposeConv2d";
}

bool isNormOrDenseType(const std::string& type) {
  return type == "Batchnorm" || type == "InstanceNorm" || type == "FullyConnected" || type == "MatMul";
}

bool producerIsConv(const OpPtr& op) {
  for (const auto& input : dynamicInputs(op)) {
    if (input->producer()) return isConvType(input->producer()->type());
  }
  return false;
}

Dims squeezeOnes(const Dims& dims) {
  Dims squeezed;
  std::copy_if(dims.begin(), dims.end(), std::back_inserter(squeezed), [](uint32_t d) { return d != 1; });
  return squeezed.empty() ? Dims{1} : squeezed;
}

bool trailingDimsMatch(const Dims& a, const Dims& b) {
  if (b.size() > a.size()) return false;
  const size_t offset = a.size() - b.size();
  for (size_t i = 0; i < b.size(); ++i) {
    if (b[i] != a[offset + i] && b[i] != 1) return false;
  }
  return true;
}

}  // namespace modeltools::iroptimizer
