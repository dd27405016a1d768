// The pass lists: lengths, places of the key passes, and that every pass has its one place.

#include <gtest/gtest.h>

#include <set>

#include "modeltools/backendinfo/BackendInfo.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/Pipelines.hpp"

namespace modeltools::iroptimizer {
namespace {

using namespace passid;

std::vector<uint32_t> defaultList() { return DefaultPassPipeline().getPasses(nullptr, PostLayout); }

TEST(Pipelines, DefaultListPlacesLayoutBetweenMergesAndCleanUp) {
  const auto ids = defaultList();
  ASSERT_EQ(ids.size(), 80u);
  // Positions counted from 1.
  auto at = [&](size_t position) { return ids.at(position - 1); };
  EXPECT_EQ(at(1), MatmulAddFusion);
  EXPECT_EQ(at(2), MatmulToFC);
  EXPECT_EQ(at(12), FoldCasts);
  EXPECT_EQ(at(14), MatchGelu);
  EXPECT_EQ(at(27), SquashBoxDecoder);
  EXPECT_EQ(at(37), AlignMatmulRanks);
  EXPECT_EQ(at(40), TransformLayout);
  EXPECT_EQ(at(41), HoistTranspose);
  EXPECT_EQ(at(56), RecordLoraTensorTransforms);
  EXPECT_EQ(at(60), RemoveNoOps1);
  EXPECT_EQ(at(73), RemoveNoOps2);
  EXPECT_EQ(at(78), Replace6dOps);
  EXPECT_EQ(at(80), OptimizeDetectionOutput);
  // Instances stand in their own places, FoldReshapes not in numeric order.
  EXPECT_EQ(at(38), FoldReshapesInstance2);
  EXPECT_EQ(at(55), FoldReshapesInstance4);
  EXPECT_EQ(at(68), FoldReshapesInstance3);
  EXPECT_EQ(at(28), SquashReshapeInstance1);
  EXPECT_EQ(at(52), SquashReshapeInstance2);
  EXPECT_EQ(at(26), SquashBatchnormInstance1);
  EXPECT_EQ(at(64), SquashBatchnormInstance2);
}

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

TEST(Pipelines, OnlyDefaultAndNxaEntriesHavePipelines) {
  for (int32_t backend = CPU; backend <= Unknown; ++backend) {
    const auto pipeline = createPassPipeline(backend);
    if (backend == Default) {
      EXPECT_NE(std::dynamic_pointer_cast<DefaultPassPipeline>(pipeline), nullptr);
    } else if (backend == NXA) {
      EXPECT_NE(std::dynamic_pointer_cast<NXAPassPipeline>(pipeline), nullptr);
    } else {
      EXPECT_EQ(pipeline, nullptr) << backend;
    }
  }
}

}  // namespace
}  // namespace modeltools::iroptimizer
