// The five exports through a recording backend: handles, refusals, the two finalize paths.

#include <gtest/gtest.h>

#include <cstring>

#include "HandleMap.hpp"
#include "support/LogCapture.hpp"
#include "support/Records.hpp"
#include "support/RecordingBackend.hpp"

namespace vrx::test {
namespace {

using core::graphtransformer::findTransformer;

class ExportsTest : public ::testing::Test {
 protected:
  void TearDown() override { VrxGraphTransformer_free(); }

  Vrx_Status_t create(const GraphTransformerConfig& config = {}, const VrxBackendFunctionTable* table = nullptr) {
    return VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), backend.graphHandle(),
                                           logs.handle(), "net", table ? table : backend.table(), VRX_GT_BACKEND_NXA,
                                           &config);
  }
  Vrx_Status_t finalize() {
    return VrxGraphTransformer_finalizeGraph(backend.graphHandle(), &finalizeArg, nullptr, backend.table());
  }
  Vrx_Status_t addTensor(Vrx_Tensor_t tensor) {
    const Vrx_Status_t status = VrxGraphTransformer_addGraphTensor(backend.graphHandle(), &tensor);
    lastId = tensor.id;
    return status;
  }
  // Every export that takes the handle answers 1100.
  void expectUnknown(Vrx_GraphHandle_t handle) {
    Vrx_Tensor_t input = records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {1, 4});
    EXPECT_EQ(VrxGraphTransformer_addGraphTensor(handle, &input), 1100u);
    EXPECT_EQ(VrxGraphTransformer_addNode(handle, records.op("n", "Relu", {input}, {input})), 1100u);
    EXPECT_EQ(VrxGraphTransformer_finalizeGraph(handle, nullptr, nullptr, backend.table()), 1100u);
  }

  RecordingBackend backend;
  LogCapture logs;
  Records records;
  int finalizeArg = 0;
  uint32_t lastId = 0;
};

TEST_F(ExportsTest, CreateGraphEntersTransformerAndASecondReplacesIt) {
  ASSERT_EQ(create(), 0u);
  std::weak_ptr<core::graphtransformer::VrxGraphTransformer> first = findTransformer(backend.graphHandle());
  ASSERT_FALSE(first.expired());
  EXPECT_NE(first.lock()->irGraphBuilder(), nullptr);
  EXPECT_TRUE(logs.contains(3, "VrxGraphTransformer initialize done"));
  ASSERT_EQ(create(), 0u);
  EXPECT_TRUE(first.expired());
  EXPECT_NE(findTransformer(backend.graphHandle()), nullptr);
}

TEST_F(ExportsTest, NullHandlesAreRefusedAndNothingIsEntered) {
  GraphTransformerConfig config;
  int other = 0;
  const std::tuple<void*, void*, void*> handles[] = {
      {nullptr, &other, backend.graphHandle()}, {&other, nullptr, backend.graphHandle()}, {&other, &other, nullptr}};
  for (const auto& [backendHandle, context, graph] : handles) {
    EXPECT_EQ(VrxGraphTransformer_createGraph(backendHandle, context, graph, logs.handle(), "g", backend.table(), 1,
                                              &config),
              1100u);
  }
  EXPECT_EQ(findTransformer(backend.graphHandle()), nullptr);
  EXPECT_EQ(findTransformer(nullptr), nullptr);
  EXPECT_TRUE(logs.contains(1, "VrxGraphTransformer initialize failed. status = 0x44c"));
}

TEST_F(ExportsTest, UnknownAndFreedHandlesAreAnswered1100ByEveryExport) {
  expectUnknown(backend.graphHandle());
  EXPECT_TRUE(backend.calls().empty());

  RecordingBackend second;
  GraphTransformerConfig config;
  ASSERT_EQ(create(), 0u);
  ASSERT_EQ(VrxGraphTransformer_createGraph(second.backendHandle(), second.contextHandle(), second.graphHandle(), 0,
                                            "other", second.table(), 3, &config),
            0u);
  EXPECT_EQ(VrxGraphTransformer_free(), 0u);
  for (Vrx_GraphHandle_t handle : {backend.graphHandle(), second.graphHandle()}) expectUnknown(handle);
  EXPECT_EQ(VrxGraphTransformer_free(), 0u);
}

