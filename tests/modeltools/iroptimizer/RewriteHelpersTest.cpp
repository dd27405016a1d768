#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "modeltools/ir/Permutations.hpp"
#include "modeltools/iroptimizer/ConstantReads.hpp"
#include "modeltools/iroptimizer/GraphEdits.hpp"
#include "modeltools/iroptimizer/MatmulChecks.hpp"
#include "modeltools/iroptimizer/OpStructure.hpp"
#include "modeltools/iroptimizer/Transposes.hpp"
#include "modeltools/iroptimizer/Verbose.hpp"
#include "support/CapturedDiagnostics.hpp"
#include "support/ExpectThrow.hpp"
#include "support/GraphBuilder.hpp"

namespace modeltools::iroptimizer {
namespace {

using vrx::test::GraphBuilder;
using vrx::test::opOrder;
using vrx::test::wiringProblem;

using U32 = std::vector<uint32_t>;

// Turns the debug lines on for one test and off again behind it.
class VerboseScope {
 public:
  VerboseScope() { setVerboseLogging(true); }
  ~VerboseScope() { setVerboseLogging(false); }
};

class RewriteHelpersTest : public ::testing::Test {
 protected:
  template <class T>
  StaticTensorPtr constant(const std::string& name, const Dims& dims, const std::vector<T>& values, uint32_t dataType) {
    return graph.addStaticTensor(
        TensorFields{.name = name, .shape = IrTensorShape(dims), .dataType = dataType, .kind = tensorkind::kStatic},
        values.data(), static_cast<uint32_t>(values.size() * sizeof(T)));
  }
  StaticTensorPtr floats(const std::string& name, const Dims& dims, const std::vector<float>& values) {
    return constant(name, dims, values, VRX_DATATYPE_FLOAT_32);
  }
  // A rank-1 perm attribute for a "Transpose" made by the builder.
  static void setPerm(const OpPtr& op, const U32& perm) {
    auto tensor =
        std::make_shared<IrStaticTensor>(TensorFields{.name = "perm",
                                                      .shape = IrTensorShape(Dims{static_cast<uint32_t>(perm.size())}),
                                                      .dataType = VRX_DATATYPE_UINT_32,
                                                      .kind = tensorkind::kStatic},
                                         perm.data(), static_cast<uint32_t>(perm.size() * sizeof(uint32_t)));
    op->attrs()->add("perm", tensor, attrcategory::kBackendParam);
  }
  static std::vector<std::string> readerNames(const TensorPtr& tensor) {
    std::vector<std::string> names;
    for (const auto& reader : tensor->consumers()) names.push_back(reader->name());
    std::sort(names.begin(), names.end());
    return names;
  }
  // w -> Transpose t -> Relu relu, with t's output already shaped like the transposed data.
  OpPtr transposeOfConstant() {
    auto transpose = b.op("t", "Transpose", {"w"});
    setPerm(transpose, {1, 0});
    graph.getTensor("t")->setShape(Dims{3, 2});
    b.op("relu", "Relu", {"t"});
    return transpose;
  }
  std::vector<std::string> opsOfType(const std::string& type) const {
    std::vector<std::string> names;
    for (const auto& op : graph.getOps()) {
      if (op->type() == type) names.push_back(op->name());
    }
    return names;
  }

