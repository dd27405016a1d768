// A graph in through the exports and out in the backend, with no pass allowed: every field of
// every record and every quantization encoding comes back as it came, or in the backend form
// the translation gives it. Client memory is overwritten after every call.

#include <gtest/gtest.h>

#include <optional>
#include <span>
#include <tuple>

#include "modeltools/ir/DataTypes.hpp"
#include "RecordCopy.hpp"
#include "support/RecordingBackend.hpp"
#include "support/Records.hpp"

namespace vrx::test {
namespace {

using core::graphtransformer::TensorRecordCopy;

size_t blockPairs(const uint32_t* blockSize, std::span<const uint32_t> dims) {
  size_t pairs = 1;
  for (size_t i = 0; i < dims.size(); ++i) pairs *= (dims[i] + blockSize[i] - 1) / blockSize[i];
  return pairs;
}

// Every value an encoding holds, in one list, so two records compare whole; -1 marks a null array.
std::vector<double> flatten(const Vrx_QuantizeParams_t& q, std::span<const uint32_t> dims) {
  std::vector<double> v;
  auto add = [&](auto... items) { (v.push_back(static_cast<double>(items)), ...); };
  auto values = [&](const auto* p, size_t n) {
    if (p == nullptr) return add(-1);
    for (size_t i = 0; i < n; ++i) add(p[i]);
  };
  auto pairs = [&](const auto* p, size_t n) {
    if (p == nullptr) return add(-1);
    for (size_t i = 0; i < n; ++i) add(p[i].scale, p[i].offset);
  };
  auto scalesAndOffsets = [&](const auto& e) {
    add(e.numElements);
    values(e.scales, e.numElements);
    values(e.offsets, e.numElements);
  };
  add(q.encodingDefinition, q.quantizationEncoding);
  switch (q.quantizationEncoding) {
    case 0:
      add(q.scaleOffsetEncoding.scale, q.scaleOffsetEncoding.offset);
      break;
    case 1:
      add(q.axisScaleOffsetEncoding.axis, q.axisScaleOffsetEncoding.numScaleOffsets);
      pairs(q.axisScaleOffsetEncoding.scaleOffset, q.axisScaleOffsetEncoding.numScaleOffsets);
      break;
    case 2:
      add(q.bwScaleOffsetEncoding.bitwidth, q.bwScaleOffsetEncoding.scale, q.bwScaleOffsetEncoding.offset);
      break;
    case 3:
      add(q.bwAxisScaleOffsetEncoding.bitwidth, q.bwAxisScaleOffsetEncoding.axis);
      scalesAndOffsets(q.bwAxisScaleOffsetEncoding);
      break;
    case 4:
    case 7:
      values(q.blockEncoding.blockSize, dims.size());
      if (q.blockEncoding.blockSize) pairs(q.blockEncoding.scaleOffset, blockPairs(q.blockEncoding.blockSize, dims));
      break;
    case 11:
      add(q.bwBlockEncoding.bitwidth);
      values(q.bwBlockEncoding.blockSize, dims.size());
      pairs(q.bwBlockEncoding.scaleOffset, blockPairs(q.bwBlockEncoding.blockSize, dims));
      break;
    case 5: {
      const auto& e = *q.blockwiseExpansion;
      const size_t channels = dims[e.axis];
      add(e.axis, e.numBlocksPerAxis, e.blockScaleBitwidth, e.blockScaleStorageType);
      pairs(e.scaleOffsets, channels);
      if (e.blockScaleStorageType == 0) values(e.blockScales8, channels * e.numBlocksPerAxis);
      if (e.blockScaleStorageType == 1) values(e.blockScales16, channels * e.numBlocksPerAxis);
      break;
    }
    case 6: {
      const auto& e = *q.groupedBwEncoding;
      add(e.bitwidth, e.axis, e.groupParam0, e.groupParam1, e.groupFlag0, e.groupFlag1, e.groupFlag2);
      scalesAndOffsets(e);
      break;
    }
    case 8:
      add(q.bwAxisScaleOffsetMapped->bitwidth, q.bwAxisScaleOffsetMapped->axis, q.bwAxisScaleOffsetMapped->mappedValue);
      scalesAndOffsets(*q.bwAxisScaleOffsetMapped);
      break;
  }
  return v;
}

std::span<const uint32_t> dimsOf(const Vrx_Tensor_t& t) { return {t.dimensions, t.dimensions ? t.rank : 0}; }

template <class T>
std::vector<T> list(const T* p, size_t n) {
  return p == nullptr ? std::vector<T>{} : std::vector<T>(p, p + n);
}

auto sparseFields(const Vrx_SparseParams_t& s) {
  return std::tuple(s.layout, s.numSpecifiedElements, s.numSparseDimensions);
}

// Every field the backend reads, compared with what the client sent.
void expectSameRecord(const Vrx_Tensor_t& want, const Vrx_Tensor_t& got) {
  const std::string name = want.name;
  EXPECT_STREQ(got.name, want.name);
  EXPECT_EQ(std::tuple(got.version, got.type, got.dataFormat, got.dataType, got.memType),
            std::tuple(2u, want.type, want.dataFormat, want.dataType, 0u))
      << name;
  EXPECT_EQ(flatten(got.quantizeParams, dimsOf(got)), flatten(want.quantizeParams, dimsOf(want))) << name;
  EXPECT_EQ(list(got.dimensions, got.rank), list(want.dimensions, want.rank)) << name;
  EXPECT_EQ(list(static_cast<const uint8_t*>(got.clientBuf.data), got.clientBuf.dataSize),
            list(static_cast<const uint8_t*>(want.clientBuf.data), want.clientBuf.dataSize))
      << name;
  EXPECT_EQ(list(got.isDynamicDimensions, got.rank), list(want.isDynamicDimensions, want.rank)) << name;
  EXPECT_EQ(sparseFields(got.sparseParams), sparseFields(want.sparseParams)) << name;
}

class RoundTripTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GraphTransformerConfig config;
    ASSERT_EQ(VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), backend.graphHandle(),
                                              0, "net", backend.table(), VRX_GT_BACKEND_NXA, &config),
              0u);
    add(records.tensor("in", VRX_TENSORTYPE_APP_WRITE, {2, 4}));
  }
  void TearDown() override { VrxGraphTransformer_free(); }

  // Adds the tensor and keeps what the backend should get back for it.
  void add(const Vrx_Tensor_t& tensor, std::optional<Vrx_Tensor_t> expected = std::nullopt) {
    expectedRecords.emplace(tensor.name, TensorRecordCopy(expected.value_or(tensor)));
    Vrx_Tensor_t copy = tensor;
    ASSERT_EQ(VrxGraphTransformer_addGraphTensor(backend.graphHandle(), &copy), 0u);
    records.scribble();
  }
  void node(const Vrx_OpConfig_t& config) {
    ASSERT_EQ(VrxGraphTransformer_addNode(backend.graphHandle(), config), 0u);
    records.scribble();
  }
  void finalizeAndCompare() {
    ASSERT_EQ(VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, backend.table()), 0u);
    for (const auto& [name, record] : expectedRecords) {
      if (name == "in") continue;
      const Vrx_Tensor_t* got = backend.createdTensor(name);
      ASSERT_NE(got, nullptr) << name;
      expectSameRecord(record.record(), *got);
    }
    // The records inside the nodes are the same as those the tensors were created with.
    for (const auto* call : backend.callsOf(BackendCall::AddNode)) {
      const Vrx_OpConfig_t& op = call->op->record();
      for (const auto& [records, count] :
           {std::pair{op.inputTensors, op.numOfInputs}, {op.outputTensors, op.numOfOutputs}}) {
        for (uint32_t i = 0; i < count; ++i) {
          if (records[i].type == VRX_TENSORTYPE_APP_WRITE) continue;
          expectSameRecord(expectedRecords.at(records[i].name).record(), records[i]);
        }
      }
    }
  }

  RecordingBackend backend;
  Records records;
  std::map<std::string, TensorRecordCopy> expectedRecords;
};

