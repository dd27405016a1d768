#pragma once

// The pattern language of rewrite rules. A pattern is a small tree rooted at the last op of
// a chain; `match` starts at one op of the graph and walks upstream through its inputs,
// recording which pattern object caught which op. Rules read the captures by pattern object.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ir/IrTensor.hpp"

namespace modeltools::iroptimizer {

class Pattern;
class PatternMatcher;
using PatternPtr = std::shared_ptr<Pattern>;
using OpPtr = std::shared_ptr<ops::IrOp>;
using TensorPtr = std::shared_ptr<IrTensor>;

// Pattern to captured op, in pointer order. Reading an absent key throws out-of-range
// "invalid map<K, T> key", so that a rule reading a capture its pattern doesn't guarantee
// fails loudly.
class CaptureMap : public std::map<PatternPtr, OpPtr> {
 public:
  using std::map<PatternPtr, OpPtr>::map;
  const OpPtr& at(const PatternPtr& pattern) const;
};

// For each pattern reached, the patterns that reached it; in pointer order.
using ParentMap = std::map<PatternPtr, std::set<PatternPtr>>;

class Pattern : public std::enable_shared_from_this<Pattern> {
 public:
  virtual ~Pattern() = default;
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;

  // Matches with this pattern as root. On success the captures and parents of this match
  // replace the stored ones; on failure they stay. The pattern must be owned by a shared
  // reference (else std::bad_weak_ptr).
  bool match(const OpPtr& op);
  CaptureMap getMatchedNodes() const;
  ParentMap getParents() const;

  // The matcher's two entries, by class. An op or tensor that the class can't match fails.
  virtual bool visitOp(PatternMatcher& matcher, const OpPtr& op);
  virtual bool visitTensor(PatternMatcher& matcher, const TensorPtr& tensor);

  // The op types that `visitOp` can accept at all; no list when it may accept any type. A sweep
  // need only try the ops of the listed types.
  using OpTypes = std::optional<std::vector<std::string>>;
  virtual OpTypes opTypes() const { return std::vector<std::string>{}; }

 protected:
  Pattern() = default;

 private:
  // Patterns are held without ownership here: the root is among its own captures.
  using WeakPattern = std::weak_ptr<Pattern>;
  std::vector<std::pair<WeakPattern, OpPtr>> matchedNodes_;
  std::vector<std::pair<WeakPattern, std::vector<WeakPattern>>> parents_;
};

// The transient state of one match.
class PatternMatcher {
 public:
  // Visits an op (which may be empty, for a tensor without producer); on success records
  // the capture (first one stays, wildcards never) and the parent.
  bool visit(const PatternPtr& pattern, const OpPtr& op, const PatternPtr& parent);
  bool visitTensor(const PatternPtr& pattern, const TensorPtr& tensor) { return pattern->visitTensor(*this, tensor); }

