#pragma once

// The two templates that rewrite passes are built from: rules (a pattern plus a rewrite)
// swept over the graph by `SequenceTransformPass`, and per-type handlers run by
// `OpTransformPass`. Both walk a snapshot of the execution order, so ops added by a
// rewrite are not visited in the same sweep and every sweep ends.

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/iroptimizer/Pass.hpp"
#include "modeltools/iroptimizer/Pattern.hpp"

namespace modeltools::iroptimizer {

class MatchAndRewriteRule {
 public:
  // Changes the graph for one match and returns true, or declines with false and leaves
  // the graph as it was.
  virtual bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) = 0;
  virtual ~MatchAndRewriteRule() = default;

  // One sweep from the graph's outputs towards its inputs; true if any rewrite happened.
  // Unless `keepMatchedOps` is set, the ops of the latest rewrite are passed over for the
  // rest of the sweep, and those of them left without readers are pruned.
  bool apply(IrGraph& graph, uint32_t keepMatchedOps);

  PatternPtr pattern;
  bool rejectEscapingMatches = true;
};

using RulePtr = std::shared_ptr<MatchAndRewriteRule>;

// True when a captured op has left the graph, or an op inside the matched chain has a
// reader outside it (the root is exempt).
bool matchEscapes(const IrGraph& graph, const CaptureMap& captures, ParentMap parents);

// Prunes each captured op that is still in the graph and no longer feeds a reader or a
// graph output.
void pruneDeadMatchedOps(IrGraph& graph, const CaptureMap& captures);

// Removes the op with its unread outputs, then, upstream, each producer left without any
// reader or graph output.
void pruneOpRecursively(IrGraph& graph, const OpPtr& op);

class SequenceTransformPass : public Pass {
 public:
  explicit SequenceTransformPass(std::vector<RulePtr> rules = {}) : rules(std::move(rules)) {}
  // Every rule sweeps once, in order, also after an earlier one changed the graph.
  bool run(IrGraph& graph) override;

  std::vector<RulePtr> rules;
};

// Per-type handlers of the concrete pass `Derived`, called in graph order over a snapshot:
// a handler may meet ops that an earlier handler of the same run removed.
template <class Derived>
class OpTransformPass : public Pass {
 public:
  using Handler = bool (Derived::*)(const OpPtr& op, IrGraph& graph);

  bool run(IrGraph& graph) override {
    bool changed = false;
    for (const auto& op : graph.getOps().snapshot()) {
      auto entry = handlers.find(op->type());
      const bool result = entry != handlers.end() ? (static_cast<Derived&>(*this).*(entry->second))(op, graph)
                                                  : defaultHandler(op, graph);
      changed = result || changed;
    }
    return changed;
  }
  ~OpTransformPass() override = default;
  virtual bool defaultHandler(const OpPtr& /*op*/, IrGraph& /*graph*/) { return false; }

  std::unordered_map<std::string, Handler> handlers;
};

}  // namespace modeltools::iroptimizer