TEST_F(RoundTripTest, EveryTensorFieldComesBackAsItCame) {
  Vrx_Tensor_t dynamic = records.tensor("dynamic", VRX_TENSORTYPE_NATIVE, {2, 4, 3});
  dynamic.isDynamicDimensions = records.array<uint8_t>({0, 1, 1});
  add(dynamic);
  Vrx_Tensor_t sparse = records.tensor("sparse", VRX_TENSORTYPE_NATIVE, {16, 16});
  sparse.sparseParams = {VRX_SPARSE_LAYOUT_HYBRID_COO, 40, 2};
  Vrx_Tensor_t sparseBack = sparse;
  sparseBack.dataFormat = VRX_TENSOR_DATA_FORMAT_SPARSE;  // the backend marks sparse tensors by format
  add(sparse, sparseBack);
  add(records.tensor("updNative", VRX_TENSORTYPE_UPDATEABLE_NATIVE, {2, 4}, VRX_DATATYPE_INT_32));
  Vrx_Tensor_t updStatic = records.staticTensor("updStatic", {2, 2}, VRX_DATATYPE_UINT_8, {9, 8, 7, 6});
  updStatic.type = VRX_TENSORTYPE_UPDATEABLE_STATIC;
  add(updStatic);
  add(records.staticTensor("bytes", {3}, VRX_DATATYPE_INT_16, {1, 2, 3, 4, 5, 6}));
  add(records.tensor("scalarOut", VRX_TENSORTYPE_NATIVE, {}, VRX_DATATYPE_BOOL_8));

  node(records.op(
      "n", "Custom",
      {records.tensor("in", 0, {2, 4}), records.tensor("updStatic", 6, {2, 2}), records.tensor("bytes", 4, {3})},
      {records.tensor("dynamic", 3, {}), records.tensor("sparse", 3, {}), records.tensor("updNative", 7, {}),
       records.tensor("scalarOut", 3, {})},
      {}, "my.package"));
  finalizeAndCompare();
}