  CaptureMap captures;
  ParentMap parents;
};

class OpTypePattern : public Pattern {
 public:
  explicit OpTypePattern(std::string opType) : opType(std::move(opType)) {}
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override { return std::vector<std::string>{opType}; }
  std::string opType;
};

class OpPattern : public Pattern {
 public:
  OpPattern(PatternPtr opPattern, std::map<uint32_t, PatternPtr> inputs)
      : inputs(std::move(inputs)), opPattern(std::move(opPattern)) {}
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override { return opPattern->opTypes(); }
  std::map<uint32_t, PatternPtr> inputs;
  PatternPtr opPattern;
};

struct PatternAttribute {
  std::string name{};
  double number = 0.0;
  std::string text{};
  std::vector<double> list{};
};
using PatternAttributePtr = std::shared_ptr<PatternAttribute>;

class AttrPattern : public Pattern {
 public:
  AttrPattern(PatternPtr pattern, std::vector<PatternAttributePtr> attrs)
      : pattern(std::move(pattern)), attrs(std::move(attrs)) {}
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override { return pattern->opTypes(); }
  PatternPtr pattern;
  std::vector<PatternAttributePtr> attrs;
};

// `right` is tried first.
class AltPattern : public Pattern {
 public:
  AltPattern(PatternPtr left, PatternPtr right) : left(std::move(left)), right(std::move(right)) {}
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override;
  PatternPtr left;
  PatternPtr right;
};

class OptionalPattern : public Pattern {
 public:
  OptionalPattern(PatternPtr fallback, PatternPtr preferred)
      : fallback(std::move(fallback)), preferred(std::move(preferred)) {}
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override;
  PatternPtr fallback;
  PatternPtr preferred;
};

// Anything, op or tensor; never captured.
class WildCardPattern : public Pattern {
 public:
  WildCardPattern() = default;
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override { return std::nullopt; }
  bool visitTensor(PatternMatcher& matcher, const TensorPtr& tensor) override;
};

// A static tensor; never an op.
class ConstantPattern : public Pattern {
 public:
  ConstantPattern() = default;
  bool visitTensor(PatternMatcher& matcher, const TensorPtr& tensor) override;
};

// A static tensor, or a "Reshape" whose first input is a static tensor read by it alone.
class FoldableConstantPattern : public Pattern {
 public:
  FoldableConstantPattern() = default;
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override { return std::vector<std::string>{"Reshape"}; }
  bool visitTensor(PatternMatcher& matcher, const TensorPtr& tensor) override;
};

// A tensor of graph input kind.
class InputPattern : public Pattern {
 public:
  InputPattern() = default;
  bool visitTensor(PatternMatcher& matcher, const TensorPtr& tensor) override;
};

// As `pattern`, with exactly this shape (the op's first output, inferred in spatial-first order).
class ShapePattern : public Pattern {
 public:
  ShapePattern(PatternPtr pattern, std::vector<uint32_t> shape)
      : pattern(std::move(pattern)), shape(std::move(shape)) {}
  bool visitOp(PatternMatcher& matcher, const OpPtr& op) override;
  OpTypes opTypes() const override { return pattern->opTypes(); }
  bool visitTensor(PatternMatcher& matcher, const TensorPtr& tensor) override;
  PatternPtr pattern;
  std::vector<uint32_t> shape;
};

// ---- Builders ----

PatternPtr isOpType(const std::string& opType);
PatternPtr isWildcard();
PatternPtr isConstant();
PatternPtr isFoldableConstant();
PatternPtr isInput();
PatternPtr withShape(const PatternPtr& pattern, std::vector<uint32_t> shape);

// An op of the type whose input i is accepted by child i; inputs without a child aren't looked at.
PatternPtr op(const std::string& opType, const PatternPtr& input0);
PatternPtr op(const std::string& opType, const PatternPtr& input0, const PatternPtr& input1);
PatternPtr op(const std::string& opType, const PatternPtr& input0, const PatternPtr& input1, const PatternPtr& input2);
PatternPtr op(const PatternPtr& opPattern, const std::vector<PatternPtr>& inputs);

PatternPtr withAttr(const PatternPtr& pattern, const PatternAttributePtr& attribute);
PatternPtr withAttr(const PatternPtr& pattern, const std::vector<PatternAttributePtr>& attributes);
PatternAttributePtr attrNumber(const std::string& name, double value);
PatternAttributePtr attrText(const std::string& name, const std::string& value);
PatternAttributePtr attrList(const std::string& name, const std::vector<double>& values);

// `b` is tried before `a`.
PatternPtr either(const PatternPtr& a, const PatternPtr& b);
// `a` when it matches, else `b`: optional(op(name, x), x) is a chain member that may be absent.
PatternPtr optional(const PatternPtr& a, const PatternPtr& b);
// Inputs (a, b) are tried first, then (b, a).
PatternPtr commutativeOp(const std::string& opType, const PatternPtr& a, const PatternPtr& b);
PatternPtr commutativeOpWithAttr(const std::string& opType, const PatternPtr& a, const PatternPtr& b,
                                 const PatternAttributePtr& attribute);

}  // namespace modeltools::iroptimizer
