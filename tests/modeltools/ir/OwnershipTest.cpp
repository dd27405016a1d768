// Graphs that are built, changed and dropped leave nothing alive behind: tensors own their
// producers and consumers, ops only point at their tensors, so no cycle keeps anything.

#include <gtest/gtest.h>

#include "modeltools/ir/IrGraph.hpp"

namespace modeltools {
namespace {

// input -> relu_0 -> t_0 -> relu_1 -> ... -> t_{n-1}, with a static weight per op.
void buildChain(IrGraph& graph, int length) {
  graph.addTensor(TensorFields{.name = "input", .shape = IrTensorShape({1, 8}), .kind = tensorkind::kGraphInput});
  std::string previous = "input";
  float weights[8] = {};
  for (int i = 0; i < length; ++i) {
    const std::string w = "w_" + std::to_string(i);
    graph.addStaticTensor(TensorFields{.name = w, .shape = IrTensorShape({1, 8}), .kind = tensorkind::kStatic}, weights,
                          sizeof weights);
    auto op = std::make_shared<ops::IrOp>("op_" + std::to_string(i), "Add", std::make_shared<IrAttributes>());
    const std::string out = "t_" + std::to_string(i);
    graph.addOp(op, {previous, w}, {out}, {IrTensorShape({1, 8})}, {}, -1, false);
    previous = out;
  }
}

TEST(Ownership, DroppedGraphReleasesEveryTensorAndOp) {
  std::weak_ptr<IrTensor> firstTensor, lastTensor;
  std::weak_ptr<ops::IrOp> firstOp, lastOp;
  {
    IrGraph graph("chain");
    buildChain(graph, 500);
    firstTensor = graph.getTensor("input");
    lastTensor = graph.getTensor("t_499");
    firstOp = graph.getOp("op_0");
    lastOp = graph.getOp("op_499");
    // Change it: squash one op and take out the last.
    graph.squash(graph.getOp("op_250"), "t_249", false, false);
    graph.removeOp(graph.getOp("op_499"));
  }
  EXPECT_TRUE(firstTensor.expired());
  EXPECT_TRUE(lastTensor.expired());
  EXPECT_TRUE(firstOp.expired());
  EXPECT_TRUE(lastOp.expired());
}

TEST(Ownership, LongChainsDieWithoutDeepRecursion) {
  auto graph = std::make_unique<IrGraph>("long");
  buildChain(*graph, 20000);
  EXPECT_EQ(graph->getOps().size(), 20000u);
  graph.reset();
}

}  // namespace
}  // namespace modeltools
