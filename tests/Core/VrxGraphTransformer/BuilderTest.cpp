// The builder through the exports: every refusal with its status and log line, what a tensor
// record becomes in the IR, and how nodes are wired.

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "HandleMap.hpp"
#include "modeltools/ir/IrGraph.hpp"
#include "support/LogCapture.hpp"
#include "support/RecordingBackend.hpp"
#include "support/Records.hpp"

namespace vrx::test {
namespace {

using core::graphtransformer::findTransformer;

class BuilderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GraphTransformerConfig config;
    ASSERT_EQ(VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), backend.graphHandle(),
                                              logs.handle(), "net", backend.table(), VRX_GT_BACKEND_CPU, &config),
              0u);
  }
  void TearDown() override { VrxGraphTransformer_free(); }

  Vrx_Status_t add(Vrx_Tensor_t tensor) { return VrxGraphTransformer_addGraphTensor(backend.graphHandle(), &tensor); }
  Vrx_Status_t node(const Vrx_OpConfig_t& config) { return VrxGraphTransformer_addNode(backend.graphHandle(), config); }
  modeltools::IrGraph& graph() { return *findTransformer(backend.graphHandle())->irGraphBuilder()->getIrGraph(); }
  bool loggedErrors() const {
    return std::any_of(logs.lines().begin(), logs.lines().end(),
                       [](const auto& line) { return line.level == VRX_GT_LOG_ERROR; });
  }

  RecordingBackend backend;
  LogCapture logs;
  Records records;
};

TEST_F(BuilderTest, TensorRecordsTheIrCannotHoldAreRefusedSilentlyAndSecondOfANameWithAnError) {
  auto with = [&](auto change) {
    Vrx_Tensor_t t = records.tensor("t", VRX_TENSORTYPE_NATIVE, {2});
    change(t);
    return t;
  };
  const std::tuple<const char*, Vrx_Tensor_t, Vrx_Status_t> cases[] = {
      {"sparse format", with([](auto& t) { t.dataFormat = VRX_TENSOR_DATA_FORMAT_SPARSE; }), 7005},
      {"other format", with([](auto& t) { t.dataFormat = VRX_TENSOR_DATA_FORMAT_OTHER; }), 7005},
      {"read-write", with([](auto& t) { t.type = VRX_TENSORTYPE_APP_READWRITE; }), 7004},
      {"undefined type", with([](auto& t) { t.dataType = VRX_DATATYPE_UNDEFINED; }), 7004},
      {"string type", with([](auto& t) { t.dataType = VRX_DATATYPE_STRING; }), 7004},
      {"native with data", with([&](auto& t) { t.clientBuf = {records.array<float>({1, 2}), 8}; }), 7004},
      {"static without data", records.tensor("t", VRX_TENSORTYPE_STATIC, {2}), 7004},
      {"updateable static without data", records.tensor("t", VRX_TENSORTYPE_UPDATEABLE_STATIC, {2}), 7004},
  };
  for (const auto& [what, record, status] : cases) EXPECT_EQ(add(record), status) << what;
  EXPECT_TRUE(graph().tensors().empty());
  EXPECT_FALSE(loggedErrors()) << logs.dump();

  ASSERT_EQ(add(records.tensor("t", VRX_TENSORTYPE_NATIVE, {2})), 0u);
  Vrx_Tensor_t again = records.tensor("t", VRX_TENSORTYPE_NATIVE, {5, 5});
  again.id = 77;
  EXPECT_EQ(add(again), 6004u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "Tensor already exist in the graph, tensor ID: 77"));
  EXPECT_EQ(graph().getTensor("t")->dims(), (modeltools::Dims{2}));
}

