// Composition into a recording backend: tensors created once, graph I/O under the client's
// IDs, sanitized names, dangling inputs, backend failures and a finalize that tries again.

#include <gtest/gtest.h>

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
  void node(const Vrx_OpConfig_t& config) {
    ASSERT_EQ(VrxGraphTransformer_addNode(backend.graphHandle(), config), 0u);
    records.scribble();
  }
  Vrx_Status_t finalize() {
    return VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, backend.table());
  }
  Vrx_Status_t composeDirectly(bool useContextTensors) {
    auto transformer = findTransformer(backend.graphHandle());
    return transformer->composeGraph(transformer->irGraphBuilder()->getIrGraph(), backend.graphHandle(),
                                     *backend.table(), useContextTensors);
  }
  modeltools::IrGraph& graph() { return *findTransformer(backend.graphHandle())->irGraphBuilder()->getIrGraph(); }
  Vrx_Tensor_t native(const std::string& name) { return records.tensor(name, VRX_TENSORTYPE_NATIVE, {1, 4}); }
  Vrx_Tensor_t input(const std::string& name) { return records.tensor(name, VRX_TENSORTYPE_APP_WRITE, {1, 4}); }
  Vrx_Tensor_t output(const std::string& name) { return records.tensor(name, VRX_TENSORTYPE_APP_READ, {1, 4}); }
  uint32_t idOfCreated(const std::string& name) { return backend.createdTensor(name)->id; }

  // in -> a(in, w) -> x -> b(x, w) -> y -> c(y, w) -> out
  void chainSharingWeights() {
    add(input("in"));
    add(native("x"));
    add(native("y"));
    add(output("out"));
    add(records.floatWeights("w", {4}));
    node(records.op("a", "Custom", {input("in"), records.floatWeights("w", {4})}, {native("x")}));
    node(records.op("b", "Custom", {native("x"), records.floatWeights("w", {4})}, {native("y")}));
    node(records.op("c", "Custom", {native("y"), records.floatWeights("w", {4})}, {output("out")}));
  }

  RecordingBackend backend;
  LogCapture logs;
  Records records;
};

TEST_F(CompositionTest, SharedTensorIsCreatedOnceAndEveryRecordCarriesItsId) {
  chainSharingWeights();
  ASSERT_EQ(finalize(), 0u);
  // "in" and "out" came to the backend when the client added them.
  EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor), (std::vector<std::string>{"in", "out", "w", "x", "y"}));
  EXPECT_EQ(backend.namesOf(BackendCall::ValidateOpConfig), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(backend.namesOf(BackendCall::AddNode), (std::vector<std::string>{"a", "b", "c"}));
  for (const char* op : {"a", "b", "c"}) EXPECT_EQ(backend.addedNode(op)->inputTensors[1].id, idOfCreated("w")) << op;
  EXPECT_EQ(backend.addedNode("b")->inputTensors[0].id, idOfCreated("x"));
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_DEBUG, "Tensor w has already been created, updating ID."));
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_INFO, "VrxGraphTransformer: all ops composed into backend graph"));
  EXPECT_TRUE(findTransformer(backend.graphHandle())->composed());
}

TEST_F(CompositionTest, GraphInputsAndOutputsGoBackAsTheClientCreatedThem) {
  chainSharingWeights();
  ASSERT_EQ(finalize(), 0u);
  const Vrx_OpConfig_t* a = backend.addedNode("a");
  EXPECT_STREQ(a->inputTensors[0].name, "in");
  EXPECT_EQ(a->inputTensors[0].id, RecordingBackend::kFirstTensorId);
  EXPECT_EQ(a->inputTensors[1].id, idOfCreated("w"));
  EXPECT_EQ(a->inputTensors[1].clientBuf.dataSize, 16u);
  const Vrx_OpConfig_t* c = backend.addedNode("c");
  EXPECT_EQ(c->outputTensors[0].id, RecordingBackend::kFirstTensorId + 1);
  EXPECT_EQ(c->outputTensors[0].type, static_cast<uint32_t>(VRX_TENSORTYPE_APP_READ));
}

TEST_F(CompositionTest, NamesAreSanitizedAndNamesThatFoldTogetherShareATensor) {
  EXPECT_EQ(sanitizeTensorName("conv/1:0"), "conv_1_0");
  EXPECT_EQ(sanitizeTensorName("1x"), "_1x");
  EXPECT_EQ(sanitizeTensorName(""), "_");
  EXPECT_EQ(sanitizeTensorName("_ok9"), "_ok9");

  add(input("in:0"));
  add(native("a/b"));
  add(native("a:b"));
  add(output("out"));
  node(records.op("p", "Custom", {input("in:0")}, {native("a/b")}));
  node(records.op("q", "Custom", {native("a/b")}, {native("a:b")}));
  node(records.op("r", "Custom", {native("a:b")}, {output("out")}));
  ASSERT_EQ(finalize(), 0u);
  // a/b and a:b are one tensor for the backend; the read graph input comes again as a
  // dangling one, since its sanitized name was never entered.
  EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor), (std::vector<std::string>{"in:0", "out", "a_b", "in_0"}));
  EXPECT_STREQ(backend.addedNode("p")->inputTensors[0].name, "in:0");
  EXPECT_EQ(backend.addedNode("r")->inputTensors[0].id, idOfCreated("a_b"));
}

