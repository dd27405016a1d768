// Composition into a recording backend: tensors created once, graph I/O under the client's
// IDs, sanitized names, dangling inputs, backend failures and a finalize that tries again.

#include <gtest/gtest.h>

#include <tuple>

#include "GraphTransformer.hpp"
#include "HandleMap.hpp"
#include "modeltools/ir/IrGraph.hpp"
#include "support/LogCapture.hpp"
#include "support/RecordingBackend.hpp"
#include "support/Records.hpp"

namespace vrx::test {
namespace {

using core::graphtransformer::findTransformer;
using core::graphtransformer::sanitizeTensorName;
using Names = std::vector<std::string>;
constexpr uint32_t kIn = VRX_TENSORTYPE_APP_WRITE, kOut = VRX_TENSORTYPE_APP_READ, kNative = VRX_TENSORTYPE_NATIVE;

class CompositionTest : public ::testing::Test {
 protected:
  void SetUp() override { create({}); }
  void TearDown() override { VrxGraphTransformer_free(); }

  void create(const GraphTransformerConfig& config) {
    ASSERT_EQ(VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), backend.graphHandle(),
                                              logs.handle(), "net", backend.table(), VRX_GT_BACKEND_NXA, &config),
              0u);
  }
  void add(Vrx_Tensor_t tensor) {
    ASSERT_EQ(VrxGraphTransformer_addGraphTensor(backend.graphHandle(), &tensor), 0u);
    records.scribble();
  }
  // Tensors of shape {1, 4} by name and type, each record made just before its call.
  void add(std::initializer_list<std::pair<const char*, uint32_t>> tensors) {
    for (const auto& [name, type] : tensors) add(records.tensor(name, type, {1, 4}));
  }
  void node(const Vrx_OpConfig_t& config) {
    ASSERT_EQ(VrxGraphTransformer_addNode(backend.graphHandle(), config), 0u);
    records.scribble();
  }
  Vrx_Status_t finalize() {
    return VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, backend.table());
  }
  Vrx_Status_t composeDirectly(bool useContextTensors) {
    return transformer()->composeGraph(transformer()->irGraphBuilder()->getIrGraph(), backend.graphHandle(),
                                       *backend.table(), useContextTensors);
  }
  std::shared_ptr<core::graphtransformer::VrxGraphTransformer> transformer() {
    return findTransformer(backend.graphHandle());
  }
  modeltools::IrGraph& graph() { return *transformer()->irGraphBuilder()->getIrGraph(); }
  Vrx_Tensor_t native(const std::string& name) { return records.tensor(name, kNative, {1, 4}); }
  Vrx_Tensor_t input(const std::string& name) { return records.tensor(name, kIn, {1, 4}); }
  Vrx_Tensor_t output(const std::string& name) { return records.tensor(name, kOut, {1, 4}); }
  uint32_t idOfCreated(const std::string& name) { return backend.createdTensor(name)->id; }

  // in -> a(in, w) -> x -> b(x, w) -> y -> c(y, w) -> out
  void chainSharingWeights() {
    add({{"in", kIn}, {"x", kNative}, {"y", kNative}, {"out", kOut}});
    add(records.floatWeights("w", {4}));
    node(records.op("a", "Custom", {input("in"), records.floatWeights("w", {4})}, {native("x")}));
    node(records.op("b", "Custom", {native("x"), records.floatWeights("w", {4})}, {native("y")}));
    node(records.op("c", "Custom", {native("y"), records.floatWeights("w", {4})}, {output("out")}));
  }
  // What a whole composition of the chain sends, "in" and "out" having gone at their adding.
  void expectChainComposed(const Names& created) {
    EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor), created);
    EXPECT_EQ(backend.namesOf(BackendCall::AddNode), (Names{"a", "b", "c"}));
    for (const char* op : {"a", "b", "c"}) EXPECT_EQ(backend.addedNode(op)->inputTensors[1].id, idOfCreated("w")) << op;
    EXPECT_EQ(backend.addedNode("b")->inputTensors[0].id, idOfCreated("x"));
    const Vrx_Tensor_t* in = backend.addedNode("a")->inputTensors;
    EXPECT_STREQ(in[0].name, "in");
    EXPECT_EQ(std::tuple(in[0].id, in[1].clientBuf.dataSize), std::tuple(RecordingBackend::kFirstTensorId, 16u));
    const Vrx_Tensor_t& out = backend.addedNode("c")->outputTensors[0];
    EXPECT_EQ(std::tuple(out.id, out.type), std::tuple(RecordingBackend::kFirstTensorId + 1, kOut));
  }

  RecordingBackend backend;
  LogCapture logs;
  Records records;
};

