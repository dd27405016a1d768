// Graph surgery: the operations by which rewrites change the wiring of a standing graph.
// Each keeps both sides of every edge in step and chooses an op's place in the execution
// order itself. Positions come from the OpSequence, so a step costs a logarithm of the
// graph's size plus the work on the op's own neighbours.

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "DataTypes.hpp"
#include "IrGraph.hpp"
#include "Permutations.hpp"

namespace modeltools {
namespace {

const char* const kNullOpText = "Invalid op: received null op pointer, expected a valid op";
const char* const kNullTensorText = "Invalid tensor: received null tensor pointer, expected a valid tensor";

std::string head(const char* function) { return std::string("modeltools::IrGraph::") + function + ": "; }

[[noreturn]] void fail(const char* function, const std::string& text) {
  throw std::runtime_error(head(function) + text);
}

[[noreturn]] void failArgument(const char* function, const std::string& text) {
  throw std::invalid_argument(head(function) + text);
}

void requireOp(const OpPtr& op, const char* function) {
  if (!op) fail(function, kNullOpText);
}

void requireTensor(const TensorPtr& tensor, const char* function) {
  if (!tensor) fail(function, kNullTensorText);
}

std::string opText(const OpPtr& op) {
  std::ostringstream out;
  out << *op;
  return out.str();
}

// Each tensor once, in order of first appearance.
std::vector<TensorPtr> distinct(const std::vector<TensorPtr>& tensors) {
  std::vector<TensorPtr> result;
  for (const auto& tensor : tensors) {
    if (std::find(result.begin(), result.end(), tensor) == result.end()) result.push_back(tensor);
  }
  return result;
}

bool producesStaticOutput(const OpPtr& op, const TensorPtr& in, const TensorPtr& out) {
  return in->isStaticTensor() && op->type() == "Reshape" && out->isGraphOutput() && in->shape() == out->shape();
}

// Squash keeps the output, which takes the input's place behind the input's producer (case A),
// or keeps the input, which the output's readers then read (case B).
bool squashKeepsOutput(const TensorPtr& in, bool keepInputTensor) {
  return in->consumers().size() == 1 && in->producer() && !keepInputTensor && !in->isGraphOutput();
}

bool standsIn(const std::vector<TensorPtr>& tensors, const TensorPtr& tensor) {
  return std::find(tensors.begin(), tensors.end(), tensor) != tensors.end();
}

void eraseTensorFrom(std::vector<TensorPtr>& list, const TensorPtr& tensor) {
  list.erase(std::remove(list.begin(), list.end(), tensor), list.end());
}

// A layout change for one reader: the first row whose format (or NONTRIVIAL rank) fits wins.
struct PermuteRow {
  AxisFormat from;
  uint32_t nontrivialRank;  // 0: the row doesn't accept NONTRIVIAL
  AxisFormat target;
};

void permuteByRows(IrGraph& graph, const TensorPtr& tensor, const OpPtr& consumer, const std::vector<PermuteRow>& rows,
                   const char* function) {
  requireTensor(tensor, function);
  requireOp(consumer, function);
  const AxisFormat format = tensor->axisFormat();
  for (const auto& row : rows) {
    const bool nontrivialFits =
        row.nontrivialRank != 0 && format == AxisFormat::NONTRIVIAL && tensor->rank() == row.nontrivialRank;
    if (format == row.from || nontrivialFits) {
      graph.injectImplicitPermute(tensor->name(), row.target, *permutationBetween(row.from, row.target),
                                  {consumer->name()});
      return;
    }
  }
}

}  // namespace

// ---- Injection ----------------------------------------------------------------------------------

std::optional<OpSet> IrGraph::wireInjectedOp(const OpPtr& op, const TensorPtr& input, const std::string& outputName,
                                             const std::vector<std::string>& consumerNames, AxisFormat axisFormat,
                                             bool inheritQuantizable) {
  op->addInput(input, -1);
  const auto shapes = op->inferOutputTensorShapes(axisOrder_, 1);
  if (shapes.empty()) return std::nullopt;
  const uint32_t dataType = op->inferOutputFloatDataTypes(1).at(0);
  const bool quantizable = inheritQuantizable ? input->quantizable() : isFloat16Or32(dataType);
  auto output = addTensor(TensorFields{.name = outputName,
                                           .shape = shapes[0],
                                           .dataType = dataType,
                                           .floatDataType = input->floatDataType(),
                                           .quantizable = quantizable,
                                           .axisFormat = axisFormat,
                                           .kind = tensorkind::kNative});
  op->addOutput(output, -1);
  output->setProducer(op);
  OpSet consumers = getConsumers(input, consumerNames);
  for (const auto& consumer : consumers) {
    consumer->replaceInputTensor(input, output);
    input->removeConsumer(consumer);
    output->addConsumer(consumer);
  }
  input->addConsumer(op);
  return consumers;
}


size_t IrGraph::positionForInjection(const TensorPtr& input, const OpSet& consumers) const {
  if (const auto& producer = input->producer()) {
    const size_t index = opList_.indexOf(producer.get());
    if (index != OpSequence::npos) return index + 1;
  }
  size_t first = OpSequence::npos;
  for (const auto& consumer : consumers) first = std::min(first, opList_.indexOf(consumer.get()));
  return first != OpSequence::npos ? first : opList_.size();
}

void IrGraph::inject(const OpPtr& op, const std::string& inputName, const std::string& outputName,
                     const std::vector<std::string>& consumerNames, AxisFormat axisFormat, bool validate,
                     bool inheritQuantizable) {
  requireOp(op, "inject");
  auto input = getTensor(inputName);
  if (!input) {
    failArgument("inject",
                 "Can't inject op " + opText(op) + " onto a tensor " + inputName + " which is not in the graph");
  }
  const auto consumers = wireInjectedOp(op, input, outputName, consumerNames, axisFormat, inheritQuantizable);
  if (!consumers) return;
  addOp(op, static_cast<int32_t>(positionForInjection(input, *consumers)), validate);
}

void IrGraph::injectAtIndex(const OpPtr& op, const std::string& inputName, const std::string& outputName, int32_t index,
                            const std::vector<std::string>& consumerNames, AxisFormat axisFormat, bool validate,
                            bool inheritQuantizable) {
  requireOp(op, "injectAtIndex");
  auto input = getTensor(inputName);
  if (!input) failArgument("injectAtIndex", "injectAtIndex: tensor '" + inputName + "' not found in graph.");
  if (!wireInjectedOp(op, input, outputName, consumerNames, axisFormat, inheritQuantizable)) return;
  addOp(op, index, validate);
}

void IrGraph::injectImplicitPermute(const std::string& tensorName, AxisFormat axisFormat,
                                    const std::vector<uint32_t>& permOrder,
                                    const std::vector<std::string>& consumerNames) {
  auto tensor = getTensor(tensorName);
  if (!tensor) {
    failArgument("injectImplicitPermute",
                 "Can't inject a permute onto a tensor " + tensorName + " which is not in the graph");
  }
  if (permOrder.size() != tensor->rank()) {
    std::ostringstream text;
    text << "Can't inject a permute with a permute order of size " << permOrder.size() << " which is not equal to "
         << tensor->rank() << ", the rank of the input tensor " << tensorName;
    failArgument("injectImplicitPermute", text.str());
  }
  const std::string candidate = tensorName + "." + axisFormatToString(axisFormat);
  auto existing = getTensor(candidate);
  if (existing && existing->producer() && existing->producer()->type() == "Transpose" &&
      existing->axisFormat() == axisFormat) {
    transferConsumers(tensor, existing, getConsumers(tensor, consumerNames));
    return;
  }
  if (!services_.makeTranspose) fail("injectImplicitPermute", "the graph was made without typed op creation");
  auto transpose = services_.makeTranspose(candidate, permOrder);
  inject(transpose, tensorName, candidate, consumerNames, axisFormat, false, false);
}

void IrGraph::permuteToSpatialFirst(const TensorPtr& tensor, const OpPtr& consumer) {
  static const std::vector<PermuteRow> rows = {
      {AxisFormat::NCDHW, 5, AxisFormat::NDHWC},
      {AxisFormat::NCHW, 4, AxisFormat::NHWC},
      {AxisFormat::NCF, 0, AxisFormat::NFC},
  };
  permuteByRows(*this, tensor, consumer, rows, "permuteToSpatialFirst");
}

void IrGraph::permuteNfcToNcf(const TensorPtr& tensor, const OpPtr& consumer) {
  static const std::vector<PermuteRow> rows = {{AxisFormat::NFC, 0, AxisFormat::NCF}};
  permuteByRows(*this, tensor, consumer, rows, "permuteNfcToNcf");
}

void IrGraph::permuteToSpatialLast(const TensorPtr& tensor, const OpPtr& consumer) {
  static const std::vector<PermuteRow> rows = {
      {AxisFormat::NDHWC, 5, AxisFormat::NCDHW},
      {AxisFormat::NHWC, 4, AxisFormat::NCHW},
  };
  permuteByRows(*this, tensor, consumer, rows, "permuteToSpatialLast");
}

// ---- Moving and removing ------------------------------------------------------------------------

void IrGraph::moveOptoIndex(const OpPtr& opRef, size_t index) {
  requireOp(opRef, "moveOptoIndex");
  const OpPtr op = opRef;  // the caller's reference may live in the order itself
  if (!opList_.contains(op.get())) fail("moveOptoIndex", "Op " + opText(op) + " not found in graph");
  opList_.erase(op.get());
  if (index > opList_.size()) {
    fail("moveOptoIndex", "Invalid insertion index " + std::to_string(index) + " for op " + opText(op));
  }
  opList_.insert(index, op);
}

void IrGraph::prune(const OpPtr& opRef, bool force) {
  requireOp(opRef, "prune");
  const OpPtr op = opRef;  // the caller's reference may live in a container changed below
  for (const auto& output : op->getOutputs()) {
    const OpSet readers = output->consumers();
    for (const auto& reader : readers) {
      if (!force)
        fail("prune", "Cannot prune op " + opText(op) + " which has atleast one successor: " + opText(reader));
      output->removeConsumer(reader);
      reader->removeInput(output);
    }
    removeTensor(output->name());
  }
  for (const auto& input : distinct(op->getInputs())) {
    input->removeConsumer(op);
    op->removeInput(input);
  }
  opList_.erase(op.get());
  auto entry = opMap_.find(op->name());
  if (entry != opMap_.end() && entry->second == op) opMap_.erase(entry);
}

void IrGraph::removeOpAsConsumer(const TensorPtr& tensor, const OpPtr& opRef) {
  requireOp(opRef, "removeOpAsConsumer");
  requireTensor(tensor, "removeOpAsConsumer");
  const OpPtr op = opRef;  // may be an element of the consumer set
  tensor->removeConsumer(op);
  op->removeInput(tensor);
}

void IrGraph::replace(const OpPtr& oldRef, const OpPtr& newRef, const std::string& axisOrderName) {
  requireOp(oldRef, "replace");
  requireOp(newRef, "replace");
  const OpPtr oldOp = oldRef;  // the caller's reference may live in the order, which changes below
  const OpPtr newOp = newRef;
  if (newOp->numInputs() != 0 || newOp->numOutputs() != 0) {
    diagnostics().write(head("replace"), "The replacement Op: ", *newOp,
                        " already has inputs/outputs which might be replaced with those of the original op.\n\n");
  }
  newOp->takeTensorListsFrom(*oldOp);
  for (const auto& input : distinct(oldOp->getInputs())) {
    input->removeConsumer(oldOp);
    oldOp->removeInput(input);
    input->addConsumer(newOp);
  }
  const auto order = axisOrderName.empty() ? axisOrder_ : makeAxisOrder(axisOrderName);
  const auto outputs = newOp->getOutputs();
  const auto shapes = newOp->inferOutputTensorShapes(order, static_cast<uint32_t>(outputs.size()));
  newOp->overrideDataAxisFormats(order);
  for (size_t i = 0; i < outputs.size(); ++i) {
    outputs[i]->setProducer(newOp);
    // A generic op may infer fewer shapes than it has outputs; the others keep theirs.
    if (i < shapes.size()) outputs[i]->setShape(shapes[i]);
  }
  newOp->populateOutputAxisFormats(order, tensorAxisFormats_, false);
  newOp->validateOp();

  const auto sources = getTraceSources(tracekind::kOp, oldOp->name());
  removeTraceSources(tracekind::kOp, oldOp->name());
  setTraceSources(tracekind::kOp, newOp->name(), sources);

  opList_.replace(oldOp.get(), newOp);
  opMap_[newOp->name()] = newOp;
  if (newOp->name() != oldOp->name()) {
    auto entry = opMap_.find(oldOp->name());
    if (entry != opMap_.end() && entry->second == oldOp) opMap_.erase(entry);
  }
}

// ---- Squashing ----------------------------------------------------------------------------------

bool IrGraph::isStaticPassThrough(const OpPtr& op) const {
  if (!op || op->numInputs() == 0 || op->numOutputs() == 0) return false;
  const auto in = op->getInput(0);
  const auto out = op->getOutput(0);
  return in->isStaticTensor() && out->isGraphOutput() && in->shape() == out->shape();
}

std::optional<std::string> IrGraph::squashRefusal(const OpPtr& op, const std::string& inputName,
                                                  bool keepInputTensor) const {
  if (!op) return head("squash") + kNullOpText;
  if (op->numOutputs() != 1) {
    return head("squash") + "Op " + opText(op) + " must have exactly one output to be squashed. But it has " +
           std::to_string(op->numOutputs());
  }
  const auto in = getTensor(inputName);
  if (!in) return head("squash") + kNullTensorText;
  if (!standsIn(op->getInputs(), in)) {
    return head("squash") + "Tensor " + in->name() + " is not an input to op " + opText(op);
  }
  const auto out = op->getOutput(0);
  if (producesStaticOutput(op, in, out)) {
    return head("squash") + "Unable to squash node: " + opText(op) + " into previous tensor: " + in->name() +
           "as node produces a static output";
  }
  if (squashKeepsOutput(in, keepInputTensor)) {
    if (standsIn(in->producer()->getOutputs(), in)) return std::nullopt;
    return head("squash") + "Input tensor " + in->name() + " not found in previous op when squashing " + opText(op);
  }
  if (!out->consumers().empty() && !out->isGraphOutput()) return std::nullopt;
  return head("squash") + "Squash not possible for op " + opText(op) + " (type: " + op->type() +
         ", input: " + in->name() + ")";
}

void IrGraph::squash(const OpPtr& opRef, const std::string& inputName, bool keepInputTensor,
                     bool transferQuantization) {
  if (auto refusal = squashRefusal(opRef, inputName, keepInputTensor)) throw std::runtime_error(*refusal);
  const OpPtr op = opRef;  // may be an element of a consumer set or of the order
  const auto in = getTensor(inputName);
  const auto out = op->getOutput(0);
  auto collected = getTraceSources(tracekind::kOp, op->name());
  const OpPtr prev = in->producer();

  if (squashKeepsOutput(in, keepInputTensor)) {
    // The output survives and takes the input's place behind prev.
    prev->replaceOutputTensor(in, out);
    out->setProducer(prev);
    removeOpAsConsumer(in, op);
    in->clearProducer();
    removeTensor(in->name());
    mergeQuantInfo(out, in, transferQuantization);
    for (const auto& other : distinct(op->getInputs())) {
      const OpPtr producer = other->producer();
      removeOpAsConsumer(other, op);
      if (!other->consumers().empty()) continue;
      collected = mergeTraceSources(collected, getTraceSources(tracekind::kTensor, other->name()));
      other->clearProducer();
      removeTensor(other->name());
      if (producer) producer->removeOutput(other);
    }
    if (!collected.empty()) {
      setTraceSources(tracekind::kOp, prev->name(),
                      mergeTraceSources(getTraceSources(tracekind::kOp, prev->name()), collected));
    }
  } else {
    // The input survives and the output's readers move to it.
    const OpSet readers = out->consumers();
    for (const auto& reader : readers) {
      reader->replaceInputTensor(out, in);
      in->addConsumer(reader);
      removeOpAsConsumer(out, reader);
    }
    if (transferQuantization && out->quantInfo().isDefined()) transferQuantInfo(out, in);
    removeOpAsConsumer(in, op);
    collected = mergeTraceSources(collected, getTraceSources(tracekind::kTensor, out->name()));
    out->clearProducer();
    out->clearConsumers();
    removeTensor(out->name());
    if (!collected.empty()) {
      for (const auto& reader : readers) {
        setTraceSources(tracekind::kOp, reader->name(),
                        mergeTraceSources(getTraceSources(tracekind::kOp, reader->name()), collected));
      }
    }
  }
  op->removeOutput(out);
  prune(op, true);
}

std::optional<std::string> IrGraph::squashIdentityRefusal(const OpPtr& op) const {
  if (!op) return head("squashIdentity") + kNullOpText;
  if (op->numInputs() != 1) {
    return head("squashIdentity") + "Op " + opText(op) + " expected to have exactly 1 input, but has " +
           std::to_string(op->numInputs());
  }
  if (op->numOutputs() != 1) {
    return head("squashIdentity") + "Op " + opText(op) + " expected to have exactly 1 output, but has " +
           std::to_string(op->numOutputs());
  }
  const auto in = op->getInput(0);
  if (producesStaticOutput(op, in, op->getOutput(0))) {
    return head("squashIdentity") + "Unable to squash op: " + opText(op) + " into previous tensor: " + in->name() +
           " as op produces a static output";
  }
  // Without a producer to take the output over, the op goes as a squash that keeps the input.
  if (!in->producer() || in->isGraphOutput()) return squashRefusal(op, in->name(), true);
  return std::nullopt;
}

void IrGraph::squashIdentity(const OpPtr& opRef, bool transferQuantization) {
  if (auto refusal = squashIdentityRefusal(opRef)) throw std::runtime_error(*refusal);
  const OpPtr op = opRef;  // may be an element of a consumer set or of the order
  const auto in = op->getInput(0);
  const auto out = op->getOutput(0);
  const OpPtr prev = in->producer();
  if (!prev || in->isGraphOutput()) {
    squash(op, in->name(), true, transferQuantization);
    return;
  }
  for (const auto& reader : in->consumers()) {
    reader->replaceInputTensor(in, out);
    out->addConsumer(reader);
  }
  prev->replaceOutputTensor(in, out);
  out->setProducer(prev);

  if (!out->quantInfo().isDefined()) {
    if (in->quantInfo().isDefined() && transferQuantization && out->quantizable()) {
      out->setQInfo(in->dataType(), in->quantInfo());
      out->setUpdateable(in->updateable());
    }
  } else if (in->quantizable()) {
    in->setQInfo(out->dataType(), out->quantInfo());
    in->setUpdateable(out->updateable());
  }

  const auto merged = mergeTraceSources(
      mergeTraceSources(getTraceSources(tracekind::kOp, op->name()), getTraceSources(tracekind::kTensor, in->name())),
      getTraceSources(tracekind::kTensor, out->name()));
  setTraceSources(tracekind::kTensor, out->name(), merged);

  in->clearProducer();
  in->clearConsumers();
  removeTensor(in->name());
  op->removeOutput(out);
  prune(op, true);
}

// ---- Editing edges -------------------------------------------------------------------------------

void IrGraph::connect(const OpPtr& op, const std::vector<TensorPtr>& inputs, const std::vector<TensorPtr>& outputs) {
  requireOp(op, "connect");
  op->reserveTensorLists(op->numInputs() + inputs.size(), op->numOutputs() + outputs.size());
  for (const auto& input : inputs) {
    requireTensor(input, "connect");
    op->addInput(input, -1);
    input->addConsumer(op);
  }
  for (const auto& output : outputs) {
    requireTensor(output, "connect");
    op->addOutput(output, -1);
    output->setProducer(op);
  }
}

void IrGraph::replaceAllUses(const TensorPtr& oldTensor, const TensorPtr& newTensor) {
  requireTensor(oldTensor, "replaceAllUses");
  requireTensor(newTensor, "replaceAllUses");
  if (oldTensor == newTensor) return;
  const OpSet readers = oldTensor->consumers();
  for (const auto& reader : readers) {
    reader->replaceInputTensor(oldTensor, newTensor);
    newTensor->addConsumer(reader);
  }
  oldTensor->clearConsumers();
}

void IrGraph::setOperand(const OpPtr& op, uint32_t index, const TensorPtr& tensor) {
  requireOp(op, "setOperand");
  requireTensor(tensor, "setOperand");
  if (index >= op->numInputs()) {
    fail("setOperand", "Op " + opText(op) + " has no input " + std::to_string(index));
  }
  const auto previous = op->getInput(index);
  op->setInputAt(tensor, index);
  if (previous && previous != tensor && !standsIn(op->getInputs(), previous)) previous->removeConsumer(op);
  tensor->addConsumer(op);
}

void IrGraph::moveGraphOutput(const TensorPtr& from, const TensorPtr& to) {
  transferGraphOutputTensor(from, to);
  if (from->kind() == tensorkind::kGraphOutput && from != to) {
    from->setKind(tensorkind::kNative);
    eraseTensorFrom(graphOutputs_, from);
  }
}

void IrGraph::removeOp(const OpPtr& opRef) {
  requireOp(opRef, "removeOp");
  const OpPtr op = opRef;  // the caller's reference may live in the order
  for (const auto& input : distinct(op->getInputs())) removeOpAsConsumer(input, op);
  for (const auto& output : op->getOutputs()) {
    op->removeOutput(output);
    if (output->producer() == op) output->clearProducer();
    if (output->consumers().empty() && !output->isGraphOutput() && getTensor(output->name()) == output) {
      removeTensor(output->name());
    }
  }
  prune(op, true);
}

// ---- Moving readers and roles -------------------------------------------------------------------

void IrGraph::transferConsumers(const TensorPtr& fromTensor, const TensorPtr& toTensor, const OpSet& consumers) {
  requireTensor(fromTensor, "transferConsumers");
  requireTensor(toTensor, "transferConsumers");
  // A copy: the caller may hand in the tensor's own set, which changes below.
  const OpSet moving = consumers;
  for (const auto& consumer : moving) {
    consumer->replaceInputTensor(fromTensor, toTensor);
    fromTensor->removeConsumer(consumer);
    toTensor->addConsumer(consumer);
  }
}

void IrGraph::transferGraphOutputTensor(const TensorPtr& fromTensor, const TensorPtr& toTensor) {
  if (!fromTensor || !toTensor) {
    fail("transferGraphOutputTensor", "transferGraphOutputTensor called with null tensor pointer (fromTensor=" +
                                          (fromTensor ? fromTensor->name() : "") +
                                          ", toTensor=" + (toTensor ? toTensor->name() : "") + ")");
  }
  if (fromTensor->kind() != tensorkind::kGraphOutput) return;
  toTensor->setKind(tensorkind::kGraphOutput);
  auto entry = std::find(graphOutputs_.begin(), graphOutputs_.end(), fromTensor);
  if (entry != graphOutputs_.end()) {
    *entry = toTensor;
  } else {
    graphOutputs_.push_back(toTensor);
  }
}

void IrGraph::updateTensorType(const std::string& name, uint32_t kind) {
  auto tensor = getTensor(name);
  if (!tensor) fail("updateTensorType", "Tensor " + name + " does not exist!");
  if (tensor->kind() == kind) return;
  if (tensor->kind() == tensorkind::kGraphInput) eraseTensorFrom(graphInputs_, tensor);
  if (tensor->kind() == tensorkind::kGraphOutput) eraseTensorFrom(graphOutputs_, tensor);
  tensor->setKind(kind);
  if (kind == tensorkind::kGraphInput) graphInputs_.push_back(tensor);
  if (kind == tensorkind::kGraphOutput) graphOutputs_.push_back(tensor);
}

}  // namespace modeltools
