#include "Pattern.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "modeltools/ir/AxisOrder.hpp"
#include "modeltools/ir/IrAttributes.hpp"

namespace modeltools::iroptimizer {
namespace {

double halfToDouble(uint16_t bits) {
  _Float16 half;
  std::memcpy(&half, &bits, sizeof half);
  return static_cast<double>(half);
}

// A scalar attribute against `number` (or `text` for strings). Types that carry no number
// the pattern could state count as equal.
bool scalarEquals(const AttrValue& attr, const PatternAttribute& expected) {
  const auto& v = attr.value;
  switch (attr.dataType) {
    case VRX_DATATYPE_STRING:
      return attr.stringValue == expected.text;
    case VRX_DATATYPE_BOOL_8:
      return static_cast<double>(v.boolValue) == expected.number;
    case VRX_DATATYPE_INT_8:
      return static_cast<double>(v.int8Value) == expected.number;
    case VRX_DATATYPE_INT_16:
      return static_cast<double>(v.int16Value) == expected.number;
    case VRX_DATATYPE_INT_32:
      return static_cast<double>(v.int32Value) == expected.number;
    case VRX_DATATYPE_INT_64:
      return static_cast<double>(v.int64Value) == expected.number;
    case VRX_DATATYPE_UINT_8:
      return static_cast<double>(v.uint8Value) == expected.number;
    case VRX_DATATYPE_UINT_16:
      return static_cast<double>(v.uint16Value) == expected.number;
    case VRX_DATATYPE_UINT_32:
      return static_cast<double>(v.uint32Value) == expected.number;
    case VRX_DATATYPE_UINT_64:
      return static_cast<double>(v.uint64Value) == expected.number;
    case VRX_DATATYPE_FLOAT_16:
      return halfToDouble(v.uint16Value) == expected.number;
    case VRX_DATATYPE_FLOAT_32:
      return static_cast<double>(v.floatValue) == expected.number;
    default:
      return true;
  }
}

template <class T>
bool valuesEqual(const IrStaticTensor& tensor, const std::vector<double>& expected) {
  const auto values = tensor.values<T>();
  if (values.size() < expected.size()) return false;
  for (size_t i = 0; i < expected.size(); ++i) {
    if (static_cast<double>(values[i]) != expected[i]) return false;
  }
  return true;
}

bool listEquals(const std::shared_ptr<IrTensor>& tensor, const std::vector<double>& expected) {
  if (!tensor || !tensor->isStaticTensor()) return false;
  uint64_t count = 1;
  for (uint32_t dim : tensor->dims()) count *= dim;
  if (count != expected.size()) return false;
  const auto& data = static_cast<const IrStaticTensor&>(*tensor);
  switch (tensor->dataType()) {
    case VRX_DATATYPE_INT_32:
      return valuesEqual<int32_t>(data, expected);
    case VRX_DATATYPE_UINT_32:
      return valuesEqual<uint32_t>(data, expected);
    case VRX_DATATYPE_FLOAT_32:
      return valuesEqual<float>(data, expected);
    default:
      return false;
  }
}

bool attributeEquals(const AttrValue& attr, const PatternAttribute& expected) {
  if (attr.attrType == attrtype::kTensor) return listEquals(attr.tensor, expected.list);
  return scalarEquals(attr, expected);
}

template <class Class, class... Args>
PatternPtr make(Args&&... args) {
  return std::make_shared<Class>(std::forward<Args>(args)...);
}

// The types either of two patterns can accept.
Pattern::OpTypes unionOf(const Pattern::OpTypes& a, const Pattern::OpTypes& b) {
  if (!a || !b) return std::nullopt;
  std::vector<std::string> types = *a;
  types.insert(types.end(), b->begin(), b->end());
  return types;
}

}  // namespace

// ---- Captures -----------------------------------------------------------------------------------

const OpPtr& CaptureMap::at(const PatternPtr& pattern) const {
  auto it = find(pattern);
  if (it == end()) throw std::out_of_range("invalid map<K, T> key");
  return it->second;
}

// ---- Matching -----------------------------------------------------------------------------------

bool Pattern::match(const OpPtr& op) {
  const PatternPtr self = shared_from_this();
  PatternMatcher matcher;
  if (!matcher.visit(self, op, nullptr)) return false;
  matchedNodes_.clear();
  for (const auto& [pattern, captured] : matcher.captures) matchedNodes_.emplace_back(pattern, captured);
  parents_.clear();
  for (const auto& [pattern, parents] : matcher.parents) {
    parents_.emplace_back(pattern, std::vector<WeakPattern>(parents.begin(), parents.end()));
  }
  return true;
}

CaptureMap Pattern::getMatchedNodes() const {
  CaptureMap captures;
  for (const auto& [pattern, captured] : matchedNodes_) {
    if (auto owned = pattern.lock()) captures.emplace(std::move(owned), captured);
  }
  return captures;
}

ParentMap Pattern::getParents() const {
  ParentMap result;
  for (const auto& [pattern, parents] : parents_) {
    auto owned = pattern.lock();
    if (!owned) continue;
    auto& set = result[owned];
    for (const auto& parent : parents) {
      if (auto ownedParent = parent.lock()) set.insert(std::move(ownedParent));
    }
  }
  return result;
}

bool Pattern::visitOp(PatternMatcher&, const OpPtr&) { return false; }

bool Pattern::visitTensor(PatternMatcher&, const TensorPtr&) { return false; }

bool PatternMatcher::visit(const PatternPtr& pattern, const OpPtr& op, const PatternPtr& parent) {
  if (!pattern->visitOp(*this, op)) return false;
  if (dynamic_cast<const WildCardPattern*>(pattern.get()) == nullptr) captures.emplace(pattern, op);
  if (parent) parents[pattern].insert(parent);
  return true;
}

bool OpTypePattern::visitOp(PatternMatcher&, const OpPtr& op) { return op && op->type() == opType; }

bool OpPattern::visitOp(PatternMatcher& matcher, const OpPtr& op) {
  if (!matcher.visit(opPattern, op, nullptr) || !op) return false;
  const PatternPtr self = shared_from_this();
  for (const auto& [index, child] : inputs) {
    // Inputs beyond the op's count are optional trailing inputs: they count as matched.
    if (index >= op->numInputs()) continue;
    const auto tensor = op->getInput(index);
    const bool matched = tensor->isStaticTensor() || tensor->isGraphInput()
                             ? matcher.visitTensor(child, tensor)
                             : matcher.visit(child, tensor->producer(), self);
    if (!matched) return false;
  }
  return true;
}

bool AttrPattern::visitOp(PatternMatcher& matcher, const OpPtr& op) {
  if (!matcher.visit(pattern, op, shared_from_this()) || !op) return false;
  const auto& table = *op->attrs();
  for (const auto& attribute : attrs) {
    if (!table.hasAttr(attribute->name) || !attributeEquals(table.get(attribute->name), *attribute)) return false;
  }
  return true;
}

bool AltPattern::visitOp(PatternMatcher& matcher, const OpPtr& op) {
  const PatternPtr self = shared_from_this();
  return matcher.visit(right, op, self) || matcher.visit(left, op, self);
}

Pattern::OpTypes AltPattern::opTypes() const { return unionOf(left->opTypes(), right->opTypes()); }

bool OptionalPattern::visitOp(PatternMatcher& matcher, const OpPtr& op) {
  const PatternPtr self = shared_from_this();
  return matcher.visit(preferred, op, self) || matcher.visit(fallback, op, self);
}

Pattern::OpTypes OptionalPattern::opTypes() const { return unionOf(fallback->opTypes(), preferred->opTypes()); }

bool WildCardPattern::visitOp(PatternMatcher&, const OpPtr&) { return true; }

bool WildCardPattern::visitTensor(PatternMatcher&, const TensorPtr&) { return true; }

bool ConstantPattern::visitTensor(PatternMatcher&, const TensorPtr& tensor) { return tensor->isStaticTensor(); }

bool FoldableConstantPattern::visitOp(PatternMatcher&, const OpPtr& op) {
  if (!op || op->type() != "Reshape" || op->numInputs() == 0) return false;
  const auto input = op->getInput(0);
  return input->isStaticTensor() && input->consumers().size() == 1;
}

bool FoldableConstantPattern::visitTensor(PatternMatcher&, const TensorPtr& tensor) { return tensor->isStaticTensor(); }

bool InputPattern::visitTensor(PatternMatcher&, const TensorPtr& tensor) { return tensor->isGraphInput(); }

bool ShapePattern::visitOp(PatternMatcher& matcher, const OpPtr& op) {
  if (!matcher.visit(pattern, op, shared_from_this()) || !op) return false;
  const auto numOutputs = static_cast<uint32_t>(std::max<size_t>(op->numOutputs(), 1));
  const auto shapes = op->inferOutputTensorShapes(std::make_shared<IrAxisOrder>(), numOutputs);
  return !shapes.empty() && shapes.front().dims() == shape;
}

bool ShapePattern::visitTensor(PatternMatcher& matcher, const TensorPtr& tensor) {
  return matcher.visitTensor(pattern, tensor) && tensor->dims() == shape;
}

// ---- Builders -----------------------------------------------------------------------------------

PatternPtr isOpType(const std::string& opType) { return make<OpTypePattern>(opType); }
PatternPtr isWildcard() { return make<WildCardPattern>(); }
PatternPtr isConstant() { return make<ConstantPattern>(); }
PatternPtr isFoldableConstant() { return make<FoldableConstantPattern>(); }
PatternPtr isInput() { return make<InputPattern>(); }
PatternPtr withShape(const PatternPtr& pattern, std::vector<uint32_t> shape) {
  return make<ShapePattern>(pattern, std::move(shape));
}

PatternPtr op(const PatternPtr& opPattern, const std::vector<PatternPtr>& inputs) {
  std::map<uint32_t, PatternPtr> children;
  for (size_t i = 0; i < inputs.size(); ++i) {
    if (inputs[i]) children.emplace(static_cast<uint32_t>(i), inputs[i]);
  }
  return make<OpPattern>(opPattern, std::move(children));
}

PatternPtr op(const std::string& opType, const PatternPtr& input0) { return op(isOpType(opType), {input0}); }

PatternPtr op(const std::string& opType, const PatternPtr& input0, const PatternPtr& input1) {
  return op(isOpType(opType), {input0, input1});
}

PatternPtr op(const std::string& opType, const PatternPtr& input0, const PatternPtr& input1, const PatternPtr& input2) {
  return op(isOpType(opType), {input0, input1, input2});
}

PatternPtr withAttr(const PatternPtr& pattern, const PatternAttributePtr& attribute) {
  return withAttr(pattern, std::vector<PatternAttributePtr>{attribute});
}

PatternPtr withAttr(const PatternPtr& pattern, const std::vector<PatternAttributePtr>& attributes) {
  return make<AttrPattern>(pattern, attributes);
}

PatternAttributePtr attrNumber(const std::string& name, double value) {
  return std::make_shared<PatternAttribute>(PatternAttribute{.name = name, .number = value});
}

PatternAttributePtr attrText(const std::string& name, const std::string& value) {
  return std::make_shared<PatternAttribute>(PatternAttribute{.name = name, .text = value});
}

PatternAttributePtr attrList(const std::string& name, const std::vector<double>& values) {
  return std::make_shared<PatternAttribute>(PatternAttribute{.name = name, .list = values});
}

PatternPtr either(const PatternPtr& a, const PatternPtr& b) { return make<AltPattern>(a, b); }

PatternPtr optional(const PatternPtr& a, const PatternPtr& b) { return make<OptionalPattern>(b, a); }

PatternPtr commutativeOp(const std::string& opType, const PatternPtr& a, const PatternPtr& b) {
  return either(op(opType, b, a), op(opType, a, b));
}

PatternPtr commutativeOpWithAttr(const std::string& opType, const PatternPtr& a, const PatternPtr& b,
                                 const PatternAttributePtr& attribute) {
  return either(withAttr(op(opType, b, a), attribute), withAttr(op(opType, a, b), attribute));
}

}  // namespace modeltools::iroptimizer
