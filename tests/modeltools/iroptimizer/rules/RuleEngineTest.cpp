#include <gtest/gtest.h>

#include <functional>

#include "modeltools/iroptimizer/RuleEngine.hpp"
#include "support/ExpectThrow.hpp"
#include "support/GraphBuilder.hpp"

namespace modeltools::iroptimizer {
namespace {

using vrx::test::GraphBuilder;
using vrx::test::opOrder;
using vrx::test::wiringProblem;

// A rule whose rewrite is given by the test; it records the root of every call.
class TestRule : public MatchAndRewriteRule {
 public:
  using Callback = std::function<bool(IrGraph&, const CaptureMap&)>;
  TestRule(PatternPtr root, Callback callback) : callback_(std::move(callback)) { pattern = std::move(root); }

  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override {
    roots.push_back(captures.at(pattern)->name());
    return callback_(graph, captures);
  }

  std::vector<std::string> roots;

 private:
  Callback callback_;
};

bool decline(IrGraph&, const CaptureMap&) { return false; }
bool claimChange(IrGraph&, const CaptureMap&) { return true; }

// Puts a "NegRelu" op in place of Relu(Neg(x)): the new op reads x and takes the readers
// of the Relu's output (not its graph output role).
class FuseNegRelu : public MatchAndRewriteRule {
 public:
  FuseNegRelu() : neg_(isOpType("Neg")) { pattern = op("Relu", neg_); }
  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override {
    const auto relu = captures.at(pattern);
    const auto source = captures.at(neg_)->getInput(0);
    auto fused = std::make_shared<ops::IrOp>(relu->name() + "_fused", "NegRelu", nullptr);
    const auto reluOut = relu->getOutput(0);
    graph.addOp(fused, {source->name()}, {reluOut->name() + "_fused"}, {reluOut->shape()}, {},
                static_cast<int32_t>(graph.getOps().indexOf(relu.get()) + 1), false);
    graph.transferConsumers(reluOut, graph.getTensor(reluOut->name() + "_fused"), reluOut->consumers());
    return true;
  }

 private:
  PatternPtr neg_;
};

class RuleEngineTest : public ::testing::Test {
 protected:
  std::string tensorNames() const { return tensorNamesOf(graph); }
  static std::string tensorNamesOf(const IrGraph& g) {
    std::string names;
    for (const auto& [name, tensor] : g.tensors()) names += (names.empty() ? "" : " ") + name;
    return names;
  }

  // A graph input "in" read by a chain of ops given as "name:Type ...".
  void chainFromInput(const std::string& steps) {
    b.input("in");
    b.chain("in", steps);
  }

