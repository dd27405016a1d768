#include "IdentityRemoval.hpp"

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "modeltools/ir/Permutations.hpp"
#include "modeltools/iroptimizer/ConstantReads.hpp"
#include "modeltools/iroptimizer/Verbose.hpp"

namespace modeltools::iroptimizer {
namespace {

// Codes of "operation" on "Eltwise_Binary".
constexpr uint32_t kAnd = 1;
constexpr uint32_t kDivide = 2;
constexpr uint32_t kMultiply = 13;

// Lstm inputs that carry the initial states; a reshape in front of them is kept.
constexpr uint32_t kLstmInitialHiddenState = 10;
constexpr uint32_t kLstmInitialCellState = 11;

void sayVerbose(const IrGraph& graph, const char* handler, const std::string& text) {
  if (verboseLogging())
    graph.diagnostics().write("modeltools::iroptimizer::removeIdentity::", handler, ": ", text, "\n");
}

// The squash of every handler. When the graph would refuse to reconnect the op, the op stays
// and `refusal` (if any) goes to the debug log.
bool trySquash(IrGraph& graph, const OpPtr& op, const TensorPtr& in, bool keepInputTensor, bool transferQuantization,
               const char* handler, const std::string& refusal = "") {
  if (graph.squashRefusal(op, in->name(), keepInputTensor)) {
    if (!refusal.empty()) sayVerbose(graph, handler, refusal);
    return false;
  }
  graph.squash(op, in->name(), keepInputTensor, transferQuantization);
  return true;
}

TensorPtr inputOrNull(const OpPtr& op, uint32_t index) {
  return index < op->numInputs() ? op->getInput(index) : nullptr;
}
TensorPtr outputOrNull(const OpPtr& op) { return op->numOutputs() > 0 ? op->getOutput(0) : nullptr; }

bool sameShapes(const TensorPtr& a, const TensorPtr& b) { return a && b && a->shape() == b->shape(); }
bool isStatic(const TensorPtr& tensor) { return tensor && tensor->isStaticTensor(); }

bool isAllOnes(const TensorPtr& tensor) {
  float first = 0.0f;
  return allElementsEqualToValue(tensor, &first) && first == 1.0f;
}

bool everyByteIsOne(const TensorPtr& tensor) {
  const auto data = std::static_pointer_cast<IrStaticTensor>(tensor)->values<uint8_t>();
  return std::all_of(data.begin(), data.end(), [](uint8_t byte) { return byte == 1; });
}

// An integer scalar attribute of any width; empty when absent or not an integer.
std::optional<int64_t> integerAttribute(const ops::IrOp& op, const std::string& name) {
  const auto& attrs = *op.attrs();
  if (!attrs.hasAttr(name)) return std::nullopt;
  const AttrValue& attr = attrs.get(name);
  if (attr.attrType != attrtype::kScalar) return std::nullopt;
  const auto& v = attr.value;
  switch (attr.dataType) {
    case VRX_DATATYPE_BOOL_8: return v.boolValue ? 1 : 0;
    case VRX_DATATYPE_INT_8: return v.int8Value;
    case VRX_DATATYPE_INT_16: return v.int16Value;
    case VRX_DATATYPE_INT_32: return v.int32Value;
    case VRX_DATATYPE_INT_64: return v.int64Value;
    case VRX_DATATYPE_UINT_8: return v.uint8Value;
    case VRX_DATATYPE_UINT_16: return v.uint16Value;
    case VRX_DATATYPE_UINT_32: return v.uint32Value;
    case VRX_DATATYPE_UINT_64: return static_cast<int64_t>(v.uint64Value);
    default: return std::nullopt;
  }
}

// A tensor attribute of rank 1 and length 0.
bool isEmptyList(const ops::IrOp& op, const std::string& name) {
  const auto& attrs = *op.attrs();
  if (!attrs.hasAttr(name) || attrs.get(name).attrType != attrtype::kTensor) return false;
  const auto& tensor = attrs.get(name).tensor;
  return tensor && tensor->rank() == 1 && tensor->dims()[0] == 0;
}

// The gather's indices are 0, 1, ..., length-1 along its axis of `data`.
bool gathersEveryIndexInOrder(const ops::IrOp& op, const TensorPtr& data, const TensorPtr& indices) {
  auto axis = integerAttribute(op, "axis");
  if (!axis) return false;
  const int64_t rank = data->rank();
  if (*axis < 0) *axis += rank;
  if (*axis < 0 || *axis >= rank) return false;
  if (indices->dataType() != VRX_DATATYPE_INT_32 && indices->dataType() != VRX_DATATYPE_UINT_32) return false;
  const uint32_t length = data->dims()[static_cast<size_t>(*axis)];
  const auto values = std::static_pointer_cast<IrStaticTensor>(indices)->values<uint32_t>();
  if (indices->elements() != length || values.size() < length) return false;
  for (uint32_t i = 0; i < length; ++i) {
    if (values[i] != i) return false;
  }
  return true;
}

// The op's output feeds an "Lstm" as its initial hidden or cell state.
bool feedsLstmInitialState(const TensorPtr& out) {
  for (const auto& reader : out->consumers()) {
    if (reader->type() != "Lstm") continue;
    for (uint32_t index : {kLstmInitialHiddenState, kLstmInitialCellState}) {
      if (index < reader->numInputs() && reader->getInput(index) == out) return true;
    }
  }
  return false;
}

// A reshape that only flattens the input of a fully connected layer, which flattens by itself.
bool onlyFlattensForFullyConnected(const TensorPtr& in, const TensorPtr& out) {
  return in->rank() >= 3 && in->rank() <= 4 && out->rank() == 2 && out->consumers().size() == 1 &&
         in->dims()[0] == out->dims()[0] && !out->isGraphOutput() &&
         (*out->consumers().begin())->type() == "FullyConnected";
}

std::string reshapeLog(const OpPtr& op, const TensorPtr& in, const TensorPtr& out) {
  return "Squash Reshape Op: " + op->name() + " due to IdentityOp. Input shape: " + listToString(in->dims()) +
         ", shape after " + listToString(out->dims());
}

using Handler = bool (removeIdentity::*)(IrGraph&, const OpPtr&);
using HandlerTable = std::unordered_map<std::string, Handler>;

}  // namespace

bool isGraphInputToOutputOp(const OpPtr& op) {
  const auto in = inputOrNull(op, 0);
  const auto out = outputOrNull(op);
  return in && out && in->isGraphInput() && out->isGraphOutput() && in->shape() == out->shape();
}

// ---- removeIdentity -------------------------------------------------------------------------------

removeIdentity::removeIdentity()
    : andPattern(withAttr(isOpType("Eltwise_Binary"), attrNumber("operation", kAnd))),
      divPattern(withAttr(isOpType("Eltwise_Binary"), attrNumber("operation", kDivide))),
      mulPattern(withAttr(isOpType("Eltwise_Binary"), attrNumber("operation", kMultiply))),
      tilePattern(isOpType("Tile")),
      gatherPattern(isOpType("Gather")),
      transposePattern(isOpType("Transpose")),
      reshapePattern(isOpType("Reshape")),
      splitPattern(isOpType("Split")),
      identityPattern(isOpType("Identity")) {
  pattern = andPattern;
  for (const auto& alternative : {divPattern, mulPattern, tilePattern, gatherPattern, transposePattern, reshapePattern,
                                  splitPattern, identityPattern}) {
    pattern = either(pattern, alternative);
  }
  rejectEscapingMatches = true;
}

bool removeIdentity::rewriteCallback(IrGraph& graph, const CaptureMap& captures) {
  static const HandlerTable handlers = {
      {"Tile", &removeIdentity::handleTileOp},           {"Gather", &removeIdentity::handleGatherOp},
      {"Transpose", &removeIdentity::handleTransposeOp}, {"Reshape", &removeIdentity::handleReshapeOp},
      {"Split", &removeIdentity::handleSplitOp},         {"Identity", &removeIdentity::handleIdentityOp}};
  const OpPtr op = captures.at(pattern);
  if (op->type() == "Eltwise_Binary") {
    switch (integerAttribute(*op, "operation").value_or(-1)) {
      case kAnd: return handleAndOp(graph, op);
      case kDivide: return handleDivOp(graph, op);
      case kMultiply: return handleMulOp(graph, op);
      default: return false;
    }
  }
  const auto entry = handlers.find(op->type());
  return entry != handlers.end() && (this->*(entry->second))(graph, op);
}

bool removeIdentity::handleAndOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0), in1 = inputOrNull(op, 1), out = outputOrNull(op);
  if (!in0 || !isStatic(in1) || in0->dataType() != VRX_DATATYPE_BOOL_8 || !sameShapes(in0, out) ||
      !everyByteIsOne(in1)) {
    return false;
  }
  return trySquash(graph, op, in0, false, false, "handleAndOp",
                   "Squash elementwise and op: " + op->name() + " due to identity not possible ");
}

