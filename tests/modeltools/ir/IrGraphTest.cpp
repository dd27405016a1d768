#include <gtest/gtest.h>

#include "modeltools/ir/IrGraph.hpp"
#include "support/ExpectThrow.hpp"
#include "support/GraphBuilder.hpp"

namespace modeltools {
namespace {

using ops::IrOp;

class IrGraphTest : public ::testing::Test {
 protected:
  TensorPtr tensor(const std::string& name, Dims dims = {1, 4}, uint32_t kind = tensorkind::kNative) {
    return graph.addTensor(TensorFields{.name = name, .shape = IrTensorShape(std::move(dims)), .kind = kind});
  }
  OpPtr newOp(const std::string& name, const std::string& type = "Relu") {
    return std::make_shared<IrOp>(name, type, std::make_shared<IrAttributes>());
  }
  // An op wired to existing tensors, then added.
  OpPtr addOp(const std::string& name, const std::vector<TensorPtr>& inputs, const std::vector<TensorPtr>& outputs,
              int32_t index = -1) {
    auto op = newOp(name);
    graph.connect(op, inputs, outputs);
    graph.addOp(op, index, false);
    return op;
  }

  IrGraph graph{"g"};
};

TEST_F(IrGraphTest, TensorsIterateInNameOrderAndKindsFillInputOutputLists) {
  tensor("zeta", {1}, tensorkind::kGraphInput);
  tensor("alpha", {1}, tensorkind::kGraphOutput);
  tensor("mid", {1}, tensorkind::kGraphInputOutput);
  tensor("beta", {1}, tensorkind::kGraphInput);
  std::vector<std::string> names;
  for (const auto& [name, t] : graph.tensors()) names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{"alpha", "beta", "mid", "zeta"}));
  ASSERT_EQ(graph.getInputs().size(), 2u);
  EXPECT_EQ(graph.getInputs()[0]->name(), "zeta");
  ASSERT_EQ(graph.getOutputs().size(), 1u);
}

TEST_F(IrGraphTest, TensorNameCollisionsAndLookups) {
  EXPECT_EQ(graph.getTensor("x"), nullptr);
  tensor("x");
  EXPECT_THROW_MSG(tensor("x"), std::runtime_error, "modeltools::IrGraph::addTensor: Tensor x already exists!");
  EXPECT_THROW_MSG(
      graph.addTensor(TensorPtr{}), std::runtime_error,
      "modeltools::IrGraph::addTensor: Invalid tensor: received null tensor pointer, expected a valid tensor");
  EXPECT_EQ(graph.getStaticTensor("x"), nullptr);
  graph.removeTensor("x");
  graph.removeTensor("x");
  EXPECT_FALSE(graph.hasTensor("x"));
}

TEST_F(IrGraphTest, QuantizedTensorFormTakesQuantInfoOthersRefuseIt) {
  QuantInfo info;
  info.encoding = VRX_QUANTIZATION_ENCODING_SCALE_OFFSET;
  info.scaleOffset.scale = 0.1f;
  auto q = graph.addTensor("q", {4}, VRX_DATATYPE_UFIXED_POINT_8, VRX_DATATYPE_FLOAT_32, true, info);
  EXPECT_TRUE(q->isQuantized());
  EXPECT_EQ(q->floatDataType(), static_cast<uint32_t>(VRX_DATATYPE_FLOAT_32));
  EXPECT_THROW_MSG(
      graph.addTensor("i", {4}, VRX_DATATYPE_INT_32, VRX_DATATYPE_FLOAT_32, false, info), std::runtime_error,
      "modeltools::IrGraph::addTensor: Tensor i has unquantized dataType 50 but the QuantInfo has been set "
      "to 0");
}

TEST_F(IrGraphTest, StaticCopySharesTransformsOnRequest) {
  float data[] = {1, 2};
  auto source = graph.addStaticTensor(TensorFields{.name = "w", .shape = IrTensorShape({2})}, data, sizeof data);
  auto shared = graph.addStaticTensorCopy("w_copy", source, true);
  auto separate = graph.addStaticTensorCopy("w_other", source, false);
  ASSERT_NE(source->transformManager(), nullptr);
  EXPECT_EQ(shared->transformManager(), source->transformManager());
  EXPECT_NE(separate->transformManager(), source->transformManager());
  EXPECT_NE(shared->getData(), source->getData());
  EXPECT_FLOAT_EQ(shared->values<float>()[1], 2);
  EXPECT_EQ(graph.getStaticTensor("w_copy"), shared);
}