TEST_F(CompositionTest, DanglingGraphInputsAreCreatedAgainUnlessUpdateable) {
  add(input("unread"));
  add(records.tensor("updateable", VRX_TENSORTYPE_UPDATEABLE_APP_WRITE, {2}));
  ASSERT_EQ(finalize(), 0u);
  EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor),
            (std::vector<std::string>{"unread", "updateable", "unread"}));
  EXPECT_EQ(backend.count(BackendCall::AddNode), 0u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_DEBUG, "Calling createGraphTensor() with Dangling Input Tensor unread"));
  EXPECT_FALSE(logs.contains(VRX_GT_LOG_INFO, "all ops composed"));
}

TEST_F(CompositionTest, TensorParamIsCreatedLikeAnInputAndKeepsItsId) {
  add(input("in"));
  add(output("out"));
  node(
      records.op("pool", "PoolMax2d", {input("in")}, {output("out")}, {records.tensorU32("pool.stride", {2, 2}, {2})}));
  ASSERT_EQ(finalize(), 0u);
  const Vrx_OpConfig_t* pool = backend.addedNode("pool");
  ASSERT_EQ(pool->numOfParams, 1u);
  EXPECT_STREQ(pool->params[0].tensor.name, "pool_stride");
  EXPECT_EQ(pool->params[0].tensor.id, idOfCreated("pool_stride"));
  EXPECT_EQ(static_cast<const uint32_t*>(pool->params[0].tensor.clientBuf.data)[1], 2u);
}

TEST_F(CompositionTest, ContextTensorsGoToTheContextOnceInThatModeOnly) {
  add(input("in"));
  add(native("x"));
  add(output("out"));
  const float zero[4] = {};
  graph().addTensor(std::make_shared<modeltools::IrStaticTensor>(
      modeltools::TensorFields{.name = "ctx",
                             .shape = modeltools::IrTensorShape(modeltools::Dims{4}),
                             .kind = modeltools::tensorkind::kContext},
      zero, 16));
  node(records.op("a", "Custom", {input("in"), records.floatWeights("ctx", {4})}, {native("x")}));
  node(records.op("b", "Custom", {native("x"), records.floatWeights("ctx", {4})}, {output("out")}));
  ASSERT_EQ(composeDirectly(true), 0u);
  ASSERT_EQ(backend.namesOf(BackendCall::CreateContextTensor), (std::vector<std::string>{"ctx"}));
  EXPECT_EQ(backend.addedNode("b")->inputTensors[1].id,
            backend.callsOf(BackendCall::CreateContextTensor)[0]->tensor->record().id);
  EXPECT_EQ(backend.createdTensor("ctx"), nullptr);
}

TEST_F(CompositionTest, BackendFailureStopsCompositionWithItsStatus) {
  chainSharingWeights();
  backend.failNext(BackendCall::ValidateOpConfig, 3110, "b");
  EXPECT_EQ(finalize(), 3110u);
  EXPECT_EQ(backend.namesOf(BackendCall::AddNode), (std::vector<std::string>{"a"}));
  EXPECT_EQ(backend.createdTensor("y"), nullptr);
  EXPECT_FALSE(findTransformer(backend.graphHandle())->composed());
  EXPECT_EQ(backend.count(BackendCall::GraphFinalize), 0u);
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "VrxGraphTransformer composeGraph failed. status = 0xc26"));
  EXPECT_TRUE(logs.contains(VRX_GT_LOG_ERROR, "VrxGraphTransformer composeTargetBackendGraph failed. status = 0xc26"));

  for (auto [call, status] : {std::pair{BackendCall::CreateGraphTensor, 5555u}, {BackendCall::AddNode, 6666u}}) {
    backend.failNext(call, status);
    EXPECT_EQ(finalize(), status);
    EXPECT_FALSE(findTransformer(backend.graphHandle())->composed());
  }
}

TEST_F(CompositionTest, FinalizeAfterAFailureComposesEverythingAgain) {
  chainSharingWeights();
  backend.failNext(BackendCall::AddNode, 9, "c");
  ASSERT_EQ(finalize(), 9u);
  backend.clear();
  ASSERT_EQ(finalize(), 0u);
  EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor), (std::vector<std::string>{"w", "x", "y"}));
  EXPECT_EQ(backend.namesOf(BackendCall::AddNode), (std::vector<std::string>{"a", "b", "c"}));
  const Vrx_OpConfig_t* a = backend.addedNode("a");
  EXPECT_STREQ(a->inputTensors[0].name, "in");
  EXPECT_EQ(a->inputTensors[1].id, idOfCreated("w"));
  EXPECT_EQ(backend.addedNode("c")->outputTensors[0].id, RecordingBackend::kFirstTensorId + 1);
}

TEST_F(CompositionTest, GraphOutputUnknownToTheClientIsReportedAndKeepsItsRecord) {
  add(input("in"));
  add(output("out"));
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
  const auto& dumps = findTransformer(backend.graphHandle())->opDumpRecords();
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
