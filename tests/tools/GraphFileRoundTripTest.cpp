// The graph file without the library: what is read is what is written, field by field and
// bit by bit, for every quantization encoding and every kind of value.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <tuple>

#include "ToolTestFiles.hpp"

namespace vrx::tools::test {
namespace {

LoadedGraph parse(const std::string& text, const std::filesystem::path& baseDir = {}) {
  return parseGraphText(text, "test.json", baseDir);
}

// Everything inline, so that one string holds the whole file.
std::string render(const GraphRecords& graph) { return renderGraph(graph, "test.bin", {SIZE_MAX}).json; }

std::string oneTensorGraph(const std::string& tensorFields) {
  return R"({"tensors": [{"name": "t", )" + tensorFields + "}]}";
}

// Reads, writes, reads the written text again, and checks that writing it once more gives
// the same text. Returns the record of the second reading.
struct RoundTrip {
  explicit RoundTrip(const std::string& text) : first(parse(text)), written(render(first.records())),
                                                second(parse(written)) {
    EXPECT_EQ(render(second.records()), written);
  }
  const Vrx_Tensor_t& tensor(size_t i = 0) const { return second.records().tensors.at(i); }
  LoadedGraph first;
  std::string written;
  LoadedGraph second;
};

std::vector<std::filesystem::path> bundledGraphFiles() {
  std::vector<std::filesystem::path> files;
  for (const auto* folder : {"examples/graphs", "tests/golden"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(sourceRoot() / folder)) {
      if (entry.path().extension() == ".json") files.push_back(entry.path());
    }
  }
  return files;
}

TEST(GraphFileRoundTrip, BundledGraphsWriteReadWriteToTheSameBytes) {
  const auto files = bundledGraphFiles();
  ASSERT_GE(files.size(), 8u);
  ScratchDir first, second;
  for (const auto& file : files) {
    SCOPED_TRACE(file.string());
    const LoadedGraph original = loadGraphFile(file);
    // A small inline limit sends the larger tensors through the side file too.
    const auto written = writeGraphFile(original.records(), first / "graph.json", {64});
    const LoadedGraph reread = loadGraphFile(first / "graph.json");
    writeGraphFile(reread.records(), second / "graph.json", {64});
    EXPECT_EQ(readFileText(first / "graph.json"), readFileText(second / "graph.json"));
    if (written.size() > 1) {
      EXPECT_EQ(readFileText(first / "graph.bin"), readFileText(second / "graph.bin"));
    }
    EXPECT_EQ(reread.records().tensors.size(), original.records().tensors.size());
    EXPECT_EQ(reread.records().nodes.size(), original.records().nodes.size());
  }
}

struct EncodingCase {
  const char* name;
  std::string tensorFields;
  std::function<void(const Vrx_QuantizeParams_t&)> check;
};

void PrintTo(const EncodingCase& encoding, std::ostream* out) { *out << encoding.name; }

class EncodingRoundTrip : public ::testing::TestWithParam<EncodingCase> {};

TEST_P(EncodingRoundTrip, EveryFieldSurvives) {
  RoundTrip trip(oneTensorGraph(GetParam().tensorFields));
  GetParam().check(trip.first.records().tensors.at(0).quantizeParams);
  GetParam().check(trip.tensor().quantizeParams);
}

using Quant = const Vrx_QuantizeParams_t&;

const EncodingCase kEncodings[] = {
    {"ScaleOffset", R"("dataType": "UFIXED_POINT_8", "dims": [2],
        "quantization": {"encoding": 0, "scale": 0.1, "offset": -128})",
     [](Quant q) {
       EXPECT_EQ(std::tuple(q.encodingDefinition, q.scaleOffsetEncoding.scale, q.scaleOffsetEncoding.offset),
                 std::tuple(1u, 0.1f, -128));
     }},
    {"AxisScaleOffset", R"("dataType": "UFIXED_POINT_8", "dims": [3, 2],
        "quantization": {"encoding": "PER_AXIS", "axis": 0, "scales": [1, 2, 3], "offsets": [4, 5, -6]})",
     [](Quant q) {
       const auto& e = q.axisScaleOffsetEncoding;
       ASSERT_EQ(e.numScaleOffsets, 3u);
       EXPECT_EQ(std::tuple(e.scaleOffset[2].scale, e.scaleOffset[2].offset), std::tuple(3.0f, -6));
     }},
    {"BitwidthScaleOffset", R"("dataType": "SFIXED_POINT_16", "dims": [1],
        "quantization": {"encoding": "BW_SCALE_OFFSET", "bitwidth": 12, "scale": 0.5, "offset": 7})",
     [](Quant q) {
       EXPECT_EQ(std::tuple(q.bwScaleOffsetEncoding.bitwidth, q.bwScaleOffsetEncoding.offset), std::tuple(12u, 7));
     }},
    {"BitwidthAxisScaleOffset", R"("dataType": "SFIXED_POINT_8", "dims": [2, 2],
        "quantization": {"encoding": 3, "bitwidth": 4, "axis": 1, "scales": [0.25, 0.5], "offsets": [1, 2]})",
     [](Quant q) {
       const auto& e = q.bwAxisScaleOffsetEncoding;
       ASSERT_EQ(e.numElements, 2u);
       EXPECT_EQ(std::tuple(e.bitwidth, e.axis, e.scales[1], e.offsets[1]), std::tuple(4u, 1, 0.5f, 2));
     }},
    {"Block", R"("dataType": "SFIXED_POINT_8", "dims": [2, 5],
        "quantization": {"encoding": "BQ", "blockSize": [1, 2], "scales": [1, 2, 3, 4, 5, 6], "offsets": [0, 0, 0, 0, 0, -1]})",
     [](Quant q) {
       const auto& e = q.blockEncoding;  // 2 x ceil(5/2) pairs
       EXPECT_EQ(std::tuple(e.blockSize[1], e.scaleOffset[5].scale, e.scaleOffset[5].offset), std::tuple(2u, 6.0f, -1));
     }},
    {"BlockwiseExpansion", R"("dataType": "SFIXED_POINT_8", "dims": [2, 3],
        "quantization": {"encoding": "LPBQ", "axis": 1, "scales": [1, 2, 3], "offsets": [0, 1, 2],
          "numBlocksPerAxis": 2, "blockScaleBitwidth": 4, "blockScaleStorageType": 1,
          "blockScales": [100, 200, 300, 400, 500, 60000]})",
     [](Quant q) {
       const auto* e = q.blockwiseExpansion;
       ASSERT_NE(e, nullptr);
       EXPECT_EQ(std::tuple(e->axis, e->scaleOffsets[2].offset, e->blockScaleBitwidth, e->blockScaleStorageType,
                            e->blockScales16[5]),
                 std::tuple(1u, 2, uint8_t{4}, 1u, uint16_t{60000}));
     }},
    {"GroupedBitwidth", R"("dataType": "SFIXED_POINT_8", "dims": [2],
        "quantization": {"encoding": 6, "bitwidth": 4, "axis": 0, "scales": [1, 2], "offsets": [3, 4],
          "groupParam0": 9, "groupParam1": 10, "groupFlag0": 1, "groupFlag1": 0, "groupFlag2": 255})",
     [](Quant q) {
       const auto* e = q.groupedBwEncoding;
       ASSERT_NE(e, nullptr);
       EXPECT_EQ(std::tuple(e->numElements, e->offsets[1], e->groupParam1, e->groupFlag2),
                 std::tuple(2u, 4, 10u, uint8_t{255}));
     }},
    {"FloatBlock", R"("dataType": "SFIXED_POINT_8", "dims": [4],
        "quantization": {"encoding": "FLOAT_BLOCK", "blockSize": [2], "scales": [1, 2], "offsets": [0.5, -0.25]})",
     [](Quant q) { EXPECT_EQ(q.blockEncoding.floatScaleOffset[1].offset, -0.25f); }},
    {"AxisScaleOffsetMappedWithoutOffsets", R"("dataType": "SFIXED_POINT_8", "dims": [2],
        "quantization": {"encoding": 8, "bitwidth": 8, "axis": 0, "mappedValue": 77, "scales": [1, 2], "offsets": null})",
     [](Quant q) {
       const auto* e = q.bwAxisScaleOffsetMapped;
       ASSERT_NE(e, nullptr);
       EXPECT_EQ(std::tuple(e->mappedValue, e->numElements), std::tuple(77u, 2u));
       EXPECT_EQ(e->offsets, nullptr);
     }},
    {"BitwidthBlock", R"("dataType": "SFIXED_POINT_8", "dims": [3],
        "quantization": {"encoding": 11, "bitwidth": 8, "blockSize": [2], "scales": [1, 2], "offsets": [0.5, 1.5]})",
     [](Quant q) {
       EXPECT_EQ(std::tuple(q.bwBlockEncoding.bitwidth, q.bwBlockEncoding.scaleOffset[1].offset), std::tuple(8u, 1.5f));
     }},
    {"MappedVector", R"("dataType": "SFIXED_POINT_8", "dims": [2],
        "quantization": {"encoding": "MAPPED_VECTOR", "mappingKind": 2, "values": [5, 6, 7],
          "tableEntryBits": 8, "table": [1, 255]})",
     [](Quant q) {
       const auto* e = q.mappedVectorEncoding;
       ASSERT_NE(e, nullptr);
       EXPECT_EQ(std::tuple(e->numValues, e->values[2], e->numTableEntries), std::tuple(3u, 7u, 2u));
       EXPECT_EQ(static_cast<const uint8_t*>(e->table)[1], 255u);
     }},
    {"ArrayWithAssociatedTensorAndNesting", R"("dataType": "SFIXED_POINT_8", "dims": [2],
        "quantization": {"encoding": "ARRAY", "arrayType": 3,
          "associatedTensor": {"name": "scales", "type": "STATIC", "dataType": "FLOAT_32", "dims": [4], "data": [1, 2, 3, 4]},
          "elements": [{"encoding": 0, "scale": 2, "offset": 1}, null,
                       {"encoding": "BLOCK", "blockSize": [2], "scales": [1, 2], "offsets": [3, 4]}]})",
     [](Quant q) {
       const auto* e = q.arrayOf;
       ASSERT_NE(e, nullptr);
       ASSERT_NE(e->associatedTensor, nullptr);
       EXPECT_STREQ(e->associatedTensor->name, "scales");
       ASSERT_EQ(std::tuple(e->arrayType, e->numElements), std::tuple(3u, 3u));
       EXPECT_EQ(e->elements[0]->scaleOffsetEncoding.scale, 2.0f);
       EXPECT_EQ(e->elements[1], nullptr);
       // Nested block encodings are sized by the associated tensor's dims.
       EXPECT_EQ(e->elements[2]->blockEncoding.scaleOffset[1].offset, 4);
     }},
    {"UnknownEncodingKeepsItsBytes", R"("dataType": "SFIXED_POINT_8", "dims": [2],
        "quantization": {"encoding": 9, "bytes": "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20"})",
     [](Quant q) { EXPECT_EQ(std::tuple(q.quantizationEncoding, q.raw[31]), std::tuple(9u, uint8_t{0x20})); }},
    {"UndefinedDefinitionCarriesNoFields", R"("dims": [2],
        "quantization": {"definition": "UNDEFINED", "encoding": "SCALE_OFFSET"})",
     [](Quant q) {
       EXPECT_EQ(std::tuple(q.encodingDefinition, q.quantizationEncoding),
                 std::tuple(uint32_t{VRX_DEFINITION_UNDEFINED}, 0u));
     }}};