constexpr uint32_t kDefined = VRX_DEFINITION_DEFINED;

struct QuantCase {
  std::string name;
  uint32_t dataType;
  Vrx_QuantizeParams_t sent;
  std::optional<Vrx_QuantizeParams_t> back = {};  // when the translation changes the form
};

std::vector<QuantCase> quantCases(Records& r) {
  auto pairs = [&](std::vector<Vrx_ScaleOffset_t> p) { return r.array(std::move(p)); };
  Vrx_BlockwiseExpansion_t expansion8{0, pairs({{0.5f, 0}, {0.75f, 0}}), 2, 4, VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_8,
                                      {r.array<uint8_t>({1, 2, 3, 4})}};
  Vrx_BlockwiseExpansion_t expansion16 = expansion8;
  expansion16.blockScaleStorageType = VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16;
  expansion16.blockScales16 = r.array<uint16_t>({100, 200, 300, 400});
  const Vrx_QuantizeParams_t block{
      kDefined, 4, {.blockEncoding = {r.array<uint32_t>({2, 1}), {pairs({{1.f, 1}, {2.f, 2}, {3.f, 3}, {4.f, 4}})}}}};
  return {
      {"scaleOffset", VRX_DATATYPE_UFIXED_POINT_8, {kDefined, 0, {.scaleOffsetEncoding = {0.5f, 128}}}},
      {"axis", VRX_DATATYPE_SFIXED_POINT_8,
       {kDefined, 1, {.axisScaleOffsetEncoding = {1, 4, pairs({{0.1f, 1}, {0.2f, -2}, {0.3f, 3}, {0.4f, -4}})}}}},
      {"bitwidth", VRX_DATATYPE_UFIXED_POINT_16, {kDefined, 2, {.bwScaleOffsetEncoding = {12, 0.125f, -7}}}},
      {"bitwidthAxis", VRX_DATATYPE_SFIXED_POINT_8,
       {kDefined, 3,
        {.bwAxisScaleOffsetEncoding = {8, 0, 2, r.array<float>({0.5f, 0.25f}), r.array<int32_t>({3, -3})}}}},
      {"block", VRX_DATATYPE_SFIXED_POINT_4, block},
      // Eight-bit blocks come back in the bitwidth form with float offsets.
      {"block8", VRX_DATATYPE_SFIXED_POINT_8, block,
       Vrx_QuantizeParams_t{kDefined, 11,
                            {.bwBlockEncoding = {8, r.array<uint32_t>({2, 1}),
                                                 r.array<Vrx_FloatScaleOffset_t>(
                                                     {{1.f, 1.f}, {2.f, 2.f}, {3.f, 3.f}, {4.f, 4.f}})}}}},
      {"expansion8", VRX_DATATYPE_SFIXED_POINT_8,
       {kDefined, 5, {.blockwiseExpansion = r.array<Vrx_BlockwiseExpansion_t>({expansion8})}}},
      {"expansion16", VRX_DATATYPE_SFIXED_POINT_8,
       {kDefined, 5, {.blockwiseExpansion = r.array<Vrx_BlockwiseExpansion_t>({expansion16})}}},
      {"grouped", VRX_DATATYPE_SFIXED_POINT_4,
       {kDefined, 6,
        {.groupedBwEncoding = r.array<Vrx_GroupedBwEncoding_t>(
             {{4, 1, 2, r.array<float>({0.5f, 1.5f}), r.array<int32_t>({-1, 1}), 7, 9, 1, 0, 1}})}}},
      {"mapped", VRX_DATATYPE_UFIXED_POINT_8,
       {kDefined, 8,
        {.bwAxisScaleOffsetMapped = r.array<Vrx_BwAxisScaleOffsetMapped_t>(
             {{8, 1, 3, 2, r.array<float>({0.5f, 0.25f}), r.array<int32_t>({5, 6})}})}}},
      // Float blocks have no backend form here: the encoding goes back without its fields.
      {"floatBlock", VRX_DATATYPE_UFIXED_POINT_8,
       {kDefined, 7,
        {.blockEncoding = {r.array<uint32_t>({2, 1}),
                           {.floatScaleOffset = r.array<Vrx_FloatScaleOffset_t>(
                                {{1.f, 0.5f}, {2.f, 1.5f}, {3.f, 2.5f}, {4.f, 3.5f}})}}}},
       Vrx_QuantizeParams_t{kDefined, 7, {}}},
      // A float tensor carries no encoding, whatever its record says.
      {"float", VRX_DATATYPE_FLOAT_32, {kDefined, 0, {.scaleOffsetEncoding = {0.5f, 3}}},
       Vrx_QuantizeParams_t{VRX_DEFINITION_UNDEFINED, VRX_QUANTIZATION_ENCODING_UNDEFINED, {}}},
  };
}

