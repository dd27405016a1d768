// The dumps written around passes and stages, in a scratch working directory.

#include <gtest/gtest.h>

#include "SchedulerTestSupport.hpp"
#include "modeltools/iroptimizer/IrOptimizer.hpp"
#include "modeltools/iroptimizer/PassDump.hpp"
#include "modeltools/iroptimizer/PassManager.hpp"

namespace modeltools::iroptimizer::test {
namespace {

using namespace passid;
using Files = std::vector<std::string>;

fs::path expectedFile(const std::string& name) { return fs::path(__FILE__).parent_path() / "data" / name; }

OptimizerConfig dumpConfig(uint32_t level) {
  OptimizerConfig config;
  config.dumpGraphs = true;
  config.dumpLevel = level;
  return config;
}

// Changes the static data of "fc" and nothing else.
bool scaleWeights(IrGraph& graph, uint32_t) {
  auto w = graph.getStaticTensor("w");
  const std::vector<float> doubled(8, 1.0f);
  w->setData(doubled.data(), 32);
  return true;
}

class PassDumpTest : public ::testing::Test {
 protected:
  void apply(const OptimizerConfig& config, const std::vector<uint32_t>& ids) {
    PassManager pm(config, passes.registry);
    pm.applyOptimizationPasses(*graph, ids, PostLayout);
  }

  ScratchDirectory scratch;
  TestRegistry passes;
  std::shared_ptr<IrGraph> graph = smallGraph();
};

TEST_F(PassDumpTest, PassDumpIsTheModelDescription) {
  writePassDump(*graph, "model.json");
  EXPECT_EQ(readFile("model.json"), readFile(expectedFile("pass_dump_small_graph.json")));
  EXPECT_EQ(scratch.files(), (Files{"model.json", "temp.bin", "temp.cpp"}));
  EXPECT_EQ(fs::file_size("temp.cpp"), 0u);
}

TEST_F(PassDumpTest, PerPassKeepsBeforeAndAfterOnlyForPassesThatChanged) {
  passes.add(MatchGelu, alwaysChanges());
  passes.add(MatchLogit);
  apply(dumpConfig(dumplevel::kPerPass), {MatchGelu, MatchLogit, MatchGelu});
  EXPECT_EQ(scratch.files(), (Files{"AfterMatchGelu1.json", "AfterMatchGelu2.json", "BeforeMatchGelu1.json",
                                    "BeforeMatchGelu2.json", "temp.bin", "temp.cpp"}));
  EXPECT_EQ(readFile("AfterMatchGelu1.json"), readFile(expectedFile("pass_dump_small_graph.json")));
}

TEST_F(PassDumpTest, CountersRestartWithEachListAndFilterSelectsPasses) {
  passes.add(MatchGelu, alwaysChanges());
  passes.add(MatchLogit, alwaysChanges());
  auto config = dumpConfig(dumplevel::kPerPass);
  config.dumpPassFilter = {"MatchLogit"};
  PassManager pm(config, passes.registry);
  pm.applyOptimizationPasses(*graph, {MatchGelu, MatchLogit}, PostLayout);
  pm.applyOptimizationPasses(*graph, {MatchLogit}, PostLayout);
  EXPECT_EQ(scratch.files(), (Files{"AfterMatchLogit1.json", "BeforeMatchLogit1.json", "temp.bin", "temp.cpp"}));
}

TEST_F(PassDumpTest, PassWithoutChangeDeletesItsBeforeFileAlsoWithDumpsOff) {
  passes.add(MatchGelu);
  std::ofstream("BeforeMatchGelu1.json") << "stale";
  apply({}, {MatchGelu});
  EXPECT_TRUE(scratch.files().empty());
}

TEST_F(PassDumpTest, WatchedOpDumpsOnlyWhenThatOpChangedOrLeft) {
  passes.add(MatchGelu, scaleWeights);
  passes.add(MatchLogit, alwaysChanges());  // reports a change but leaves the watched op alone
  passes.add(FoldToClip, [](IrGraph& g, uint32_t) {
    g.changeOpName(g.getOp("fc"), "fc_renamed");  // "fc" leaves the graph
    return true;
  });
  auto config = dumpConfig(dumplevel::kPerWatchedOp);
  config.dumpOpFilter = {"fc", "absent"};
  apply(config, {MatchGelu, MatchLogit, FoldToClip});
  EXPECT_EQ(scratch.files(), (Files{"BeforeFoldToClip1.json", "BeforeMatchGelu1.json", "fc_AfterFoldToClip1.json",
                                    "fc_AfterMatchGelu1.json", "temp.bin", "temp.cpp"}));
}

TEST_F(PassDumpTest, StageDumpsAndFinalDumpByLevel) {
  IrOptimizer perStage(graph, {PostLayout}, nullptr, dumpConfig(dumplevel::kPerStage), passes.registry);
  ::testing::internal::CaptureStdout();
  perStage.optimize();
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(scratch.files(),
            (Files{"AfterPostLayoutOptimizations.json", "BeforePostLayoutOptimizations.json", "temp.bin", "temp.cpp"}));

  for (const auto& name : scratch.files()) fs::remove(name);
  IrOptimizer afterAll(graph, {PostLayout}, nullptr, dumpConfig(dumplevel::kAfterAllStages), passes.registry);
  ::testing::internal::CaptureStdout();
  afterAll.optimize();
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(scratch.files(), (Files{"IRGraph_after_IrGraph_optimizations.json"}));
  EXPECT_NE(out.find("modeltools::iroptimizer::PassManager::runPostOptimizationSteps: Dumping IR graph after IrGraph "
                     "optimizations as IRGraph_after_IrGraph_optimizations.json\n"),
            std::string::npos);
}

TEST_F(PassDumpTest, FingerprintFollowsTypeNamesAndStaticData) {
  auto fc = graph->getOp("fc");
  const uint64_t original = opFingerprint(*fc);
  EXPECT_EQ(opFingerprint(*fc), original);
  EXPECT_NE(opFingerprint(*graph->getOp("r")), original);
  scaleWeights(*graph, 1);
  const uint64_t rescaled = opFingerprint(*fc);
  EXPECT_NE(rescaled, original);
  graph->updateTensorName("c", "c2");
  EXPECT_NE(opFingerprint(*fc), rescaled);
}

}  // namespace
}  // namespace modeltools::iroptimizer::test
