#include "IrGraph.hpp"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "DataTypes.hpp"
#include "TransformManager.hpp"

namespace modeltools {
namespace {

std::string opText(const OpPtr& op) {
  std::ostringstream out;
  out << *op;
  return out.str();
}

[[noreturn]] void fail(const char* function, const std::string& text) {
  throw std::runtime_error(std::string("modeltools::IrGraph::") + function + ": " + text);
}

void requireOp(const OpPtr& op, const char* function) {
  if (!op) fail(function, "Invalid op: received null op pointer, expected a valid op");
}

}  // namespace

IrGraph::IrGraph(std::string name, std::shared_ptr<AxisOrder> axisOrder,
                 std::map<std::string, AxisFormat> tensorAxisFormats, GraphServices services)
    : name_(std::move(name)),
      axisOrder_(axisOrder ? std::move(axisOrder) : std::make_shared<IrAxisOrder>()),
      tensorAxisFormats_(std::move(tensorAxisFormats)),
      services_(std::move(services)),
      diagnostics_(std::make_unique<Diagnostics>()) {}

IrGraph::~IrGraph() {
  // Tensors and ops go in the order of their addresses, which is about the order they were
  // made. The maps' own order is their hash order: on a large graph, dropping in that order
  // visits memory at random and spends most of its time waiting for it. The translator's
  // records go first, so that the last references to the objects are the ones dropped here.
  translator_.reset();
  std::vector<std::shared_ptr<void>> objects;
  objects.reserve(tensorMap_.size() + opMap_.size());
  for (auto& [name, tensor] : tensorMap_) objects.push_back(std::move(tensor));
  for (auto& [name, op] : opMap_) objects.push_back(std::move(op));
  std::sort(objects.begin(), objects.end(), [](const auto& a, const auto& b) { return a.get() < b.get(); });
  graphInputs_.clear();
  graphOutputs_.clear();
  opList_.clear();
  for (auto& object : objects) object.reset();
}

// ---- Tensors ------------------------------------------------------------------------------------

TensorPtr IrGraph::addTensor(const TensorPtr& tensor) {
  if (!tensor) fail("addTensor", "Invalid tensor: received null tensor pointer, expected a valid tensor");
  // One lookup: a slot left empty by an earlier entry is taken over.
  auto [slot, inserted] = tensorMap_.try_emplace(tensor->name(), tensor);
  if (!inserted) {
    if (slot->second) fail("addTensor", "Tensor " + tensor->name() + " already exists!");
    slot->second = tensor;
  }
  if (tensor->kind() == tensorkind::kGraphInput) {
    graphInputs_.push_back(tensor);
  } else if (tensor->kind() == tensorkind::kGraphOutput) {
    graphOutputs_.push_back(tensor);
  }
  return tensor;
}

TensorPtr IrGraph::addTensor(TensorFields fields) { return addTensor(std::make_shared<IrTensor>(std::move(fields))); }

StaticTensorPtr IrGraph::addStaticTensor(TensorFields fields, const void* data, uint32_t dataSize, bool borrowedData) {
  auto tensor = std::make_shared<IrStaticTensor>(std::move(fields), data, dataSize, borrowedData);
  addTensor(tensor);
  return tensor;
}

TensorPtr IrGraph::addTensor(const std::string& name, const Dims& dims, uint32_t dataType, uint32_t floatDataType,
                             bool quantizable, const QuantInfo& quantInfo, AxisFormat axisFormat,
                             AxisFormat srcAxisFormat, uint32_t kind) {
  const bool quantized = modeltools::isQuantizedDataType(dataType);
  // A quantized tensor starts out as its float type; setQInfo gives it the quantized one.
  auto tensor = std::make_shared<IrTensor>(TensorFields{.name = name,
                                                      .shape = IrTensorShape(dims),
                                                      .dataType = quantized ? floatDataType : dataType,
                                                      .floatDataType = floatDataType,
                                                      .axisFormat = axisFormat,
                                                      .srcAxisFormat = srcAxisFormat,
                                                      .kind = kind});
  tensor->setQuantizable(quantizable);
  if (quantized) {
    tensor->setQInfo(dataType, quantInfo);
  } else if (quantInfo.isDefined()) {
    std::ostringstream text;
    text << "Tensor " << name << " has unquantized dataType " << dataType << " but the QuantInfo has been set to "
         << quantInfo.encoding;
    fail("addTensor", text.str());
  }
  return addTensor(tensor);
}

StaticTensorPtr IrGraph::addStaticTensorCopy(const std::string& name, const StaticTensorPtr& source,
                                             bool shareTransforms) {
  std::shared_ptr<TransformManager> transforms;
  if (shareTransforms) {
    if (!source->transformManager()) source->setTransformManager(std::make_shared<TransformManager>());
    transforms = source->transformManager();
  } else {
    transforms = std::make_shared<TransformManager>();
  }
  auto copy = std::make_shared<IrStaticTensor>(TensorFields{.name = name,
                                                          .shape = source->shape(),
                                                          .dataType = source->dataType(),
                                                          .floatDataType = source->floatDataType(),
                                                          .quantizable = source->quantizable(),
                                                          .axisFormat = source->axisFormat(),
                                                          .srcAxisFormat = source->srcAxisFormat(),
                                                          .kind = source->kind(),
                                                          .permToSource = source->permutationToSource(),
                                                          .updateable = source->updateable()},
                                               source->getData(), source->dataSize(), false, std::move(transforms));
  // A copy of a standing tensor: its quantization is taken as it is, not checked again.
  copy->setQuantInfo(source->quantInfo());
  addTensor(copy);
  return copy;
}

// ---- Ops ----------------------------------------------------------------------------------------

void IrGraph::addOpAt(const OpPtr& op, int32_t index) {
  if (index == -1) {
    opList_.push_back(op);
  } else {
    opList_.insert(static_cast<size_t>(index), op);
  }
  opMap_[op->name()] = op;
}

void IrGraph::appendResolvedOp(const OpPtr& op, const std::vector<TensorPtr>& inputs,
                               const std::vector<TensorPtr>& outputs) {
  requireOp(op, "addOp");
  op->reserveTensorLists(inputs.size(), outputs.size());
  for (const auto& input : inputs) op->addInput(input, -1);
  for (const auto& output : outputs) op->addOutput(output, -1);
  // The op's own checks come before any tensor knows it: a refused op leaves no edge behind.
  op->validateOp();
  for (const auto& input : inputs) input->addConsumer(op);
  for (const auto& output : outputs) output->setProducer(op);
  addOpAt(op, -1);
}

void IrGraph::addOp(const OpPtr& op, int32_t index, bool validate) {
  requireOp(op, "addOp");
  if (opMap_.contains(op->name())) fail("addOp", "Op " + op->name() + " already exists in graph");
  for (const auto& input : op->getInputs()) {
    if (!tensorMap_.contains(input->name())) {
      fail("addOp", "Graph has no tensor " + input->name() + " referred to as input for Op " + opText(op));
    }
  }
  for (const auto& output : op->getOutputs()) {
    if (!tensorMap_.contains(output->name())) {
      fail("addOp", "Graph has no tensor " + output->name() + " referred to as output for Op " + opText(op));
    }
  }
  if (validate) validateVrxOpConfig(op, true, "");
  op->validateOp();
  addOpAt(op, index);
}

void IrGraph::wireInputsByName(const OpPtr& op, const std::vector<std::string>& inputNames) {
  for (const auto& name : inputNames) {
    auto tensor = getTensor(name);
    if (!tensor) fail("addOp", "Graph has no tensor " + name + " referred to as input for Op " + opText(op));
    tensor->addConsumer(op);
    op->addInput(tensor, -1);
  }
}

void IrGraph::wireOutputs(const OpPtr& op, const std::vector<std::string>& outputNames,
                          const std::vector<IrTensorShape>& outputShapes,
                          const std::vector<AxisFormat>& outputAxisFormats) {
  const auto types = op->inferOutputFloatDataTypes(static_cast<uint32_t>(outputNames.size()));
  for (size_t i = 0; i < outputNames.size(); ++i) {
    auto tensor = getTensor(outputNames[i]);
    if (!tensor) {
      const AxisFormat format = outputAxisFormats.empty() ? AxisFormat::NOT_YET_DEFINED : outputAxisFormats.at(i);
      tensor = addTensor(std::make_shared<IrTensor>(outputNames[i], outputShapes[i], types.at(i), format,
                                                    AxisFormat::NOT_YET_DEFINED, tensorkind::kNative));
    }
    tensor->setProducer(op);
    op->addOutput(tensor, -1);
  }
}

void IrGraph::addOp(const OpPtr& op, const std::vector<std::string>& inputNames,
                    const std::vector<std::string>& outputNames, const std::vector<IrTensorShape>& outputShapes,
                    const std::vector<AxisFormat>& outputAxisFormats, int32_t index, bool validate) {
  requireOp(op, "addOp");
  if (outputShapes.size() != outputNames.size()) {
    std::ostringstream text;
    text << "Output shapes size (" << outputShapes.size() << ") does not match output names size ("
         << outputNames.size() << ") for op " << *op;
    fail("addOp", text.str());
  }
  wireInputsByName(op, inputNames);
  op->canonicalizeOp(static_cast<uint32_t>(outputNames.size()));
  wireOutputs(op, outputNames, outputShapes, outputAxisFormats);
  if (validate) validateVrxOpConfig(op, true, "");
  addOp(op, index, false);
}

void IrGraph::addOp(const OpPtr& op, const std::vector<std::string>& inputNames,
                    const std::vector<std::string>& outputNames, const std::vector<AxisFormat>& outputAxisFormats,
                    int32_t index, bool validate) {
  requireOp(op, "addOp");
  wireInputsByName(op, inputNames);
  const auto numOutputs = static_cast<uint32_t>(outputNames.size());
  op->canonicalizeOp(numOutputs);
  const auto shapes = op->inferOutputTensorShapes(axisOrder_, numOutputs);
  if (shapes.size() != outputNames.size()) {
    std::ostringstream text;
    text << "Op " << *op << " produced " << shapes.size() << " output shapes but has " << outputNames.size()
         << " outputs.";
    fail("addOp", text.str());
  }
  wireOutputs(op, outputNames, shapes, outputAxisFormats);
  if (validate) validateVrxOpConfig(op, true, "");
  addOp(op, index, false);
}

// ---- Lookups ------------------------------------------------------------------------------------

TensorPtr IrGraph::getTensor(const std::string& name) const {
  auto it = tensorMap_.find(name);
  return it == tensorMap_.end() ? nullptr : it->second;
}

OpPtr IrGraph::getOp(const std::string& name) const {
  auto it = opMap_.find(name);
  return it == opMap_.end() ? nullptr : it->second;
}

StaticTensorPtr IrGraph::getStaticTensor(const std::string& name) const {
  auto tensor = getTensor(name);
  if (!tensor || !tensor->isStaticTensor()) return nullptr;
  return std::static_pointer_cast<IrStaticTensor>(tensor);
}

OpSet IrGraph::getConsumers(const TensorPtr& tensor, const std::vector<std::string>& consumerNames) const {
  if (!tensor) fail("getConsumers", "Invalid tensor: received null tensor pointer, expected a valid tensor");
  if (consumerNames.empty()) return tensor->consumers();
  OpSet consumers;
  for (const auto& name : consumerNames) {
    auto op = getOp(name);
    if (!op) fail("getConsumers", "Can't inject with a consumer " + name + " which isn't in the graph");
    if (!tensor->consumers().contains(op)) {
      fail("getConsumers",
           "Can't inject with a consumer " + name + " that doesn't consume input " + tensor->name());
    }
    consumers.insert(op);
  }
  return consumers;
}

// ---- Renaming and small changes -----------------------------------------------------------------

void IrGraph::changeOpName(const OpPtr& op, const std::string& newName) {
  requireOp(op, "changeOpName");
  const std::string oldName = op->name();
  if (!opMap_.contains(oldName)) fail("changeOpName", "Op " + oldName + " doesn't exist in the graph");
  if (opMap_.contains(newName)) fail("changeOpName", "Op " + newName + " already exists in the graph");
  op->setName(newName);
  opMap_[newName] = op;
  opMap_.erase(oldName);
}

void IrGraph::updateTensorName(std::string oldName, std::string newName) {
  if (oldName == newName) return;
  if (getTensor(newName)) fail("updateTensorName", "Tensor with name: " + newName + " already exists!");
  auto tensor = getTensor(oldName);
  if (!tensor) fail("updateTensorName", "Tensor " + oldName + " does not exist!");
  tensorMap_.erase(oldName);
  tensor->setName(newName);
  tensorMap_[newName] = tensor;
  const auto sources = getTraceSources(tracekind::kTensor, oldName);
  if (!sources.empty()) {
    removeTraceSources(tracekind::kTensor, oldName);
    setTraceSources(tracekind::kTensor, newName, sources);
  }
}

void IrGraph::swapTensorNames(std::string nameA, std::string nameB) {
  auto a = getTensor(nameA);
  if (!a) fail("swapTensorNames", "Tensor " + nameA + " does not exist!");
  auto b = getTensor(nameB);
  if (!b) fail("swapTensorNames", "Tensor " + nameB + " does not exist!");
  a->setName(nameB);
  b->setName(nameA);
  tensorMap_[nameA] = b;
  tensorMap_[nameB] = a;
}

std::shared_ptr<AxisOrder> IrGraph::makeAxisOrder(const std::string& name) {
  if (name == "TfAxisOrder") return std::make_shared<TfAxisOrder>();
  if (name == "OnnxAxisOrder") return std::make_shared<OnnxAxisOrder>();
  if (name == "CaffeAxisOrder") return std::make_shared<CaffeAxisOrder>();
  return std::make_shared<IrAxisOrder>();
}

void IrGraph::resetTensorIds() const {
  uint32_t maxId = 0;
  for (const auto& [name, tensor] : tensorMap_) {
    if (tensor) maxId = std::max(maxId, tensor->id());
  }
  IrTensor::resetIdCounter(maxId);
}

void IrGraph::mergeQuantInfo(const TensorPtr& a, const TensorPtr& b, bool flag) {
  if (a->quantInfo().isDefined()) {
    transferQuantInfo(a, b);
  } else if (b->quantInfo().isDefined() && flag) {
    transferQuantInfo(b, a);
  }
}

void IrGraph::transferQuantInfo(const TensorPtr& from, const TensorPtr& to) {
  if (!from->quantInfo().isDefined() || !to->quantizable()) return;
  to->setQInfo(from->dataType(), from->quantInfo());
  to->setUpdateable(from->updateable());
}

ConversionNamePolicy& IrGraph::namePolicy() {
  if (!namePolicy_) namePolicy_ = std::make_shared<ConversionNamePolicy>();
  return *namePolicy_;
}

}  // namespace modeltools