TEST_F(RoundTripTest, EveryQuantizationEncodingComesBackInItsBackendForm) {
  testing::internal::CaptureStderr();
  const size_t count = quantCases(records).size();
  for (size_t i = 0; i < count; ++i) {
    // Every call scribbles over the client's records: a case's records are made anew each time.
    auto tensor = [&](const char* prefix, uint32_t type, bool back) {
      const QuantCase c = quantCases(records)[i];
      const uint32_t width = std::max(modeltools::dataTypeByteWidth(c.dataType), 1u);
      Vrx_Tensor_t t = type == VRX_TENSORTYPE_STATIC ? records.staticTensor(prefix + c.name, {2, 4}, c.dataType,
                                                                            std::vector<uint8_t>(8 * width, 0x5A))
                                                     : records.tensor(prefix + c.name, type, {2, 4}, c.dataType);
      t.quantizeParams = back && c.back ? *c.back : c.sent;
      return t;
    };
    add(tensor("w_", VRX_TENSORTYPE_STATIC, false), tensor("w_", VRX_TENSORTYPE_STATIC, true));
    add(tensor("y_", VRX_TENSORTYPE_NATIVE, false), tensor("y_", VRX_TENSORTYPE_NATIVE, true));
    const std::string name = quantCases(records)[i].name;
    node(records.op("op_" + name, "Custom", {records.tensor("in", 0, {2, 4}), records.tensor("w_" + name, 4, {})},
                    {records.tensor("y_" + name, 3, {})}));
  }
  finalizeAndCompare();
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Unsupported quantization encoding type: 7. Skipping."),
            std::string::npos);
}

