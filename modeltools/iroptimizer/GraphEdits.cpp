#include "GraphEdits.hpp"

#include <algorithm>

#include "HelperFailure.hpp"
#include "OpStructure.hpp"
#include "modeltools/ops/OpSupport.hpp"

namespace modeltools::iroptimizer {

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
      throw helperFailure("replaceAllUsers", "QInfo must match for both the tensors");
    }
    if (checkQuantization && newTensor->dataType() != oldTensor->dataType()) {
      throw helperFailure("replaceAllUsers", "DataType must match for both the tensors");
    }
    if (newTensor->dims() != oldTensor->dims()) {
      throw helperFailure("replaceAllUsers", "Dimensions must match for both the tensors");
    }
  }
  graph.replaceAllUses(oldTensor, newTensor);
  if (!newTensor->name().empty()) graph.swapTensorNames(newTensor->name(), oldTensor->name());
}

void manageSharedStaticInput(IrGraph& graph, const OpPtr& op, uint32_t inputIndex) {
  const auto shared = asStatic(op->getInput(inputIndex));
  if (!shared || shared->consumers().size() < 2) return;
  const std::string name = op->name() + (inputIndex == 1 ? "_kernel_weight" : "_kernel_bias");
  graph.addStaticTensorCopy(name, shared, true);
  auto clone = graph.getStaticTensor(name);
  if (!clone) throw helperFailure("manageSharedStaticInput", "Failed to clone static tensor: ", name);
  graph.updateTraceInfo(std::vector<TensorPtr>{clone}, std::vector<TensorPtr>{shared}, {}, false);
  graph.setOperand(op, inputIndex, clone);
}

void setListAttribute(const OpPtr& op, const std::string& name, const std::vector<uint32_t>& values) {
  auto& attrs = *op->attrs();
  const uint8_t category = attrs.hasAttr(name) ? attrs.get(name).category : attrcategory::kBackendParam;
  ops::replaceListAttr(attrs, name, values, Dims{static_cast<uint32_t>(values.size())}, VRX_DATATYPE_UINT_32,
                       category);
}

}  // namespace modeltools::iroptimizer
