// What the golden cases of the identity removal passes can't show: the debug lines, and
// refusals that must leave the graph as it was.

#include "modeltools/iroptimizer/passes/IdentityRemoval.hpp"

#include <gtest/gtest.h>

#include <functional>

#include "modeltools/iroptimizer/passes/PassCatalogue.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/Verbose.hpp"
#include "support/CapturedDiagnostics.hpp"
#include "support/ExpectThrow.hpp"
#include "support/GraphBuilder.hpp"

namespace modeltools::iroptimizer {
namespace {

using vrx::test::GraphBuilder;
using vrx::test::opOrder;
using vrx::test::wiringProblem;

// A graph under construction and the passes to run on it.
class Scenario {
 public:
  ~Scenario() { setVerboseLogging(false); }

  TensorPtr input(const std::string& name, uint32_t dataType = VRX_DATATYPE_FLOAT_32) {
    return graph.addTensor(TensorFields{
        .name = name, .shape = IrTensorShape(Dims{1, 4}), .dataType = dataType, .kind = tensorkind::kGraphInput});
  }
  template <class T>
  StaticTensorPtr constant(const std::string& name, const Dims& dims, const std::vector<T>& values,
                           uint32_t dataType = VRX_DATATYPE_FLOAT_32) {
    return graph.addStaticTensor(
        TensorFields{.name = name, .shape = IrTensorShape(dims), .dataType = dataType, .kind = tensorkind::kStatic},
        values.data(), static_cast<uint32_t>(values.size() * sizeof(T)));
  }
  OpPtr binary(const std::string& name, uint32_t operation, const std::vector<std::string>& inputs) {
    auto op = b.op(name, "Eltwise_Binary", inputs);
    op->attrs()->add("operation", operation, attrcategory::kBackendParam);
    return op;
  }
  template <class T>
  static void addList(const OpPtr& op, const std::string& name, const Dims& dims, const std::vector<T>& values,
                      uint32_t dataType = VRX_DATATYPE_UINT_32) {
    auto tensor = std::make_shared<IrStaticTensor>(
        TensorFields{.name = name, .shape = IrTensorShape(dims), .dataType = dataType, .kind = tensorkind::kStatic},
        values.data(), static_cast<uint32_t>(values.size() * sizeof(T)));
    op->attrs()->add(name, tensor, attrcategory::kBackendParam);
  }
  bool run(uint32_t passId) { return createPass(passId)->run(graph); }
  // Runs the pass with the debug lines on and returns what it wrote.
  std::string runVerbose(uint32_t passId) {
    const auto said = vrx::test::captureDiagnostics(graph);
    setVerboseLogging(true);
    run(passId);
    setVerboseLogging(false);
    return said->text;
  }
  std::vector<std::string> inputNames(const std::string& opName) const {
    std::vector<std::string> names;
    for (const auto& tensor : graph.getOp(opName)->getInputs()) names.push_back(tensor->name());
    return names;
  }

