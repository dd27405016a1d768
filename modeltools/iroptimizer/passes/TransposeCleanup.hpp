#pragma once

// Clean-up of the transposes and reshapes that converters and the layout change leave behind:
// chains that cancel, merge or move.

#include "modeltools/iroptimizer/RuleEngine.hpp"

namespace modeltools::iroptimizer {

// A "Reduce" between a transpose and its inverse reduces the untransposed data as well: both
// transposes go and the reduced axes are renumbered into the order of the data.
class removeInverseTransposePair : public MatchAndRewriteRule {
 public:
  removeInverseTransposePair();
  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override;

 private:
  PatternPtr before;  // the first transpose, A
  PatternPtr reduce;  // D
};

}  // namespace modeltools::iroptimizer