TEST_F(RoundTripTest, OpsComeBackWithBackendTypesAndSortedParams) {
  add(records.tensor("sum", VRX_TENSORTYPE_NATIVE, {2, 4}));
  add(records.tensor("relu", VRX_TENSORTYPE_NATIVE, {2, 4}));
  add(records.tensor("custom", VRX_TENSORTYPE_NATIVE, {2, 4}));
  node(records.op("add", "ElementWiseAdd", {records.tensor("in", 0, {}), records.tensor("in", 0, {})},
                  {records.tensor("sum", 3, {})}));
  node(records.op("act", "Relu", {records.tensor("sum", 3, {})}, {records.tensor("relu", 3, {})}));
  Vrx_Param_t text = records.scalarU32("mode", 0);
  text.scalar.dataType = VRX_DATATYPE_STRING;
  text.scalar.value.stringValue = records.text("fast");
  node(records.op("mine", "MyOp", {records.tensor("relu", 3, {})}, {records.tensor("custom", 3, {})},
                  {records.scalarU32("zeta", 3), records.tensorU32("mine.table", {5, 6}, {2}),
                   records.scalarF32("alpha", 0.5f), records.scalarBool("enabled", true), text},
                  "my.package"));
  ASSERT_EQ(VrxGraphTransformer_finalizeGraph(backend.graphHandle(), nullptr, nullptr, backend.table()), 0u);

  const Vrx_OpConfig_t* sum = backend.addedNode("add");
  EXPECT_STREQ(sum->packageName, "vrx.core");
  EXPECT_STREQ(sum->typeName, "ElementWiseBinary");
  EXPECT_EQ(sum->numOfInputs, 2u);
  ASSERT_EQ(sum->numOfParams, 1u);
  EXPECT_STREQ(sum->params[0].name, "operation");
  EXPECT_EQ(std::tuple(sum->params[0].scalar.dataType, sum->params[0].scalar.value.uint32Value),
            std::tuple(uint32_t{VRX_DATATYPE_UINT_32}, 0u));
  const Vrx_OpConfig_t* act = backend.addedNode("act");
  EXPECT_STREQ(act->typeName, "ElementWiseNeuron");
  EXPECT_EQ(act->params[0].scalar.value.uint32Value, 4u);

  const Vrx_OpConfig_t* mine = backend.addedNode("mine");
  EXPECT_STREQ(mine->packageName, "my.package");
  EXPECT_STREQ(mine->typeName, "MyOp");
  std::vector<std::string> names;
  for (uint32_t i = 0; i < mine->numOfParams; ++i) names.push_back(mine->params[i].name);
  EXPECT_EQ(names, (std::vector<std::string>{"alpha", "enabled", "mine.table", "mode", "zeta"}));
  EXPECT_FLOAT_EQ(mine->params[0].scalar.value.floatValue, 0.5f);
  EXPECT_EQ(mine->params[1].scalar.value.bool8Value, 1);
  EXPECT_EQ(list(static_cast<const uint32_t*>(mine->params[2].tensor.clientBuf.data), 2),
            (std::vector<uint32_t>{5, 6}));
  // A string param arrives as a bool that says there was one.
  EXPECT_EQ(mine->params[3].scalar.dataType, static_cast<uint32_t>(VRX_DATATYPE_BOOL_8));
  EXPECT_EQ(mine->params[4].scalar.value.uint32Value, 3u);
}

}  // namespace
}  // namespace vrx::test