TEST_F(BuilderTest, TensorTypesBecomeKindsWithUpdateableFlag) {
  const std::tuple<uint32_t, uint32_t, bool> cases[] = {{VRX_TENSORTYPE_APP_WRITE, 0, false},
                                                        {VRX_TENSORTYPE_APP_READ, 1, false},
                                                        {VRX_TENSORTYPE_NATIVE, 3, false},
                                                        {VRX_TENSORTYPE_UPDATEABLE_NATIVE, 3, true},
                                                        {VRX_TENSORTYPE_UPDATEABLE_APP_WRITE, 0, true},
                                                        {VRX_TENSORTYPE_UPDATEABLE_APP_READ, 1, true},
                                                        {VRX_TENSORTYPE_UPDATEABLE_APP_READWRITE, 2, true},
                                                        {12, 12, false},
                                                        {42, modeltools::kUndefined, false}};
  for (const auto& [type, kind, updateable] : cases) {
    const std::string name = "t" + std::to_string(type);
    ASSERT_EQ(add(records.tensor(name, type, {2})), 0u);
    EXPECT_EQ(graph().getTensor(name)->kind(), kind) << type;
    EXPECT_EQ(graph().getTensor(name)->updateable(), updateable) << type;
    EXPECT_TRUE(logs.contains(VRX_GT_LOG_VERBOSE, "Added tensor to graph: Tensor Name: " + name));
  }
  EXPECT_EQ(graph().getInputs().size(), 2u);
  EXPECT_EQ(graph().getOutputs().size(), 2u);

  Vrx_Tensor_t updateableStatic = records.floatWeights("w", {2});
  updateableStatic.type = VRX_TENSORTYPE_UPDATEABLE_STATIC;
  ASSERT_EQ(add(updateableStatic), 0u);
  auto weights = graph().getStaticTensor("w");
  ASSERT_NE(weights, nullptr);
  EXPECT_EQ(weights->kind(), modeltools::tensorkind::kStatic);
  EXPECT_TRUE(weights->updateable());
  EXPECT_EQ(weights->getTensorType(), static_cast<uint32_t>(VRX_TENSORTYPE_UPDATEABLE_STATIC));
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_VERBOSE, "Added static tensor to graph: Tensor Name: w"));
}

TEST_F(BuilderTest, TensorsKeepNothingOfTheClientRecord) {
  Vrx_Tensor_t quantized = records.tensor("q", VRX_TENSORTYPE_NATIVE, {2, 3}, VRX_DATATYPE_UFIXED_POINT_8);
  quantized.quantizeParams = {VRX_DEFINITION_DEFINED, VRX_QUANTIZATION_ENCODING_SCALE_OFFSET, {}};
  quantized.quantizeParams.scaleOffsetEncoding = {0.5f, 128};
  ASSERT_EQ(add(quantized), 0u);
  ASSERT_EQ(add(records.staticTensor("w", {4}, VRX_DATATYPE_UINT_8, {1, 2, 3, 4})), 0u);
  ASSERT_EQ(add(records.tensor("half", VRX_TENSORTYPE_NATIVE, {1}, VRX_DATATYPE_FLOAT_16)), 0u);
  ASSERT_EQ(add(records.tensor("single", VRX_TENSORTYPE_NATIVE, {1})), 0u);
  records.scribble();

  auto q = graph().getTensor("q");
  EXPECT_EQ(q->dims(), (modeltools::Dims{2, 3}));
  EXPECT_EQ(q->dataType(), static_cast<uint32_t>(VRX_DATATYPE_UFIXED_POINT_8));
  EXPECT_EQ(q->floatDataType(), static_cast<uint32_t>(VRX_DATATYPE_UFIXED_POINT_8));
  EXPECT_TRUE(q->quantizable());
  EXPECT_EQ(q->quantInfo().encoding, 0u);
  EXPECT_FLOAT_EQ(q->quantInfo().scaleOffset.scale, 0.5f);
  EXPECT_EQ(q->axisFormat(), modeltools::AxisFormat::NOT_YET_DEFINED);
  auto w = graph().getStaticTensor("w");
  EXPECT_EQ(std::vector<uint8_t>(w->values<uint8_t>().begin(), w->values<uint8_t>().end()),
            (std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_FALSE(w->borrowedData());
  EXPECT_FALSE(graph().getTensor("half")->quantizable());
  EXPECT_TRUE(graph().getTensor("single")->quantizable());
}

TEST_F(BuilderTest, SparseAndDynamicFieldsAreReadFromVersionTwoOnly) {
  Vrx_Tensor_t sparse = records.tensor("sparse", VRX_TENSORTYPE_NATIVE, {8, 8});
  sparse.sparseParams = {VRX_SPARSE_LAYOUT_HYBRID_COO, 5, 2};
  sparse.isDynamicDimensions = records.array<uint8_t>({1, 0});
  Vrx_Tensor_t dynamic = records.tensor("dynamic", VRX_TENSORTYPE_NATIVE, {4, 5, 6});
  dynamic.isDynamicDimensions = records.array<uint8_t>({0, 3, 1});
  for (auto [t, oldName] : {std::pair{sparse, "old"}, {dynamic, "oldDynamic"}}) {
    ASSERT_EQ(add(t), 0u);
    t.name = oldName;
    t.version = 1;
    ASSERT_EQ(add(t), 0u);
  }

  auto s = graph().getTensor("sparse");
  EXPECT_TRUE(s->isSparse());
  EXPECT_EQ(s->numSpecifiedElements(), 5u);
  EXPECT_EQ(s->numSparseDimensions(), 2u);
  EXPECT_FALSE(s->shape().hasDynamicAxes());
  EXPECT_FALSE(graph().getTensor("old")->isSparse());
  EXPECT_EQ(graph().getTensor("dynamic")->shape().dynamicAxes(), (std::set<uint32_t>{1, 2}));
  EXPECT_FALSE(graph().getTensor("oldDynamic")->shape().hasDynamicAxes());
}

class NodeTest : public BuilderTest {
 protected:
  void SetUp() override {
    BuilderTest::SetUp();
    for (auto t : {in, mid, out, weights}) ASSERT_EQ(add(t), 0u);
  }
  Vrx_Tensor_t in = records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {1, 4});
  Vrx_Tensor_t mid = records.tensor("mid", VRX_TENSORTYPE_NATIVE, {1, 4});
  Vrx_Tensor_t out = records.tensor("out", VRX_TENSORTYPE_APP_READ, {1, 4});
  Vrx_Tensor_t weights = records.floatWeights("weights", {4});
};

TEST_F(NodeTest, NodesAreWiredInTheOrderTheyCome) {
  Vrx_Tensor_t unnamed = records.tensor("x", VRX_TENSORTYPE_NULL, {});
  unnamed.name = nullptr;
  ASSERT_EQ(node(records.op("first", "Relu", {in, unnamed, weights}, {mid})), 0u);
  ASSERT_EQ(node(records.op("second", "Softmax", {mid}, {out})), 0u);
  records.scribble();
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_VERBOSE, "addNode(): Op Package Name: vrx.core, Node Name: first, Type: Relu"));

  ASSERT_EQ(graph().getOps().size(), 2u);
  auto first = graph().getOp("first");
  EXPECT_EQ(first->type(), "Neuron");
  ASSERT_EQ(first->numInputs(), 2u);
  EXPECT_EQ(first->getInput(1)->name(), "weights");
  EXPECT_EQ(graph().getTensor("mid")->producer(), first);
  EXPECT_TRUE(graph().getTensor("in")->consumers().contains(first));
  EXPECT_EQ(graph().getTensor("out")->producer(), graph().getOp("second"));
}

