// The table of passes as the library runs it: every row built and filed as it says, the
// registry's refusals, and rows that point at the code of their classes.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/passes/PassCatalogue.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools::iroptimizer {
namespace {

TEST(PassCatalogue, EveryRowIsFiledInPostLayoutAsItsScheduleSays) {
  const auto& registry = passRegistry();
  const auto passes = registry.stagePasses(PostLayout);
  ASSERT_EQ(passes.size(), kNumPasses);
  for (const auto& row : kPassTable) {
    SCOPED_TRACE(std::string(row.name));
    const auto& pass = passes.at(row.id);
    ASSERT_NE(pass, nullptr);
    EXPECT_EQ(pass->backends, (std::set<int32_t>{Default}));
    EXPECT_EQ(pass->requiresEnable, 0u);
    EXPECT_EQ(pass->repeatMode, row.schedule == PassSchedule::UntilStable ? repeatmode::kUntilStable : repeatmode::kOnce);
    EXPECT_EQ(pass->keepMatchedOps, row.schedule == PassSchedule::OnceKeepingMatchedOps ? 1u : 0u);
    EXPECT_EQ(getPassIdFromPassName(std::string(row.name)), row.id);
  }
  for (const uint32_t stage : {PreLayout, PreQuant, PostQuant}) EXPECT_TRUE(registry.stagePasses(stage).empty());
  EXPECT_EQ(createPass(kNumPasses), nullptr);
}

// A row names the file of its classes, so that a pass is found from its name in one search.
TEST(PassCatalogue, EveryBuiltRowNamesTheFileThatDefinesItsClasses) {
  const auto root = std::filesystem::path(__FILE__).parent_path() / ".." / ".." / ".." / "modeltools" / "iroptimizer";
  for (const auto& row : kPassTable) {
    SCOPED_TRACE(std::string(row.name));
    if (row.classes == "PendingPass") {
      EXPECT_TRUE(row.file.empty());
      continue;
    }
    std::ifstream in(root / row.file);
    ASSERT_TRUE(in.good()) << row.file;
    std::stringstream text;
    text << in.rdbuf();
    std::istringstream classes{std::string(row.classes)};
    for (std::string name; std::getline(classes, name, ',');) {
      name.erase(0, name.find_first_not_of(' '));
      EXPECT_NE(text.str().find(name + "::" + name + "("), std::string::npos) << name << " in " << row.file;
    }
  }
}

TEST(PassCatalogue, RegistryRefusesSecondRegistrationAndUnknownIds) {
  PassRegistry own(&createPass);
  EXPECT_TRUE(own.registerPass(passid::FoldCasts, PreQuant, {Default}, repeatmode::kUntilStable, 1, 0));
  EXPECT_EQ(own.stagePasses(PreQuant).at(passid::FoldCasts)->requiresEnable, 1u);
  EXPECT_THROW_MSG(own.registerPass(passid::FoldCasts, PreQuant, {Default}, 0, 0, 0), std::runtime_error,
                   "modeltools::iroptimizer::PassManager::registerPass: Pass FoldCasts is already registered");
  EXPECT_FALSE(own.registerPass(passid::FoldCasts, 4, {Default}, 0, 0, 0));
  EXPECT_THROW_MSG(own.registerPass(kNumPasses, PostLayout, {Default}, 0, 0, 0), std::runtime_error,
                   "modeltools::iroptimizer::getPassNameFromPassId:  Invalid pass Id 89");
}

TEST(PassCatalogue, ReplacementPutsPassInPlaceAndGivesPreviousBack) {
  PassRegistry own;
  auto first = std::make_shared<PendingPass>();
  auto second = std::make_shared<PendingPass>();
  EXPECT_EQ(own.replacePass(passid::MatchGelu, PostLayout, first), nullptr);
  EXPECT_EQ(own.replacePass(passid::MatchGelu, PostLayout, second), first);
  EXPECT_EQ(own.stagePasses(PostLayout).at(passid::MatchGelu), second);
  EXPECT_EQ(own.replacePass(passid::MatchGelu, PostLayout, nullptr), second);
  EXPECT_TRUE(own.stagePasses(PostLayout).empty());
}

}  // namespace
}  // namespace modeltools::iroptimizer