TEST_F(ExportsTest, NullTensorAndNullFunctionTableAreRefused) {
  ASSERT_EQ(create(), 0u);
  EXPECT_EQ(VrxGraphTransformer_addGraphTensor(backend.graphHandle(), nullptr), 1100u);
  EXPECT_TRUE(logs.contains(1, "Found NULL vrxTensor"));
  EXPECT_EQ(VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, nullptr), 1100u);
  EXPECT_FALSE(findTransformer(backend.graphHandle())->composed());
}

TEST_F(ExportsTest, GraphInputsAndOutputsReachBackendAtOnceAndTheIdComesBack) {
  ASSERT_EQ(create(), 0u);
  for (uint32_t type : {VRX_TENSORTYPE_APP_WRITE, VRX_TENSORTYPE_APP_READ, VRX_TENSORTYPE_NATIVE,
                        VRX_TENSORTYPE_UPDATEABLE_APP_WRITE, VRX_TENSORTYPE_UPDATEABLE_APP_READ,
                        VRX_TENSORTYPE_UPDATEABLE_NATIVE}) {
    ASSERT_EQ(addTensor(records.tensor("t" + std::to_string(type), type, {2, 3})), 0u);
  }
  EXPECT_EQ(backend.namesOf(BackendCall::CreateGraphTensor), (std::vector<std::string>{"t0", "t1", "t8", "t9"}));

  // The backend's ID comes back in the client's record and in the transformer's copy.
  ASSERT_EQ(addTensor(records.tensor("out", VRX_TENSORTYPE_APP_READ, {4})), 0u);
  const auto& copies = findTransformer(backend.graphHandle())->graphIoTensors();
  ASSERT_TRUE(copies.contains("out"));
  EXPECT_EQ(copies.at("out").record().id, lastId);
  EXPECT_EQ(lastId, RecordingBackend::kFirstTensorId + 4);
}

TEST_F(ExportsTest, GraphIoCopyKeepsFirstRecordAndOutlivesClientMemory) {
  ASSERT_EQ(create(), 0u);
  ASSERT_EQ(addTensor(records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {1, 8, 8, 3})), 0u);
  addTensor(records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {5}));
  records.scribble();

  const auto& copy = findTransformer(backend.graphHandle())->graphIoTensors().at("in").record();
  EXPECT_STREQ(copy.name, "in");
  ASSERT_EQ(copy.rank, 4u);
  EXPECT_EQ(std::vector<uint32_t>(copy.dimensions, copy.dimensions + 4), (std::vector<uint32_t>{1, 8, 8, 3}));
  EXPECT_EQ(copy.id, RecordingBackend::kFirstTensorId);
}

TEST_F(ExportsTest, FailingCreateGraphTensorDoesNotChangeStatus) {
  ASSERT_EQ(create(), 0u);
  backend.failNext(BackendCall::CreateGraphTensor, 4242);
  EXPECT_EQ(addTensor(records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {1, 4})), 0u);
  ASSERT_EQ(backend.count(BackendCall::CreateGraphTensor), 1u);
  EXPECT_EQ(backend.calls()[0].status, 4242u);
}

