// The optimization driver through the exports: allowed passes, refused dumps, exceptions from
// passes, and the report it leaves for tools.

#include <gtest/gtest.h>

#include <map>

#include "HandleMap.hpp"
#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/passes/PassCatalogue.hpp"
#include "modeltools/ops/OpClasses.hpp"
#include "support/CapturedDiagnostics.hpp"
#include "support/ExpectThrow.hpp"
#include "support/GraphBuilder.hpp"
#include "support/LogCapture.hpp"
#include "support/RecordingBackend.hpp"
#include "support/Records.hpp"

namespace vrx::test {
namespace {

using core::graphtransformer::findTransformer;
using modeltools::IrGraph;
using modeltools::iroptimizer::Pass;
using modeltools::iroptimizer::PassRegistry;
using modeltools::iroptimizer::PostLayout;

// Logs its name on each run; optionally reports a change or throws.
class ProbePass : public Pass {
 public:
  ProbePass(std::string name, std::vector<std::string>& log) : name_(std::move(name)), log_(log) {}
  bool run(IrGraph&) override {
    log_.push_back(name_);
    if (throws) throw std::domain_error("probe failure in " + name_);
    return changes;
  }
  bool changes = false;
  bool throws = false;

 private:
  std::string name_;
  std::vector<std::string>& log_;
};

// Puts a probe in place of every pass of the library's registry, with the real pass's
// registration fields, and puts the real passes back at the end.
class ProbedRegistry {
 public:
  ProbedRegistry() {
    auto& registry = modeltools::iroptimizer::passRegistry();
    for (const auto& [id, real] : registry.stagePasses(PostLayout)) {
      auto probe = std::make_shared<ProbePass>(modeltools::iroptimizer::getPassNameFromPassId(id), log);
      static_cast<Pass&>(*probe) = *real;  // every registration field
      probes[id] = probe;
      originals[id] = registry.replacePass(id, PostLayout, probe);
    }
  }
  ~ProbedRegistry() {
    for (const auto& [id, real] : originals) modeltools::iroptimizer::passRegistry().replacePass(id, PostLayout, real);
  }
  ProbedRegistry(const ProbedRegistry&) = delete;
  ProbedRegistry& operator=(const ProbedRegistry&) = delete;

  std::vector<std::string> log;
  std::map<uint32_t, std::shared_ptr<ProbePass>> probes;

 private:
  std::map<uint32_t, std::shared_ptr<Pass>> originals;
};

// Cost figures for the report: 3 billion MACs and 12 params.
class CostTestOp : public modeltools::ops::IrOp {
 public:
  static constexpr const char* kType = "VrxDriverTestCostOp";
  CostTestOp(const std::string& name, std::shared_ptr<modeltools::IrAttributes> attrs,
             const modeltools::ops::TensorList& inputs, const modeltools::ops::TensorList& outputs)
      : IrOp(name, kType, std::move(attrs)) {
    setTensors(inputs, outputs);
  }
  uint64_t macs(const modeltools::ops::AxisOrderPtr&) override { return 3000000000ull; }
  uint32_t paramsCount(const modeltools::ops::AxisOrderPtr&) override { return 12; }
};
const bool costRegistered = [] {
  modeltools::registerOpClasses<CostTestOp>(modeltools::ops::opClassRegistry());
  return true;
}();

class OptimizationDriverTest : public ::testing::Test {
 protected:
  void TearDown() override { VrxGraphTransformer_free(); }

  Vrx_Status_t create(std::vector<std::string> allowed, uint32_t backendKind = VRX_GT_BACKEND_NXA,
                      uint8_t dumpGraphs = 0) {
    GraphTransformerConfig config;
    config.allowedPasses = std::move(allowed);
    config.dumpGraphs = dumpGraphs;
    return VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), backend.graphHandle(),
                                           logs.handle(), "net", backend.table(), backendKind, &config);
  }
  Vrx_Status_t finalize() {
    captureDiagnostics(*transformer()->irGraphBuilder()->getIrGraph());
    return VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, backend.table());
  }
  VrxGraphTransformer_OptimizationReport_t report() {
    VrxGraphTransformer_OptimizationReport_t report{};
    EXPECT_EQ(VrxGraphTransformer_getOptimizationReport(backend.graphHandle(), &report), 0u);
    return report;
  }
  std::vector<std::string> executedPasses() {
    const auto done = report();
    return {done.executedPasses, done.executedPasses + done.numExecutedPasses};
  }
  void addNode() {
    Vrx_Tensor_t in = records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {1, 4});
    Vrx_Tensor_t out = records.tensor("out", VRX_TENSORTYPE_APP_READ, {1, 4});
    ASSERT_EQ(VrxGraphTransformer_addGraphTensor(backend.graphHandle(), &in), 0u);
    ASSERT_EQ(VrxGraphTransformer_addGraphTensor(backend.graphHandle(), &out), 0u);
    ASSERT_EQ(VrxGraphTransformer_addNode(backend.graphHandle(), records.op("relu", "Relu", {in}, {out})), 0u);
  }
  std::shared_ptr<core::graphtransformer::VrxGraphTransformer> transformer() {
    return findTransformer(backend.graphHandle());
  }
  std::vector<std::string> disabledPasses() { return transformer()->passOptions().at("disabledPasses"); }

  RecordingBackend backend;
  LogCapture logs;
  Records records;
};

