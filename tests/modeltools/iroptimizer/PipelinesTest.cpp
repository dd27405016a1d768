// The pass lists: every pass has its one place, and only PostLayout has passes.

#include <gtest/gtest.h>

#include <set>

#include "modeltools/backendinfo/BackendInfo.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/Pipelines.hpp"

namespace modeltools::iroptimizer {
namespace {

using namespace passid;

std::vector<uint32_t> defaultList() { return DefaultPassPipeline().getPasses(nullptr, PostLayout); }

TEST(Pipelines, EveryPassHasOnePlaceOrIsRunOnlyByPrograms) {
  std::multiset<uint32_t> placed;
  for (const auto id : defaultList()) placed.insert(id);
  for (const auto id : NXAPassPipeline().getPasses(nullptr, PostLayout)) placed.insert(id);
  for (const auto id : replace6dFollowUpPasses()) {
    if (id == FoldReshapesInstance1) placed.insert(id);  // the others have a default place too
  }
  for (const uint32_t id :
       {MatchSpaceToDepth, MultiTimeStepsGRU, OptimizeDepthToSpace, SquashPad, FoldSoftmax, MultiTimeStepsLSTM}) {
    EXPECT_EQ(placed.count(id), 0u) << id;
    placed.insert(id);
  }
  for (uint32_t id = 0; id < kNumPasses; ++id) EXPECT_EQ(placed.count(id), 1u) << getPassNameFromPassId(id);
  EXPECT_EQ(placed.size(), kNumPasses);
}

TEST(Pipelines, ConditionalAndNxaLists) {
  EXPECT_EQ(replace6dFollowUpPasses(),
            (std::vector<uint32_t>{FoldReshapesInstance1, SquashReshapeInstance1, RemoveNoOps1}));
  EXPECT_EQ(NXAPassPipeline().getPasses(backendinfo::createBackendInfo("NXA", ""), PostLayout),
            (std::vector<uint32_t>{FullyConnectedToHadamard, FoldHadamardWithMul}));
}

TEST(Pipelines, OnlyPostLayoutHasPasses) {
  for (const uint32_t stage : {uint32_t{PreLayout}, uint32_t{PreQuant}, uint32_t{PostQuant}, 7u}) {
    EXPECT_TRUE(DefaultPassPipeline().getPasses(nullptr, stage).empty());
    EXPECT_TRUE(NXAPassPipeline().getPasses(nullptr, stage).empty());
  }
}

}  // namespace
}  // namespace modeltools::iroptimizer
