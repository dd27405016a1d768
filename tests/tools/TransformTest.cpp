// vrx-transform's core in-process: options, the run through the exports, what it writes
// and what it says.

#include <gtest/gtest.h>

#include <sstream>

#include "ToolTestFiles.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "tools/vrx-transform/CommandLine.hpp"
#include "tools/vrx-transform/Summary.hpp"

namespace vrx::tools::test {
namespace {

const std::filesystem::path kSmallCnn = sourceRoot() / "examples/graphs/small_cnn.json";

TransformOptions optionsFor(const std::filesystem::path& input, const std::filesystem::path& output) {
  TransformOptions options;
  options.input = input;
  options.output = output;
  return options;
}

std::string summaryOf(const TransformOptions& options, const TransformResult& result) {
  std::ostringstream out;
  printSummary(out, options, result);
  return out.str();
}

// A tensor's written form, for comparing records field by field.
std::string tensorText(const Vrx_Tensor_t& tensor) {
  GraphRecords graph;
  graph.tensors.push_back(tensor);
  return renderGraph(graph, "unused.bin").json;
}

const Vrx_Tensor_t* findTensor(const GraphRecords& graph, const std::string& name) {
  for (const auto& tensor : graph.tensors) {
    if (tensor.name != nullptr && name == tensor.name) return &tensor;
  }
  return nullptr;
}

TEST(TransformOptionsTest, BackendNamesGiveTheBackendKindsOfCreateGraph) {
  const std::vector<std::pair<std::string, uint32_t>> kinds = {{"NXA", 1}, {"NXC", 2}, {"CPU", 3}, {"GPU", 4},
                                                               {"DSP", 5}, {"NXB", 6}, {"nxe", 7}};
  for (const auto& [name, kind] : kinds) EXPECT_EQ(backendKindFromName(name), kind) << name;
  EXPECT_THROW(backendKindFromName("NXD"), TransformError);  // no backend kind of its own
}

TEST(TransformOptionsTest, PassSelectionsAreCheckedAgainstThePassNames) {
  const auto& all = modeltools::iroptimizer::passNamesInIdOrder();
  EXPECT_EQ(allowedPassNames(PassSelection{true, {}}), all);
  EXPECT_EQ(allowedPassNames(PassSelection{false, {"MatchGelu", "FoldCasts"}}),
            (std::vector<std::string>{"MatchGelu", "FoldCasts"}));
  EXPECT_TRUE(allowedPassNames(PassSelection{}).empty());
  try {
    allowedPassNames(PassSelection{false, {"MatchGelu", "matchgelu"}});
    FAIL() << "a pass name is exact";
  } catch (const TransformError& e) {
    EXPECT_NE(std::string(e.what()).find("unknown pass 'matchgelu'"), std::string::npos) << e.what();
  }
}

TEST(TransformOptionsTest, CommandLineArguments) {
  const auto parsed = parseArguments({"g.json", "--backend", "GPU", "--allow", "MatchGelu,FoldCasts", "-o", "o.json", "--dot"});
  EXPECT_EQ(parsed.options.input, "g.json");
  EXPECT_EQ(parsed.options.output, "o.json");
  EXPECT_EQ(parsed.options.backend, "GPU");
  EXPECT_EQ(parsed.options.allowedPasses, (PassSelection{false, {"MatchGelu", "FoldCasts"}}));
  EXPECT_TRUE(parsed.options.writeDot);
  EXPECT_EQ(parseArguments({"g.json", "--no-passes"}).options.allowedPasses, PassSelection{});
  EXPECT_EQ(parseArguments({"g.json", "--allow", ""}).options.allowedPasses, PassSelection{});
  EXPECT_FALSE(parseArguments({"g.json"}).options.allowedPasses.has_value());
  EXPECT_EQ(parseArguments({"g.json", "--run-pass", "B", "--run-pass", "A", "--run-pass", "B"}).options.runPasses,
            (std::vector<std::string>{"B", "A", "B"}));
  EXPECT_THROW(parseArguments({"g.json", "--allow", "MatchGelu", "--no-passes"}), TransformError);
  EXPECT_THROW(parseArguments({"g.json", "--run-pass", "MatchGelu", "--no-passes"}), TransformError);
  EXPECT_EQ(parseArguments({"--allow", "FoldCasts", "g.json"}).options.input, "g.json");  // one argument only
  EXPECT_THROW(parseArguments({"g.json", "--dot"}), TransformError);  // no output to put them next to
  EXPECT_THROW(parseArguments({"g.json", "--colour"}), TransformError);
}

TEST(TransformRunTest, CommandLineWinsOverTheGraphFile) {
  ScratchDir dir;
  const auto input = dir.write("g.json", R"({"backend": "CPU", "allowedPasses": ["FoldCasts"],
      "tensors": [{"name": "in", "type": "APP_WRITE", "dims": [1]}]})");
  const auto fromFile = runTransform(optionsFor(input, dir / "a.json"));
  EXPECT_EQ(fromFile.backendKind, static_cast<uint32_t>(VRX_GT_BACKEND_CPU));
  EXPECT_EQ(fromFile.allowedPasses, (PassSelection{false, {"FoldCasts"}}));