INSTANTIATE_TEST_SUITE_P(AllEncodings, EncodingRoundTrip, ::testing::ValuesIn(kEncodings),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(GraphFileRoundTrip, FloatsKeepEveryBit) {
  const std::vector<float> values = {0.1f, -0.0f, 1e-45f, 3.4028235e38f, -1.17549435e-38f, 123456.789f,
                                     INFINITY, -INFINITY, 1.0f / 3.0f};
  LoadedGraph graph = parse(oneTensorGraph(R"("dims": [9], "data": [0,0,0,0,0,0,0,0,0])"));
  std::memcpy(graph.records().tensors[0].clientBuf.data, values.data(), sizeof(float) * values.size());
  const auto reread = parse(render(graph.records()));
  const auto* bits = static_cast<const float*>(reread.records().tensors[0].clientBuf.data);
  for (size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(std::bit_cast<uint32_t>(bits[i]), std::bit_cast<uint32_t>(values[i])) << "value " << i;
  }
}

TEST(GraphFileRoundTrip, DataOfEveryValueKindSurvives) {
  RoundTrip trip(R"({"tensors": [
    {"name": "i64", "dataType": "INT_64", "dims": [2], "data": [-9223372036854775808, 9223372036854775807]},
    {"name": "u64", "dataType": "UINT_64", "dims": [1], "data": [18446744073709551615]},
    {"name": "f16", "dataType": "FLOAT_16", "dims": [2], "data": [0.099975586, -65504]},
    {"name": "f64", "dataType": "FLOAT_64", "dims": [1], "data": [0.1]},
    {"name": "b8", "dataType": "BOOL_8", "dims": [3], "data": [true, false, 7]},
    {"name": "i4", "dataType": "INT_4", "dims": [4], "bytes": "f01e"}]})");
  EXPECT_EQ(static_cast<const int64_t*>(trip.tensor(0).clientBuf.data)[0], INT64_MIN);
  EXPECT_EQ(static_cast<const uint64_t*>(trip.tensor(1).clientBuf.data)[0], UINT64_MAX);
  EXPECT_EQ(static_cast<float>(static_cast<const _Float16*>(trip.tensor(2).clientBuf.data)[1]), -65504.0f);
  EXPECT_EQ(static_cast<const double*>(trip.tensor(3).clientBuf.data)[0], 0.1);
  EXPECT_EQ(static_cast<const uint8_t*>(trip.tensor(4).clientBuf.data)[2], 7u);
  EXPECT_NE(trip.written.find(R"("data": [true,false,7])"), std::string::npos);
  EXPECT_EQ(trip.tensor(5).clientBuf.dataSize, 2u);
  EXPECT_NE(trip.written.find(R"("bytes": "f01e")"), std::string::npos);
  for (size_t i = 0; i < 6; ++i) EXPECT_EQ(trip.tensor(i).type, static_cast<uint32_t>(VRX_TENSORTYPE_STATIC));
}