  IrGraph graph{"g"};
  GraphBuilder b{graph};
};

TEST_F(RuleEngineTest, AnEmptyGraphReachesNoCallback) {
  auto rule = std::make_shared<TestRule>(isWildcard(), claimChange);
  SequenceTransformPass pass({rule});
  EXPECT_FALSE(pass.run(graph));
  EXPECT_TRUE(rule->roots.empty());
}

TEST_F(RuleEngineTest, ADecliningRuleVisitsEveryOpFromTheOutputsAndLeavesTheGraphAsItWas) {
  chainFromInput("a:Relu b:Identity c:Relu");
  b.output("c");
  TestRule rule(op(isWildcard(), {}), decline);
  EXPECT_FALSE(rule.apply(graph, 0));
  EXPECT_EQ(rule.roots, (std::vector<std::string>{"c", "b", "a"}));
  EXPECT_EQ(opOrder(graph), "a b c");
  EXPECT_EQ(tensorNames(), "a b c in");
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(RuleEngineTest, OneSweepSquashesEveryIdentityAndTheNextFindsNothing) {
  chainFromInput("a:Relu i1:Identity b:Relu i2:Identity i3:Identity c:Relu");
  b.output("c");
  TestRule rule(isOpType("Identity"), [](IrGraph& g, const CaptureMap& captures) {
    g.squashIdentity(captures.begin()->second, true);
    return true;
  });
  EXPECT_TRUE(rule.apply(graph, 0));
  EXPECT_EQ(rule.roots, (std::vector<std::string>{"i3", "i2", "i1"}));
  EXPECT_EQ(opOrder(graph), "a b c");
  EXPECT_EQ(wiringProblem(graph), "");
  EXPECT_FALSE(rule.apply(graph, 0));
}

TEST_F(RuleEngineTest, ASweepIsBoundedByTheSnapshotEvenWhenEveryCallbackClaimsAChange) {
  chainFromInput("a:Relu b:Relu c:Relu");
  int added = 0;
  TestRule rule(isOpType("Relu"), [&](IrGraph& g, const CaptureMap&) {
    GraphBuilder(g).op("extra" + std::to_string(added++), "Relu", {"in"});
    return true;
  });
  EXPECT_TRUE(rule.apply(graph, 1));
  EXPECT_EQ(rule.roots, (std::vector<std::string>{"c", "b", "a"}));  // the added ops wait for the next sweep
  EXPECT_EQ(graph.getOps().size(), 6u);
}

// Graph for the skip rules: x = Relu(y), z = Relu(w), y and w Relu of the input; x and z
// leave the graph. The rule's root is any Relu, with its producer when that is a Relu too.
class SkipTest : public RuleEngineTest {
 protected:
  void SetUp() override {
    b.input("in");
    b.chain("in", "y:Relu");
    b.chain("in", "w:Relu");
    b.chain("w", "z:Relu");
    b.chain("y", "x:Relu");
    b.output("x");
    b.output("z");
  }
  std::shared_ptr<TestRule> makeRule() {
    return std::make_shared<TestRule>(optional(op("Relu", isOpType("Relu")), isOpType("Relu")), claimChange);
  }
};

TEST_F(SkipTest, OpsOfTheLatestRewriteArePassedOverButNotThoseOfEarlierOnesUnlessMatchedOpsAreKept) {
  auto rule = makeRule();
  EXPECT_TRUE(rule->apply(graph, 0));
  EXPECT_EQ(rule->roots, (std::vector<std::string>{"x", "z", "y"}));  // w was caught by z; y only by x
  auto keeping = makeRule();
  EXPECT_TRUE(keeping->apply(graph, 1));
  EXPECT_EQ(keeping->roots, (std::vector<std::string>{"x", "z", "w", "y"}));
}

TEST_F(RuleEngineTest, AChainMemberReadOutsideTheMatchIsRejectedUnlessAllowed) {
  chainFromInput("a:A bb:B c:C");
  b.op("outside", "Relu", {"bb"});
  b.output("c");
  b.output("outside");
  TestRule rule(op("C", op("B", isOpType("A"))), decline);
  rule.apply(graph, 0);
  EXPECT_TRUE(rule.roots.empty());
  rule.rejectEscapingMatches = false;
  rule.apply(graph, 0);
  EXPECT_EQ(rule.roots, (std::vector<std::string>{"c"}));
}

TEST_F(RuleEngineTest, TheRootAndAlternativesDontCountAsEscapes) {
  chainFromInput("a:A c:C");
  b.op("reader1", "Relu", {"c"});
  b.op("reader2", "Relu", {"c"});
  TestRule rule(either(op("D", isOpType("A")), op("C", either(isOpType("X"), isOpType("A")))), decline);
  rule.apply(graph, 0);
  EXPECT_EQ(rule.roots, (std::vector<std::string>{"c"}));
}

TEST_F(RuleEngineTest, TwoReadersCaughtByOneSharedPatternObjectCountAsAnEscape) {
  chainFromInput("r:Relu");
  b.op("n1", "Neg", {"r"});
  b.op("n2", "Neg", {"r"});
  b.op("add", "Add", {"n1", "n2"});
  auto neg = op("Neg", isOpType("Relu"));
  TestRule rule(op("Add", neg, neg), decline);
  rule.apply(graph, 0);
  EXPECT_TRUE(rule.roots.empty());
  // A shared child reached from two parent objects counts two parents, and passes.
  auto relu = isOpType("Relu");
  TestRule twoParents(op("Add", op("Neg", relu), op("Neg", relu)), decline);
  twoParents.apply(graph, 0);
  EXPECT_EQ(twoParents.roots, (std::vector<std::string>{"add"}));
}

TEST_F(RuleEngineTest, MatchedOpsLeftWithoutReadersArePrunedUpstreamUnlessTheyKeepAGraphOutputOrAreKept) {
  struct Case {
    std::string output;
    int keepMatched;
    std::string order, tensors;
  };
  const Case cases[] = {
      {"tail", 0, "r_fused tail", "in r_fused tail"},
      {"r", 0, "n r r_fused tail", "in n r r_fused tail"},
      {"tail", 1, "n r r_fused tail", "in n r r_fused tail"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.output + " kept " + std::to_string(c.keepMatched));
    IrGraph g("g");
    GraphBuilder gb(g);
    gb.input("in");
    gb.chain("in", "n:Neg r:Relu tail:Relu");
    gb.output(c.output);
    FuseNegRelu rule;
    EXPECT_TRUE(rule.apply(g, c.keepMatched));
    EXPECT_EQ(opOrder(g), c.order);
    EXPECT_EQ(tensorNamesOf(g), c.tensors);
    EXPECT_EQ(wiringProblem(g), "");
  }
}

TEST_F(RuleEngineTest, PruningStopsAtProducersThatStillServeOthers) {
  b.input("in");
  b.op("split", "Split", {"in"}, 2);
  b.chain("split_0", "dead:Relu");
  b.chain("split_1", "alive:Relu");
  b.output("alive");
  pruneOpRecursively(graph, graph.getOp("dead"));
  EXPECT_EQ(opOrder(graph), "split alive");
  EXPECT_FALSE(graph.hasTensor("dead"));
  EXPECT_EQ(wiringProblem(graph), "");
  // The op asked for goes whatever it serves; a graph output tensor stays without producer.
  pruneOpRecursively(graph, graph.getOp("alive"));
  EXPECT_EQ(opOrder(graph), "");
  EXPECT_EQ(tensorNames(), "alive in");
  EXPECT_EQ(graph.getTensor("alive")->producer(), nullptr);
}

TEST_F(RuleEngineTest, SequencePassRunsEveryRuleAndOrsTheirResults) {
  chainFromInput("a:Relu b:Neg");
  auto changing = std::make_shared<TestRule>(isOpType("Relu"), claimChange);
  auto declining = std::make_shared<TestRule>(isOpType("Neg"), decline);
  SequenceTransformPass pass({changing, declining});
  EXPECT_TRUE(pass.run(graph));
  EXPECT_EQ(changing->roots, (std::vector<std::string>{"a"}));
  EXPECT_EQ(declining->roots, (std::vector<std::string>{"b"}));
  SequenceTransformPass quiet({declining, declining});
  EXPECT_FALSE(quiet.run(graph));
  EXPECT_EQ(declining->roots.size(), 3u);
}

TEST_F(RuleEngineTest, CallbackFailuresPassThroughUnchanged) {
  chainFromInput("a:Relu");
  auto failing = std::make_shared<TestRule>(isOpType("Relu"), [](IrGraph&, const CaptureMap& captures) -> bool {
    captures.at(isWildcard());
    return true;
  });
  SequenceTransformPass pass({failing});
  EXPECT_THROW_MSG(pass.run(graph), std::out_of_range, "invalid map<K, T> key");
}

class CountingPass : public OpTransformPass<CountingPass> {
 public:
  CountingPass() { handlers["Relu"] = &CountingPass::pruneNext; }
  bool pruneNext(const OpPtr& op, IrGraph& graph) {
    seen.push_back(op->name());
    const size_t index = graph.getOps().indexOf(op.get());
    if (index == OpSequence::npos || index + 1 >= graph.getOps().size()) return false;
    graph.prune(graph.getOps().at(index + 1), true);
    return true;
  }
  bool defaultHandler(const OpPtr& op, IrGraph&) override {
    seen.push_back("default:" + op->name());
    return false;
  }
  std::vector<std::string> seen;
};

TEST_F(RuleEngineTest, OpTransformPassWalksTheSnapshotInGraphOrder) {
  chainFromInput("a:Relu b:Neg c:Relu");
  CountingPass pass;
  EXPECT_TRUE(pass.run(graph));
  EXPECT_EQ(pass.seen, (std::vector<std::string>{"a", "default:b", "c"}));  // b was pruned by a's handler
  EXPECT_EQ(opOrder(graph), "a c");
}

}  // namespace
}  // namespace modeltools::iroptimizer