TEST_F(IrGraphTest, OpsKeepTheirPositionsAndRefusalsComeFirst) {
  auto a = tensor("a"), b = tensor("b"), c = tensor("c");
  addOp("first", {a}, {b});
  addOp("second", {b}, {c});
  addOp("zeroth", {a}, {tensor("d")}, 0);
  EXPECT_EQ(vrx::test::opOrder(graph), "zeroth first second");

  EXPECT_THROW_MSG(addOp("first", {a}, {tensor("e")}), std::runtime_error,
                   "modeltools::IrGraph::addOp: Op first already exists in graph");
  auto stray = std::make_shared<IrTensor>(TensorFields{.name = "stray", .shape = IrTensorShape({1})});
  auto op = newOp("loose");
  graph.connect(op, {stray}, {});
  EXPECT_THROW_MSG(graph.addOp(op, -1, false), std::runtime_error,
                   "modeltools::IrGraph::addOp: Graph has no tensor stray referred to as input for Op loose[Relu]");
  // validateOp runs whatever `validate` says.
  auto noOutputs = newOp("dangling");
  graph.connect(noOutputs, {a}, {});
  EXPECT_THROW_HAS(graph.addOp(noOutputs, -1, false), std::invalid_argument, "with no output tensor!");
  EXPECT_FALSE(graph.hasOp("dangling"));
}

TEST_F(IrGraphTest, AddOpByNamesMakesMissingOutputs) {
  tensor("x", {2, 3});
  auto relu = newOp("relu");
  graph.addOp(relu, {"x"}, {"y"}, {AxisFormat::NF}, -1, false);
  auto y = graph.getTensor("y");
  ASSERT_NE(y, nullptr);
  EXPECT_EQ(y->dims(), (Dims{2, 3}));
  EXPECT_EQ(y->axisFormat(), AxisFormat::NF);
  EXPECT_EQ(y->producer(), relu);
  EXPECT_TRUE(graph.getTensor("x")->consumers().contains(relu));
  EXPECT_TRUE(relu->canonicalized());

  auto twoOutputs = newOp("split");
  EXPECT_THROW_MSG(graph.addOp(twoOutputs, {"x"}, {"p", "q"}, {}, -1, false), std::runtime_error,
                   "modeltools::IrGraph::addOp: Op split[Relu] produced 1 output shapes but has 2 outputs.");
  EXPECT_THROW_MSG(graph.addOp(newOp("s2"), {"x"}, {"p", "q"}, {IrTensorShape({1})}, {}, -1, false), std::runtime_error,
                   "modeltools::IrGraph::addOp: Output shapes size (1) does not match output names size (2) for op "
                   "s2[Relu]");
  EXPECT_THROW_MSG(graph.addOp(newOp("s3"), {"nope"}, {"p"}, {}, -1, false), std::runtime_error,
                   "modeltools::IrGraph::addOp: Graph has no tensor nope referred to as input for Op s3[Relu]");
}

TEST_F(IrGraphTest, ConsumersByNameAreCheckedAgainstTheGraphAndTheTensor) {
  auto a = tensor("a"), b = tensor("b"), c = tensor("c");
  auto reader = addOp("reader", {a}, {b});
  addOp("other", {b}, {c});
  EXPECT_EQ(graph.getConsumers(a, {}), (OpSet{reader}));
  EXPECT_EQ(graph.getConsumers(a, {"reader"}), (OpSet{reader}));
  EXPECT_THROW_MSG(graph.getConsumers(a, {"ghost"}), std::runtime_error,
                   "modeltools::IrGraph::getConsumers: Can't inject with a consumer ghost which isn't in the graph");
  EXPECT_THROW_MSG(
      graph.getConsumers(a, {"other"}), std::runtime_error,
      "modeltools::IrGraph::getConsumers: Can't inject with a consumer other that doesn't consume input a");
}

TEST_F(IrGraphTest, RenamingOpsAndTensorsMovesTraceRecords) {
  auto a = tensor("a"), b = tensor("b");
  graph.setTraceSources(tracekind::kTensor, "a", {{tracekind::kTensor, "src"}});
  auto op = addOp("relu", {a}, {b});
  graph.changeOpName(op, "relu2");
  EXPECT_EQ(graph.getOp("relu2"), op);
  EXPECT_FALSE(graph.hasOp("relu"));
  EXPECT_THROW_MSG(graph.changeOpName(newOp("ghost"), "x"), std::runtime_error,
                   "modeltools::IrGraph::changeOpName: Op ghost doesn't exist in the graph");

  const uint32_t id = a->id();
  graph.updateTensorName("a", "a");
  EXPECT_EQ(a->id(), id);
  graph.updateTensorName("a", "input");
  EXPECT_NE(a->id(), id);
  EXPECT_EQ(graph.getTensor("input"), a);
  EXPECT_TRUE(graph.getTraceSources(tracekind::kTensor, "a").empty());
  EXPECT_EQ(graph.getTraceSources(tracekind::kTensor, "input").size(), 1u);
  EXPECT_THROW_MSG(graph.updateTensorName("input", "b"), std::runtime_error,
                   "modeltools::IrGraph::updateTensorName: Tensor with name: b already exists!");
  EXPECT_THROW_MSG(graph.updateTensorName("zzz", "y"), std::runtime_error,
                   "modeltools::IrGraph::updateTensorName: Tensor zzz does not exist!");

  graph.swapTensorNames("input", "b");
  EXPECT_EQ(graph.getTensor("b"), a);
  EXPECT_EQ(b->name(), "input");
  EXPECT_THROW_MSG(graph.swapTensorNames("b", "nope"), std::runtime_error,
                   "modeltools::IrGraph::swapTensorNames: Tensor nope does not exist!");
}