  IrGraph graph{"g"};
  GraphBuilder b{graph};
  std::shared_ptr<vrx::test::CapturedDiagnostics> said = vrx::test::captureDiagnostics(graph);
};

TEST_F(RewriteHelpersTest, ScalarReadersTakeOneElementOfEachAcceptedTypeAndNameEveryRefusal) {
  EXPECT_FLOAT_EQ(getConstValue(floats("f", {1}, {2.5f})), 2.5f);
  EXPECT_FLOAT_EQ(getConstValue(constant<int32_t>("i", {1}, {-3}, VRX_DATATYPE_INT_32)), -3.0f);
  EXPECT_FLOAT_EQ(getConstValue(constant<uint32_t>("u", {1, 1}, {7}, VRX_DATATYPE_UINT_32)), 7.0f);
  EXPECT_FLOAT_EQ(getConstValue(constant<uint16_t>("h", {1}, {0x3800}, VRX_DATATYPE_FLOAT_16)), 0.5f);

  EXPECT_THROW_MSG(getConstValue(nullptr), std::runtime_error, "getConstValue: Null tensor passed to getConstValue");
  EXPECT_THROW_MSG(getConstValue(floats("pair", {2}, {1.0f, 2.0f})), std::runtime_error,
                   "getConstValue: Expected 1 element but found 2");
  EXPECT_THROW_MSG(getConstValue(constant<int8_t>("byte", {1}, {1}, VRX_DATATYPE_INT_8)), std::runtime_error,
                   "getConstValue: Found Unsupported VRX datatype in getConstValue function.");

  // A static float scalar is only a one-element float constant.
  double value = 0;
  EXPECT_TRUE(getStaticFloatScalar(constant<uint16_t>("h_one", {1}, {0x3C00}, VRX_DATATYPE_FLOAT_16), value));
  EXPECT_DOUBLE_EQ(value, 1.0);
  EXPECT_FALSE(getStaticFloatScalar(constant<int32_t>("i_one", {1}, {1}, VRX_DATATYPE_INT_32), value));
  EXPECT_FALSE(getStaticFloatScalar(floats("equal_pair", {2}, {1.0f, 1.0f}), value));
  EXPECT_FALSE(getStaticFloatScalar(b.input("x"), value));
}

TEST_F(RewriteHelpersTest, AllElementsEqualDeclinesQuietlyWhereTheStrictFormThrows) {
  float first = 0;
  EXPECT_TRUE(allElementsEqualToValue(constant<int16_t>("s", {3}, {4, 4, 4}, VRX_DATATYPE_INT_16), &first));
  EXPECT_FLOAT_EQ(first, 4.0f);
  EXPECT_FALSE(allElementsEqualToValue(floats("mixed", {2}, {1.0f, 2.0f})));
  EXPECT_FALSE(allElementsEqualToValue(constant<int64_t>("wide", {2}, {1, 1}, VRX_DATATYPE_INT_64)));
  EXPECT_FALSE(allElementsEqualToValue(b.input("x")));
  const auto empty = floats("empty", {0}, {});
  EXPECT_FALSE(allElementsEqualToValue(nullptr));
  EXPECT_FALSE(allElementsEqualToValue(empty));

  EXPECT_TRUE(allElementsEqualTo(constant<uint8_t>("ones", {2, 2}, {1, 1, 1, 1}, VRX_DATATYPE_UINT_8), 1.0f));
  EXPECT_FALSE(allElementsEqualTo(floats("twos", {2}, {2.0f, 2.0f}), 1.0f));
  EXPECT_THROW_MSG(allElementsEqualTo(nullptr, 1.0f), std::runtime_error,
                   "allElementsEqualToValue: Null tensor passed to allElementsEqualToValue");
  EXPECT_THROW_MSG(allElementsEqualTo(empty, 1.0f), std::runtime_error,
                   "allElementsEqualToValue: Tensor has zero elements");
}

TEST_F(RewriteHelpersTest, AnyElementNegativeLooksAtSignedAndFloatDataAndU32ListsTakeTheFirstDimensionManyValues) {
  EXPECT_TRUE(anyElementNegative(constant<int8_t>("s", {2}, {3, -1}, VRX_DATATYPE_INT_8)));
  EXPECT_FALSE(anyElementNegative(floats("f", {2}, {0.0f, 2.0f})));
  EXPECT_FALSE(anyElementNegative(constant<uint8_t>("u", {2}, {255, 0}, VRX_DATATYPE_UINT_8)));
  EXPECT_THROW_MSG(anyElementNegative(nullptr), std::runtime_error,
                   "anyElementNegative: Null tensor passed to anyElementNegative");

  EXPECT_EQ(staticTensorToU32List(constant<uint32_t>("l", {3}, {4, 0, 9}, VRX_DATATYPE_UINT_32)), (U32{4, 0, 9}));
  EXPECT_TRUE(staticTensorToU32List(nullptr).empty());
  // Four bytes hold one 32-bit value, not four.
  EXPECT_THROW_MSG(staticTensorToU32List(constant<uint8_t>("bytes", {4}, {1, 2, 3, 4}, VRX_DATATYPE_UINT_8)),
                   std::out_of_range, "Index out of bounds for IrStaticTensor");
}

TEST_F(RewriteHelpersTest, ToleranceIsAgainstTheSecondArgument) {
  EXPECT_TRUE(isClose(1.0, 2.0, 0.5, 0.0));   // |1 - 2| <= 2 * 0.5
  EXPECT_FALSE(isClose(2.0, 1.0, 0.5, 0.0));  // |2 - 1| >  1 * 0.5
  EXPECT_TRUE(isClose(2.0, 1.0, 0.5, 0.5));

  b.input("x");
  floats("near", {1}, {1.05f});
  b.op("mul", "Eltwise_Binary", {"x", "near"});
  EXPECT_TRUE(hasStaticScalarNear(graph.getOp("mul"), 1.0, 0.1, 0.0));
  EXPECT_FALSE(hasStaticScalarNear(graph.getOp("mul"), 1.0, 0.01, 0.0));
  EXPECT_FALSE(hasStaticScalarNear(graph.getOp("mul"), 1.0, 0.0, 0.01));

  const float tiny[] = {1e-9f, -1e-9f};
  const float small[] = {0.0f, 1e-7f};
  EXPECT_TRUE(allNearZero(tiny, 2));
  EXPECT_FALSE(allNearZero(small, 2));
  EXPECT_TRUE(allNearZero(nullptr, 0));
}

TEST_F(RewriteHelpersTest, PermutationHelpers) {
  EXPECT_EQ(getInversePermutation({0, 2, 3, 1}), (U32{0, 3, 1, 2}));
  EXPECT_EQ(getInversePermutation({}), U32{});
  EXPECT_THROW_MSG(getInversePermutation({0, 3}), std::runtime_error,
                   "getInversePermutation: Invalid permutation value 3 at index 1 for permutation of size 2");

  EXPECT_EQ(channelLastToFirstPerm(4), (U32{0, 3, 1, 2}));
  EXPECT_EQ(channelLastToFirstPerm(3), (U32{0, 2, 1}));
  EXPECT_EQ(channelLastToFirstPerm(2), (U32{0, 1}));
  EXPECT_EQ(channelLastToFirstPerm(1), (U32{0}));
  EXPECT_EQ(channelFirstToLastPerm(5), (U32{0, 2, 3, 4, 1}));
  EXPECT_EQ(channelFirstToLastPerm(2), (U32{0, 1}));
  // The two are inverse to each other.
  EXPECT_EQ(getInversePermutation(channelFirstToLastPerm(4)), channelLastToFirstPerm(4));
  EXPECT_EQ(swapWithLastPerm(4, 1), (U32{0, 3, 2, 1}));
  EXPECT_EQ(swapWithLastPerm(3, 2), (U32{0, 1, 2}));
  EXPECT_EQ(permToString({0, 3, 1, 2}), "0312");

  EXPECT_EQ(squeezeOnes({1, 3, 1, 4}), (Dims{3, 4}));
  EXPECT_EQ(squeezeOnes({1, 1}), (Dims{1}));
  EXPECT_TRUE(trailingDimsMatch({2, 3, 4}, {3, 1}));
  EXPECT_FALSE(trailingDimsMatch({2, 3, 4}, {2, 4}));
  EXPECT_FALSE(trailingDimsMatch({4}, {1, 4}));
}

TEST_F(RewriteHelpersTest, UniqueNamesCountFromZeroPastTheNamesTaken) {
  EXPECT_EQ(generateUniqueTensorName(graph, "t"), "t_0");
  b.tensor("t_0");
  b.tensor("t_1");
  EXPECT_EQ(generateUniqueTensorName(graph, "t"), "t_2");
}

TEST_F(RewriteHelpersTest, InjectTransposeNamesItAfterTheTensorAndThePermutation) {
  GraphBuilder wide(graph, {1, 2, 3, 4});
  wide.input("x");
  wide.op("a", "Relu", {"x"});
  wide.op("b", "Relu", {"x"});
  const auto transpose = injectTranspose(graph, "x", {0, 2, 3, 1}, {"b"});
  EXPECT_EQ(transpose->name(), "x_0231");
  EXPECT_EQ(transpose->type(), "Transpose");
  EXPECT_EQ(listAttribute(*transpose, "perm"), (U32{0, 2, 3, 1}));
  const auto output = graph.getTensor("x_0231");
  ASSERT_TRUE(output);
  EXPECT_EQ(output->dims(), (Dims{1, 3, 4, 2}));
  EXPECT_EQ(output->permToSource(), (U32{0, 3, 1, 2}));
  EXPECT_EQ(graph.getOp("b")->getInput(0), output);
  EXPECT_EQ(graph.getOp("a")->getInput(0)->name(), "x");  // not named: keeps the old tensor
  EXPECT_EQ(opOrder(graph), "a x_0231 b");
  EXPECT_EQ(wiringProblem(graph), "");

  const auto named = injectTranspose(graph, "x", {0, 3, 1, 2}, {"a"}, "custom");
  EXPECT_EQ(named->name(), "custom_0312");
}

TEST_F(RewriteHelpersTest, InjectTransposeOnAGraphOutputMovesTheNameToTheTransposedTensorOnlyWhenAsked) {
  GraphBuilder wide(graph, {1, 2, 3, 4});
  wide.input("x");
  wide.op("r", "Relu", {"x"});
  wide.output("r");
  const auto original = graph.getTensor("r");

  injectTranspose(graph, "r", {0, 2, 3, 1}, {}, "", false);
  EXPECT_EQ(graph.getOutputs(), std::vector<TensorPtr>{original});
  EXPECT_EQ(graph.getTensor("r_0231")->kind(), tensorkind::kNative);

  // The tensor's own name, which the call changes, is a fine argument.
  injectTranspose(graph, original->name(), {0, 3, 1, 2}, {}, "", true);
  const auto kept = graph.getTensor("r");
  ASSERT_TRUE(kept);
  EXPECT_NE(kept, original);
  EXPECT_EQ(kept->producer()->name(), "r_0312");
  EXPECT_EQ(kept->dims(), (Dims{1, 4, 2, 3}));
  EXPECT_TRUE(kept->isGraphOutput());
  EXPECT_EQ(graph.getOutputs(), std::vector<TensorPtr>{kept});
  // The old tensor takes the name of the inverse permutation and is no output any more.
  EXPECT_EQ(original->name(), "r_0231_0");  // "r_0231" is the first transpose's output
  EXPECT_EQ(original->kind(), tensorkind::kNative);
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(RewriteHelpersTest, InsertOrReuseTransposeTwiceMakesOneTransposeThatBothReadersShare) {
  b.input("x");
  b.op("a", "Relu", {"x"});
  b.op("b", "Relu", {"x"});
  // The second reader first: the transpose lands in front of b, behind a.
  insertOrReuseTranspose(graph, graph.getOp("b"), 0, {1, 0});
  EXPECT_EQ(opOrder(graph), "a x_10 b");
  insertOrReuseTranspose(graph, graph.getOp("a"), 0, {1, 0});

  EXPECT_EQ(opsOfType("Transpose"), std::vector<std::string>{"x_10"});
  const auto shared = graph.getTensor("x_10");
  EXPECT_EQ(graph.getOp("a")->getInput(0), shared);
  EXPECT_EQ(graph.getOp("b")->getInput(0), shared);
  EXPECT_EQ(readerNames(shared), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(readerNames(graph.getTensor("x")), std::vector<std::string>{"x_10"});
  // a read it before: the transpose moved up in front of a.
  EXPECT_EQ(opOrder(graph), "x_10 a b");
  EXPECT_EQ(wiringProblem(graph), "");

  // Another permutation is another transpose.
  b.op("c", "Relu", {"x"});
  insertOrReuseTranspose(graph, graph.getOp("c"), 0, {0, 1});
  EXPECT_EQ(opsOfType("Transpose"), (std::vector<std::string>{"x_10", "x_01"}));
}

TEST_F(RewriteHelpersTest, InsertOrReuseTransposeNeverReusesTheOpItself) {
  b.input("x");
  const auto transpose = b.op("t", "Transpose", {"x"});
  setPerm(transpose, {1, 0});
  insertOrReuseTranspose(graph, transpose, 0, {1, 0});
  EXPECT_EQ(transpose->getInput(0)->name(), "x_10");
  EXPECT_EQ(opOrder(graph), "x_10 t");
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(RewriteHelpersTest, SquashConstantTransposeIntoThePreviousTensorKeepsTheOutputName) {
  floats("w", {2, 3}, {0, 1, 2, 3, 4, 5});
  ASSERT_TRUE(squashConstantTranspose(transposeOfConstant(), graph, false));
  EXPECT_EQ(opOrder(graph), "relu");
  const auto data = graph.getStaticTensor("t");
  ASSERT_TRUE(data);
  EXPECT_EQ(graph.getOp("relu")->getInput(0), data);
  EXPECT_EQ(data->dims(), (Dims{3, 2}));
  const auto values = data->values<float>();
  EXPECT_EQ(std::vector<float>(values.begin(), values.end()), (std::vector<float>{0, 3, 1, 4, 2, 5}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(RewriteHelpersTest, SquashConstantTransposeMapsTheQuantizationAxis) {
  QuantInfo perChannel;
  perChannel.encoding = VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET;
  perChannel.axis = 0;
  perChannel.axisEncodings = {ScaleOffsetInfo{.bitwidth = 8, .scale = 0.5f},
                              ScaleOffsetInfo{.bitwidth = 8, .scale = 0.25f}};
  const std::vector<uint8_t> bytes = {0, 1, 2, 3, 4, 5};
  graph.addStaticTensor(TensorFields{.name = "w",
                                     .shape = IrTensorShape(Dims{2, 3}),
                                     .dataType = VRX_DATATYPE_UFIXED_POINT_8,
                                     .quantizable = true,
                                     .quantInfo = perChannel,
                                     .kind = tensorkind::kStatic},
                        bytes.data(), static_cast<uint32_t>(bytes.size()));
  ASSERT_TRUE(squashConstantTranspose(transposeOfConstant(), graph, true));
  const auto data = std::dynamic_pointer_cast<IrStaticTensor>(graph.getOp("relu")->getInput(0));
  ASSERT_TRUE(data);
  EXPECT_EQ(data->quantInfo().axis, 1);
  EXPECT_EQ(data->quantInfo().axisEncodings.size(), 2u);
  const auto values = data->values<uint8_t>();
  EXPECT_EQ(std::vector<uint8_t>(values.begin(), values.end()), (std::vector<uint8_t>{0, 3, 1, 4, 2, 5}));
  EXPECT_EQ(wiringProblem(graph), "");
}

TEST_F(RewriteHelpersTest, SquashConstantTransposeStopsAtGraphOutputsAndSaysWhyWhenVerbose) {
  floats("w", {2, 3}, {0, 1, 2, 3, 4, 5});
  auto transpose = b.op("t", "Transpose", {"w"});
  setPerm(transpose, {1, 0});
  b.output("t");
  b.output("w");
  VerboseScope verbose;

  said->text.clear();
  EXPECT_FALSE(squashConstantTranspose(transpose, graph, false));
  EXPECT_FALSE(squashConstantTranspose(transpose, graph, true));
  EXPECT_EQ(said->text,
            "squashConstantTranspose: Cannot squash constant Transpose op t into previous op: input tensor w is a "
            "graph output (app-read) tensor.\n"
            "squashConstantTranspose: Cannot squash constant Transpose op t into next op: output tensor t is a "
            "graph output (app-read) tensor.\n");
  EXPECT_EQ(opOrder(graph), "t");

  // A dynamic input is no constant: nothing to say.
  b.input("x");
  auto dynamic = b.op("d", "Transpose", {"x"});
  said->text.clear();
  EXPECT_FALSE(squashConstantTranspose(dynamic, graph, false));
  EXPECT_EQ(said->text, "");
}

TEST_F(RewriteHelpersTest, MatmulDimsReduceOverTheWeightAxisThatTransposeIn1Names) {
  b.input("x");
  floats("w", {4, 2}, std::vector<float>(8, 0.0f));
  const auto matmul = b.op("mm", "MatMul", {"x", "w"});
  matmul->attrs()->add("transpose_in0", false, attrcategory::kBackendParam);
  matmul->attrs()->add("transpose_in1", false, attrcategory::kBackendParam);
  EXPECT_TRUE(matmulValidateDims(graph, {1, 4}, {4, 2}, matmul));
  EXPECT_FALSE(matmulValidateDims(graph, {1, 4}, {2, 4}, matmul));
  EXPECT_FALSE(matmulValidateDims(graph, {1, 4}, {1, 4, 2}, matmul));
  EXPECT_TRUE(matmulValidateBias(graph, {4, 2}, {1, 2}, matmul, graph.getTensor("w")));
  EXPECT_FALSE(matmulValidateBias(graph, {4, 2}, {2, 2}, matmul, graph.getTensor("w")));
  EXPECT_FALSE(matmulValidateBias(graph, {4, 2}, {}, matmul, graph.getTensor("w")));

  matmul->attrs()->add("transpose_in1", true, attrcategory::kBackendParam);
  EXPECT_TRUE(matmulValidateDims(graph, {1, 4}, {2, 4}, matmul));
  EXPECT_TRUE(matmulValidateBias(graph, {2, 4}, {2}, matmul, graph.getTensor("w")));
  matmul->attrs()->add("transpose_in0", true, attrcategory::kBackendParam);
  EXPECT_FALSE(matmulValidateDims(graph, {1, 4}, {2, 4}, matmul));
}

TEST_F(RewriteHelpersTest, MatmulChecksRefuseDynamicAxesAndSaySo) {
  graph.addTensor(TensorFields{.name = "x", .shape = IrTensorShape(Dims{1, 4}, {0}), .kind = tensorkind::kGraphInput});
  graph.addTensor(TensorFields{.name = "w", .shape = IrTensorShape(Dims{4, 2}, {0}), .kind = tensorkind::kGraphInput});
  const auto matmul = b.op("mm", "MatMul", {"x", "w"});
  said->text.clear();
  EXPECT_FALSE(matmulValidateDims(graph, {1, 4}, {4, 2}, matmul));
  EXPECT_FALSE(matmulValidateBias(graph, {4, 2}, {2}, matmul, nullptr));
  const std::string tail =
      ": MatMul/FC Op does not have dynamic axes support. MatMul-Add Fusion / Matmul to FC optimization will not "
      "be performed.\n";
  EXPECT_EQ(said->text, "matmulValidateDims" + tail + "matmulValidateBias" + tail);
}

TEST_F(RewriteHelpersTest, ReplaceAllUsersChecksQuantizationAndTypeOnlyWhenAskedButShapesAlwaysThenMovesReadersAndName) {
  b.input("x");
  b.op("old", "Relu", {"x"});
  b.op("r1", "Relu", {"old"});
  b.op("r2", "Relu", {"old"});
  b.op("fresh", "Tanh", {"x"});
  graph.getTensor("fresh")->setDataType(VRX_DATATYPE_FLOAT_16);
  b.op("other_quant", "Tanh", {"x"});
  QuantInfo quant;
  quant.encoding = VRX_QUANTIZATION_ENCODING_SCALE_OFFSET;
  quant.scaleOffset.scale = 0.1f;
  graph.getTensor("other_quant")->setQuantInfo(quant);
  b.op("other_shape", "Tanh", {"x"});
  graph.getTensor("other_shape")->setShape(Dims{4, 1});
  const auto oldTensor = graph.getTensor("old"), newTensor = graph.getTensor("fresh");

  EXPECT_THROW_MSG(replaceAllUsers(graph, newTensor, oldTensor, true), std::runtime_error,
                   "replaceAllUsers: DataType must match for both the tensors");
  EXPECT_THROW_MSG(replaceAllUsers(graph, graph.getTensor("other_quant"), oldTensor, true), std::runtime_error,
                   "replaceAllUsers: QInfo must match for both the tensors");
  EXPECT_THROW_MSG(replaceAllUsers(graph, graph.getTensor("other_shape"), oldTensor, false), std::runtime_error,
                   "replaceAllUsers: Dimensions must match for both the tensors");
  EXPECT_EQ(readerNames(oldTensor), (std::vector<std::string>{"r1", "r2"}));

  replaceAllUsers(graph, newTensor, oldTensor, false);  // the type differs, unchecked
  EXPECT_EQ(readerNames(newTensor), (std::vector<std::string>{"r1", "r2"}));
  EXPECT_TRUE(oldTensor->consumers().empty());
  EXPECT_EQ(graph.getTensor("old"), newTensor);  // the survivor bears the old name
  EXPECT_EQ(graph.getTensor("fresh"), oldTensor);
  EXPECT_EQ(graph.getOp("r1")->getInput(0), newTensor);
}

TEST_F(RewriteHelpersTest, SharedStaticInputIsClonedOnlyWhenOthersReadItToo) {
  b.input("x");
  floats("w", {1, 4}, {1, 2, 3, 4});
  floats("bias", {1, 4}, {0, 0, 0, 0});
  const auto lone = b.op("lone", "FullyConnected", {"x", "bias"});
  manageSharedStaticInput(graph, lone, 1);
  EXPECT_EQ(lone->getInput(1)->name(), "bias");
  EXPECT_FALSE(graph.hasTensor("lone_kernel_weight"));

  const auto first = b.op("first", "FullyConnected", {"x", "w"});
  const auto second = b.op("second", "FullyConnected", {"x", "w", "bias"});
  manageSharedStaticInput(graph, first, 1);
  const auto clone = graph.getStaticTensor("first_kernel_weight");
  ASSERT_TRUE(clone);
  EXPECT_EQ(first->getInput(1), clone);
  EXPECT_EQ(readerNames(clone), std::vector<std::string>{"first"});
  EXPECT_EQ(second->getInput(1)->name(), "w");
  EXPECT_EQ(readerNames(graph.getTensor("w")), std::vector<std::string>{"second"});
  EXPECT_EQ(std::memcmp(clone->getData(), graph.getStaticTensor("w")->getData(), clone->dataSize()), 0);

  manageSharedStaticInput(graph, second, 2);  // "bias" is read by lone and second
  EXPECT_EQ(second->getInput(2)->name(), "second_kernel_bias");
  EXPECT_EQ(wiringProblem(graph), "");
}

}  // namespace
}  // namespace modeltools::iroptimizer