  IrGraph graph{"g"};
  GraphBuilder b{graph};
};

class IdentityRemovalTest : public ::testing::Test, public Scenario {};

// ---- refusals -----------------------------------------------------------------------------------

// Each op reads the graph input x and writes the graph output, so that no squash can reconnect it.
struct RefusalCase {
  const char* name;
  std::function<void(Scenario&)> build;
  const char* line;
};

TEST(IdentityRemovalRefusals, ARefusedSquashLeavesTheGraphAndSaysWhyOnlyWhenVerbose) {
  const std::vector<RefusalCase> cases = {
      {"and",
       [](Scenario& t) {
         t.input("x", VRX_DATATYPE_BOOL_8);
         t.constant<uint8_t>("all_true", {1, 4}, {1, 1, 1, 1}, VRX_DATATYPE_BOOL_8);
         t.binary("and", 1, {"x", "all_true"});
       },
       "handleAndOp: Squash elementwise and op: and due to identity not possible "},
      {"div",
       [](Scenario& t) {
         t.input("x");
         t.constant<float>("one", {1}, {1.0f});
         t.binary("div", 2, {"x", "one"});
       },
       "handleDivOp: Squash elementwise div op: div due to identity not possible "},
      {"mul",
       [](Scenario& t) {
         t.input("x");
         t.constant<float>("ones", {1, 4}, {1, 1, 1, 1});
         t.binary("mul", 13, {"x", "ones"});
       },
       "handleMulOp: Squash elementwise product op: mul due to identity not possible "},
      {"tile",
       [](Scenario& t) {
         t.input("x");
         t.b.op("tile", "Tile", {"x"});
       },
       "handleTileOp: Squash tile op: tile due to shape match not possible "},
      {"split",
       [](Scenario& t) {
         t.input("x");
         Scenario::addList<uint32_t>(t.b.op("split", "Split", {"x"}), "split_index", {0}, {});
       },
       "handleSplitOp: Unable to squash identity Split: splitdue to split index check."},
      {"transpose",
       [](Scenario& t) {
         t.input("x");
         Scenario::addList<uint32_t>(t.b.op("transpose", "Transpose", {"x"}), "perm", {2}, {0, 1});
       },
       "handleTransposeOp: Unable to squash identity Transpose: transpose"},
  };
  for (const auto& refusal : cases) {
    SCOPED_TRACE(refusal.name);
    Scenario local;
    refusal.build(local);
    local.b.output(refusal.name);
    EXPECT_EQ(local.runVerbose(passid::RemoveNoOps1),
              std::string("modeltools::iroptimizer::removeIdentity::") + refusal.line + "\n");
    EXPECT_EQ(opOrder(local.graph), refusal.name);
    EXPECT_EQ(wiringProblem(local.graph), "");

    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(local.run(passid::RemoveNoOps1));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  }
}

TEST_F(IdentityRemovalTest, ARefusedGatherKeepsItsIndices) {
  input("x");
  constant<int32_t>("idx", {4}, {0, 1, 2, 3}, VRX_DATATYPE_INT_32);
  b.op("gather", "Gather", {"x", "idx"})->attrs()->add("axis", int32_t{1}, attrcategory::kBackendParam);
  b.output("gather");
  EXPECT_FALSE(run(passid::RemoveNoOps1));
  EXPECT_EQ(inputNames("gather"), (std::vector<std::string>{"x", "idx"}));
  EXPECT_EQ(graph.getTensor("idx")->consumers().size(), 1u);
  EXPECT_EQ(wiringProblem(graph), "");
}

// ---- what goes, with its debug lines ------------------------------------------------------------

TEST_F(IdentityRemovalTest, ReshapeAndGatherTellTheShapesTheyRemovedOnlyWhenVerbose) {
  input("x");
  b.op("relu1", "Relu", {"x"});
  b.op("reshape", "Reshape", {"relu1"});
  constant<int32_t>("idx", {4}, {0, 1, 2, 3}, VRX_DATATYPE_INT_32);
  // The axis may count from the end.
  b.op("gather", "Gather", {"reshape", "idx"})->attrs()->add("axis", int32_t{-1}, attrcategory::kBackendParam);
  b.op("relu2", "Relu", {"gather"});
  b.output("relu2");

  // The sweep meets the gather first.
  EXPECT_EQ(runVerbose(passid::RemoveNoOps1),
            "modeltools::iroptimizer::removeIdentity::handleGatherOp: Squash Gather Op: gather due to IdentityOp. "
            "Input shape: [1,4]\n"
            "modeltools::iroptimizer::removeIdentity::handleReshapeOp: Squash Reshape Op: reshape due to IdentityOp. "
            "Input shape: [1,4], shape after [1,4]\n");
  EXPECT_EQ(opOrder(graph), "relu1 relu2");
  EXPECT_EQ(inputNames("relu2"), std::vector<std::string>{"gather"});
  EXPECT_EQ(wiringProblem(graph), "");
}

// ---- near-misses --------------------------------------------------------------------------------

TEST_F(IdentityRemovalTest, OnlyFloatAndInt32ProductsAndBoolAndsAreIdentities) {
  input("bytes", VRX_DATATYPE_UINT_8);
  constant<uint8_t>("byte_ones", {1, 4}, {1, 1, 1, 1}, VRX_DATATYPE_UINT_8);
  binary("mul", 13, {"bytes", "byte_ones"});
  b.op("relu1", "Relu", {"mul"});
  binary("and", 1, {"bytes", "byte_ones"});  // all bytes one, but the input isn't BOOL_8
  b.op("relu2", "Relu", {"and"});
  EXPECT_FALSE(run(passid::RemoveNoOps1));
  EXPECT_EQ(opOrder(graph), "mul relu1 and relu2");
}

TEST_F(IdentityRemovalTest, DivisionByATensorWithoutDataStaysAndByAnEmptyConstantFails) {
  input("x");
  input("d");
  binary("div", 2, {"x", "d"});
  b.op("relu", "Relu", {"div"});
  EXPECT_FALSE(run(passid::RemoveNoOps1));
  EXPECT_EQ(opOrder(graph), "div relu");

  constant<float>("empty", {0}, {});
  binary("div_empty", 2, {"x", "empty"});
  b.op("relu_empty", "Relu", {"div_empty"});
  EXPECT_THROW_MSG(run(passid::RemoveNoOps1), std::runtime_error, "allElementsEqualToValue: Tensor has zero elements");
}

TEST_F(IdentityRemovalTest, AGraphInputToOutputOpIsOneOfEqualShapes) {
  input("x");
  b.op("same", "Reshape", {"x"});
  b.output("same");
  b.op("other", "Reshape", {"x"});
  b.output("other");
  graph.getTensor("other")->setShape(Dims{4});
  b.op("inner", "Reshape", {"same"});
  b.output("inner");
  EXPECT_TRUE(isGraphInputToOutputOp(graph.getOp("same")));
  EXPECT_FALSE(isGraphInputToOutputOp(graph.getOp("other")));
  EXPECT_FALSE(isGraphInputToOutputOp(graph.getOp("inner")));
}

TEST_F(IdentityRemovalTest, ACastIntoAGraphOutputStaysWhileItsInputHasOtherReaders) {
  input("x");
  b.op("relu", "Relu", {"x"});
  b.op("cast", "Cast", {"relu"});
  b.output("cast");
  b.op("tanh", "Tanh", {"relu"});
  b.output("tanh");
  EXPECT_FALSE(run(passid::ForcePruneCast));
  EXPECT_EQ(opOrder(graph), "relu cast tanh");

  // Its output not being a graph output, a cast may go although its input is one.
  b.op("cast2", "Cast", {"x"});
  b.op("relu2", "Relu", {"cast2"});
  b.output("relu2");
  EXPECT_TRUE(run(passid::RemoveCastIdentity));
  EXPECT_EQ(opOrder(graph), "relu cast tanh relu2");
  EXPECT_EQ(inputNames("relu2"), std::vector<std::string>{"x"});
}

}  // namespace
}  // namespace modeltools::iroptimizer