bool removeIdentity::handleDivOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0);
  if (!in0 || !allElementsEqualTo(inputOrNull(op, 1), 1.0f)) return false;
  return trySquash(graph, op, in0, false, false, "handleDivOp",
                   "Squash elementwise div op: " + op->name() + " due to identity not possible ");
}

bool removeIdentity::handleMulOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0), in1 = inputOrNull(op, 1), out = outputOrNull(op);
  if (!out || out->consumers().size() >= 2 || !sameShapes(in0, in1)) return false;
  const std::string refusal = "Squash elementwise product op: " + op->name() + " due to identity not possible ";
  if (isStatic(in0)) return isAllOnes(in0) && trySquash(graph, op, in1, true, false, "handleMulOp", refusal);
  const bool multipliesByOnes =
      isStatic(in1) && (in0->dataType() == VRX_DATATYPE_FLOAT_32 || in0->dataType() == VRX_DATATYPE_INT_32) &&
      isAllOnes(in1);
  return multipliesByOnes && trySquash(graph, op, in0, true, false, "handleMulOp", refusal);
}

bool removeIdentity::handleTileOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0);
  if (!sameShapes(in0, outputOrNull(op))) return false;
  return trySquash(graph, op, in0, false, true, "handleTileOp",
                   "Squash tile op: " + op->name() + " due to shape match not possible ");
}

