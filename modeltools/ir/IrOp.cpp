#include "IrOp.hpp"

#include <sstream>
#include <stdexcept>

#include "AxisOrder.hpp"

namespace modeltools::ops {
namespace {

bool sameTensor(const std::weak_ptr<IrTensor>& ref, const TensorPtr& tensor) {
  return !ref.owner_before(tensor) && !tensor.owner_before(ref);
}

TensorPtr lockOrThrow(const std::weak_ptr<IrTensor>& ref, const std::string& opName) {
  auto tensor = ref.lock();
  if (!tensor) {
    throw std::runtime_error("modeltools::ops::IrOp::lockWeakPtr: Tensor pointer for Op " + opName +
                             " not valid, unable to lock.");
  }
  return tensor;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const IrOp& op) { return out << op.name() << "[" << op.type() << "]"; }

IrOp::IrOp(std::string name, std::string type, std::shared_ptr<IrAttributes> attrs)
    : name_(std::move(name)), type_(std::move(type)), attrs_(std::move(attrs)) {
  if (!attrs_) attrs_ = std::make_shared<IrAttributes>();
  if (attrs_->hasAttr("quantizable")) {
    const bool quantizable = attrs_->getAttr<bool>("quantizable");
    for (const auto& tensor : attrs_->getTensors()) {
      if (tensor) tensor->setQuantizable(quantizable);
    }
  }
}

uint64_t IrOp::macs(const AxisOrderPtr&) { return 0; }

uint32_t IrOp::paramsCount(const AxisOrderPtr&) { return 0; }

template <class T>
void IrOp::addAtIdx(std::vector<T>& list, const T& value, int32_t index) {
  if (index == -1 || index == static_cast<int32_t>(list.size())) {
    list.push_back(value);
  } else if (index >= 0 && index < static_cast<int32_t>(list.size())) {
    list.insert(list.begin() + index, value);
  } else {
    std::ostringstream message;
    message << "modeltools::ops::IrOp::addAtIdx: Error adding val to op" << name_ << ". Index to insert invalid "
            << index;
    throw std::invalid_argument(message.str());
  }
}

template <class T>
void IrOp::rmAtIdx(std::vector<T>& list, uint32_t index) {
  if (index >= list.size()) {
    std::ostringstream message;
    message << "modeltools::ops::IrOp::rmAtIdx: Error remove val to op" << name_ << ". Index specified invalid "
            << index;
    throw std::invalid_argument(message.str());
  }
  list.erase(list.begin() + index);
}

void IrOp::addOutput(const TensorPtr& tensor, int32_t index) {
  addAtIdx(outputs_, std::weak_ptr<IrTensor>(tensor), index);
}

void IrOp::addInput(const TensorPtr& tensor, int32_t index) {
  addAtIdx(inputs_, std::weak_ptr<IrTensor>(tensor), index);
  addAtIdx(inputAxisFormats_, tensor ? tensor->axisFormat() : AxisFormat::NOT_YET_DEFINED, index);
}

void IrOp::setTensors(const TensorList& inputs, const TensorList& outputs) {
  reserveTensorLists(numInputs() + inputs.size(), numOutputs() + outputs.size());
  for (const auto& tensor : inputs) addInput(tensor, -1);
  for (const auto& tensor : outputs) addOutput(tensor, -1);
}

void IrOp::removeInput(const TensorPtr& tensor) {
  for (size_t i = 0; i < inputs_.size();) {
    if (sameTensor(inputs_[i], tensor)) {
      removeInputAt(static_cast<uint32_t>(i));
    } else {
      ++i;
    }
  }
}

void IrOp::removeInputAt(uint32_t index) {
  rmAtIdx(inputs_, index);
  rmAtIdx(inputAxisFormats_, index);
}

void IrOp::removeOutput(const TensorPtr& tensor) {
  for (size_t i = 0; i < outputs_.size();) {
    if (sameTensor(outputs_[i], tensor)) {
      removeOutputAt(static_cast<uint32_t>(i));
    } else {
      ++i;
    }
  }
}

void IrOp::removeOutputAt(uint32_t index) { rmAtIdx(outputs_, index); }

void IrOp::setInputAt(const TensorPtr& tensor, uint32_t index) {
  if (index >= inputs_.size()) return;
  inputs_[index] = tensor;
  inputAxisFormats_[index] = tensor ? tensor->axisFormat() : AxisFormat::NOT_YET_DEFINED;
}

void IrOp::setInputAxisFormat(AxisFormat format, uint32_t index) {
  inputAxisFormats_.at(index) = format;
  if (auto tensor = inputs_.at(index).lock()) tensor->setAxisFormat(format);
}

void IrOp::replaceInputTensor(const TensorPtr& oldTensor, const TensorPtr& newTensor) {
  const char* head = "modeltools::ops::IrOp::replaceInputTensor: ";
  if (!oldTensor) throw std::invalid_argument(head + ("Invalid old input tensor: received null pointer in op " + name_));
  if (!newTensor) throw std::invalid_argument(head + ("Invalid new input tensor: received null pointer in op " + name_));
  for (size_t i = 0; i < inputs_.size(); ++i) {
    if (sameTensor(inputs_[i], oldTensor)) {
      inputs_[i] = newTensor;
      inputAxisFormats_[i] = newTensor->axisFormat();
    }
  }
}

void IrOp::replaceOutputTensor(const TensorPtr& oldTensor, const TensorPtr& newTensor) {
  const char* head = "modeltools::ops::IrOp::replaceOutputTensor: ";
  if (!oldTensor) {
    throw std::invalid_argument(head + ("Invalid old output tensor: received null pointer in op " + name_));
  }
  if (!newTensor) {
    throw std::invalid_argument(head + ("Invalid new output tensor: received null pointer in op " + name_));
  }
  for (auto& ref : outputs_) {
    if (sameTensor(ref, oldTensor)) ref = newTensor;
  }
}

TensorList IrOp::lockWeakPtr(const WeakTensorList& list) const {
  TensorList tensors;
  tensors.reserve(list.size());
  for (const auto& ref : list) tensors.push_back(lockOrThrow(ref, name_));
  return tensors;
}

TensorPtr IrOp::getInput(uint32_t index) const { return lockOrThrow(inputs_.at(index), name_); }

TensorPtr IrOp::getOutput(uint32_t index) const { return lockOrThrow(outputs_.at(index), name_); }

void IrOp::reserveTensorLists(size_t inputs, size_t outputs) {
  inputs_.reserve(inputs);
  inputAxisFormats_.reserve(inputs);
  outputs_.reserve(outputs);
}

std::vector<Dims> IrOp::getInputShapes() const {
  std::vector<Dims> shapes;
  for (const auto& tensor : getInputs()) shapes.push_back(tensor->dims());
  return shapes;
}

std::vector<Dims> IrOp::getOutputShapes() const {
  std::vector<Dims> shapes;
  for (const auto& tensor : getOutputs()) shapes.push_back(tensor->dims());
  return shapes;
}

void IrOp::canonicalizeOp(uint32_t) { canonicalized_ = true; }

std::vector<Dims> IrOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) {
  std::vector<Dims> shapes;
  for (const auto& tensor : getInputs()) {
    if (tensor->shape().hasDynamicAxes()) {
      throw std::invalid_argument("modeltools::ops::IrOp::inferOutputShapes: IrOp " + name_ + " of type " + type_ +
                                  " has dynamic inputs. Use inferOutputTensorShapes instead.");
    }
    shapes.push_back(tensor->dims());
  }
  return shapes;
}

std::vector<IrTensorShape> IrOp::inferOutputTensorShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  for (const auto& tensor : getInputs()) {
    if (tensor->shape().hasDynamicAxes()) {
      std::ostringstream message;
      message << "modeltools::ops::IrOp::inferOutputTensorShapes: Inputs with dynamic shape not supported for op type "
              << type_ << ". Got Input tensor " << tensor->name() << " with shape " << tensor->shape() << " for op "
              << *this << ".";
      throw std::invalid_argument(message.str());
    }
  }
  std::vector<IrTensorShape> shapes;
  for (auto& dims : inferOutputShapes(axisOrder, numOutputs)) shapes.emplace_back(std::move(dims));
  return shapes;
}

