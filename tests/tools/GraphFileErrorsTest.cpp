// Malformed graph files: each fault gives a GraphFileError that names the file, the tensor
// or node, and what is wrong; none crashes.

#include <gtest/gtest.h>

#include "ToolTestFiles.hpp"

namespace vrx::tools::test {
namespace {

struct FaultCase {
  const char* name;
  std::string text;
  std::vector<std::string> expected;  // parts of the message, in this order
};

void PrintTo(const FaultCase& fault, std::ostream* out) { *out << fault.name; }

std::string tensors(const std::string& list) { return R"({"tensors": [)" + list + "]}"; }

std::string withNode(const std::string& node) {
  return R"({"tensors": [{"name": "in", "type": "APP_WRITE", "dims": [2]}, {"name": "out", "type": "APP_READ", "dims": [2]}],
            "nodes": [)" + node + "]}";
}

std::string quantized(const std::string& dims, const std::string& quantization) {
  return tensors(R"({"name": "q", "type": "NATIVE", "dataType": "SFIXED_POINT_8", "dims": )" + dims +
                 R"(, "quantization": )" + quantization + "}");
}

// An array encoding nested one level deeper than the reader follows.
std::string deeplyNestedArray() {
  std::string q = R"({"encoding": 0, "scale": 1, "offset": 0})";
  for (int i = 0; i < 9; ++i) q = R"({"encoding": "ARRAY", "arrayType": 0, "elements": [)" + q + "]}";
  return quantized("[1]", q);
}

class MalformedGraphFile : public ::testing::TestWithParam<FaultCase> {
 protected:
  ScratchDir dir;
};