  auto options = optionsFor(input, dir / "b.json");
  options.backend = "NXB";
  options.allowedPasses = PassSelection{true, {}};
  const auto fromOptions = runTransform(options);
  EXPECT_EQ(fromOptions.backendKind, static_cast<uint32_t>(VRX_GT_BACKEND_NXB));
  const std::string written = readFileText(dir / "b.json");
  EXPECT_NE(written.find(R"("backend": "NXB")"), std::string::npos) << written;
  EXPECT_NE(written.find(R"("allowedPasses": "all")"), std::string::npos) << written;
}

TEST(TransformRunTest, BadOptionsAndFilesAreErrorsBeforeTheLibraryIsCalled) {
  ScratchDir dir;
  const auto noBackend = dir.write("g.json", R"({"tensors": []})");
  EXPECT_THROW(runTransform(optionsFor(noBackend, {})), TransformError);
  const auto unknownPass = dir.write("p.json", R"({"backend": "NXA", "allowedPasses": ["NoSuchPass"], "tensors": []})");
  EXPECT_THROW(runTransform(optionsFor(unknownPass, {})), TransformError);
  EXPECT_THROW(runTransform(optionsFor(dir / "absent.json", {})), GraphFileError);
  EXPECT_THROW(runTransform(optionsFor({}, {})), TransformError);
}

TEST(TransformRunTest, GraphInputsAndOutputsReachTheBackendAsGiven) {
  ScratchDir dir;
  const auto result = runTransform(optionsFor(kSmallCnn, dir / "out.json"));
  ASSERT_EQ(result.status, 0u) << summaryOf(optionsFor(kSmallCnn, dir / "out.json"), result);
  const LoadedGraph input = loadGraphFile(kSmallCnn);
  const LoadedGraph output = loadGraphFile(dir / "out.json");
  for (const char* name : {"image", "probabilities"}) {
    const auto* sent = findTensor(input.records(), name);
    const auto* received = findTensor(output.records(), name);
    ASSERT_NE(received, nullptr) << name;
    EXPECT_EQ(tensorText(*received), tensorText(*sent));
  }
  EXPECT_EQ(output.records().name, "small_cnn");
}

TEST(TransformRunTest, PassThroughSendsEveryNodeAndTensorToTheBackend) {
  ScratchDir dir;
  auto options = optionsFor(kSmallCnn, dir / "out.json");
  options.allowedPasses = PassSelection{};
  const auto result = runTransform(options);
  ASSERT_EQ(result.status, 0u);
  EXPECT_EQ(result.after.ops, result.before.ops);
  EXPECT_EQ(result.after.tensors, result.before.tensors);
  EXPECT_EQ(result.after.opsByType.at("Conv2d"), 2u);
  EXPECT_EQ(result.after.opsByType.at("ElementWiseNeuron"), 2u);  // Relu comes back in its backend form
}

TEST(TransformRunTest, ByDefaultTheWholePipelineRuns) {
  ScratchDir dir;
  const auto result = runTransform(optionsFor(kSmallCnn, dir / "out.json"));
  ASSERT_EQ(result.status, 0u);
  EXPECT_TRUE(result.allowedPasses.all);
  // The reshape that only flattens the fully connected layer's input goes.
  EXPECT_EQ(result.before.opsByType.at("Reshape"), 1u);
  EXPECT_FALSE(result.after.opsByType.contains("Reshape"));
  EXPECT_EQ(result.optimization.executedPasses, (std::vector<std::string>{"RemoveIdentityPreLT"}));
}

TEST(TransformRunTest, WritingTheResultAgainGivesTheSameBytes) {
  ScratchDir dir;
  ASSERT_EQ(runTransform(optionsFor(kSmallCnn, dir / "first.json")).status, 0u);
  std::filesystem::create_directory(dir / "again");
  ASSERT_EQ(runTransform(optionsFor(dir / "first.json", dir / "again/first.json")).status, 0u);
  EXPECT_EQ(readFileText(dir / "again/first.json"), readFileText(dir / "first.json"));
}

TEST(TransformRunTest, LibraryStatusIsReportedWithTheCallThatReturnedIt) {
  ScratchDir dir;
  // The builder refuses read-write application tensors.
  const auto input = dir.write("rw.json", R"({"backend": "NXA", "tensors": [{"name": "rw", "type": "APP_READWRITE", "dims": [1]}]})");
  const auto options = optionsFor(input, dir / "out.json");
  const auto result = runTransform(options);
  EXPECT_EQ(result.status, static_cast<Vrx_Status_t>(VRX_GT_ERROR_UNSUPPORTED_TENSOR));
  EXPECT_EQ(result.failedCall, "addGraphTensor 'rw'");
  EXPECT_TRUE(result.written.empty());
  EXPECT_NE(summaryOf(options, result).find("error: addGraphTensor 'rw' returned 7004 (VRX_GT_ERROR_UNSUPPORTED_TENSOR"),
            std::string::npos);
}

TEST(TransformRunTest, DotFilesShowTheGraphBeforeAndAfter) {
  ScratchDir dir;
  auto options = optionsFor(kSmallCnn, dir / "cnn.json");
  options.writeDot = true;
  const auto result = runTransform(options);
  ASSERT_EQ(result.status, 0u);
  EXPECT_EQ(result.written, (std::vector<std::filesystem::path>{dir / "cnn.json", dir / "cnn.bin",
                                                               dir / "cnn.before.dot", dir / "cnn.after.dot"}));
  const std::string before = readFileText(dir / "cnn.before.dot");
  EXPECT_EQ(before.rfind("digraph \"small_cnn\" {\n", 0), 0u);
  EXPECT_NE(before.find(R"("op:conv1_op" [shape=box)"), std::string::npos);
  EXPECT_NE(before.find(R"("t:image" -> "op:conv1_op";)"), std::string::npos);
  EXPECT_NE(before.find(R"("op:softmax" -> "t:probabilities";)"), std::string::npos);
  EXPECT_NE(before.find(R"("t:conv1.weight" [label="conv1.weight\n[3,3,3,4] FLOAT_32", shape=note)"), std::string::npos);
  EXPECT_NE(readFileText(dir / "cnn.after.dot").find(R"("t:image" [label="image\n[1,16,16,3] FLOAT_32")"),
            std::string::npos);
}

TEST(TransformSummaryTest, CountsByTypeAndWhatTheOptimizerDidOrThatItIsNotAvailable) {
  TransformOptions options = optionsFor("g.json", "o.json");
  TransformResult result;
  result.backendKind = VRX_GT_BACKEND_DSP;
  result.before = {2, 3, {{"Relu", 2}}, {{"NATIVE", 3}}};
  result.after = {2, 3, {{"ElementWiseNeuron", 2}}, {{"NATIVE", 3}}};
  std::string text = summaryOf(options, result);
  EXPECT_NE(text.find("backend DSP, passes allowed: none"), std::string::npos) << text;
  EXPECT_NE(text.find("  ElementWiseNeuron         0       2\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  Relu                      2       0\n"), std::string::npos) << text;
  EXPECT_NE(text.find("passes that changed the graph: not available\nMACs: not available\nparameters: not available"),
            std::string::npos)
      << text;

  result.optimization = {true, {"RemoveNoOps1", "FoldCasts"}, 1200, 34};
  text = summaryOf(options, result);
  EXPECT_NE(text.find("passes that changed the graph: RemoveNoOps1, FoldCasts\nMACs: 1200\nparameters: 34"),
            std::string::npos)
      << text;
}

TEST(TransformSummaryTest, StatusesAreNamedAndOthersAreTheBackends) {
  EXPECT_EQ(describeStatus(6007), "6007 (VRX_GT_ERROR_BAD_INPUT: input tensor missing, or a native input without producer)");
  EXPECT_EQ(describeStatus(1100).rfind("1100 (VRX_GT_ERROR_INVALID_HANDLE: ", 0), 0u);
  EXPECT_EQ(describeStatus(424242), "424242 (a status of the backend)");
}

}  // namespace
}  // namespace vrx::tools::test