TEST(GraphFileRoundTrip, TensorRecordFieldsSurvive) {
  RoundTrip trip(R"({"tensors": [
    {"name": "v1", "version": 1, "type": "UPDATEABLE_NATIVE", "dims": [2]},
    {"name": "sparse", "type": "NATIVE", "dataFormat": "SPARSE", "dims": [8, 8],
     "sparse": {"layout": "HYBRID_COO", "numSpecifiedElements": 5, "numSparseDimensions": 2}},
    {"name": "dyn", "type": "APP_WRITE", "dims": [1, 4, 4], "dynamicDims": [true, 0, 2]},
    {"name": "odd", "type": 12, "dataType": 9999, "dims": [], "memType": 3, "dataSize": 64},
    {"name": "scalar", "type": "STATIC", "dataType": "INT_32", "dims": [], "data": [5]}]})");
  EXPECT_EQ(std::tuple(trip.tensor(0).version, trip.tensor(0).type),
            std::tuple(1u, uint32_t{VRX_TENSORTYPE_UPDATEABLE_NATIVE}));
  const Vrx_Tensor_t& sparse = trip.tensor(1);
  EXPECT_EQ(std::tuple(sparse.dataFormat, sparse.sparseParams.layout, sparse.sparseParams.numSpecifiedElements,
                       sparse.sparseParams.numSparseDimensions),
            std::tuple(1u, 0u, 5u, 2u));
  ASSERT_NE(trip.tensor(2).isDynamicDimensions, nullptr);
  EXPECT_EQ(std::tuple(trip.tensor(2).isDynamicDimensions[0], trip.tensor(2).isDynamicDimensions[2]),
            std::tuple(uint8_t{1}, uint8_t{2}));
  const Vrx_Tensor_t& odd = trip.tensor(3);
  EXPECT_EQ(std::tuple(odd.type, odd.dataType, odd.memType, odd.clientBuf.dataSize), std::tuple(12u, 9999u, 3u, 64u));
  EXPECT_EQ(odd.clientBuf.data, nullptr);
  const Vrx_Tensor_t& scalar = trip.tensor(4);
  EXPECT_EQ(std::tuple(scalar.rank, scalar.clientBuf.dataSize), std::tuple(0u, 4u));
  EXPECT_EQ(scalar.dimensions, nullptr);
  // Undefined quantization and dense sparse params are the defaults and are left out.
  EXPECT_EQ(std::tuple(scalar.quantizeParams.encodingDefinition, scalar.sparseParams.layout),
            std::tuple(uint32_t{VRX_DEFINITION_UNDEFINED}, uint32_t{VRX_SPARSE_LAYOUT_UNDEFINED}));
}

