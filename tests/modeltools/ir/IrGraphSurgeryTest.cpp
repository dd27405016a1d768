#include <gtest/gtest.h>

#include "modeltools/ir/IrGraph.hpp"
#include "support/CapturedDiagnostics.hpp"
#include "support/ExpectThrow.hpp"
#include "support/GraphBuilder.hpp"

namespace modeltools {
namespace {

using vrx::test::GraphBuilder;
using vrx::test::opOrder;
using vrx::test::wiringProblem;

// The transpose that the op catalogue makes for the IR: it permutes its input's shape.
class TestTransposeOp : public ops::IrOp {
 public:
  TestTransposeOp(const std::string& name, std::vector<uint32_t> perm)
      : IrOp(name, "Transpose", nullptr), perm_(std::move(perm)) {}
  std::vector<IrTensorShape> inferOutputTensorShapes(const ops::AxisOrderPtr&, uint32_t) override {
    return {getInput(0)->shape().permute(perm_)};
  }

 private:
  std::vector<uint32_t> perm_;
};

GraphServices transposeMaking() {
  GraphServices services;
  services.makeTranspose = [](const std::string& name, const std::vector<uint32_t>& perm) -> OpPtr {
    return std::make_shared<TestTransposeOp>(name, perm);
  };
  return services;
}

const std::string kNullOp = "Invalid op: received null op pointer, expected a valid op";
const std::string kNullTensor = "Invalid tensor: received null tensor pointer, expected a valid tensor";

class SurgeryTest : public ::testing::Test {
 protected:
  OpPtr newOp(const std::string& name, const std::string& type = "Relu") {
    return std::make_shared<ops::IrOp>(name, type, std::make_shared<IrAttributes>());
  }
  std::set<std::string> readers(const std::string& tensor) const {
    std::set<std::string> names;
    for (const auto& op : graph.getTensor(tensor)->consumers()) names.insert(op->name());
    return names;
  }
  std::vector<std::string> outputNames() const {
    std::vector<std::string> names;
    for (const auto& t : graph.getOutputs()) names.push_back(t->name());
    return names;
  }
  static QuantInfo encoding(float scale) {
    QuantInfo info;
    info.encoding = VRX_QUANTIZATION_ENCODING_SCALE_OFFSET;
    info.scaleOffset.scale = scale;
    return info;
  }

  // A graph input "in" read by a chain of ops given as "name:Type ...".
  void chainFromInput(const std::string& steps) {
    b.input("in");
    b.chain("in", steps);
  }