TEST_F(OptimizationDriverTest, AllowedPassesBecomeDisabledListOfAllOthersInIdOrder) {
  ASSERT_EQ(create({"NoSuchPass", "MatchGelu", "AlignMatmulRanks", "MatchGelu"}), 0u);
  EXPECT_EQ(finalize(), 0u);
  std::vector<std::string> others = modeltools::iroptimizer::passNamesInIdOrder();
  std::erase_if(others, [](const std::string& name) { return name == "MatchGelu" || name == "AlignMatmulRanks"; });
  EXPECT_EQ(disabledPasses().size(), 87u);
  EXPECT_EQ(disabledPasses(), others);
  EXPECT_TRUE(logs.contains(3, "VrxGraphTransformer: IrOptimizer passes applied"));

  // Nothing allowed: every pass is disabled and none runs.
  ProbedRegistry probes;
  ASSERT_EQ(create({}), 0u);
  EXPECT_EQ(finalize(), 0u);
  EXPECT_EQ(disabledPasses().size(), 89u);
  EXPECT_TRUE(probes.log.empty());
}

TEST_F(OptimizationDriverTest, MatchGeluAloneRunsOnlyThatPassInAllPipelines) {
  ProbedRegistry probes;
  probes.probes.at(modeltools::iroptimizer::passid::MatchGelu)->changes = true;
  for (const uint32_t kind : {uint32_t{VRX_GT_BACKEND_NXA}, uint32_t{VRX_GT_BACKEND_CPU}, 9u}) {
    probes.log.clear();
    ASSERT_EQ(create({"MatchGelu"}, kind), 0u);
    EXPECT_EQ(finalize(), 0u) << kind;
    EXPECT_EQ(probes.log, (std::vector<std::string>{"MatchGelu"})) << kind;
    EXPECT_EQ(executedPasses(), (std::vector<std::string>{"MatchGelu"}));
  }
}

TEST_F(OptimizationDriverTest, AllowedNameAllowsEveryPlaceOfItsPass) {
  ProbedRegistry probes;
  probes.probes.at(modeltools::iroptimizer::passid::Replace6dOps)->changes = true;
  ASSERT_EQ(create({"Replace6dOps", "FullyConnectedToHadamard", "RemoveNoOps1"}, VRX_GT_BACKEND_NXA), 0u);
  EXPECT_EQ(finalize(), 0u);
  // RemoveNoOps1 runs at its own place and again in the follow-up of Replace6dOps, which repeats
  // until stable and re-enables its follow-up passes; NXA adds its own list.
  std::vector<std::string> expected{"RemoveNoOps1"};
  expected.insert(expected.end(), 51, "Replace6dOps");
  expected.insert(expected.end(),
                  {"FoldReshapesInstance1", "SquashReshapeInstance1", "RemoveNoOps1", "FullyConnectedToHadamard"});
  EXPECT_EQ(probes.log, expected);
}

TEST_F(OptimizationDriverTest, DumpGraphsIsRefusedBeforeAnyPassAndNoNodeReachesBackend) {
  ProbedRegistry probes;
  ASSERT_EQ(create(modeltools::iroptimizer::passNamesInIdOrder(), VRX_GT_BACKEND_NXA, 1), 0u);
  addNode();
  EXPECT_EQ(finalize(), 1100u);
  EXPECT_TRUE(probes.log.empty());
  EXPECT_EQ(backend.count(BackendCall::AddNode), 0u);
  EXPECT_EQ(backend.count(BackendCall::GraphFinalize), 0u);
  EXPECT_FALSE(transformer()->composed());
  EXPECT_EQ(report().optimized, 0u);
  EXPECT_TRUE(logs.contains(1, "VrxGraphTransformer dumping MCF Not supported"));
  EXPECT_TRUE(logs.contains(1, "VrxGraphTransformer optimizeGraph failed. status = 0x44c"));

  // The list is appended to on every attempt.
  EXPECT_EQ(finalize(), 1100u);
  EXPECT_TRUE(disabledPasses().empty());
  ASSERT_EQ(create({"MatchGelu"}, VRX_GT_BACKEND_NXA, 1), 0u);
  finalize();
  finalize();
  EXPECT_EQ(disabledPasses().size(), 176u);
}

