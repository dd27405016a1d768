// The scheduler over registries of scripted passes: repeats, skips, the stage's lists, the
// follow-up of Replace6dOps, the backend list and the steps after all passes.

#include <gtest/gtest.h>

#include "SchedulerTestSupport.hpp"
#include "modeltools/backendinfo/BackendInfo.hpp"
#include "modeltools/iroptimizer/PassManager.hpp"
#include "modeltools/iroptimizer/Pipelines.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools::iroptimizer::test {
namespace {

using namespace passid;

class PassManagerTest : public ::testing::Test {
 protected:
  PassManager manager(OptimizerConfig config = {}) { return PassManager(std::move(config), passes.registry); }
  std::string captureStage(PassManager& pm, const std::shared_ptr<backendinfo::BackendInfo>& info,
                           uint32_t stage = PostLayout) {
    ::testing::internal::CaptureStdout();
    pm.optimizeStage(*graph, info, stage);
    return ::testing::internal::GetCapturedStdout();
  }

  TestRegistry passes;
  std::shared_ptr<IrGraph> graph = smallGraph();
};

TEST_F(PassManagerTest, UntilStablePassThatAlwaysChangesRuns51TimesAndCountsOnce) {
  auto folds = passes.add(FoldCasts, alwaysChanges(), repeatmode::kUntilStable);
  auto pm = manager();
  pm.applyOptimizationPasses(*graph, {FoldCasts}, PostLayout);
  EXPECT_EQ(folds->calls, PassManager::kMaxRunsUntilStable);
  EXPECT_EQ(folds->calls, 51u);
  EXPECT_EQ(pm.getExecutedPasses(), (std::vector<std::string>{"FoldCasts"}));
}

TEST_F(PassManagerTest, UntilStablePassStopsAtItsFirstRunWithoutChange) {
  auto folds = passes.add(
      FoldConcats, [](IrGraph&, uint32_t call) { return call < 4; }, repeatmode::kUntilStable);
  auto quiet = passes.add(OptimizeTransposes, {}, repeatmode::kUntilStable);
  auto pm = manager();
  pm.applyOptimizationPasses(*graph, {FoldConcats, OptimizeTransposes}, PostLayout);
  EXPECT_EQ(folds->calls, 4u);
  EXPECT_EQ(quiet->calls, 1u);
  EXPECT_EQ(pm.getExecutedPasses(), (std::vector<std::string>{"FoldConcats"}));
}

TEST_F(PassManagerTest, OncePassRunsOnceAndUnknownRepeatModeNeverRuns) {
  auto gelu = passes.add(MatchGelu, alwaysChanges());
  auto odd = passes.add(MatchLogit, alwaysChanges(), 2);
  auto pm = manager();
  pm.applyOptimizationPasses(*graph, {MatchGelu, MatchLogit, MatchGelu}, PostLayout);
  EXPECT_EQ(gelu->calls, 2u);
  EXPECT_EQ(odd->calls, 0u);
  // Each place that changed the graph counts.
  EXPECT_EQ(pm.getExecutedPasses(), (std::vector<std::string>{"MatchGelu", "MatchGelu"}));
}

TEST_F(PassManagerTest, DisabledWinsOverEnabledAndRequiresEnableNeedsEnabled) {
  auto both = passes.add(MatchGelu, alwaysChanges());
  auto gated = passes.add(MatchLogit, alwaysChanges());
  gated->requiresEnable = 1;
  auto free = passes.add(FoldToClip);

  OptimizerConfig config;
  config.enabledPasses = {MatchGelu};
  config.disabledPasses = {MatchGelu};
  auto pm = manager(config);
  pm.applyOptimizationPasses(*graph, {MatchGelu, MatchLogit, FoldToClip}, PostLayout);
  EXPECT_EQ(passes.log, (std::vector<std::string>{"FoldToClip"}));

  config.enabledPasses = {MatchLogit};
  config.disabledPasses = {};
  auto enabling = manager(config);
  enabling.applyOptimizationPasses(*graph, {MatchLogit}, PostLayout);
  EXPECT_EQ(gated->calls, 1u);
}

TEST_F(PassManagerTest, PassLogTellsSkippedAndExecutedPasses) {
  passes.add(FoldCasts);
  OptimizerConfig config;
  config.passLog = true;
  auto pm = manager(config);
  ::testing::internal::CaptureStdout();
  pm.applyOptimizationPasses(*graph, {MatchGelu, FoldCasts}, PostLayout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "modeltools::iroptimizer::PassManager::applyOptimizationPasses: DEBUG: MatchGelu Pass not registered for "
            "this stage; skipping\n"
            "modeltools::iroptimizer::PassManager::applyOptimizationPasses: DEBUG: FoldCasts Pass getting executed in "
            "IrOptimizer\n");

  auto silent = manager();
  ::testing::internal::CaptureStdout();
  silent.applyOptimizationPasses(*graph, {MatchGelu, FoldCasts}, PostLayout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(PassManagerTest, ExceptionInPassStopsListUnchangedAndKeepsEarlierWork) {
  passes.add(MatchGelu, alwaysChanges());
  passes.add(MatchLogit, [](IrGraph& g, uint32_t) -> bool {
    g.getOp("r")->attrs()->add("touched", true, attrcategory::kInternal);
    throw std::logic_error("MatchLogit: broken");
  });
  auto after = passes.add(FoldToClip);
  auto pm = manager();
  EXPECT_THROW_MSG(pm.applyOptimizationPasses(*graph, {MatchGelu, MatchLogit, FoldToClip}, PostLayout),
                   std::logic_error, "MatchLogit: broken");
  EXPECT_EQ(after->calls, 0u);
  EXPECT_EQ(pm.getExecutedPasses(), (std::vector<std::string>{"MatchGelu"}));
  EXPECT_EQ(graph->getOp("r")->attrs()->hasAttr("touched"), 1);  // nothing is rolled back
}

TEST_F(PassManagerTest, StageRunsDefaultListInOrderThenPostSteps) {
  passes.addAll();
  auto pm = manager();
  const std::string out = captureStage(pm, nullptr);
  EXPECT_EQ(passes.log, passNames(DefaultPassPipeline().getPasses(nullptr, PostLayout)));
  EXPECT_NE(out.find("modeltools::IrGraph::reEvalMacsParams: Total MACs: 0\n"), std::string::npos);

  passes.log.clear();
  captureStage(pm, nullptr, PreLayout);
  EXPECT_TRUE(passes.log.empty());
}

TEST_F(PassManagerTest, Replace6dOpsWithEffectRunsFollowUpAndReEnablesItsPasses) {
  passes.addAll({{Replace6dOps, [](IrGraph&, uint32_t call) { return call == 1; }}});
  OptimizerConfig config;
  config.disabledPasses = {RemoveNoOps1, RemoveNoOps1, MatchGelu};
  auto pm = manager(config);
  captureStage(pm, nullptr);

  // RemoveNoOps1 was off at its own place and runs only in the follow-up, at the end.
  auto expected = passNames(DefaultPassPipeline().getPasses(nullptr, PostLayout));
  std::erase(expected, "RemoveNoOps1");
  std::erase(expected, "MatchGelu");
  // It changes the graph in its first run; the second finds nothing more to do.
  expected.insert(std::find(expected.begin(), expected.end(), "Replace6dOps"), "Replace6dOps");
  for (const auto& name : {"FoldReshapesInstance1", "SquashReshapeInstance1", "RemoveNoOps1"}) {
    expected.push_back(name);
  }
  EXPECT_EQ(passes.log, expected);
  EXPECT_EQ(pm.config().disabledPasses, (std::vector<uint32_t>{MatchGelu}));
}

TEST_F(PassManagerTest, Replace6dOpsDisabledOrWithoutEffectHasNoFollowUp) {
  passes.addAll({{Replace6dOps, alwaysChanges()}});
  OptimizerConfig config;
  config.disabledPasses = {Replace6dOps};
  auto pm = manager(config);
  captureStage(pm, nullptr);
  EXPECT_EQ(std::count(passes.log.begin(), passes.log.end(), "RemoveNoOps1"), 1);
  EXPECT_EQ(std::count(passes.log.begin(), passes.log.end(), "FoldReshapesInstance1"), 0);

  TestRegistry quiet;
  quiet.addAll();
  PassManager quietManager({}, quiet.registry);
  ::testing::internal::CaptureStdout();
  quietManager.optimizeStage(*graph, nullptr, PostLayout);
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::count(quiet.log.begin(), quiet.log.end(), "FoldReshapesInstance1"), 0);
}

TEST_F(PassManagerTest, OnlyNxaRunsItsListAfterDefaultAndFollowUp) {
  passes.addAll({{Replace6dOps, alwaysChanges()}});
  auto nxa = manager();
  captureStage(nxa, backendinfo::createBackendInfo("NXA", ""));
  ASSERT_GE(passes.log.size(), 5u);
  EXPECT_EQ(std::vector<std::string>(passes.log.end() - 5, passes.log.end()),
            (std::vector<std::string>{"FoldReshapesInstance1", "SquashReshapeInstance1", "RemoveNoOps1",
                                      "FullyConnectedToHadamard", "FoldHadamardWithMul"}));

  for (const char* backend : {"CPU", "GPU", "DSP", "NXB", "NXC", "NXD", "NXE"}) {
    passes.log.clear();
    auto other = manager();
    captureStage(other, backendinfo::createBackendInfo(backend, ""));
    EXPECT_EQ(std::count(passes.log.begin(), passes.log.end(), "FullyConnectedToHadamard"), 0) << backend;
    EXPECT_EQ(passes.log.back(), "RemoveNoOps1") << backend;
  }
}

TEST_F(PassManagerTest, PostStepsDropTransposeBEvenWhenNoPassRan) {
  auto pm = manager();  // an empty registry: nothing runs
  captureStage(pm, nullptr);
  EXPECT_EQ(graph->getOp("fc")->attrs()->hasAttr("transpose_b"), 0);
  EXPECT_EQ(pm.lastMacsParams(), (std::pair<uint64_t, uint64_t>{0, 0}));
}

TEST_F(PassManagerTest, TraceCheckRunsWithStageNameWhenAsked) {
  graph->setSourceNames({"source_op"}, {});
  OptimizerConfig config;
  config.validateTraceInfo = true;
  auto pm = manager(config);
  const std::string out = captureStage(pm, nullptr);
  EXPECT_NE(out.find("in stage Post G2G optimizations: PostLayout, please check below ops:"), std::string::npos);

  auto unchecked = manager();
  EXPECT_EQ(captureStage(unchecked, nullptr).find("validateTraceInfoCompleteness"), std::string::npos);
}

}  // namespace
}  // namespace modeltools::iroptimizer::test
