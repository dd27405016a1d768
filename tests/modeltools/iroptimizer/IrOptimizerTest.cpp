// The optimizer object: pass lists from names, the stage loop, the pass trace.

#include <gtest/gtest.h>

#include "SchedulerTestSupport.hpp"
#include "modeltools/iroptimizer/IrOptimizer.hpp"
#include "support/CapturedDiagnostics.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools::iroptimizer::test {
namespace {

using namespace passid;

OptimizerConfig withLists(std::vector<std::string> enabled, std::vector<std::string> disabled) {
  OptimizerConfig config;
  if (!enabled.empty()) config.passLists["enabledPasses"] = std::move(enabled);
  if (!disabled.empty()) config.passLists["disabledPasses"] = std::move(disabled);
  return config;
}

const PassRegistry none;

TEST(IrOptimizer, NamesBecomeIdsAndMissingKeysAreCreated) {
  auto graph = smallGraph();
  IrOptimizer optimizer(graph, {PostLayout}, nullptr, withLists({}, {"MatchGelu", "FoldCasts", "MatchGelu"}), none);
  EXPECT_EQ(optimizer.config().disabledPasses, (std::vector<uint32_t>{MatchGelu, FoldCasts, MatchGelu}));
  EXPECT_TRUE(optimizer.config().enabledPasses.empty());
  EXPECT_TRUE(optimizer.config().passLists.contains("enabledPasses"));

  IrOptimizer empty(graph, {PostLayout}, nullptr, OptimizerConfig{}, none);
  EXPECT_TRUE(empty.config().passLists.empty());
  EXPECT_EQ(empty.passManager(), nullptr);
}

TEST(IrOptimizer, UnknownPassNameThrowsFromConstructor) {
  auto graph = smallGraph();
  EXPECT_THROW_MSG(IrOptimizer(graph, {PostLayout}, nullptr, withLists({"matchGelu"}, {}), none), std::runtime_error,
                   "modeltools::iroptimizer::getPassIdFromPassName:  Invalid pass, No pass registered with the name: "
                   "matchGelu");
  EXPECT_THROW_HAS(IrOptimizer(graph, {PostLayout}, nullptr, withLists({}, {"NoSuchPass"}), none), std::runtime_error,
                   "NoSuchPass");
}

TEST(IrOptimizer, OptimizeRunsStagesInOrderAndTracesExecutedPasses) {
  TestRegistry passes;
  passes.addAll({{MatchGelu, alwaysChanges()}, {FoldCasts, [](IrGraph&, uint32_t call) { return call == 1; }}});
  auto graph = smallGraph();
  auto config = withLists({}, {"MatchLogit"});
  config.passTrace = true;
  IrOptimizer optimizer(graph, {PreLayout, PostLayout, PostQuant}, nullptr, config, passes.registry);
  const auto said = vrx::test::captureDiagnostics(*graph);
  optimizer.optimize();
  const std::string& out = said->text;

  EXPECT_EQ(optimizer.passManager()->getExecutedPasses(), (std::vector<std::string>{"FoldCasts", "MatchGelu"}));
  EXPECT_NE(out.find("PASS TRACE INFO: FoldCasts, MatchGelu, \n"), std::string::npos);
  // Every stage ends with its statistics, also the stages that have no passes.
  size_t statistics = 0;
  for (size_t at = out.find("Total Params Count"); at != std::string::npos;
       at = out.find("Total Params Count", at + 1)) {
    ++statistics;
  }
  EXPECT_EQ(statistics, 3u);
  EXPECT_EQ(std::count(passes.log.begin(), passes.log.end(), "MatchLogit"), 0);
}

TEST(IrOptimizer, NewTensorsGetIdsAboveTheGraphs) {
  TestRegistry passes;
  uint32_t newId = 0;
  passes.add(MatchGelu, [&](IrGraph& g, uint32_t) {
    newId = g.addTensor(TensorFields{.name = "fresh", .shape = IrTensorShape({1})})->id();
    return true;
  });
  auto graph = smallGraph();
  uint32_t maxId = 0;
  for (const auto& [name, tensor] : graph->tensors()) maxId = std::max(maxId, tensor->id());
  IrTensor::resetIdCounter(0);  // as if other graphs had come and gone
  IrOptimizer optimizer(graph, {PostLayout}, nullptr, OptimizerConfig{}, passes.registry);
  vrx::test::captureDiagnostics(*graph);
  optimizer.optimize();
  EXPECT_EQ(newId, maxId + 1);
}

}  // namespace
}  // namespace modeltools::iroptimizer::test
