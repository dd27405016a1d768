#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "modeltools/iroptimizer/Pattern.hpp"
#include "support/ExpectThrow.hpp"
#include "support/GraphBuilder.hpp"

namespace modeltools::iroptimizer {
namespace {

using vrx::test::GraphBuilder;

class PatternTest : public ::testing::Test {
 protected:
  OpPtr at(const std::string& name) const { return graph.getOp(name); }

  // A graph input "in" read by a chain of ops given as "name:Type ...".
  void chainFromInput(const std::string& steps) {
    b.input("in");
    b.chain("in", steps);
  }

  IrGraph graph{"g"};
  GraphBuilder b{graph};
};

TEST_F(PatternTest, ChildrenBeyondTheInputCountCountAsMatched) {
  chainFromInput("r:Relu");
  b.op("mul", "Mul", {"r"});
  auto x = isOpType("Relu");
  auto y = isOpType("Neg");
  auto root = op("Mul", x, y);
  ASSERT_TRUE(root->match(at("mul")));
  const auto captures = root->getMatchedNodes();
  EXPECT_EQ(captures.at(x), at("r"));
  EXPECT_EQ(captures.count(y), 0u);
  EXPECT_EQ(captures.at(root), at("mul"));
  EXPECT_EQ(root->getParents().at(x), (std::set<PatternPtr>{root}));
}

TEST_F(PatternTest, StaticInputsMatchOnlyTensorPatterns) {
  b.input("in");
  b.constant("w");
  b.op("add", "Add", {"w", "in"});
  auto wildcard = isWildcard();
  auto root = op("Add", wildcard, isInput());
  ASSERT_TRUE(root->match(at("add")));
  EXPECT_EQ(root->getMatchedNodes().count(wildcard), 0u);
  EXPECT_EQ(root->getMatchedNodes().size(), 2u);  // the op pattern and its type pattern
  EXPECT_TRUE(op("Add", isConstant(), isWildcard())->match(at("add")));
  EXPECT_FALSE(op("Add", isOpType("Const"), isWildcard())->match(at("add")));
  EXPECT_FALSE(op("Add", either(isOpType("Const"), isWildcard()), isWildcard())->match(at("add")));
  EXPECT_FALSE(op("Add", isWildcard(), isConstant())->match(at("add")));
}

TEST_F(PatternTest, AnInputWithoutProducerIsMatchedOnlyByAWildcard) {
  b.tensor("loose");
  b.op("r", "Relu", {"loose"});
  EXPECT_FALSE(op("Relu", isOpType("Neg"))->match(at("r")));
  EXPECT_TRUE(op("Relu", isWildcard())->match(at("r")));
}

TEST_F(PatternTest, CommutativeOpPrefersTheGivenOrderAndASharedPatternObjectKeepsItsFirstCapture) {
  chainFromInput("r1:Relu");
  b.chain("in", "r2:Relu");
  b.op("eadd", "ElementWiseAdd", {"r1", "r2"});
  b.op("add", "Add", {"r1", "r2"});
  auto a = isOpType("Relu");
  auto c = isOpType("Relu");
  auto commutative = commutativeOp("ElementWiseAdd", a, c);
  ASSERT_TRUE(commutative->match(at("eadd")));
  EXPECT_EQ(commutative->getMatchedNodes().at(a), at("r1"));
  EXPECT_EQ(commutative->getMatchedNodes().at(c), at("r2"));

  auto x = isOpType("Relu");
  auto shared = op("Add", x, x);
  ASSERT_TRUE(shared->match(at("add")));
  EXPECT_EQ(shared->getMatchedNodes().at(x), at("r1"));
}

TEST_F(PatternTest, FoldableConstantIsAReshapeReadingAStaticTensorAlone) {
  b.input("in");
  b.constant("w");
  b.op("reshape", "Reshape", {"w"});
  b.op("mul", "Mul", {"in", "reshape"});
  auto root = op("Mul", isWildcard(), isFoldableConstant());
  EXPECT_TRUE(root->match(at("mul")));
  b.op("other", "Neg", {"w"});
  EXPECT_FALSE(root->match(at("mul")));
}

TEST_F(PatternTest, AlternativesTryTheRightOrPreferredBranchFirstWithoutBacktracking) {
  chainFromInput("r:Relu");
  auto left = isOpType("Relu");
  auto rightType = isOpType("Relu");
  auto right = op(rightType, {isOpType("Neg")});  // fails at its input, after its type matched
  auto root = either(left, right);
  ASSERT_TRUE(root->match(at("r")));
  const auto captures = root->getMatchedNodes();
  EXPECT_EQ(captures.at(left), at("r"));
  EXPECT_EQ(captures.count(right), 0u);
  EXPECT_EQ(captures.at(rightType), at("r"));  // the failed branch's partial capture stays

  auto preferred = isOpType("Relu");
  auto fallback = isOpType("Relu");
  auto chosen = optional(preferred, fallback);
  ASSERT_TRUE(chosen->match(at("r")));
  EXPECT_EQ(chosen->getMatchedNodes().count(fallback), 0u);
  EXPECT_EQ(chosen->getParents().at(preferred), (std::set<PatternPtr>{chosen}));
}

TEST_F(PatternTest, ARootNamesEveryOpTypeItCanMatch) {
  chainFromInput("s:Reshape r:Relu m:Mul n:Neg c:Cast");
  const std::vector<std::pair<PatternPtr, Pattern::OpTypes>> cases = {
      {isOpType("Relu"), std::vector<std::string>{"Relu"}},
      {op("Mul", isWildcard()), std::vector<std::string>{"Mul"}},
      {withShape(op("Neg", isOpType("Mul")), {1}), std::vector<std::string>{"Neg"}},
      {either(isOpType("Relu"), op("Neg", isWildcard())), std::vector<std::string>{"Relu", "Neg"}},
      {optional(isOpType("Cast"), isOpType("Neg")), std::vector<std::string>{"Cast", "Neg"}},
      {isFoldableConstant(), std::vector<std::string>{"Reshape"}},
      {isConstant(), std::vector<std::string>{}},
      {isWildcard(), std::nullopt},
      {either(isOpType("Relu"), isWildcard()), std::nullopt},
  };
  for (const auto& [pattern, expected] : cases) {
    const auto types = pattern->opTypes();
    ASSERT_EQ(types.has_value(), expected.has_value());
    if (!types) continue;
    EXPECT_EQ(std::set<std::string>(types->begin(), types->end()), std::set<std::string>(expected->begin(), expected->end()));
    // What a sweep relies on: no op of another type ever matches.
    for (const auto& candidate : graph.getOps()) {
      if (std::find(types->begin(), types->end(), candidate->type()) == types->end()) {
        EXPECT_FALSE(pattern->match(candidate)) << candidate->name();
      }
    }
  }
}

TEST_F(PatternTest, AFailedMatchKeepsTheLastSuccessfulCaptures) {
  chainFromInput("r:Relu n:Neg");
  auto root = isOpType("Relu");
  ASSERT_TRUE(root->match(at("r")));
  EXPECT_FALSE(root->match(at("n")));
  EXPECT_EQ(root->getMatchedNodes().at(root), at("r"));
  EXPECT_THROW_MSG(root->getMatchedNodes().at(isOpType("Relu")), std::out_of_range, "invalid map<K, T> key");
}

TEST_F(PatternTest, ARootWithoutSharedOwnershipIsAProgrammingError) {
  chainFromInput("r:Relu");
  OpTypePattern unowned("Relu");
  EXPECT_THROW(unowned.match(at("r")), std::bad_weak_ptr);
}

TEST_F(PatternTest, ShapePatternComparesTheInferredOrGivenShape) {
  chainFromInput("r:Relu");
  b.op("add", "Add", {"r", "in"});
  EXPECT_TRUE(withShape(isOpType("Relu"), {1, 4})->match(at("r")));
  EXPECT_FALSE(withShape(isOpType("Relu"), {4})->match(at("r")));
  EXPECT_TRUE(op("Add", isWildcard(), withShape(isInput(), {1, 4}))->match(at("add")));
  EXPECT_FALSE(op("Add", isWildcard(), withShape(isInput(), {2, 4}))->match(at("add")));
}

class PatternAttributeTest : public PatternTest {
 protected:
  void SetUp() override {
    b.input("in");
    b.chain("in", "r:Relu");
    attrs = at("r")->attrs();
  }
  bool matches(const PatternAttributePtr& attribute) { return withAttr(isOpType("Relu"), attribute)->match(at("r")); }
  void addList(const std::string& name, uint32_t dataType, Dims dims, const std::vector<uint32_t>& raw) {
    auto tensor = std::make_shared<IrStaticTensor>(
        TensorFields{
            .name = name, .shape = IrTensorShape(std::move(dims)), .dataType = dataType, .kind = tensorkind::kStatic},
        raw.data(), static_cast<uint32_t>(raw.size() * sizeof(uint32_t)));
    attrs->add(name, tensor, attrcategory::kBackendParam);
  }

