#include <gtest/gtest.h>

#include <sstream>

#include "modeltools/ir/IrGraph.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

const TraceSource a{tracekind::kOp, "a"}, b{tracekind::kOp, "b"}, c{tracekind::kOp, "c"};

TEST(TraceInfo, MergeKeepsFirstAppearanceAndTellsKindsApart) {
  EXPECT_EQ(IrGraph::mergeTraceSources({a, b}, {b, c}), (std::vector<TraceSource>{a, b, c}));
  const TraceSource tensorA{tracekind::kTensor, "a"};
  EXPECT_EQ(IrGraph::mergeTraceSources({a}, {tensorA}).size(), 2u);
}

TEST(TraceInfo, AddingNothingMakesNoRecordAndAddingMerges) {
  IrGraph graph("g");
  graph.addTraceSources(tracekind::kOp, "x", {});
  EXPECT_TRUE(graph.opTraceInfo().empty());
  graph.addTraceSources(tracekind::kOp, "x", {a});
  graph.addTraceSources(tracekind::kOp, "x", {b, a});
  EXPECT_EQ(graph.getTraceSources(tracekind::kOp, "x"), (std::vector<TraceSource>{b, a}));
  graph.removeTraceSources(tracekind::kOp, "x");
  EXPECT_TRUE(graph.opTraceInfo().empty());
}

TEST(TraceInfo, UpdateCarriesOnlyRecordedSourcesAndSkipsEmptyTargets) {
  IrGraph graph("g");
  auto oldOp = std::make_shared<ops::IrOp>("old", "Relu", nullptr);
  auto newOp = std::make_shared<ops::IrOp>("new", "Relu", nullptr);
  auto plain = std::make_shared<ops::IrOp>("plain", "Relu", nullptr);
  graph.updateTraceInfo(std::vector<OpPtr>{newOp}, std::vector<OpPtr>{plain}, {}, true);
  EXPECT_TRUE(graph.opTraceInfo().empty());

  graph.setTraceSources(tracekind::kOp, "old", {a});
  graph.updateTraceInfo(std::vector<OpPtr>{nullptr, newOp}, std::vector<OpPtr>{oldOp}, {}, true);
  EXPECT_EQ(graph.getTraceSources(tracekind::kOp, "new"), (std::vector<TraceSource>{a}));
  EXPECT_TRUE(graph.getTraceSources(tracekind::kOp, "old").empty());

  EXPECT_THROW_MSG(graph.updateTraceInfo(std::vector<OpPtr>{}, std::vector<OpPtr>{oldOp}, {}, false),
                   std::runtime_error,
                   "modeltools::IrGraph::updateTraceInfo: updateTraceInfo called with empty targets list");
  EXPECT_THROW_MSG(graph.updateTraceInfo(std::vector<OpPtr>{newOp}, std::vector<OpPtr>{}, {}, false),
                   std::runtime_error,
                   "modeltools::IrGraph::updateTraceInfo: updateTraceInfo called with empty sources lists");
}

TEST(TraceInfo, CompletenessCheckReportsMissingNames) {
  IrGraph graph("g");
  graph.setSourceNames({"conv"}, {});
  std::ostringstream captured;
  auto* old = std::cout.rdbuf(captured.rdbuf());
  graph.validateTraceInfoCompleteness("Post G2G optimizations: PostLayout");
  std::cout.rdbuf(old);
  EXPECT_EQ(captured.str(),
            "modeltools::IrGraph::validateTraceInfoCompleteness: WARNING: Op names in source model are not all "
            "contained by framework tracing record in stage Post G2G optimizations: PostLayout, please check below "
            "ops:\n"
            "modeltools::IrGraph::validateTraceInfoCompleteness: missing op: conv\n");
}

}  // namespace
}  // namespace modeltools
