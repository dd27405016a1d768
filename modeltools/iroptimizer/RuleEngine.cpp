#include "RuleEngine.hpp"

#include <algorithm>
#include <set>

namespace modeltools::iroptimizer {
namespace {

// The op itself, not merely one of its name: a rewrite may have put another op under it.
bool isInGraph(const IrGraph& graph, const OpPtr& op) { return graph.getOp(op->name()) == op; }

bool holdsOp(const CaptureMap& captures, const OpPtr& op) {
  return std::any_of(captures.begin(), captures.end(), [&](const auto& entry) { return entry.second == op; });
}

bool isWildcard(const PatternPtr& pattern) { return dynamic_cast<const WildCardPattern*>(pattern.get()) != nullptr; }

// Alternatives, attribute and shape wrappers stand for no op of their own: the ops they
// reach are read by the parents of the wrapper.
bool standsAsParent(const PatternPtr& pattern) {
  return isWildcard(pattern) || dynamic_cast<const OpPattern*>(pattern.get()) != nullptr;
}

const std::set<PatternPtr>& effectiveParents(const PatternPtr& pattern, ParentMap& parents,
                                             std::set<const Pattern*>& resolved) {
  if (resolved.insert(pattern.get()).second) {
    const std::set<PatternPtr> direct = parents[pattern];
    std::set<PatternPtr> effective;
    for (const auto& parent : direct) {
      if (standsAsParent(parent)) {
        effective.insert(parent);
      } else {
        const auto& above = effectiveParents(parent, parents, resolved);
        effective.insert(above.begin(), above.end());
      }
    }
    parents[pattern] = std::move(effective);
  }
  return parents[pattern];
}

size_t readerCount(const OpPtr& op) {
  size_t count = 0;
  for (const auto& output : op->getOutputs()) count += output->consumers().size();
  return count;
}

// True while an output that the op still produces is read or leaves the graph.
bool feedsSomething(const OpPtr& op) {
  for (const auto& output : op->getOutputs()) {
    if (output->producer() == op && (!output->consumers().empty() || output->isGraphOutput())) return true;
  }
  return false;
}

std::vector<TensorPtr> distinctInputs(const OpPtr& op) {
  std::vector<TensorPtr> inputs;
  for (const auto& input : op->getInputs()) {
    if (std::find(inputs.begin(), inputs.end(), input) == inputs.end()) inputs.push_back(input);
  }
  return inputs;
}

}  // namespace

bool MatchAndRewriteRule::apply(IrGraph& graph, uint32_t keepMatchedOps) {
  // Ops of types the pattern can't accept would fail at once: they aren't even looked at.
  const auto types = pattern->opTypes();
  const auto snapshot = types ? graph.getOps().snapshotOfTypes(*types) : graph.getOps().snapshot();
  CaptureMap lastMatched;
  bool changed = false;
  for (auto it = snapshot.rbegin(); it != snapshot.rend(); ++it) {
    const OpPtr& op = *it;
    if (!lastMatched.empty() && holdsOp(lastMatched, op)) continue;
    if (!pattern->match(op)) continue;
    CaptureMap captures = pattern->getMatchedNodes();
    if (rejectEscapingMatches && matchEscapes(graph, captures, pattern->getParents())) continue;
    const bool rewritten = rewriteCallback(graph, captures);
    if (rewritten && keepMatchedOps == 0) {
      lastMatched = std::move(captures);
      pruneDeadMatchedOps(graph, lastMatched);
    }
    changed = changed || rewritten;
  }
  return changed;
}

bool matchEscapes(const IrGraph& graph, const CaptureMap& captures, ParentMap parents) {
  std::set<const Pattern*> resolved;
  for (const auto& [pattern, op] : captures) {
    if (!op) continue;
    if (!isInGraph(graph, op)) return true;
    const auto& effective = effectiveParents(pattern, parents, resolved);
    if (isWildcard(pattern)) continue;
    if (!effective.empty() && effective.size() != readerCount(op)) return true;
  }
  return false;
}

void pruneDeadMatchedOps(IrGraph& graph, const CaptureMap& captures) {
  for (const auto& [pattern, op] : captures) {
    if (op && isInGraph(graph, op) && !feedsSomething(op)) pruneOpRecursively(graph, op);
  }
}

void pruneOpRecursively(IrGraph& graph, const OpPtr& opRef) {
  const OpPtr op = opRef;  // the caller's reference may live in the order
  // A worklist rather than recursion: a dead chain may be as long as the graph.
  std::vector<OpPtr> pending{op};
  while (!pending.empty()) {
    const OpPtr current = std::move(pending.back());
    pending.pop_back();
    // Two inputs may share a producer, which then stands twice in the list.
    if (current != op && !isInGraph(graph, current)) continue;
    const auto inputs = distinctInputs(current);
    graph.removeOp(current);
    for (const auto& input : inputs) {
      const OpPtr producer = input->producer();
      if (producer && input->consumers().empty() && isInGraph(graph, producer) && !feedsSomething(producer)) {
        pending.push_back(producer);
      }
    }
  }
}

bool SequenceTransformPass::run(IrGraph& graph) {
  bool changed = false;
  for (const auto& rule : rules) changed = rule->apply(graph, keepMatchedOps) || changed;
  return changed;
}

}  // namespace modeltools::iroptimizer
