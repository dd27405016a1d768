#include "GraphEdits.hpp"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace modeltools::iroptimizer {
namespace {

template <class... Parts>
std::runtime_error failure(const char* function, const Parts&... parts) {
  std::ostringstream message;
  message << function << ": ";
  (message << ... << parts);
  return std::runtime_error(message.str());
}

StaticTensorPtr asStatic(const TensorPtr& tensor) {
  return tensor && tensor->isStaticTensor() ? std::static_pointer_cast<IrStaticTensor>(tensor) : nullptr;
}

// The names go by value: `swapTensorNames` renames the tensors whose names it was handed.
void swapNames(IrGraph& graph, const TensorPtr& a, const TensorPtr& b) {
  const std::string nameA = a->name(), nameB = b->name();
  graph.swapTensorNames(nameA, nameB);
}

}  // namespace

std::string generateUniqueTensorName(const IrGraph& graph, const std::string& base) {
  for (uint64_t index = 0;; ++index) {
    std::string candidate = base + "_" + std::to_string(index);
    if (!graph.hasTensor(candidate)) return candidate;
  }
}

bool sameQuantization(const QuantInfo& a, const QuantInfo& b) {
  auto sameEntries = [](const std::vector<ScaleOffsetInfo>& x, const std::vector<ScaleOffsetInfo>& y) {
    return std::equal(x.begin(), x.end(), y.begin(), y.end(), [](const ScaleOffsetInfo& p, const ScaleOffsetInfo& q) {
      return p.bitwidth == q.bitwidth && p.scale == q.scale && p.offset == q.offset;
    });
  };
  if (a.encoding != b.encoding) return false;
  if (!a.isDefined()) return true;
  return a.scaleOffset.bitwidth == b.scaleOffset.bitwidth && a.scaleOffset.scale == b.scaleOffset.scale &&
         a.scaleOffset.offset == b.scaleOffset.offset && a.axis == b.axis &&
         sameEntries(a.axisEncodings, b.axisEncodings) && a.blockAxis == b.blockAxis && a.blockSize == b.blockSize &&
         sameEntries(a.blockEncodings, b.blockEncodings) && a.expansionAxis == b.expansionAxis &&
         sameEntries(a.expansionEncodings, b.expansionEncodings) && a.groupAxis == b.groupAxis &&
         sameEntries(a.groupEncodings, b.groupEncodings);
}

void replaceAllUsers(IrGraph& graph, const TensorPtr& newTensor, const TensorPtr& oldTensor, bool checkQuantization) {
  // The tensors must fit each other for the readers that move; without readers nothing is
  // checked. A refusal comes before anything moves.
  if (!oldTensor->consumers().empty()) {
    if (checkQuantization && !sameQuantization(newTensor->quantInfo(), oldTensor->quantInfo())) {
      throw failure("replaceAllUsers", "QInfo must match for both the tensors");
    }
    if (checkQuantization && newTensor->dataType() != oldTensor->dataType()) {
      throw failure("replaceAllUsers", "DataType must match for both the tensors");
    }
    if (newTensor->dims() != oldTensor->dims()) {
      throw failure("replaceAllUsers", "Dimensions must match for both the tensors");
    }
  }
  graph.replaceAllUses(oldTensor, newTensor);
  if (!newTensor->name().empty()) swapNames(graph, newTensor, oldTensor);
}

void manageSharedStaticInput(IrGraph& graph, const OpPtr& op, uint32_t inputIndex) {
  const auto shared = asStatic(op->getInput(inputIndex));
  if (!shared || shared->consumers().size() < 2) return;
  const std::string name = op->name() + (inputIndex == 1 ? "_kernel_weight" : "_kernel_bias");
  graph.addStaticTensorCopy(name, shared, true);
  auto clone = graph.getStaticTensor(name);
  if (!clone) throw failure("manageSharedStaticInput", "Failed to clone static tensor: ", name);
  graph.updateTraceInfo(std::vector<TensorPtr>{clone}, std::vector<TensorPtr>{shared}, {}, false);
  graph.setOperand(op, inputIndex, clone);
}

}  // namespace modeltools::iroptimizer