TEST_F(CompositionTest, SharedTensorIsCreatedOnceAndGraphIoGoesBackAsTheClientCreatedIt) {
  chainSharingWeights();
  ASSERT_EQ(finalize(), 0u);
  expectChainComposed({"in", "out", "w", "x", "y"});
  EXPECT_EQ(backend.namesOf(BackendCall::ValidateOpConfig), (Names{"a", "b", "c"}));
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_DEBUG, "Tensor w has already been created, updating ID."));
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_INFO, "VrxGraphTransformer: all ops composed into backend graph"));
  EXPECT_TRUE(transformer()->composed());
}

TEST_F(CompositionTest, NamesAreSanitizedAndNamesThatFoldTogetherShareATensor) {
  for (const auto& [name, sanitized] : {std::pair{"conv/1:0", "conv_1_0"}, {"1x", "_1x"}, {"", "_"}, {"_ok9", "_ok9"}})
    EXPECT_EQ(sanitizeTensorName(name), sanitized);

  add({{"in:0", kIn}, {"a/b", kNative}, {"a:b", kNative}, {"out", kOut}});
  node(records.op("p", "Custom", {input("in:0")}, {native("a/b")}));
  node(records.op("q", "Custom", {native("a/b")}, {native("a:b")}));
  node(records.op("r", "Custom", {native("a:b")}, {output("out")}));
  ASSERT_EQ(finalize(), 0u);
  // a/b and a:b are one tensor for the backend; the read graph input comes again as a
  // dangling one, since its sanitized name was never entered.
  EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor), (Names{"in:0", "out", "a_b", "in_0"}));
  EXPECT_STREQ(backend.addedNode("p")->inputTensors[0].name, "in:0");
  EXPECT_EQ(backend.addedNode("r")->inputTensors[0].id, idOfCreated("a_b"));
}

TEST_F(CompositionTest, DanglingGraphInputsAreCreatedAgainUnlessUpdateable) {
  add(input("unread"));
  add(records.tensor("updateable", VRX_TENSORTYPE_UPDATEABLE_APP_WRITE, {2}));
  ASSERT_EQ(finalize(), 0u);
  EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor), (Names{"unread", "updateable", "unread"}));
  EXPECT_EQ(backend.count(BackendCall::AddNode), 0u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_DEBUG, "Calling createGraphTensor() with Dangling Input Tensor unread"));
  EXPECT_FALSE(logs.contains(VRX_GT_LOG_INFO, "all ops composed"));
}

TEST_F(CompositionTest, TensorParamIsCreatedLikeAnInputAndKeepsItsId) {
  add({{"in", kIn}, {"out", kOut}});
  node(records.op("pool", "PoolMax2d", {input("in")}, {output("out")},
                  {records.tensorU32("pool.stride", {2, 2}, {2})}));
  ASSERT_EQ(finalize(), 0u);
  const Vrx_OpConfig_t* pool = backend.addedNode("pool");
  ASSERT_EQ(pool->numOfParams, 1u);
  EXPECT_STREQ(pool->params[0].tensor.name, "pool_stride");
  EXPECT_EQ(pool->params[0].tensor.id, idOfCreated("pool_stride"));
  EXPECT_EQ(static_cast<const uint32_t*>(pool->params[0].tensor.clientBuf.data)[1], 2u);
}