TEST_P(MalformedGraphFile, IsReportedWithFileSubjectAndProblem) {
  dir.write("short.bin", std::string(8, '\0'));
  const auto path = dir.write("bad.json", GetParam().text);
  try {
    loadGraphFile(path);
    FAIL() << "loaded without an error";
  } catch (const GraphFileError& e) {
    const std::string message = e.what();
    EXPECT_EQ(message.rfind(path.string(), 0), 0u) << message;
    size_t from = 0;
    for (const auto& part : GetParam().expected) {
      const size_t at = message.find(part, from);
      EXPECT_NE(at, std::string::npos) << "'" << part << "' missing in: " << message;
      if (at != std::string::npos) from = at + part.size();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    EachKindOfFault, MalformedGraphFile,
    ::testing::Values(
        FaultCase{"JsonSyntax", "{\n  \"tensors\": [\n    {\"name\": \"a\",, }\n  ]\n}", {":3:", "JSON syntax error"}},
        FaultCase{"NotAnObject", "[1, 2]", {"expected an object, found an array"}},
        FaultCase{"MissingTensorList", R"({"name": "g"})", {"missing field \"tensors\""}},
        FaultCase{"TensorWithoutName", tensors(R"({"dims": [1]})"), {"\"tensors\"[0]", "missing field \"name\""}},
        FaultCase{"WrongJsonType", tensors(R"({"name": "a", "dims": "1,2"})"),
                  {"tensor 'a'", "\"dims\"", "expected an array, found a string"}},
        FaultCase{"NegativeDimension", tensors(R"({"name": "a", "dims": [2, -1]})"),
                  {"tensor 'a'", "\"dims\"[1]", "value -1 is outside 0 to 4294967295"}},
        FaultCase{"FractionWhereIntegerIsNeeded", tensors(R"({"name": "a", "dims": [2.5]})"),
                  {"\"dims\"[0]", "expected an integer, found a fractional number"}},
        FaultCase{"UnknownDataTypeName", tensors(R"({"name": "a", "dataType": "FLOAT_33", "dims": [1]})"),
                  {"tensor 'a'", "\"dataType\"", "unknown name \"FLOAT_33\"", "FLOAT_32"}},
        FaultCase{"UnknownField", tensors(R"({"name": "a", "dimz": [1]})"), {"tensor 'a'", "unknown field \"dimz\""}},
        FaultCase{"DuplicateTensor", tensors(R"({"name": "a"}, {"name": "a"})"), {"tensor 'a' is given twice"}},
        FaultCase{"DataCountDoesNotMatchDims", tensors(R"({"name": "w", "dims": [2, 2], "data": [1, 2, 3]})"),
                  {"tensor 'w'", "\"data\"", "has 3 values, but dims [2,2] hold 4"}},
        FaultCase{"DataBytesDoNotMatchDims", tensors(R"({"name": "w", "dims": [2, 2], "bytes": "000000000000000000000000"})"),
                  {"tensor 'w'", "dims [2,2] of FLOAT_32 need 16 bytes of data, but 12 are given"}},
        FaultCase{"ValueOutOfRangeForDataType", tensors(R"({"name": "w", "dataType": "UINT_8", "dims": [1], "data": [256]})"),
                  {"\"data\"[0]", "value 256 is outside 0 to 255"}},
        FaultCase{"NumbersForATypeWithoutNumbers", tensors(R"({"name": "w", "dataType": "INT_4", "dims": [2], "data": [1, 2]})"),
                  {"tensor 'w'", "INT_4 values can't be numbers"}},
        FaultCase{"BadHex", tensors(R"({"name": "w", "dataType": "UINT_8", "dims": [1], "bytes": "zz"})"),
                  {"\"bytes\"", "'z' is not a hex digit"}},
        FaultCase{"TwoKindsOfData", tensors(R"({"name": "w", "dims": [1], "data": [1], "bytes": "00000000"})"),
                  {"give only one of \"data\", \"bytes\" and \"dataFile\""}},
        FaultCase{"MissingSideFile", tensors(R"({"name": "w", "dims": [1], "dataFile": {"path": "gone.bin", "size": 4}})"),
                  {"tensor 'w'", "cannot read the side file", "gone.bin"}},
        FaultCase{"RangeBeyondSideFile",
                  tensors(R"({"name": "w", "dims": [4], "dataFile": {"path": "short.bin", "offset": 4, "size": 16}})"),
                  {"tensor 'w'", "bytes 4 to 20 lie beyond the end of the side file (8 bytes)"}},
        FaultCase{"UnknownTensorVersion", tensors(R"({"name": "a", "version": 3})"),
                  {"\"version\"", "tensor records have version 1 or 2"}},
        FaultCase{"DynamicDimsOfWrongLength", tensors(R"({"name": "a", "dims": [1, 2], "dynamicDims": [true]})"),
                  {"tensor 'a'", "has 1 flags for 2 dimensions"}},
        FaultCase{"UnknownInputTensor", withNode(R"({"name": "n", "type": "Relu", "inputs": ["in", "ghost"], "outputs": ["out"]})"),
                  {"node 'n'", "\"inputs\"[1]", "'ghost' is not a tensor of the graph"}},
        FaultCase{"NodeWithoutType", withNode(R"({"name": "n", "inputs": ["in"], "outputs": ["out"]})"),
                  {"node 'n'", "missing field \"type\""}},
        FaultCase{"DuplicateNode", withNode(R"({"name": "n", "type": "Relu"}, {"name": "n", "type": "Relu"})"),
                  {"node 'n' is given twice"}},
        FaultCase{"ScalarNumberWithoutDataType",
                  withNode(R"({"name": "n", "type": "Relu", "params": [{"name": "axis", "value": 1}]})"),
                  {"node 'n': param 'axis'", "a number needs a \"dataType\""}},
        FaultCase{"ParamWithoutValue", withNode(R"({"name": "n", "type": "Relu", "params": [{"name": "axis"}]})"),
                  {"param 'axis'", "give either \"tensor\", \"value\" or \"bytes\""}},
        FaultCase{"UnknownBackend", R"({"backend": "TPU", "tensors": []})", {"\"backend\"", "unknown name \"TPU\"", "NXA"}},
        FaultCase{"BadPassSelection", R"({"allowedPasses": "some", "tensors": []})",
                  {"\"allowedPasses\"", "expected a list of pass names or \"all\""}},
        FaultCase{"UnknownEncoding", quantized("[1]", R"({"encoding": "SCALE"})"),
                  {"tensor 'q': \"quantization\"", "\"encoding\"", "unknown name \"SCALE\""}},
        FaultCase{"EncodingFieldMissing", quantized("[1]", R"({"encoding": "SCALE_OFFSET", "scale": 1})"),
                  {"tensor 'q': \"quantization\"", "missing field \"offset\""}},
        FaultCase{"BlockPairsDoNotMatchDims",
                  quantized("[2, 4]", R"({"encoding": "BLOCK", "blockSize": [1, 2], "scales": [1, 2, 3], "offsets": [0, 0, 0]})"),
                  {"tensor 'q': \"quantization\"", "\"scales\"", "has 3 values, the encoding needs 4"}},
        FaultCase{"ZeroBlockSize",
                  quantized("[2, 4]", R"({"encoding": "BLOCK", "blockSize": [1, 0], "scales": [], "offsets": []})"),
                  {"tensor 'q': \"quantization\"", "block size of axis 1 is 0"}},
        FaultCase{"ExpansionAxisBeyondRank",
                  quantized("[2, 4]", R"({"encoding": "LPBQ", "axis": 3, "scales": [], "offsets": [], "numBlocksPerAxis": 1,
                                          "blockScaleBitwidth": 4, "blockScaleStorageType": 0, "blockScales": []})"),
                  {"tensor 'q': \"quantization\"", "axis 3 is outside the tensor's rank 2"}},
        FaultCase{"ScalesAndOffsetsDifferInLength",
                  quantized("[2]", R"({"encoding": 3, "bitwidth": 8, "axis": 0, "scales": [1, 2], "offsets": [0]})"),
                  {"tensor 'q': \"quantization\"", "\"scales\" and \"offsets\" differ in length (2 and 1)"}},
        FaultCase{"FieldsOfAnUndefinedEncoding",
                  quantized("[1]", R"({"definition": "UNDEFINED", "encoding": 0, "scale": 1})"),
                  {"tensor 'q': \"quantization\"", "unknown field \"scale\""}},
        FaultCase{"ArrayEncodingsNestedTooDeeply", deeplyNestedArray(), {"tensor 'q': \"quantization\"", "nested too deeply"}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MalformedGraphFile, MissingFileIsNamed) {
  ScratchDir dir;
  try {
    loadGraphFile(dir / "absent.json");
    FAIL() << "loaded a file that isn't there";
  } catch (const GraphFileError& e) {
    EXPECT_NE(std::string(e.what()).find("absent.json: cannot open the file"), std::string::npos) << e.what();
  }
}

TEST(MalformedGraphFile, RecordsThatCannotBeWrittenAreRefused) {
  Vrx_Tensor_t broken{};
  broken.version = 2;
  broken.name = "broken";
  broken.rank = 3;  // and no dimensions
  GraphRecords graph;
  graph.name = "g";
  graph.tensors.push_back(broken);
  EXPECT_THROW(renderGraph(graph, "g.bin"), GraphFileError);
  graph.tensors[0].rank = 0;
  graph.tensors[0].name = nullptr;
  EXPECT_THROW(renderGraph(graph, "g.bin"), GraphFileError);
}

}  // namespace
}  // namespace vrx::tools::test