TEST_F(OptimizationDriverTest, ExceptionInPassReachesClientUnchangedAndNothingIsComposed) {
  ProbedRegistry probes;
  probes.probes.at(modeltools::iroptimizer::passid::FoldCasts)->throws = true;
  ASSERT_EQ(create({"FoldCasts", "MatchGelu"}), 0u);
  addNode();
  EXPECT_THROW_MSG(finalize(), std::domain_error, "probe failure in FoldCasts");
  EXPECT_EQ(probes.log, (std::vector<std::string>{"FoldCasts"}));  // MatchGelu comes later in the list
  EXPECT_FALSE(transformer()->composed());
  EXPECT_EQ(report().optimized, 0u);
  EXPECT_EQ(backend.count(BackendCall::AddNode), 0u);
  EXPECT_EQ(backend.count(BackendCall::GraphFinalize), 0u);
  EXPECT_TRUE(transformer() != nullptr);
}

TEST_F(OptimizationDriverTest, ReportHoldsExecutedPassesAndLastTotals) {
  ASSERT_TRUE(costRegistered);
  ProbedRegistry probes;
  probes.probes.at(modeltools::iroptimizer::passid::FoldCasts)->changes = true;
  probes.probes.at(modeltools::iroptimizer::passid::MatchGelu)->changes = true;
  ASSERT_EQ(create({"MatchGelu", "FoldCasts"}), 0u);
  GraphBuilder graph(*transformer()->irGraphBuilder()->getIrGraph(), {1});
  graph.tensor("a");
  graph.op("cost", "VrxDriverTestCostOp", {"a"});

  EXPECT_EQ(finalize(), 0u);
  const auto done = report();
  EXPECT_EQ(done.optimized, 1u);
  // FoldCasts runs until stable: 51 runs, one entry.
  EXPECT_EQ(executedPasses(), (std::vector<std::string>{"FoldCasts", "MatchGelu"}));
  EXPECT_EQ(std::count(probes.log.begin(), probes.log.end(), "FoldCasts"), 51);
  EXPECT_EQ(done.macs, 3000000000ull);
  EXPECT_EQ(done.params, 12u);
  EXPECT_TRUE(transformer()->composed());
}

TEST_F(OptimizationDriverTest, PassesRunAloneInTheGivenOrderWhateverIsAllowed) {
  ProbedRegistry probes;
  probes.probes.at(modeltools::iroptimizer::passid::Replace6dOps)->changes = true;
  ASSERT_EQ(create({}, VRX_GT_BACKEND_NXA), 0u);
  const char* names[] = {"RemoveNoOps2", "Replace6dOps", "RemoveNoOps2"};
  ASSERT_EQ(VrxGraphTransformer_runOnlyPasses(backend.graphHandle(), names, 3), 0u);
  EXPECT_EQ(finalize(), 0u);
  // No follow-up list and no backend list: exactly the passes named, each on its schedule.
  std::vector<std::string> expected{"RemoveNoOps2"};
  expected.insert(expected.end(), 51, "Replace6dOps");
  expected.push_back("RemoveNoOps2");
  EXPECT_EQ(probes.log, expected);
  EXPECT_EQ(executedPasses(), (std::vector<std::string>{"Replace6dOps"}));
}

TEST_F(OptimizationDriverTest, AnUnknownPassToRunAloneIsRefusedAndTheListStaysAsItWas) {
  ProbedRegistry probes;
  ASSERT_EQ(create({"MatchGelu"}), 0u);
  const char* names[] = {"MatchGelu", "matchgelu"};
  EXPECT_EQ(VrxGraphTransformer_runOnlyPasses(backend.graphHandle(), names, 2), VRX_GT_ERROR_UNKNOWN_PASS);
  EXPECT_EQ(VrxGraphTransformer_runOnlyPasses(nullptr, names, 1), VRX_GT_ERROR_INVALID_HANDLE);
  EXPECT_EQ(finalize(), 0u);
  EXPECT_EQ(probes.log, (std::vector<std::string>{"MatchGelu"}));  // the pipeline, as allowed
}

}  // namespace
}  // namespace vrx::test
