#pragma once

#include <cstdint>
#include <memory>
#include <set>

namespace modeltools {
class IrGraph;
}

namespace modeltools::iroptimizer {

enum OptimizationStage : uint32_t { PreLayout = 0, PostLayout = 1, PreQuant = 2, PostQuant = 3 };

// The key by which a pipeline is chosen; 7 is the default entry that every backend runs.
enum PipelineBackend : int32_t { CPU = 0, DSP = 1, GPU = 2, NXA = 3, NXB = 4, NXD = 5, NXC = 6, Default = 7, Unknown = 8 };

namespace repeatmode {
constexpr uint32_t kOnce = 0;
constexpr uint32_t kUntilStable = 1;
}  // namespace repeatmode

// One graph pass. `run` returns true when it changed the graph.
class Pass {
 public:
  virtual bool run(IrGraph& graph) = 0;
  virtual ~Pass() = default;

  std::set<int32_t> backends;
  uint32_t stage = PostLayout;
  uint32_t repeatMode = repeatmode::kOnce;
  uint32_t keepMatchedOps = 0;
  uint32_t requiresEnable = 0;
};

// Stands in for a pass whose rewrite is not built yet: it never changes the graph.
class PendingPass final : public Pass {
 public:
  bool run(IrGraph& /*graph*/) override { return false; }
};

}  // namespace modeltools::iroptimizer