bool removeIdentity::handleTransposeOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0);
  if (!in0 || !op->attrs()->hasAttr("perm") || !isIdentityPermutation(listAttribute(*op, "perm"))) return false;
  return trySquash(graph, op, in0, false, true, "handleTransposeOp",
                   "Unable to squash identity Transpose: " + op->name());
}

bool removeIdentity::handleSplitOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0);
  if (!in0 || !isEmptyList(*op, "split_index")) return false;
  return trySquash(graph, op, in0, false, false, "handleSplitOp",
                   "Unable to squash identity Split: " + op->name() + "due to split index check.");
}

bool removeIdentity::handleIdentityOp(IrGraph& graph, const OpPtr& op) {
  if (graph.squashIdentityRefusal(op)) return false;
  graph.squashIdentity(op, true);
  return true;
}

bool removeIdentity::handleGatherOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0), in1 = inputOrNull(op, 1), out = outputOrNull(op);
  if (!sameShapes(in0, out) || in0->consumers().size() != 1 || !isStatic(in1) || in1->producer()) return false;
  if (!gathersEveryIndexInOrder(*op, in0, in1)) return false;

  const bool keepInput = in0->consumers().size() != 1 || !in0->producer();
  if (graph.squashRefusal(op, in0->name(), keepInput)) return false;
  // The indices are static without a producer, so dropping the edge leaves nothing else to prune.
  graph.removeOpAsConsumer(in1, op);
  sayVerbose(graph, "handleGatherOp",
             "Squash Gather Op: " + op->name() + " due to IdentityOp. Input shape: " + listToString(in0->dims()));
  graph.squash(op, in0->name(), keepInput, true);
  return true;
}

bool removeIdentity::handleReshapeOp(IrGraph& graph, const OpPtr& op) {
  const auto in0 = inputOrNull(op, 0), out = outputOrNull(op);
  if (!in0 || !out) return false;
  if (sameShapes(in0, out) && in0->consumers().size() == 1 && !isGraphInputToOutputOp(op)) {
    if (feedsLstmInitialState(out)) return false;
    const std::string log = reshapeLog(op, in0, out);
    if (!trySquash(graph, op, in0, false, true, "handleReshapeOp")) return false;
    sayVerbose(graph, "handleReshapeOp", log);
    return true;
  }
  if (!onlyFlattensForFullyConnected(in0, out)) return false;
  const std::string log = reshapeLog(op, in0, out);
  if (!trySquash(graph, op, in0, true, true, "handleReshapeOp")) return false;
  sayVerbose(graph, "handleReshapeOp", log);
  return true;
}

// ---- removeIdentityReshapeAndIdentityOnly ---------------------------------------------------------

removeIdentityReshapeAndIdentityOnly::removeIdentityReshapeAndIdentityOnly() {
  pattern = either(reshapePattern, identityPattern);
}

bool removeIdentityReshapeAndIdentityOnly::rewriteCallback(IrGraph& graph, const CaptureMap& captures) {
  const OpPtr op = captures.at(pattern);
  if (op->type() == "Reshape") return handleReshapeOp(graph, op);
  if (op->type() == "Identity") return handleIdentityOp(graph, op);
  return false;
}

// ---- Casts ----------------------------------------------------------------------------------------

bool squashCastOp(IrGraph& graph, const OpPtr& op, bool force) {
  const auto in = inputOrNull(op, 0), out = outputOrNull(op);
  if (!in || !out) return false;
  // A cast between a graph input and a graph output is all that joins them.
  const bool mayGo = !out->isGraphOutput() || (!in->isGraphInput() && in->consumers().size() < 2);
  const bool isNoOp = force || in->dataType() == out->dataType();
  // A cast that can't be reconnected (e.g. a constant cast straight into a graph output) stays.
  if (!mayGo || !isNoOp || graph.squashRefusal(op, in->name(), false)) return false;
  graph.squash(op, in->name(), false, true);
  return true;
}

SquashCastPass::SquashCastPass() {
  pattern = isOpType("Cast");
  rejectEscapingMatches = true;
}

bool SquashCastPass::rewriteCallback(IrGraph& graph, const CaptureMap& captures) {
  return squashCastOp(graph, captures.at(pattern), false);
}

ForcePruneCastPass::ForcePruneCastPass() {
  pattern = isOpType("Cast");
  rejectEscapingMatches = true;
}

bool ForcePruneCastPass::rewriteCallback(IrGraph& graph, const CaptureMap& captures) {
  return squashCastOp(graph, captures.at(pattern), true);
}

}  // namespace modeltools::iroptimizer
