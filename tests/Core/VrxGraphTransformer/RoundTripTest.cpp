// A graph in through the exports and out in the backend, with no pass allowed: every field of
// every record and every quantization encoding comes back as it came, or in the backend form
// the translation gives it. Client memory is overwritten after every call.

#include <gtest/gtest.h>

#include <optional>
#include <span>

#include "DataTypes.hpp"
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

// Every value an encoding holds, in one list, so two records compare whole.
std::vector<double> flatten(const Vrx_QuantizeParams_t& q, std::span<const uint32_t> dims) {
  std::vector<double> v{static_cast<double>(q.encodingDefinition), static_cast<double>(q.quantizationEncoding)};
  auto values = [&](const auto* p, size_t n) {
    if (p == nullptr) return v.push_back(-1.0);
    for (size_t i = 0; i < n; ++i) v.push_back(static_cast<double>(p[i]));
  };
  auto pairs = [&](const auto* p, size_t n) {
    if (p == nullptr) return v.push_back(-1.0);
    for (size_t i = 0; i < n; ++i)
      v.insert(v.end(), {static_cast<double>(p[i].scale), static_cast<double>(p[i].offset)});
  };
  auto add = [&](std::initializer_list<double> items) { v.insert(v.end(), items); };
  switch (q.quantizationEncoding) {
    case 0: add({q.scaleOffsetEncoding.scale, static_cast<double>(q.scaleOffsetEncoding.offset)}); break;
    case 1: {
      const auto& e = q.axisScaleOffsetEncoding;
      add({static_cast<double>(e.axis), static_cast<double>(e.numScaleOffsets)});
      pairs(e.scaleOffset, e.numScaleOffsets);
      break;
    }
    case 2: {
      const auto& e = q.bwScaleOffsetEncoding;
      add({static_cast<double>(e.bitwidth), e.scale, static_cast<double>(e.offset)});
      break;
    }
    case 3: {
      const auto& e = q.bwAxisScaleOffsetEncoding;
      add({static_cast<double>(e.bitwidth), static_cast<double>(e.axis), static_cast<double>(e.numElements)});
      values(e.scales, e.numElements);
      values(e.offsets, e.numElements);
      break;
    }
    case 4:
    case 7:
      values(q.blockEncoding.blockSize, dims.size());
      if (q.blockEncoding.blockSize) pairs(q.blockEncoding.scaleOffset, blockPairs(q.blockEncoding.blockSize, dims));
      break;
    case 11:
      add({static_cast<double>(q.bwBlockEncoding.bitwidth)});
      values(q.bwBlockEncoding.blockSize, dims.size());
      pairs(q.bwBlockEncoding.scaleOffset, blockPairs(q.bwBlockEncoding.blockSize, dims));
      break;
    case 5: {
      const auto& e = *q.blockwiseExpansion;
      const size_t channels = dims[e.axis];
      add({static_cast<double>(e.axis), static_cast<double>(e.numBlocksPerAxis),
           static_cast<double>(e.blockScaleBitwidth), static_cast<double>(e.blockScaleStorageType)});
      pairs(e.scaleOffsets, channels);
      if (e.blockScaleStorageType == 0)
        values(e.blockScales8, channels * e.numBlocksPerAxis);
      else
        values(e.blockScales16, channels * e.numBlocksPerAxis);
      break;
    }
    case 6: {
      const auto& e = *q.groupedBwEncoding;
      add({static_cast<double>(e.bitwidth), static_cast<double>(e.axis), static_cast<double>(e.numElements),
           static_cast<double>(e.groupParam0), static_cast<double>(e.groupParam1), static_cast<double>(e.groupFlag0),
           static_cast<double>(e.groupFlag1), static_cast<double>(e.groupFlag2)});
      values(e.scales, e.numElements);
      values(e.offsets, e.numElements);
      break;
    }
    case 8: {
      const auto& e = *q.bwAxisScaleOffsetMapped;
      add({static_cast<double>(e.bitwidth), static_cast<double>(e.axis), static_cast<double>(e.mappedValue),
           static_cast<double>(e.numElements)});
      values(e.scales, e.numElements);
      values(e.offsets, e.numElements);
      break;
    }
    default: break;
  }
  return v;
}