TEST(GraphFileRoundTrip, NodesKeepParamsInputsAndPackage) {
  RoundTrip trip(R"({"tensors": [
      {"name": "in", "type": "APP_WRITE", "dims": [2]}, {"name": "out", "type": "APP_READ", "dims": [2]}],
    "nodes": [{"name": "n", "type": "Custom", "package": "acme", "inputs": ["in", null], "outputs": ["out"],
      "params": [{"name": "i8", "dataType": "INT_8", "value": -128},
                 {"name": "u64", "dataType": "UINT_64", "value": 18446744073709551615},
                 {"name": "half", "dataType": "FLOAT_16", "value": 0.5},
                 {"name": "flag", "value": true},
                 {"name": "text", "value": "x\"y"},
                 {"name": "none", "value": null},
                 {"name": "nibble", "dataType": "INT_4", "bytes": "0700000000000000"},
                 {"name": "perm", "tensor": {"dataType": "UINT_32", "dims": [2], "data": [1, 0]}},
                 {"name": "named", "tensor": {"name": "other", "dims": [1], "data": [1]}},
                 {"name": "unnamed", "tensor": {"name": null, "dims": [1], "data": [2]}}]}]})");
  const Vrx_OpConfig_t& op = trip.second.records().nodes.at(0);
  EXPECT_STREQ(op.packageName, "acme");
  ASSERT_EQ(op.numOfInputs, 2u);
  EXPECT_STREQ(op.inputTensors[0].name, "in");
  EXPECT_EQ(op.inputTensors[1].name, nullptr);
  EXPECT_EQ(std::tuple(op.inputTensors[0].type, op.inputTensors[1].type),
            std::tuple(uint32_t{VRX_TENSORTYPE_APP_WRITE}, uint32_t{VRX_TENSORTYPE_NULL}));
  ASSERT_EQ(op.numOfParams, 10u);
  EXPECT_EQ(op.params[0].scalar.value.int8Value, -128);
  EXPECT_EQ(op.params[1].scalar.value.uint64Value, UINT64_MAX);
  _Float16 half;
  std::memcpy(&half, &op.params[2].scalar.value, sizeof half);
  EXPECT_EQ(static_cast<float>(half), 0.5f);
  EXPECT_EQ(op.params[3].scalar.dataType, static_cast<uint32_t>(VRX_DATATYPE_BOOL_8));
  EXPECT_STREQ(op.params[4].scalar.value.stringValue, "x\"y");
  EXPECT_EQ(op.params[5].scalar.value.stringValue, nullptr);
  EXPECT_EQ(op.params[6].scalar.value.uint8Value, 7u);
  EXPECT_EQ(std::tuple(op.params[7].paramType, op.params[7].tensor.type),
            std::tuple(uint32_t{VRX_PARAMTYPE_TENSOR}, uint32_t{VRX_TENSORTYPE_STATIC}));
  EXPECT_STREQ(op.params[7].tensor.name, "perm");  // a param's tensor is named after it by default
  EXPECT_STREQ(op.params[8].tensor.name, "other");
  EXPECT_EQ(op.params[9].tensor.name, nullptr);
}

