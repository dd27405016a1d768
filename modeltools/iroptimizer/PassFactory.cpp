#include "PassFactory.hpp"

#include "PassIds.hpp"
#include "modeltools/iroptimizer/passes/IdentityRemoval.hpp"
#include "modeltools/iroptimizer/passes/RulePass.hpp"

namespace modeltools::iroptimizer {

// The one place where an id becomes a pass object. A pass that lands gets its own case here,
// e.g. `case passid::MatchGelu: return std::make_shared<SequenceTransformPass>(...);`.
std::shared_ptr<Pass> createPass(uint32_t id) {
  if (id >= kNumPasses) return nullptr;
  switch (id) {
    case passid::RemoveIdentityPreLT: return makeRulePass<removeIdentityReshapeAndIdentityOnly>();
    case passid::RemoveNoOps1: return makeRulePass<removeIdentity>();
    case passid::RemoveNoOps2: return makeRulePass<removeIdentity>();
    case passid::RemoveCastIdentity: return makeRulePass<SquashCastPass>();
    case passid::ForcePruneCast: return makeRulePass<ForcePruneCastPass>();
    default: return std::make_shared<PendingPass>();
  }
}

}  // namespace modeltools::iroptimizer