TEST_F(CompositionTest, ContextTensorsGoToTheContextOnceInThatModeOnly) {
  add({{"in", kIn}, {"x", kNative}, {"out", kOut}});
  const float zero[4] = {};
  graph().addTensor(std::make_shared<modeltools::IrStaticTensor>(
      modeltools::TensorFields{.name = "ctx",
                               .shape = modeltools::IrTensorShape(modeltools::Dims{4}),
                               .kind = modeltools::tensorkind::kContext},
      zero, 16));
  node(records.op("a", "Custom", {input("in"), records.floatWeights("ctx", {4})}, {native("x")}));
  node(records.op("b", "Custom", {native("x"), records.floatWeights("ctx", {4})}, {output("out")}));
  ASSERT_EQ(composeDirectly(true), 0u);
  ASSERT_EQ(backend.namesOf(BackendCall::CreateContextTensor), (Names{"ctx"}));
  EXPECT_EQ(backend.addedNode("b")->inputTensors[1].id,
            backend.callsOf(BackendCall::CreateContextTensor)[0]->tensor->record().id);
  EXPECT_EQ(backend.createdTensor("ctx"), nullptr);
}

TEST_F(CompositionTest, BackendFailureStopsCompositionAndTheNextFinalizeComposesEverythingAgain) {
  chainSharingWeights();
  backend.failNext(BackendCall::ValidateOpConfig, 3110, "b");
  EXPECT_EQ(finalize(), 3110u);
  EXPECT_EQ(backend.namesOf(BackendCall::AddNode), (Names{"a"}));
  EXPECT_EQ(backend.createdTensor("y"), nullptr);
  EXPECT_FALSE(transformer()->composed());
  EXPECT_EQ(backend.count(BackendCall::GraphFinalize), 0u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "VrxGraphTransformer composeGraph failed. status = 0xc26"));
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "VrxGraphTransformer composeTargetBackendGraph failed. status = 0xc26"));

  const std::tuple<BackendCall, Vrx_Status_t, std::string> failures[] = {
      {BackendCall::CreateGraphTensor, 5555, ""}, {BackendCall::AddNode, 6666, ""}, {BackendCall::AddNode, 9, "c"}};
  for (const auto& [call, status, subject] : failures) {
    backend.failNext(call, status, subject);
    EXPECT_EQ(finalize(), status);
    EXPECT_FALSE(transformer()->composed());
  }
  backend.clear();
  ASSERT_EQ(finalize(), 0u);
  expectChainComposed({"w", "x", "y"});
}

TEST_F(CompositionTest, GraphOutputUnknownToTheClientIsReportedAndKeepsItsRecord) {
  add({{"in", kIn}, {"out", kOut}});
  node(records.op("a", "Custom", {input("in")}, {output("out")}));
  graph().updateTensorName("out", "renamed");  // as a careless pass would
  ASSERT_EQ(finalize(), 0u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "Graph I/O tensor renamed of op a was not added by the client"));
  const Vrx_Tensor_t& sent = backend.addedNode("a")->outputTensors[0];
  EXPECT_STREQ(sent.name, "renamed");
  EXPECT_EQ(sent.rank, 2u);
}

TEST_F(CompositionTest, DumpRecordsAreKeptForComposedNodesAndDumpsFail) {
  GraphTransformerConfig config;
  config.dumpGraphs = 1;
  create(config);
  chainSharingWeights();
  EXPECT_EQ(composeDirectly(false), 1100u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "VrxGraphTransformer dumping JSON Not supported"));
  const auto& dumps = transformer()->opDumpRecords();
  ASSERT_EQ(dumps.size(), 6u);  // three from addNode, three from composition
  EXPECT_EQ(dumps[3].name, "a");
  EXPECT_EQ(dumps[3].inputs[1].name, "w");
}

TEST_F(CompositionTest, MissingBackendFunctionIsRefused) {
  chainSharingWeights();
  VrxBackendFunctionTable table = *backend.table();
  table.addNode = nullptr;
  EXPECT_EQ(VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, &table), 1100u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "backend function table has no addNode"));
}

}  // namespace
}  // namespace vrx::test
