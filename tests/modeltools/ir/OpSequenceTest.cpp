// The op order against a plain vector model, through long random edits; walks over all ops
// and over some types only.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ir/OpSequence.hpp"

namespace modeltools {
namespace {

using OpPtr = std::shared_ptr<ops::IrOp>;

// Three op types, so that walks over some types only are checked as well.
OpPtr makeOp(int i) { return std::make_shared<ops::IrOp>("op" + std::to_string(i), "T" + std::to_string(i % 3), nullptr); }

std::vector<OpPtr> ofTypes(const std::vector<OpPtr>& ops, const std::vector<std::string>& types) {
  std::vector<OpPtr> kept;
  for (const auto& op : ops) {
    if (std::find(types.begin(), types.end(), op->type()) != types.end()) kept.push_back(op);
  }
  return kept;
}

TEST(OpSequence, MatchesVectorModelThroughRandomEdits) {
  std::mt19937 random(1234);
  OpSequence sequence;
  std::vector<OpPtr> model;
  int next = 0;
  for (int step = 0; step < 4000; ++step) {
    const int action = static_cast<int>(random() % 4);
    if (action <= 1 || model.empty()) {
      const size_t at = random() % (model.size() + 1);
      auto op = makeOp(next++);
      sequence.insert(at, op);
      model.insert(model.begin() + static_cast<long>(at), op);
    } else if (action == 2) {
      const size_t at = random() % model.size();
      EXPECT_TRUE(sequence.erase(model[at].get()));
      model.erase(model.begin() + static_cast<long>(at));
    } else {
      const size_t at = random() % model.size();
      auto op = makeOp(next++);
      EXPECT_TRUE(sequence.replace(model[at].get(), op));
      model[at] = op;
    }
    if (step % 97 == 0) {
      ASSERT_EQ(sequence.snapshot(), model);
      ASSERT_EQ(sequence.snapshotOfTypes({"T0", "T2"}), ofTypes(model, {"T0", "T2"}));
      ASSERT_EQ(sequence.snapshotOfTypes({"T1", "T1"}), ofTypes(model, {"T1"}));
      ASSERT_TRUE(sequence.snapshotOfTypes({"T", "U"}).empty());
      for (size_t i = 0; i < model.size(); i += 7) {
        EXPECT_EQ(sequence.indexOf(model[i].get()), i);
        EXPECT_EQ(sequence.at(i), model[i]);
      }
    }
  }
  EXPECT_EQ(sequence.size(), model.size());
}

TEST(OpSequence, RefusesDuplicatesAndAnswersForStrangers) {
  OpSequence sequence;
  auto a = makeOp(1), b = makeOp(2);
  sequence.push_back(a);
  EXPECT_THROW(sequence.push_back(a), std::logic_error);
  EXPECT_EQ(sequence.indexOf(b.get()), OpSequence::npos);
  EXPECT_FALSE(sequence.erase(b.get()));
  EXPECT_THROW(sequence.insert(3, b), std::out_of_range);
  EXPECT_THROW(sequence.replace(a.get(), nullptr), std::invalid_argument);
  sequence.insert(0, b);
  EXPECT_TRUE(sequence.precedes(b.get(), a.get()));
  EXPECT_EQ(sequence.front(), b);
  EXPECT_EQ(sequence.back(), a);
}

}  // namespace
}  // namespace modeltools
