#include <gtest/gtest.h>

#include "modeltools/ir/AxisOrder.hpp"
#include "modeltools/ir/IrGraph.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

using ops::IrOp;

std::shared_ptr<IrTensor> tensor(const std::string& name, Dims dims, AxisFormat format = AxisFormat::NOT_YET_DEFINED) {
  return std::make_shared<IrTensor>(
      TensorFields{.name = name, .shape = IrTensorShape(std::move(dims)), .axisFormat = format});
}

std::shared_ptr<IrOp> op(const std::string& name = "op", const std::string& type = "Add") {
  return std::make_shared<IrOp>(name, type, std::make_shared<IrAttributes>());
}

TEST(IrOp, DeadTensorCannotBeLocked) {
  IrGraph graph("g");
  auto relu = op("relu", "Relu");
  graph.connect(relu, {tensor("gone", {1})}, {});
  EXPECT_THROW_MSG(relu->getInputs(), std::runtime_error,
                   "modeltools::ops::IrOp::lockWeakPtr: Tensor pointer for Op relu not valid, unable to lock.");
}

TEST(IrOp, ValidateOpChecksNameTypeInputsAndOutputs) {
  EXPECT_THROW_MSG(op("", "Relu")->validateOp(), std::invalid_argument,
                   "modeltools::ops::IrOp::validateOp: Unable to create IrOp with empty name! (type: Relu)");
  EXPECT_THROW_HAS(op("n", "")->validateOp(), std::invalid_argument, "Unable to create IrOp n with empty operation type!");
  EXPECT_THROW_HAS(op("n", "Relu")->validateOp(), std::invalid_argument,
                   "Unable to create IrOp n (type: Relu) with no input tensor!");
  auto input = op("in", "input");
  auto out = tensor("out", {1});
  EXPECT_THROW_HAS(input->validateOp(), std::invalid_argument, "Unable to create IrOp in (type: input) with no output tensor!");
  IrGraph graph("g");
  graph.connect(input, {}, {out});
  EXPECT_NO_THROW(input->validateOp());
}

TEST(IrOp, BaseInferenceMirrorsInputsAndResizeChecksTheCount) {
  auto order = std::make_shared<IrAxisOrder>();
  auto add = op();
  auto a = tensor("a", {1, 4}), b = tensor("b", {2, 4}), out = tensor("out", {9});
  IrGraph graph("g");
  graph.connect(add, {a, b}, {out});
  EXPECT_EQ(add->inferOutputShapes(order, 1), (std::vector<Dims>{{1, 4}, {2, 4}}));
  EXPECT_THROW_MSG(add->resizeOp(order, 1), std::invalid_argument,
                   "modeltools::ops::IrOp::resizeOp: Number of output tensors for op op (type: Add) differs from the "
                   "number of output shapes calculated for resizing: current outputs count: 1, expected (inferred "
                   "shapes count): 2");
  auto single = op("single");
  graph.connect(single, {a}, {out});
  single->resizeOp(order, 1);
  EXPECT_EQ(out->dims(), (Dims{1, 4}));
}

TEST(IrOp, BaseInferenceRefusesDynamicInputs) {
  auto relu = op("relu", "Relu");
  auto dynamic = std::make_shared<IrTensor>(TensorFields{.name = "d", .shape = IrTensorShape({2, 3}, {0})});
  IrGraph graph("g");
  graph.connect(relu, {dynamic}, {});
  auto order = std::make_shared<IrAxisOrder>();
  EXPECT_THROW_HAS(relu->inferOutputShapes(order, 1), std::invalid_argument,
                   "IrOp relu of type Relu has dynamic inputs. Use inferOutputTensorShapes instead.");
  EXPECT_THROW_MSG(relu->inferOutputTensorShapes(order, 1), std::invalid_argument,
                   "modeltools::ops::IrOp::inferOutputTensorShapes: Inputs with dynamic shape not supported for op "
                   "type Relu. Got Input tensor d with shape IrTensorShape(dims = [2,3] , dy_axes=[0]) for op "
                   "relu[Relu].");
}

TEST(IrOp, DataTypesFollowInputZeroWith64BitIntegersNarrowed) {
  auto cast = op("c", "Cast");
  auto input = std::make_shared<IrTensor>(TensorFields{.name = "i", .shape = IrTensorShape({1}),
                                                     .dataType = VRX_DATATYPE_INT_64,
                                                     .floatDataType = VRX_DATATYPE_FLOAT_16});
  IrGraph graph("g");
  graph.connect(cast, {input}, {});
  EXPECT_EQ(cast->inferOutputDataTypes(2), (std::vector<uint32_t>{VRX_DATATYPE_INT_32, VRX_DATATYPE_INT_32}));
  EXPECT_EQ(cast->inferOutputFloatDataTypes(1), (std::vector<uint32_t>{VRX_DATATYPE_FLOAT_16}));
}

TEST(IrOp, OutputAxisFormatsFromInputsAndAxisOrder) {
  auto order = std::make_shared<IrAxisOrder>();
  auto fc = op("fc", "FullyConnected");
  auto flat = tensor("flat", {1, 8}), conv = tensor("conv", {1, 2, 2, 2});
  IrGraph graph("g");
  graph.connect(fc, {}, {flat});
  fc->populateOutputAxisFormats(order, {{"in", AxisFormat::NF}}, false);
  EXPECT_EQ(flat->axisFormat(), AxisFormat::NF);
  auto fc4 = op("fc4", "FullyConnected");
  graph.connect(fc4, {}, {conv});
  fc4->populateOutputAxisFormats(order, {{"in", AxisFormat::NF}}, false);
  EXPECT_EQ(conv->axisFormat(), AxisFormat::NONTRIVIAL);

  auto seq = tensor("seq", {1, 5, 3});
  auto rnn = op("rnn", "Lstm");
  graph.connect(rnn, {}, {seq});
  rnn->populateOutputAxisFormats(order, {{"x", AxisFormat::NTF}}, false);
  EXPECT_EQ(seq->axisFormat(), AxisFormat::NTF);
  EXPECT_THROW_MSG(op("none", "X")->populateOutputAxisFormats(order, {}, false), std::runtime_error,
                   "modeltools::ops::IrOp::populateOutputAxisFormats: Cannot populate output axis format for op none "
                   "(type: X): no outputs set");
}

TEST(IrOp, QuantizableAttributeReachesTensorAttributes) {
  auto attrs = std::make_shared<IrAttributes>();
  uint32_t data[] = {1};
  auto weights = std::make_shared<IrStaticTensor>(TensorFields{.name = "w", .shape = IrTensorShape({1})}, data, 4);
  weights->setQuantizable(true);
  attrs->add("weights", weights, 1);
  attrs->add("quantizable", false, 2);
  IrOp typed("q", "Conv2d", attrs);
  EXPECT_FALSE(weights->quantizable());
}

}  // namespace
}  // namespace modeltools