std::span<const uint32_t> dimsOf(const Vrx_Tensor_t& t) { return {t.dimensions, t.dimensions ? t.rank : 0}; }

template <class T>
std::vector<T> list(const T* p, size_t n) {
  return p == nullptr ? std::vector<T>{} : std::vector<T>(p, p + n);
}

// Every field the backend reads, compared with what the client sent.
void expectSameRecord(const Vrx_Tensor_t& want, const Vrx_Tensor_t& got) {
  const std::string name = want.name;
  EXPECT_EQ(got.version, 2u) << name;
  EXPECT_STREQ(got.name, want.name);
  EXPECT_EQ(got.type, want.type) << name;
  EXPECT_EQ(got.dataFormat, want.dataFormat) << name;
  EXPECT_EQ(got.dataType, want.dataType) << name;
  EXPECT_EQ(flatten(got.quantizeParams, dimsOf(got)), flatten(want.quantizeParams, dimsOf(want))) << name;
  EXPECT_EQ(list(got.dimensions, got.rank), list(want.dimensions, want.rank)) << name;
  EXPECT_EQ(got.memType, 0u) << name;
  EXPECT_EQ(list(static_cast<const uint8_t*>(got.clientBuf.data), got.clientBuf.dataSize),
            list(static_cast<const uint8_t*>(want.clientBuf.data), want.clientBuf.dataSize))
      << name;
  EXPECT_EQ(list(got.isDynamicDimensions, got.rank), list(want.isDynamicDimensions, want.rank)) << name;
  EXPECT_EQ(got.sparseParams.layout, want.sparseParams.layout) << name;
  EXPECT_EQ(got.sparseParams.numSpecifiedElements, want.sparseParams.numSpecifiedElements) << name;
  EXPECT_EQ(got.sparseParams.numSparseDimensions, want.sparseParams.numSparseDimensions) << name;
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

struct QuantCase {
  std::string name;
  uint32_t dataType;
  Vrx_QuantizeParams_t sent;
  std::optional<Vrx_QuantizeParams_t> back;  // when the translation changes the form
};

Vrx_QuantizeParams_t defined(uint32_t encoding) {
  Vrx_QuantizeParams_t q{};
  q.encodingDefinition = VRX_DEFINITION_DEFINED;
  q.quantizationEncoding = encoding;
  return q;
}

std::vector<QuantCase> quantCases(Records& r) {
  std::vector<QuantCase> cases;
  auto q = defined(0);
  q.scaleOffsetEncoding = {0.5f, 128};
  cases.push_back({"scaleOffset", VRX_DATATYPE_UFIXED_POINT_8, q, {}});
  q = defined(1);
  q.axisScaleOffsetEncoding = {1, 4, r.array<Vrx_ScaleOffset_t>({{0.1f, 1}, {0.2f, -2}, {0.3f, 3}, {0.4f, -4}})};
  cases.push_back({"axis", VRX_DATATYPE_SFIXED_POINT_8, q, {}});
  q = defined(2);
  q.bwScaleOffsetEncoding = {12, 0.125f, -7};
  cases.push_back({"bitwidth", VRX_DATATYPE_UFIXED_POINT_16, q, {}});
  q = defined(3);
  q.bwAxisScaleOffsetEncoding = {8, 0, 2, r.array<float>({0.5f, 0.25f}), r.array<int32_t>({3, -3})};
  cases.push_back({"bitwidthAxis", VRX_DATATYPE_SFIXED_POINT_8, q, {}});
  q = defined(4);
  q.blockEncoding.blockSize = r.array<uint32_t>({2, 1});
  q.blockEncoding.scaleOffset = r.array<Vrx_ScaleOffset_t>({{1.f, 1}, {2.f, 2}, {3.f, 3}, {4.f, 4}});
  cases.push_back({"block", VRX_DATATYPE_SFIXED_POINT_4, q, {}});
  // Eight-bit blocks come back in the bitwidth form with float offsets.
  auto bw = defined(11);
  bw.bwBlockEncoding = {8, r.array<uint32_t>({2, 1}),
                        r.array<Vrx_FloatScaleOffset_t>({{1.f, 1.f}, {2.f, 2.f}, {3.f, 3.f}, {4.f, 4.f}})};
  cases.push_back({"block8", VRX_DATATYPE_SFIXED_POINT_8, q, bw});
  Vrx_BlockwiseExpansion_t expansion{};
  expansion.axis = 0;
  expansion.scaleOffsets = r.array<Vrx_ScaleOffset_t>({{0.5f, 0}, {0.75f, 0}});
  expansion.numBlocksPerAxis = 2;
  expansion.blockScaleBitwidth = 4;
  expansion.blockScaleStorageType = VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_8;
  expansion.blockScales8 = r.array<uint8_t>({1, 2, 3, 4});
  q = defined(5);
  q.blockwiseExpansion = r.array<Vrx_BlockwiseExpansion_t>({expansion});
  cases.push_back({"expansion8", VRX_DATATYPE_SFIXED_POINT_8, q, {}});
  expansion.blockScaleStorageType = VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16;
  expansion.blockScales16 = r.array<uint16_t>({100, 200, 300, 400});
  q.blockwiseExpansion = r.array<Vrx_BlockwiseExpansion_t>({expansion});
  cases.push_back({"expansion16", VRX_DATATYPE_SFIXED_POINT_8, q, {}});
  Vrx_GroupedBwEncoding_t grouped{4, 1, 2, r.array<float>({0.5f, 1.5f}), r.array<int32_t>({-1, 1}), 7, 9, 1, 0, 1};
  q = defined(6);
  q.groupedBwEncoding = r.array<Vrx_GroupedBwEncoding_t>({grouped});
  cases.push_back({"grouped", VRX_DATATYPE_SFIXED_POINT_4, q, {}});
  Vrx_BwAxisScaleOffsetMapped_t mapped{8, 1, 3, 2, r.array<float>({0.5f, 0.25f}), r.array<int32_t>({5, 6})};
  q = defined(8);
  q.bwAxisScaleOffsetMapped = r.array<Vrx_BwAxisScaleOffsetMapped_t>({mapped});
  cases.push_back({"mapped", VRX_DATATYPE_UFIXED_POINT_8, q, {}});
  // Float blocks have no backend form here: the encoding goes back without its fields.
  q = defined(7);
  q.blockEncoding.blockSize = r.array<uint32_t>({2, 1});
  q.blockEncoding.floatScaleOffset =
      r.array<Vrx_FloatScaleOffset_t>({{1.f, 0.5f}, {2.f, 1.5f}, {3.f, 2.5f}, {4.f, 3.5f}});
  cases.push_back({"floatBlock", VRX_DATATYPE_UFIXED_POINT_8, q, defined(7)});
  // A float tensor carries no encoding, whatever its record says.
  q = defined(0);
  q.scaleOffsetEncoding = {0.5f, 3};
  auto none = defined(VRX_QUANTIZATION_ENCODING_UNDEFINED);
  none.encodingDefinition = VRX_DEFINITION_UNDEFINED;
  cases.push_back({"float", VRX_DATATYPE_FLOAT_32, q, none});
  return cases;
}

TEST_F(RoundTripTest, EveryQuantizationEncodingComesBackInItsBackendForm) {
  testing::internal::CaptureStderr();
  const size_t count = quantCases(records).size();
  for (size_t i = 0; i < count; ++i) {
    // Every call scribbles over the client's records: a case's records are made anew each time.
    auto tensor = [&](const char* prefix, uint32_t type, bool back) {
      const QuantCase c = quantCases(records)[i];
      const uint32_t width = std::max(vrx::dataTypeByteWidth(c.dataType), 1u);
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
  ASSERT_EQ(sum->numOfParams, 1u);
  EXPECT_STREQ(sum->params[0].name, "operation");
  EXPECT_EQ(sum->params[0].scalar.dataType, static_cast<uint32_t>(VRX_DATATYPE_UINT_32));
  EXPECT_EQ(sum->params[0].scalar.value.uint32Value, 0u);
  EXPECT_EQ(sum->numOfInputs, 2u);
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
