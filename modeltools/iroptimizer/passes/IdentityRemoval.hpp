#pragma once

// Removal of ops that don't change their data: an element-wise multiply or divide by one, a
// logical and with all-true, a transpose by the identity permutation, a reshape or tile to
// the same shape, a split without split points, a gather of every index in order, an
// identity, a cast to the same type. Every removal ends in `IrGraph::squash` or
// `squashIdentity`; these rules decide when it is allowed.

#include <string>

#include "modeltools/iroptimizer/RuleEngine.hpp"

namespace modeltools::iroptimizer {

// True when input 0 is a graph input and output 0 a graph output of the same shape: such an
// op is all the graph does, and removing it would leave the graph without a node.
bool isGraphInputToOutputOp(const OpPtr& op);

class removeIdentity : public MatchAndRewriteRule {
 public:
  removeIdentity();
  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override;

 protected:
  bool handleAndOp(IrGraph& graph, const OpPtr& op);
  bool handleDivOp(IrGraph& graph, const OpPtr& op);
  bool handleMulOp(IrGraph& graph, const OpPtr& op);
  bool handleTileOp(IrGraph& graph, const OpPtr& op);
  bool handleGatherOp(IrGraph& graph, const OpPtr& op);
  bool handleTransposeOp(IrGraph& graph, const OpPtr& op);
  bool handleReshapeOp(IrGraph& graph, const OpPtr& op);
  bool handleSplitOp(IrGraph& graph, const OpPtr& op);
  bool handleIdentityOp(IrGraph& graph, const OpPtr& op);

  PatternPtr andPattern;
  PatternPtr divPattern;
  PatternPtr mulPattern;
  PatternPtr tilePattern;
  PatternPtr gatherPattern;
  PatternPtr transposePattern;
  PatternPtr reshapePattern;
  PatternPtr splitPattern;
  PatternPtr identityPattern;
};

// The instance that runs before the layout change: only reshapes and identities.
class removeIdentityReshapeAndIdentityOnly : public removeIdentity {
 public:
  removeIdentityReshapeAndIdentityOnly();
  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override;
};

// Removes a "Cast" unless it joins a graph input to a graph output. Without `force` the cast
// must also keep the data type; with it, a cast that converts goes as well.
bool squashCastOp(IrGraph& graph, const OpPtr& op, bool force);

class SquashCastPass : public MatchAndRewriteRule {
 public:
  SquashCastPass();
  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override;
};

class ForcePruneCastPass : public MatchAndRewriteRule {
 public:
  ForcePruneCastPass();
  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override;
};

}  // namespace modeltools::iroptimizer