  std::shared_ptr<IrAttributes> attrs;
};

TEST_F(PatternAttributeTest, ScalarsCompareAsNumbersOrText) {
  attrs->add("operation", uint32_t{13}, attrcategory::kBackendParam);
  attrs->add("flag", true, attrcategory::kBackendParam);
  attrs->add("axis", int32_t{-1}, attrcategory::kBackendParam);
  attrs->add("alpha", 0.5f, attrcategory::kBackendParam);
  attrs->add("kind", std::string("ReduceMax"), attrcategory::kSupplemental);
  EXPECT_TRUE(matches(attrNumber("operation", 13)));
  EXPECT_FALSE(matches(attrNumber("operation", 12)));
  EXPECT_TRUE(matches(attrNumber("flag", 1)));
  EXPECT_TRUE(matches(attrNumber("axis", -1)));
  EXPECT_TRUE(matches(attrNumber("alpha", 0.5)));
  EXPECT_TRUE(matches(attrText("kind", "ReduceMax")));
  EXPECT_FALSE(matches(attrText("kind", "ReduceMin")));
  EXPECT_FALSE(matches(attrNumber("missing", 0)));
  EXPECT_FALSE(withAttr(isOpType("Relu"), {attrNumber("operation", 13), attrNumber("axis", 0)})->match(at("r")));
}

TEST_F(PatternAttributeTest, HalfFloatsAndExoticScalars) {
  AttrValue half;
  half.dataType = VRX_DATATYPE_FLOAT_16;
  half.value.uint16Value = 0x3800;  // 0.5
  attrs->addValue("half", half);
  AttrValue exotic;
  exotic.dataType = VRX_DATATYPE_FLOAT_64;
  attrs->addValue("exotic", exotic);
  EXPECT_TRUE(matches(attrNumber("half", 0.5)));
  EXPECT_FALSE(matches(attrNumber("half", 1.0)));
  EXPECT_TRUE(matches(attrNumber("exotic", 12345)));
}

TEST_F(PatternAttributeTest, ListsCompareElementByElementForThreeDataTypes) {
  addList("perm", VRX_DATATYPE_UINT_32, {3}, {0, 2, 1});
  addList("grid", VRX_DATATYPE_UINT_32, {2, 2}, {1, 2, 3, 4});
  addList("bytes", VRX_DATATYPE_UINT_8, {4}, {0x01010101});
  EXPECT_TRUE(matches(attrList("perm", {0, 2, 1})));
  EXPECT_FALSE(matches(attrList("perm", {0, 1, 2})));
  EXPECT_FALSE(matches(attrList("perm", {0, 2})));
  EXPECT_TRUE(matches(attrList("grid", {1, 2, 3, 4})));
  EXPECT_FALSE(matches(attrList("bytes", {1, 1, 1, 1})));
}

}  // namespace
}  // namespace modeltools::iroptimizer