TEST_F(IrGraphTest, AxisOrdersByNameAndTensorIdsReset) {
  EXPECT_NE(std::dynamic_pointer_cast<IrAxisOrder>(IrGraph::makeAxisOrder("")), nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<OnnxAxisOrder>(IrGraph::makeAxisOrder("OnnxAxisOrder")), nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<CaffeAxisOrder>(IrGraph::makeAxisOrder("CaffeAxisOrder")), nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<TfAxisOrder>(IrGraph::makeAxisOrder("TfAxisOrder")), nullptr);
  auto t = tensor("t");
  graph.resetTensorIds();
  EXPECT_EQ(tensor("u")->id(), t->id() + 1);
}

TEST_F(IrGraphTest, QuantInfoTransfersOnlyToQuantizableTensors) {
  QuantInfo info;
  info.encoding = 0;
  auto from = graph.addTensor("from", {1}, VRX_DATATYPE_UFIXED_POINT_8, VRX_DATATYPE_FLOAT_32, true, info);
  from->setUpdateable(true);
  auto to = graph.addTensor(TensorFields{.name = "to", .shape = IrTensorShape({1}), .quantizable = true});
  auto locked = graph.addTensor(TensorFields{.name = "locked", .shape = IrTensorShape({1})});
  graph.transferQuantInfo(from, locked);
  EXPECT_FALSE(locked->quantInfo().isDefined());
  graph.mergeQuantInfo(to, from, true);  // `to` has none: from's goes to `to`
  EXPECT_TRUE(to->isQuantized());
  EXPECT_TRUE(to->updateable());
}

TEST(ConversionNamePolicy, UniqueNamesCountPerTypeSkipTakenOnesAndGiveUpAfterTenThousand) {
  ConversionNamePolicy policy;
  EXPECT_EQ(policy.generateUniqueName("conv", "Conv2d"), "conv_0");
  EXPECT_EQ(policy.generateUniqueName("conv", "Conv2d"), "conv_1");
  // Another type has its own counter and moves past names taken.
  EXPECT_EQ(policy.generateUniqueName("conv", "Relu"), "conv_2");
  EXPECT_EQ(policy.generateUniqueName("conv", "Relu"), "conv_3");
  EXPECT_THROW_MSG(policy.generateUniqueName("", "Relu"), std::invalid_argument,
                   "namePrefixStr and opType must not be empty");

  // Ten thousand collisions in one call fail; one fewer succeeds.
  ConversionNamePolicy crowded;
  for (int i = 0; i < 10000; ++i) crowded.generateUniqueName("n", "A");
  // Type B starts at 0 and meets exactly 10000 taken names.
  EXPECT_THROW_MSG(crowded.generateUniqueName("n", "B"), std::runtime_error,
                   "Failed to generate unique name after 10000 attempts");
  ConversionNamePolicy fewer;
  for (int i = 0; i < 9999; ++i) fewer.generateUniqueName("n", "A");
  EXPECT_EQ(fewer.generateUniqueName("n", "B"), "n_9999");
}

TEST(ConversionNamePolicy, OpNamesFromPrefixesAndSuffixes) {
  ConversionNamePolicy policy;
  EXPECT_EQ(policy.getOpName("Conv2d", "", true, "", "", ""), "_Conv2d_0");
  EXPECT_EQ(policy.getOpName("Conv2d", "x", false, "", "/", ""), "x");
  EXPECT_EQ(policy.getOpName("Conv2d", "x", false, "", "/", ""), "x");
  EXPECT_EQ(policy.getOpName("Conv2d", "x", false, "", "bias", ""), "x_bias");
  EXPECT_EQ(policy.getOpName("Conv2d", "x", false, "", "/", "post"), "x_post");
  EXPECT_EQ(policy.getOpName("Conv2d", "x", false, "pre", "", ""), "pre_x_0");
}

}  // namespace
}  // namespace modeltools
