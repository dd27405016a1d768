// The process registry: every pass of the table with its registration fields, and refusals.

#include <gtest/gtest.h>

#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/iroptimizer/PassFactory.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/PassManager.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools::iroptimizer {
namespace {

TEST(PassRegistry, EveryPassIsInPostLayoutForAllBackendsAndOtherStagesAreEmpty) {
  const auto& registry = PassRegistry::instance();
  const auto passes = registry.stagePasses(PostLayout);
  ASSERT_EQ(passes.size(), kNumPasses);
  for (const auto& [id, pass] : passes) {
    ASSERT_NE(pass, nullptr) << id;
    EXPECT_EQ(pass->backends, (std::set<int32_t>{Default})) << id;
    EXPECT_EQ(pass->stage, static_cast<uint32_t>(PostLayout)) << id;
    EXPECT_EQ(pass->requiresEnable, 0u) << id;
    EXPECT_EQ(pass->keepMatchedOps, id == passid::SquashBoxDecoder ? 1u : 0u) << id;
  }
  for (const uint32_t stage : {PreLayout, PreQuant, PostQuant}) EXPECT_TRUE(registry.stagePasses(stage).empty());
  EXPECT_TRUE(registry.stagePasses(4).empty());
}

TEST(PassRegistry, RepeatModesFollowThePassTable) {
  const auto passes = PassRegistry::instance().stagePasses(PostLayout);
  std::vector<std::string> untilStable;
  for (const auto& [id, pass] : passes) {
    if (pass->repeatMode == repeatmode::kUntilStable)
      untilStable.push_back(getPassNameFromPassId(id));
    else
      EXPECT_EQ(pass->repeatMode, repeatmode::kOnce);
  }
  EXPECT_EQ(untilStable,
            (std::vector<std::string>{"OptimizeTransposes", "SquashMultiplePermute", "FoldReshapesInstance1",
                                      "FoldReshapesInstance2", "FoldReshapesInstance3", "FoldReshapesInstance4",
                                      "OptimizeTransposeReshape", "Replace6dOps", "FoldCasts", "FoldConcats",
                                      "ExpandSparseOpStructure", "ReduceEltwiseBinTranspose"}));
}

TEST(PassRegistry, SecondRegistrationIsRefused) {
  EXPECT_THROW_MSG(PassManager::registerPass(passid::MatchGelu, PostLayout, {Default}, 0, 0, 0), std::runtime_error,
                   "modeltools::iroptimizer::PassManager::registerPass: Pass MatchGelu is already registered");
  PassRegistry own;
  EXPECT_TRUE(own.registerPass(passid::FoldCasts, PreQuant, {Default}, repeatmode::kUntilStable, 1, 0));
  EXPECT_EQ(own.stagePasses(PreQuant).at(passid::FoldCasts)->requiresEnable, 1u);
  EXPECT_THROW_HAS(own.registerPass(passid::FoldCasts, PreQuant, {Default}, 0, 0, 0), std::runtime_error,
                   "Pass FoldCasts is already registered");
  EXPECT_FALSE(own.registerPass(passid::FoldCasts, 4, {Default}, 0, 0, 0));
  EXPECT_THROW_MSG(own.registerPass(kNumPasses, PostLayout, {Default}, 0, 0, 0), std::runtime_error,
                   "modeltools::iroptimizer::getPassNameFromPassId:  Invalid pass Id 89");
}

TEST(PassRegistry, FactoryBuildsEveryIdAndNothingBeyond) {
  IrGraph graph("g");
  for (uint32_t id = 0; id < kNumPasses; ++id) {
    auto pass = createPass(id);
    ASSERT_NE(pass, nullptr) << id;
  }
  EXPECT_EQ(createPass(kNumPasses), nullptr);
  EXPECT_FALSE(PendingPass().run(graph));
}

TEST(PassRegistry, RegisteredNamesAreTheTableInIdOrder) {
  const auto names = getRegisteredPassNames();
  ASSERT_EQ(names.size(), kNumPasses);
  EXPECT_EQ(names.front(), "AlignMatmulRanks");
  EXPECT_EQ(names[passid::MatchGelu], "MatchGelu");
  EXPECT_EQ(names.back(), "MergeLowLevelOpsToResize");
  for (uint32_t id = 0; id < kNumPasses; ++id) EXPECT_EQ(getPassIdFromPassName(names[id]), id);
}

TEST(PassRegistry, ReplacementPutsPassInPlaceAndGivesPreviousBack) {
  PassRegistry own;
  auto first = std::make_shared<PendingPass>();
  auto second = std::make_shared<PendingPass>();
  EXPECT_EQ(own.replacePass(passid::MatchGelu, PostLayout, first), nullptr);
  EXPECT_EQ(own.replacePass(passid::MatchGelu, PostLayout, second), first);
  EXPECT_EQ(own.stagePasses(PostLayout).at(passid::MatchGelu), second);
  EXPECT_EQ(own.replacePass(passid::MatchGelu, PostLayout, nullptr), second);
  EXPECT_TRUE(own.stagePasses(PostLayout).empty());
}

}  // namespace
}  // namespace modeltools::iroptimizer