TEST_F(ExportsTest, FunctionTableAndConfigurationAreCopiedAtCreationAndNullConfigMeansEmpty) {
  VrxBackendFunctionTable clientTable = *backend.table();
  GraphTransformerConfig config;
  config.allowedPasses = {"MatchGelu"};
  config.additionalPassList = {"x"};
  ASSERT_EQ(create(config, &clientTable), 0u);
  std::memset(static_cast<void*>(&clientTable), 0, sizeof clientTable);
  config.allowedPasses.clear();
  EXPECT_EQ(addTensor(records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {1})), 0u);
  EXPECT_EQ(backend.count(BackendCall::CreateGraphTensor), 1u);
  auto transformer = findTransformer(backend.graphHandle());
  EXPECT_EQ(transformer->allowedPasses(), (std::vector<std::string>{"MatchGelu"}));
  EXPECT_EQ(transformer->additionalPassList(), (std::vector<std::string>{"x"}));

  ASSERT_EQ(VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), backend.graphHandle(),
                                            0, nullptr, backend.table(), 1, nullptr),
            0u);
  EXPECT_TRUE(findTransformer(backend.graphHandle())->allowedPasses().empty());
}

TEST_F(ExportsTest, FirstFinalizeComposesLaterOnesOnlyFinalize) {
  ASSERT_EQ(create(), 0u);
  backend.setFinalizeStatus(77);
  EXPECT_EQ(finalize(), 77u);
  EXPECT_TRUE(findTransformer(backend.graphHandle())->composed());
  const size_t callsAfterFirst = backend.calls().size();

  EXPECT_EQ(finalize(), 77u);
  ASSERT_EQ(backend.calls().size(), callsAfterFirst + 1);
  const RecordedCall& last = backend.calls().back();
  EXPECT_EQ(last.kind, BackendCall::GraphFinalize);
  EXPECT_EQ(last.finalizeArg1, &finalizeArg);
  EXPECT_EQ(backend.count(BackendCall::AddNode), 0u);
  EXPECT_TRUE(logs.contains(3, "graph already composed"));
}

TEST_F(ExportsTest, DumpRecordsKeepNodesWhileDumpsAreAsked) {
  GraphTransformerConfig config;
  config.dumpGraphs = 1;
  ASSERT_EQ(create(config), 0u);
  Vrx_Tensor_t in = records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {1, 4});
  Vrx_Tensor_t out = records.tensor("out", VRX_TENSORTYPE_APP_READ, {1, 4});
  VrxGraphTransformer_addNode(backend.graphHandle(),
                              records.op("relu", "Relu", {in}, {out}, {records.scalarU32("p", 1)}));
  records.scribble();
  const auto& dumps = findTransformer(backend.graphHandle())->opDumpRecords();
  ASSERT_EQ(dumps.size(), 1u);
  EXPECT_EQ(dumps[0].name, "relu");
  EXPECT_EQ(dumps[0].inputs[0].dims, (std::vector<uint32_t>{1, 4}));
  EXPECT_STREQ(dumps[0].outputs[0].record->record().name, "out");
  EXPECT_EQ(dumps[0].paramNames, (std::vector<std::string>{"p"}));
}

// The backend frees every transformer while finalize is running; the call still holds its own.
Vrx_Status_t finalizeThatFrees(Vrx_GraphHandle_t, void*, void*) { return VrxGraphTransformer_free() + 5; }

TEST_F(ExportsTest, RunningExportKeepsTransformerAliveThroughFree) {
  VrxBackendFunctionTable table = *backend.table();
  table.graphFinalize = finalizeThatFrees;
  ASSERT_EQ(create({}, &table), 0u);
  EXPECT_EQ(VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, &table), 5u);
  EXPECT_EQ(findTransformer(backend.graphHandle()), nullptr);
}

TEST(DataTypeNames, KnownValuesHaveTheirNameOthersUnknown) {
  for (const auto& [type, name] : {std::pair<uint32_t, const char*>{VRX_DATATYPE_FLOAT_32, "VRX_DATATYPE_FLOAT_32"},
                                   {VRX_DATATYPE_UFIXED_POINT_8, "VRX_DATATYPE_UFIXED_POINT_8"},
                                   {VRX_DATATYPE_UNDEFINED, "VRX_DATATYPE_UNDEFINED"},
                                   {3, "UNKNOWN"},
                                   {563, "UNKNOWN"}}) {
    EXPECT_STREQ(VrxGraphTransformer_dataTypeName(type), name) << type;
  }
}

}  // namespace
}  // namespace vrx::test
