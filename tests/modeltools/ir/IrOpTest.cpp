#include <gtest/gtest.h>

#include "modeltools/ir/AxisOrder.hpp"
#include "modeltools/ir/IrOp.hpp"
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

TEST(IrOp, AddInputAtIndexAppendsAtLengthAndRefusesBeyond) {
  auto add = op();
  auto a = tensor("a", {1}, AxisFormat::ANY), b = tensor("b", {1}), c = tensor("c", {1});
  add->addInput(a, -1);
  add->addInput(b, 0);
  add->addInput(c, 2);
  EXPECT_EQ(add->getInputs(), (ops::TensorList{b, a, c}));
  EXPECT_EQ(add->inputAxisFormats()[1], AxisFormat::ANY);
  EXPECT_THROW_MSG(add->addInput(c, 4), std::invalid_argument,
                   "modeltools::ops::IrOp::addAtIdx: Error adding val to opop. Index to insert invalid 4");
  EXPECT_THROW_MSG(add->removeOutputAt(0), std::invalid_argument,
                   "modeltools::ops::IrOp::rmAtIdx: Error remove val to opop. Index specified invalid 0");
}

TEST(IrOp, SameTensorTwiceIsRemovedAndReplacedEverywhere) {
  auto mul = op("square", "Mul");
  auto x = tensor("x", {2}), y = tensor("y", {2}, AxisFormat::NF);
  mul->addInput(x, -1);
  mul->addInput(x, -1);
  mul->replaceInputTensor(x, y);
  EXPECT_EQ(mul->getInputs(), (ops::TensorList{y, y}));
  EXPECT_EQ(mul->inputAxisFormats(), (std::vector<AxisFormat>{AxisFormat::NF, AxisFormat::NF}));
  mul->removeInput(y);
  EXPECT_EQ(mul->numInputs(), 0u);
  EXPECT_THROW_HAS(mul->replaceInputTensor(nullptr, y), std::invalid_argument,
                   "Invalid old input tensor: received null pointer in op square");
}

TEST(IrOp, DeadTensorCannotBeLocked) {
  auto relu = op("relu", "Relu");
  relu->addInput(tensor("gone", {1}), -1);
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
  input->addOutput(out, -1);
  EXPECT_NO_THROW(input->validateOp());
}

TEST(IrOp, BaseInferenceMirrorsInputsAndResizeChecksTheCount) {
  auto order = std::make_shared<IrAxisOrder>();
  auto add = op();
  auto a = tensor("a", {1, 4}), b = tensor("b", {2, 4}), out = tensor("out", {9});
  add->addInput(a, -1);
  add->addInput(b, -1);
  add->addOutput(out, -1);
  EXPECT_EQ(add->inferOutputShapes(order, 1), (std::vector<Dims>{{1, 4}, {2, 4}}));
  EXPECT_THROW_MSG(add->resizeOp(order, 1), std::invalid_argument,
                   "modeltools::ops::IrOp::resizeOp: Number of output tensors for op op (type: Add) differs from the "
                   "number of output shapes calculated for resizing: current outputs count: 1, expected (inferred "
                   "shapes count): 2");
  add->removeInput(b);
  add->resizeOp(order, 1);
  EXPECT_EQ(out->dims(), (Dims{1, 4}));
}

TEST(IrOp, BaseInferenceRefusesDynamicInputs) {
  auto relu = op("relu", "Relu");
  auto dynamic = std::make_shared<IrTensor>(TensorFields{.name = "d", .shape = IrTensorShape({2, 3}, {0})});
  relu->addInput(dynamic, -1);
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
  cast->addInput(input, -1);
  EXPECT_EQ(cast->inferOutputDataTypes(2), (std::vector<uint32_t>{VRX_DATATYPE_INT_32, VRX_DATATYPE_INT_32}));
  EXPECT_EQ(cast->inferOutputFloatDataTypes(1), (std::vector<uint32_t>{VRX_DATATYPE_FLOAT_16}));
}

TEST(IrOp, OutputAxisFormatsFromInputsAndAxisOrder) {
  auto order = std::make_shared<IrAxisOrder>();
  auto fc = op("fc", "FullyConnected");
  auto flat = tensor("flat", {1, 8}), conv = tensor("conv", {1, 2, 2, 2});
  fc->addOutput(flat, -1);
  fc->populateOutputAxisFormats(order, {{"in", AxisFormat::NF}}, false);
  EXPECT_EQ(flat->axisFormat(), AxisFormat::NF);
  fc->removeOutput(flat);
  fc->addOutput(conv, -1);
  fc->populateOutputAxisFormats(order, {{"in", AxisFormat::NF}}, false);
  EXPECT_EQ(conv->axisFormat(), AxisFormat::NONTRIVIAL);

  auto seq = tensor("seq", {1, 5, 3});
  auto rnn = op("rnn", "Lstm");
  rnn->addOutput(seq, -1);
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
