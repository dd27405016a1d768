#include "PassFactory.hpp"

#include "PassIds.hpp"

namespace modeltools::iroptimizer {

// The one place where an id becomes a pass object. A pass that lands gets its own case here,
// e.g. `case passid::MatchGelu: return std::make_shared<SequenceTransformPass>(...);`.
std::shared_ptr<Pass> createPass(uint32_t id) {
  if (id >= kNumPasses) return nullptr;
  switch (id) {
    default: return std::make_shared<PendingPass>();
  }
}

}  // namespace modeltools::iroptimizer
