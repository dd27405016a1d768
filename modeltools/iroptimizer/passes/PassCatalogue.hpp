#pragma once

// The pass object of every row of PassTable.def, and the registry the library runs with.

#include <cstdint>
#include <memory>

#include "modeltools/iroptimizer/PassRegistry.hpp"

namespace modeltools::iroptimizer {

// A fresh object of the pass of `id`, without its registration fields; empty for an id
// outside the table.
std::shared_ptr<Pass> createPass(uint32_t id);

// Every pass of the table, filed as its row says; made on first use, once for the process.
// Tests may put passes of their own in place (PassRegistry::replacePass), never while a graph
// is being optimized.
PassRegistry& passRegistry();

}  // namespace modeltools::iroptimizer