TEST_F(NodeTest, NodeRefusalsGiveTheirStatus) {
  // A native input before its producer is refused without an error line.
  EXPECT_EQ(node(records.op("early", "Relu", {mid}, {out})), 6007u);
  EXPECT_FALSE(loggedErrors()) << logs.dump();
  EXPECT_TRUE(graph().getOps().empty());

  ASSERT_EQ(node(records.op("n", "Relu", {in}, {mid})), 0u);
  EXPECT_EQ(node(records.op("n", "Relu", {in}, {mid})), 6005u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "Node already exist in the graph, Node name: n"));
  EXPECT_EQ(node(records.op("a", "Relu", {records.tensor("ghost", 3, {1})}, {out})), 6007u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "Input Tensor : ghost Doesn't exist in the graph"));
  EXPECT_EQ(node(records.op("b", "Relu", {in}, {records.tensor("void", 3, {1})})), 6005u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "Output Tensor : void Doesn't exist in the graph"));
  EXPECT_EQ(node(records.op("c", "Relu", {in}, {in})), 6005u);
  EXPECT_EQ(node(records.op("d", "Relu", {in}, {weights})), 6005u);
  EXPECT_EQ(graph().getOps().size(), 1u);
  // A refused node leaves no edge behind: "in" has its one reader.
  EXPECT_EQ(graph().getTensor("in")->consumers().size(), 1u);
}

TEST_F(NodeTest, NodesThatAreNoNodesAddNothingAndOpWithoutOutputsThrows) {
  Vrx_OpConfig_t newer = records.op("newer", "Relu", {in}, {mid});
  newer.version = 2;
  EXPECT_EQ(node(newer), 0u);
  Vrx_OpConfig_t nameless = records.op("x", "Relu", {in}, {mid});
  nameless.name = nullptr;
  EXPECT_EQ(node(nameless), 0u);
  EXPECT_EQ(graph().getTensor("mid")->producer(), nullptr);

  // Without inputs the op stays out of the graph, but its outputs know it.
  EXPECT_EQ(node(records.op("source", "Const", {}, {mid})), 0u);
  EXPECT_TRUE(graph().getOps().empty());
  ASSERT_NE(graph().getTensor("mid")->producer(), nullptr);
  EXPECT_EQ(graph().getTensor("mid")->producer()->name(), "source");

  // The graph refuses an op without outputs; the exception passes through the export.
  EXPECT_THROW(node(records.op("sink", "Relu", {in}, {})), std::invalid_argument);
  EXPECT_TRUE(graph().getOps().empty());
  EXPECT_TRUE(graph().getTensor("in")->consumers().empty());
}

}  // namespace
}  // namespace vrx::test