std::vector<uint32_t> IrOp::inferOutputDataTypes(uint32_t numOutputs) {
  uint32_t dataType = getInput(0)->dataType();
  if (dataType == VRX_DATATYPE_INT_64) dataType = VRX_DATATYPE_INT_32;
  return std::vector<uint32_t>(numOutputs, dataType);
}

std::vector<uint32_t> IrOp::inferOutputFloatDataTypes(uint32_t numOutputs) {
  return std::vector<uint32_t>(numOutputs, getInput(0)->floatDataType());
}

void IrOp::overrideDataAxisFormats(const AxisOrderPtr&) {}

void IrOp::populateOutputAxisFormats(const AxisOrderPtr& axisOrder,
                                     const std::map<std::string, AxisFormat>& inputFormats, bool treatAsTimeSeries) {
  if (outputs_.empty()) {
    throw std::runtime_error("modeltools::ops::IrOp::populateOutputAxisFormats: Cannot populate output axis format for op " +
                             name_ + " (type: " + type_ + "): no outputs set");
  }
  bool hasNf = false;
  bool hasNtf = false;
  for (const auto& [name, format] : inputFormats) {
    hasNf = hasNf || format == AxisFormat::NF;
    hasNtf = hasNtf || format == AxisFormat::NTF;
  }
  for (const auto& output : getOutputs()) {
    const uint32_t rank = output->rank();
    if (hasNf && (rank == 3 || rank == 4)) {
      output->setAxisFormat(AxisFormat::NONTRIVIAL);
    } else {
      const bool timeSeries = (hasNtf && rank == 3) || (!(hasNtf && rank == 3) && treatAsTimeSeries);
      output->setAxisFormat(axisOrder->getAxisFormat(rank, timeSeries));
    }
  }
}

void IrOp::validateOp() {
  const char* head = "modeltools::ops::IrOp::validateOp: ";
  if (name_.empty()) throw std::invalid_argument(head + ("Unable to create IrOp with empty name! (type: " + type_ + ")"));
  if (type_.empty()) {
    throw std::invalid_argument(head + ("Unable to create IrOp " + name_ + " with empty operation type!"));
  }
  if (type_ != "input" && type_ != "constant" && inputs_.empty()) {
    throw std::invalid_argument(head + ("Unable to create IrOp " + name_ + " (type: " + type_ + ") with no input tensor!"));
  }
  if (outputs_.empty()) {
    throw std::invalid_argument(head + ("Unable to create IrOp " + name_ + " (type: " + type_ + ") with no output tensor!"));
  }
}

void IrOp::resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  const auto shapes = inferOutputTensorShapes(axisOrder, numOutputs);
  const auto outputs = getOutputs();
  if (shapes.size() != outputs.size()) {
    std::ostringstream message;
    message << "modeltools::ops::IrOp::resizeOp: Number of output tensors for op " << name_ << " (type: " << type_
            << ") differs from the number of output shapes calculated for resizing: current outputs count: "
            << outputs.size() << ", expected (inferred shapes count): " << shapes.size();
    throw std::invalid_argument(message.str());
  }
  for (size_t i = 0; i < shapes.size(); ++i) outputs[i]->setShape(shapes[i]);
}

}  // namespace modeltools::ops
