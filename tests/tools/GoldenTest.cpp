// The golden cases: each folder tests/golden/<PassName>/<case> is one test, "this graph in,
// that graph out", with that pass run alone (--run-pass <PassName>). Two other first-level
// folders hold cases of no pass: NoPasses (--no-passes) and Pipeline (the backend's whole
// pipeline). A case folder holds
//   input.json     the graph given to vrx-transform (with its side file, if it has one)
//   args.txt       optional: further vrx-transform arguments other than the graph and -o, such
//                  as "--backend NXA"; lines starting with '#' are comments
//   expected.json  the graph the backend must receive (and expected.bin, if it has a side file)
// With VRX_GOLDEN_UPDATE=1 the runner writes what it got as the expected files instead.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "ToolTestFiles.hpp"
#include "tools/vrx-transform/CommandLine.hpp"
#include "tools/vrx-transform/Summary.hpp"
#include "tools/vrx-transform/Transform.hpp"

namespace vrx::tools::test {
namespace {

std::filesystem::path goldenRoot() {
  const char* override = std::getenv("VRX_GOLDEN_DIR");
  return override != nullptr ? std::filesystem::path(override) : sourceRoot() / "tests" / "golden";
}

bool updating() {
  const char* update = std::getenv("VRX_GOLDEN_UPDATE");
  return update != nullptr && std::string(update) == "1";
}

// "RemoveNoOps1/mul_by_ones" and so on.
std::vector<std::string> goldenCases() {
  std::vector<std::string> cases;
  if (!std::filesystem::is_directory(goldenRoot())) return cases;
  for (const auto& group : std::filesystem::directory_iterator(goldenRoot())) {
    if (!group.is_directory()) continue;
    for (const auto& entry : std::filesystem::directory_iterator(group.path())) {
      if (entry.is_directory()) cases.push_back(group.path().filename().string() + "/" + entry.path().filename().string());
    }
  }
  std::sort(cases.begin(), cases.end());
  return cases;
}

// The passes of a case's first-level folder.
std::vector<std::string> groupArguments(const std::string& group) {
  if (group == "NoPasses") return {"--no-passes"};
  if (group == "Pipeline") return {};
  return {"--run-pass", group};
}

std::vector<std::string> caseArguments(const std::filesystem::path& file) {
  std::vector<std::string> args;
  std::ifstream in(file);
  std::string line;
  while (std::getline(in, line)) {
    if (line.starts_with("#")) continue;
    std::istringstream words(line);
    for (std::string word; words >> word;) args.push_back(word);
  }
  return args;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) result.push_back(line);
  return result;
}

// Where two texts first differ, with a few lines of context before and the differing lines
// of each side after.
std::string firstDifference(const std::string& expected, const std::string& actual) {
  constexpr size_t kContext = 3, kShown = 6;
  const auto want = lines(expected), got = lines(actual);
  size_t first = 0;
  while (first < want.size() && first < got.size() && want[first] == got[first]) ++first;
  std::ostringstream out;
  out << "first difference at line " << first + 1 << " (expected " << want.size() << " lines, got " << got.size()
      << "):\n";
  for (size_t i = first > kContext ? first - kContext : 0; i < first; ++i) out << "   " << i + 1 << "  " << want[i] << "\n";
  for (size_t i = first; i < std::min(want.size(), first + kShown); ++i) out << "-  " << i + 1 << "  " << want[i] << "\n";
  for (size_t i = first; i < std::min(got.size(), first + kShown); ++i) out << "+  " << i + 1 << "  " << got[i] << "\n";
  return out.str();
}

std::string contentsOrEmpty(const std::filesystem::path& path) {
  return std::filesystem::exists(path) ? readFileText(path) : std::string();
}

class GoldenTest : public ::testing::TestWithParam<std::string> {};

TEST_P(GoldenTest, BackendReceivesTheExpectedGraph) {
  const auto folder = goldenRoot() / GetParam();
  ScratchDir scratch;
  // The output takes the expected file's name, so that a side file is referred to by the same name.
  std::vector<std::string> args = {(folder / "input.json").string(), "-o", (scratch / "expected.json").string()};
  const auto group = groupArguments(GetParam().substr(0, GetParam().find('/')));
  args.insert(args.end(), group.begin(), group.end());
  const auto extra = caseArguments(folder / "args.txt");
  args.insert(args.end(), extra.begin(), extra.end());

  const CommandLine commandLine = parseArguments(args);
  const TransformResult result = runTransform(commandLine.options);
  std::ostringstream summary;
  printSummary(summary, commandLine.options, result);
  ASSERT_EQ(result.status, 0u) << summary.str();

  for (const char* name : {"expected.json", "expected.bin"}) {
    const std::string actual = contentsOrEmpty(scratch / name);
    const auto expectedPath = folder / name;
    if (updating() && actual.empty()) {
      std::filesystem::remove(expectedPath);  // the output no longer has a side file
    } else if (updating()) {
      writeFileBytes(expectedPath, actual);
    }
    if (updating()) continue;
    const std::string expected = contentsOrEmpty(expectedPath);
    if (expected != actual) {
      ADD_FAILURE() << expectedPath.string() << " differs from what the backend received; "
                    << firstDifference(expected, actual)
                    << "(run with VRX_GOLDEN_UPDATE=1 to take the new output as expected)";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, GoldenTest, ::testing::ValuesIn(goldenCases()), [](const auto& info) {
  std::string name = info.param;
  std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
  return name;
});
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(GoldenTest);

TEST(GoldenRunner, DifferenceShowsContextAndBothSides) {
  const std::string report = firstDifference("a\nb\nc\nd\ne\n", "a\nb\nc\nX\ne\nf\n");
  EXPECT_NE(report.find("first difference at line 4 (expected 5 lines, got 6)"), std::string::npos) << report;
  EXPECT_NE(report.find("   3  c\n-  4  d\n-  5  e\n+  4  X\n+  5  e\n+  6  f\n"), std::string::npos) << report;
}

TEST(GoldenRunner, EveryCaseHasInputAndExpectedFilesAndEveryGroupIsAPass) {
  const auto cases = goldenCases();
  EXPECT_FALSE(cases.empty());
  const auto passes = allPassNames();
  for (const auto& name : cases) {
    EXPECT_TRUE(std::filesystem::exists(goldenRoot() / name / "input.json")) << name;
    EXPECT_TRUE(std::filesystem::exists(goldenRoot() / name / "expected.json")) << name;
    const std::string group = name.substr(0, name.find('/'));
    const bool known = group == "NoPasses" || group == "Pipeline" ||
                       std::find(passes.begin(), passes.end(), group) != passes.end();
    EXPECT_TRUE(known) << group << " is neither a pass nor NoPasses nor Pipeline";
  }
}

}  // namespace
}  // namespace vrx::tools::test
