#pragma once

#include <cstdint>
#include <memory>

#include "Pass.hpp"

namespace modeltools::iroptimizer {

// Stands in for a pass whose body has not landed yet: it never changes the graph.
class PendingPass final : public Pass {
 public:
  bool run(IrGraph& /*graph*/) override { return false; }
};

// The pass object of an id, without its registration fields; empty for an id outside the table.
std::shared_ptr<Pass> createPass(uint32_t id);

}  // namespace modeltools::iroptimizer