TEST(GraphFileRoundTrip, HeaderAndReadableNames) {
  const LoadedGraph graph = parse(R"({"name": "g", "backend": "nxc", "allowedPasses": ["A", "B"],
    "tensors": [{"name": "a", "type": "input", "dataType": "VRX_DATATYPE_FLOAT_16", "dims": [1]},
                {"name": "b", "type": "app-read", "dataType": "float32", "dims": [1]},
                {"name": "c", "type": "VRX_TENSORTYPE_NATIVE", "dataType": 264, "dims": [1]}]})");
  const GraphRecords& records = graph.records();
  EXPECT_EQ(records.name, "g");
  EXPECT_EQ(records.backendKind, static_cast<uint32_t>(VRX_GT_BACKEND_NXC));
  EXPECT_EQ(records.allowedPasses, (PassSelection{false, {"A", "B"}}));
  EXPECT_EQ(std::tuple(records.tensors[0].dataType, records.tensors[1].type, records.tensors[2].dataType),
            (std::tuple<uint32_t, uint32_t, uint32_t>(VRX_DATATYPE_FLOAT_16, VRX_TENSORTYPE_APP_READ,
                                                      VRX_DATATYPE_UINT_8)));
  EXPECT_EQ(parse(R"({"allowedPasses": "all", "tensors": []})").records().allowedPasses, (PassSelection{true, {}}));
  // Without a "name" the graph is named after its file.
  EXPECT_EQ(parse(R"({"tensors": []})").records().name, "test");
}

TEST(GraphFileRoundTrip, LargeDataGoesToTheSideFileAndComesBack) {
  ScratchDir dir;
  std::string values;
  for (int i = 0; i < 300; ++i) values += (i ? "," : "") + std::to_string(i);
  const auto input = dir.write("in.json", oneTensorGraph(R"("dataType": "INT_32", "dims": [300], "data": [)" + values + "]"));
  const auto written = writeGraphFile(loadGraphFile(input).records(), dir / "out.json");
  ASSERT_EQ(written.size(), 2u);
  EXPECT_EQ(written[1], dir / "out.bin");
  EXPECT_NE(readFileText(dir / "out.json").find(R"("dataFile": {"path":"out.bin","offset":0,"size":1200})"),
            std::string::npos);
  const LoadedGraph reread = loadGraphFile(dir / "out.json");
  EXPECT_EQ(static_cast<const int32_t*>(reread.records().tensors[0].clientBuf.data)[299], 299);
}

}  // namespace
}  // namespace vrx::tools::test