  IrGraph graph{"g", std::make_shared<IrAxisOrder>(), {}, transposeMaking()};
  GraphBuilder b{graph};
};

TEST_F(SurgeryTest, InjectBehindAProducerTakesAllReadersAndStandsRightBehindIt) {
  chainFromInput("a:Relu");
  b.op("r1", "Relu", {"a"});
  b.op("r2", "Relu", {"a"});
  graph.inject(newOp("x", "Neg"), "a", "x_out", {}, AxisFormat::NHWC, false, false);
  EXPECT_EQ(opOrder(graph), "a x r1 r2");
  EXPECT_EQ(readers("a"), (std::set<std::string>{"x"}));
  EXPECT_EQ(readers("x_out"), (std::set<std::string>{"r1", "r2"}));
  const auto out = graph.getTensor("x_out");
  EXPECT_EQ(out->axisFormat(), AxisFormat::NHWC);
  EXPECT_EQ(out->kind(), tensorkind::kNative);
  EXPECT_TRUE(out->quantizable());  // float 32, not inherited
  EXPECT_EQ(out->dims(), (Dims{1, 4}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(SurgeryTest, InjectOnAGraphInputStandsBeforeTheFirstMovedReader) {
  b.input("in");
  b.op("r1", "Relu", {"in"});
  b.op("r2", "Relu", {"in"});
  graph.inject(newOp("x"), "in", "x_out", {"r2"}, AxisFormat::NF, false, true);
  EXPECT_EQ(opOrder(graph), "r1 x r2");
  EXPECT_EQ(readers("in"), (std::set<std::string>{"r1", "x"}));
  EXPECT_FALSE(graph.getTensor("x_out")->quantizable());  // inherited from the graph input
  graph.inject(newOp("y"), "in", "y_out", {}, AxisFormat::NF, false, false);
  EXPECT_EQ(opOrder(graph), "y r1 x r2");
  EXPECT_EQ(wiringProblem(graph), "");
  b.tensor("loose");  // neither reader nor producer: the end
  graph.inject(newOp("z"), "loose", "z_out", {}, AxisFormat::NF, false, false);
  EXPECT_EQ(opOrder(graph), "y r1 x r2 z");
}

TEST_F(SurgeryTest, InjectRefusesMissingTensorsAndForeignReaders) {
  chainFromInput("a:Relu");
  b.op("other", "Relu", {"in"});
  EXPECT_THROW_MSG(graph.inject(nullptr, "a", "x", {}, AxisFormat::NF, false, false), std::runtime_error,
                   "modeltools::IrGraph::inject: " + kNullOp);
  EXPECT_THROW_MSG(graph.inject(newOp("x"), "nope", "x", {}, AxisFormat::NF, false, false), std::invalid_argument,
                   "modeltools::IrGraph::inject: Can't inject op x[Relu] onto a tensor nope which is not in the graph");
  auto x = newOp("x");
  EXPECT_THROW_MSG(
      graph.inject(x, "a", "x_out", {"other"}, AxisFormat::NF, false, false), std::runtime_error,
      "modeltools::IrGraph::getConsumers: Can't inject with a consumer other that doesn't consume input a");
  EXPECT_EQ(x->numInputs(), 1u);  // not transactional: the op had taken the input
  EXPECT_FALSE(graph.hasOp("x"));
  EXPECT_THROW_MSG(graph.injectAtIndex(newOp("y"), "nope", "y", 0, {}, AxisFormat::NF, false, false),
                   std::invalid_argument,
                   "modeltools::IrGraph::injectAtIndex: injectAtIndex: tensor 'nope' not found in graph.");
  graph.injectAtIndex(newOp("z"), "in", "z_out", 1, {}, AxisFormat::NF, false, false);  // the caller's position
  EXPECT_EQ(opOrder(graph), "a z other");
}

TEST_F(SurgeryTest, ImplicitPermuteIsMadeOnceAndReusedForLaterReaders) {
  GraphBuilder b4(graph, {1, 3, 8, 8});
  b4.input("in");
  b4.chain("in", "conv:Relu");
  b4.op("r1", "Relu", {"conv"});
  b4.op("r2", "Relu", {"conv"});
  graph.getTensor("conv")->setAxisFormat(AxisFormat::NCHW);

  graph.permuteToSpatialFirst(graph.getTensor("conv"), graph.getOp("r1"));
  ASSERT_TRUE(graph.hasOp("conv.NHWC"));
  const auto transpose = graph.getOp("conv.NHWC");
  EXPECT_EQ(transpose->type(), "Transpose");
  EXPECT_EQ(graph.getTensor("conv.NHWC")->dims(), (Dims{1, 8, 8, 3}));
  EXPECT_EQ(graph.getTensor("conv.NHWC")->axisFormat(), AxisFormat::NHWC);
  EXPECT_EQ(readers("conv.NHWC"), (std::set<std::string>{"r1"}));
  EXPECT_EQ(opOrder(graph), "conv conv.NHWC r1 r2");

  graph.permuteToSpatialFirst(graph.getTensor("conv"), graph.getOp("r2"));
  EXPECT_EQ(opOrder(graph), "conv conv.NHWC r1 r2");
  EXPECT_EQ(readers("conv.NHWC"), (std::set<std::string>{"r1", "r2"}));
  EXPECT_EQ(readers("conv"), (std::set<std::string>{"conv.NHWC"}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(SurgeryTest, PermuteUtilitiesActOnlyOnTheirFormats) {
  GraphBuilder b3(graph, {1, 5, 7});
  b3.input("in");
  b3.chain("in", "a:Relu r:Relu");
  const auto a = graph.getTensor("a");
  a->setAxisFormat(AxisFormat::NCF);
  graph.permuteToSpatialLast(a, graph.getOp("r"));  // NCF is no spatial-first format
  EXPECT_EQ(opOrder(graph), "a r");
  graph.permuteToSpatialFirst(a, graph.getOp("r"));
  EXPECT_EQ(opOrder(graph), "a a.NFC r");
  EXPECT_EQ(graph.getTensor("a.NFC")->dims(), (Dims{1, 7, 5}));
  graph.permuteNfcToNcf(graph.getTensor("a.NFC"), graph.getOp("r"));
  EXPECT_EQ(opOrder(graph), "a a.NFC a.NFC.NCF r");
}

TEST_F(SurgeryTest, ImplicitPermuteRefusals) {
  chainFromInput("a:Relu r:Relu");
  EXPECT_THROW_MSG(graph.injectImplicitPermute("nope", AxisFormat::NHWC, {0, 1}, {}), std::invalid_argument,
                   "modeltools::IrGraph::injectImplicitPermute: Can't inject a permute onto a tensor nope which is not "
                   "in the graph");
  EXPECT_THROW_MSG(graph.injectImplicitPermute("a", AxisFormat::NHWC, {0, 2, 1}, {}), std::invalid_argument,
                   "modeltools::IrGraph::injectImplicitPermute: Can't inject a permute with a permute order of size 3 "
                   "which is not equal to 2, the rank of the input tensor a");
  // A tensor under the candidate name that isn't a transpose's output ends in addTensor.
  b.tensor("a.NF");
  EXPECT_THROW_MSG(graph.injectImplicitPermute("a", AxisFormat::NF, {1, 0}, {}), std::runtime_error,
                   "modeltools::IrGraph::addTensor: Tensor a.NF already exists!");
}

TEST_F(SurgeryTest, MoveOpToIndexCountsPositionsAfterRemoval) {
  chainFromInput("a:Relu b:Relu c:Relu");
  graph.moveOptoIndex(graph.getOp("a"), 2);  // the last position: length minus 1
  EXPECT_EQ(opOrder(graph), "b c a");
  graph.moveOptoIndex(graph.getOp("a"), 0);
  EXPECT_EQ(opOrder(graph), "a b c");
  EXPECT_THROW_MSG(graph.moveOptoIndex(graph.getOp("a"), 3), std::runtime_error,
                   "modeltools::IrGraph::moveOptoIndex: Invalid insertion index 3 for op a[Relu]");
  EXPECT_EQ(opOrder(graph), "b c");  // the op was out of the order when the index failed
  EXPECT_THROW_MSG(graph.moveOptoIndex(newOp("z"), 0), std::runtime_error,
                   "modeltools::IrGraph::moveOptoIndex: Op z[Relu] not found in graph");
}

TEST_F(SurgeryTest, PruneRefusesOpsWithReadersUnlessForced) {
  chainFromInput("a:Relu b:Relu c:Relu");
  EXPECT_THROW_MSG(graph.prune(graph.getOp("b"), false), std::runtime_error,
                   "modeltools::IrGraph::prune: Cannot prune op b[Relu] which has atleast one successor: c[Relu]");
  graph.prune(graph.getOp("c"), false);
  EXPECT_EQ(opOrder(graph), "a b");
  EXPECT_FALSE(graph.hasTensor("c"));
  EXPECT_TRUE(graph.getTensor("b")->consumers().empty());

  b.op("d", "Relu", {"b"});
  graph.prune(graph.getOp("b"), true);
  EXPECT_EQ(opOrder(graph), "a d");
  EXPECT_EQ(graph.getOp("d")->numInputs(), 0u);
  EXPECT_TRUE(graph.getTensor("a")->consumers().empty());
  EXPECT_THROW_MSG(graph.prune(nullptr, true), std::runtime_error, "modeltools::IrGraph::prune: " + kNullOp);
  b.output("d");
  graph.prune(graph.getOp("d"), false);
  EXPECT_FALSE(graph.hasTensor("d"));
  EXPECT_EQ(outputNames(), (std::vector<std::string>{"d"}));  // the entry stays behind
}

TEST_F(SurgeryTest, RemoveOpAsConsumerTakesOneEdgeAway) {
  b.input("in");
  b.op("add", "Add", {"in", "in"});
  graph.removeOpAsConsumer(graph.getTensor("in"), graph.getOp("add"));
  EXPECT_EQ(graph.getOp("add")->numInputs(), 0u);
  EXPECT_TRUE(graph.getTensor("in")->consumers().empty());
  EXPECT_THROW_MSG(graph.removeOpAsConsumer(nullptr, nullptr), std::runtime_error,
                   "modeltools::IrGraph::removeOpAsConsumer: " + kNullOp);
  EXPECT_THROW_MSG(graph.removeOpAsConsumer(nullptr, graph.getOp("add")), std::runtime_error,
                   "modeltools::IrGraph::removeOpAsConsumer: " + kNullTensor);
  EXPECT_THROW_HAS(graph.removeOpAsConsumer(graph.getTensor("in"), graph.getOp("add")), std::invalid_argument,
                   "is not a consumer of tensor in");
}

TEST_F(SurgeryTest, ReplaceKeepsThePositionTheTensorsAndTheTraceAndWarnsWhenTheNewOpIsWiredAlready) {
  chainFromInput("a:Relu old:Relu c:Relu");
  graph.setTraceSources(tracekind::kOp, "old", {{tracekind::kOp, "src_old"}});
  graph.replace(graph.getOp("old"), newOp("new", "Sigmoid"), "");
  EXPECT_EQ(opOrder(graph), "a new c");
  EXPECT_FALSE(graph.hasOp("old"));
  EXPECT_EQ(graph.getTensor("old")->producer(), graph.getOp("new"));
  EXPECT_EQ(readers("a"), (std::set<std::string>{"new"}));
  EXPECT_TRUE(graph.getTraceSources(tracekind::kOp, "old").empty());
  EXPECT_EQ(graph.getTraceSources(tracekind::kOp, "new"), (std::vector<TraceSource>{{tracekind::kOp, "src_old"}}));
  EXPECT_EQ(wiringProblem(graph), "");

  auto wired = newOp("w");
  graph.connect(wired, {graph.getTensor("in")}, {});
  const auto said = vrx::test::captureDiagnostics(graph);
  graph.replace(graph.getOp("a"), wired, "");
  EXPECT_EQ(said->text,
            "modeltools::IrGraph::replace: The replacement Op: w[Relu] already has inputs/outputs which might be "
            "replaced with those of the original op.\n\n");
  EXPECT_EQ(wired->numInputs(), 1u);
  EXPECT_THROW_MSG(graph.replace(wired, nullptr, ""), std::runtime_error, "modeltools::IrGraph::replace: " + kNullOp);
}

TEST_F(SurgeryTest, ReplaceTakesTheGraphsAxisOrderUnlessNamed) {
  IrGraph caffe("g", std::make_shared<CaffeAxisOrder>());
  GraphBuilder c(caffe, {1, 3, 8, 8});
  c.input("in");
  c.chain("in", "a:Relu b:Relu");
  caffe.replace(caffe.getOp("a"), newOp("a2"), "");
  EXPECT_EQ(caffe.getTensor("a")->axisFormat(), AxisFormat::NCHW);
  caffe.replace(caffe.getOp("b"), newOp("b2"), "TfAxisOrder");
  EXPECT_EQ(caffe.getTensor("b")->axisFormat(), AxisFormat::NHWC);
}

TEST_F(SurgeryTest, OperationsAcceptReferencesIntoTheGraphsOwnContainers) {
  chainFromInput("a:Relu b:Relu c:Identity d:Relu e:Relu");
  graph.replace(graph.getOps().at(1), newOp("b2"), "");
  EXPECT_FALSE(graph.hasOp("b"));
  graph.squashIdentity(*graph.getTensor("b")->consumers().begin(), false);
  graph.moveOptoIndex(graph.getOps().at(3), 3);
  graph.prune(graph.getOps().at(3), true);
  EXPECT_EQ(opOrder(graph), "a b2 d");
  graph.removeOpAsConsumer(graph.getTensor("c"), *graph.getTensor("c")->consumers().begin());
  EXPECT_EQ(graph.getOp("d")->numInputs(), 0u);
}

TEST_F(SurgeryTest, SquashIntoASingleReaderInputKeepsTheGraphOutputName) {
  chainFromInput("a:Relu b:Reshape");
  b.output("b");
  graph.squash(graph.getOp("b"), "a", false, false);
  EXPECT_EQ(opOrder(graph), "a");
  EXPECT_FALSE(graph.hasTensor("a"));
  EXPECT_EQ(graph.getTensor("b")->producer(), graph.getOp("a"));
  EXPECT_EQ(outputNames(), (std::vector<std::string>{"b"}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(SurgeryTest, SquashDropsOtherInputsLeftWithoutReaders) {
  b.input("in");
  b.constant("w");
  b.chain("in", "a:Relu");
  b.op("add", "Add", {"a", "w"});
  b.chain("add", "c:Relu");
  graph.setTraceSources(tracekind::kTensor, "w", {{tracekind::kTensor, "src_w"}});
  graph.squash(graph.getOp("add"), "a", false, false);
  EXPECT_EQ(opOrder(graph), "a c");
  EXPECT_FALSE(graph.hasTensor("w"));
  EXPECT_EQ(readers("add"), (std::set<std::string>{"c"}));
  EXPECT_EQ(graph.getTraceSources(tracekind::kOp, "a"), (std::vector<TraceSource>{{tracekind::kTensor, "src_w"}}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(SurgeryTest, SquashKeepingTheInputMovesReadersTraceAndQuantization) {
  chainFromInput("a:Relu b:Relu");
  b.op("c1", "Relu", {"b"});
  b.op("c2", "Relu", {"b"});
  graph.setTraceSources(tracekind::kOp, "b", {{tracekind::kOp, "src_b"}});
  graph.getTensor("b")->setQInfo(VRX_DATATYPE_UFIXED_POINT_8, encoding(0.5f));
  graph.squash(graph.getOp("b"), "a", true, true);
  EXPECT_EQ(opOrder(graph), "a c1 c2");
  EXPECT_FALSE(graph.hasTensor("b"));
  EXPECT_EQ(readers("a"), (std::set<std::string>{"c1", "c2"}));
  EXPECT_EQ(graph.getTensor("a")->quantInfo().scaleOffset.scale, 0.5f);
  EXPECT_EQ(graph.getTraceSources(tracekind::kOp, "c2"), (std::vector<TraceSource>{{tracekind::kOp, "src_b"}}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(SurgeryTest, SquashRefusals) {
  b.input("in");
  b.constant("w");
  b.chain("in", "a:Relu b:Relu");
  b.op("side", "Relu", {"a"});
  b.output("b");
  b.op("two", "Split", {"side"}, 2);
  b.op("shape", "Reshape", {"w"});
  b.output("shape");
  // Asked first, the graph names the refusal that squash would throw, and nothing changes.
  auto refused = [&](const std::string& op, const std::string& in, const std::string& text) {
    const std::string message = "modeltools::IrGraph::squash: " + text;
    EXPECT_EQ(graph.squashRefusal(graph.getOp(op), in, false), message);
    EXPECT_THROW_MSG(graph.squash(graph.getOp(op), in, false, false), std::runtime_error, message);
  };
  refused("b", "a", "Squash not possible for op b[Relu] (type: Relu, input: a)");
  refused("two", "side", "Op two[Split] must have exactly one output to be squashed. But it has 2");
  refused("b", "in", "Tensor in is not an input to op b[Relu]");
  refused("b", "nope", kNullTensor);
  refused("shape", "w", "Unable to squash node: shape[Reshape] into previous tensor: was node produces a static output");
  EXPECT_EQ(graph.squashRefusal(graph.getOp("a"), "in", true), std::nullopt);
  EXPECT_TRUE(graph.isStaticPassThrough(graph.getOp("shape")));
  EXPECT_FALSE(graph.isStaticPassThrough(graph.getOp("b")));
  EXPECT_FALSE(graph.isStaticPassThrough(nullptr));
  EXPECT_EQ(opOrder(graph), "a b side two shape");
}

TEST_F(SurgeryTest, SquashIdentityKeepsTheOutputAndMergesTraceAndQuantizationButKeepsAGraphInput) {
  chainFromInput("pre:Identity a:Relu id:Identity c:Relu");
  graph.squashIdentity(graph.getOp("pre"), false);
  EXPECT_TRUE(graph.hasTensor("in"));
  EXPECT_FALSE(graph.hasTensor("pre"));
  EXPECT_EQ(readers("in"), (std::set<std::string>{"a"}));

  b.op("peer", "Relu", {"a"});
  graph.setTraceSources(tracekind::kOp, "id", {{tracekind::kOp, "src_id"}});
  graph.setTraceSources(tracekind::kTensor, "a", {{tracekind::kTensor, "src_a"}});
  graph.getTensor("a")->setQInfo(VRX_DATATYPE_UFIXED_POINT_8, encoding(0.25f));
  graph.squashIdentity(graph.getOp("id"), true);
  EXPECT_EQ(opOrder(graph), "a c peer");
  EXPECT_FALSE(graph.hasTensor("a"));
  EXPECT_EQ(graph.getTensor("id")->producer(), graph.getOp("a"));
  EXPECT_EQ(readers("id"), (std::set<std::string>{"c", "peer"}));
  EXPECT_EQ(graph.getTensor("id")->quantInfo().scaleOffset.scale, 0.25f);
  EXPECT_EQ(graph.getTraceSources(tracekind::kTensor, "id"),
            (std::vector<TraceSource>{{tracekind::kOp, "src_id"}, {tracekind::kTensor, "src_a"}}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(SurgeryTest, SquashIdentityRefusals) {
  b.input("in");
  b.constant("w");
  b.op("two_in", "Add", {"in", "in"});
  b.op("two_out", "Split", {"in"}, 2);
  b.op("shape", "Reshape", {"w"});
  b.output("shape");
  const std::string head = "modeltools::IrGraph::squashIdentity: ";
  EXPECT_EQ(graph.squashIdentityRefusal(graph.getOp("two_in")),
            head + "Op two_in[Add] expected to have exactly 1 input, but has 2");
  EXPECT_THROW_MSG(graph.squashIdentity(graph.getOp("two_in"), false), std::runtime_error,
                   head + "Op two_in[Add] expected to have exactly 1 input, but has 2");
  EXPECT_THROW_MSG(graph.squashIdentity(graph.getOp("two_out"), false), std::runtime_error,
                   head + "Op two_out[Split] expected to have exactly 1 output, but has 2");
  EXPECT_THROW_MSG(graph.squashIdentity(graph.getOp("shape"), false), std::runtime_error,
                   head + "Unable to squash op: shape[Reshape] into previous tensor: w as op produces a static output");
  EXPECT_THROW_MSG(graph.squashIdentity(nullptr, false), std::runtime_error, head + kNullOp);
}

TEST_F(SurgeryTest, EditingOperationsKeepBothEndsOfEveryEdge) {
  chainFromInput("a:Relu b:Relu");
  b.op("sq", "Mul", {"a", "a"});
  b.output("b");
  const auto sq = graph.getOp("sq");
  graph.setOperand(sq, 0, graph.getTensor("in"));
  EXPECT_EQ(readers("a"), (std::set<std::string>{"b", "sq"}));  // sq still reads it at input 1
  graph.setOperand(sq, 1, graph.getTensor("in"));
  EXPECT_EQ(readers("a"), (std::set<std::string>{"b"}));
  EXPECT_EQ(readers("in"), (std::set<std::string>{"a", "sq"}));
  EXPECT_THROW_HAS(graph.setOperand(sq, 2, graph.getTensor("in")), std::runtime_error, "Op sq[Mul] has no input 2");
  EXPECT_EQ(wiringProblem(graph), "");

  // The op goes; its output "a" is still read, so it stays, without producer.
  graph.removeOp(graph.getOp("a"));
  EXPECT_TRUE(graph.hasTensor("a"));
  EXPECT_EQ(graph.getTensor("a")->producer(), nullptr);
  EXPECT_EQ(readers("in"), (std::set<std::string>{"sq"}));

  graph.replaceAllUses(graph.getTensor("a"), graph.getTensor("in"));
  EXPECT_TRUE(graph.getTensor("a")->consumers().empty());
  EXPECT_EQ(readers("in"), (std::set<std::string>{"b", "sq"}));

  graph.moveGraphOutput(graph.getTensor("b"), graph.getTensor("sq"));
  EXPECT_EQ(outputNames(), (std::vector<std::string>{"sq"}));
  EXPECT_EQ(graph.getTensor("b")->kind(), tensorkind::kNative);
  // Now nothing reads "b" and it is no graph output: it leaves with its producer.
  graph.removeOp(graph.getOp("b"));
  EXPECT_FALSE(graph.hasTensor("b"));
  EXPECT_EQ(opOrder(graph), "sq");
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(SurgeryTest, TransferConsumersAcceptsTheTensorsOwnSet) {
  b.input("in");
  b.input("other");
  b.op("r1", "Relu", {"in"});
  b.op("r2", "Relu", {"in"});
  const auto in = graph.getTensor("in");
  graph.transferConsumers(in, graph.getTensor("other"), in->consumers());
  EXPECT_TRUE(in->consumers().empty());
  EXPECT_EQ(readers("other"), (std::set<std::string>{"r1", "r2"}));
  EXPECT_EQ(wiringProblem(graph), "");
  EXPECT_THROW_MSG(graph.transferConsumers(in, nullptr, {}), std::runtime_error,
                   "modeltools::IrGraph::transferConsumers: " + kNullTensor);
}

TEST_F(SurgeryTest, TransferGraphOutputKeepsThePositionAndIgnoresOtherKinds) {
  chainFromInput("a:Relu b:Relu c:Relu");
  b.output("a");
  b.output("b");
  graph.transferGraphOutputTensor(graph.getTensor("a"), graph.getTensor("c"));
  EXPECT_EQ(outputNames(), (std::vector<std::string>{"c", "b"}));
  EXPECT_TRUE(graph.getTensor("c")->isGraphOutput());
  EXPECT_TRUE(graph.getTensor("a")->isGraphOutput());  // the caller retypes or prunes it

  graph.transferGraphOutputTensor(graph.getTensor("in"), graph.getTensor("a"));
  EXPECT_EQ(outputNames(), (std::vector<std::string>{"c", "b"}));
  graph.updateTensorType("a", tensorkind::kNative);
  graph.transferGraphOutputTensor(graph.getTensor("in"), graph.getTensor("a"));
  EXPECT_EQ(graph.getTensor("a")->kind(), tensorkind::kNative);
  EXPECT_THROW_MSG(graph.transferGraphOutputTensor(graph.getTensor("a"), nullptr), std::runtime_error,
                   "modeltools::IrGraph::transferGraphOutputTensor: transferGraphOutputTensor called with null tensor "
                   "pointer (fromTensor=a, toTensor=)");
}

TEST_F(SurgeryTest, UpdateTensorTypeKeepsTheInputAndOutputListsInStep) {
  chainFromInput("a:Relu b:Relu");
  b.output("a");
  b.output("b");
  graph.updateTensorType("a", tensorkind::kNative);
  EXPECT_EQ(outputNames(), (std::vector<std::string>{"b"}));
  graph.updateTensorType("a", tensorkind::kGraphOutput);
  EXPECT_EQ(outputNames(), (std::vector<std::string>{"b", "a"}));
  graph.updateTensorType("in", tensorkind::kNative);
  EXPECT_TRUE(graph.getInputs().empty());
  graph.updateTensorType("in", tensorkind::kNative);
  EXPECT_THROW_MSG(graph.updateTensorType("nope", 1), std::runtime_error,
                   "modeltools::IrGraph::updateTensorType: Tensor nope does not exist!");
}

}  // namespace
}  // namespace modeltools
