#include "Transposes.hpp"

#include <algorithm>

#include "ConstantReads.hpp"
#include "GraphEdits.hpp"
#include "OpStructure.hpp"
#include "Verbose.hpp"
#include "modeltools/ir/Permutations.hpp"
#include "modeltools/translation/CreateOp.hpp"
#include "modeltools/translation/TensorDataConversion.hpp"

namespace modeltools::iroptimizer {

OpPtr injectTranspose(IrGraph& graph, const std::string& tensorNameArg, const std::vector<uint32_t>& perm,
                      const std::vector<std::string>& consumerNames, const std::string& optionalName,
                      bool keepOutputName) {
  // A copy: callers pass the tensor's own name, which the renaming below changes.
  const std::string tensorName = tensorNameArg;
  const std::string base = optionalName.empty() ? tensorName : optionalName;
  const std::string name = base + "_" + permToString(perm);
  auto transpose = createOp("Transpose", name, {{"perm", OpAttrValue(perm)}});
  auto input = graph.getTensor(tensorName);
  const std::vector<OpPtr> readers = input ? [&] {
    const OpSet set = graph.getConsumers(input, consumerNames);
    return std::vector<OpPtr>(set.begin(), set.end());
  }() : std::vector<OpPtr>{};
  graph.inject(transpose, tensorName, name, consumerNames, AxisFormat::NOT_YET_DEFINED, false, true);
  auto output = graph.getTensor(name);
  transpose->populateOutputAxisFormats(graph.axisOrder(), {{tensorName, input->axisFormat()}}, false);

  graph.updateTraceInfo(std::vector<TensorPtr>{output}, std::vector<TensorPtr>{input}, {}, false);
  if (!readers.empty()) graph.updateTraceInfo(std::vector<OpPtr>{transpose}, readers, {}, false);

  if (keepOutputName && input->isGraphOutput()) {
    std::string movedName = base + "_" + permToString(getInversePermutation(perm));
    if (graph.hasTensor(movedName)) movedName = generateUniqueTensorName(graph, movedName);
    graph.updateTensorName(tensorName, movedName);
    graph.updateTensorName(name, tensorName);
    graph.moveGraphOutput(input, output);
    if (input->isQuantized()) output->setQInfo(input->dataType(), input->quantInfo());
  }
  output->setPermToSource(composePermToSource(input->permutationToSource(), perm));
  return transpose;
}

void insertOrReuseTranspose(IrGraph& graph, const OpPtr& op, uint32_t inputIndex, const std::vector<uint32_t>& perm) {
  const auto input = op->getInput(inputIndex);
  OpPtr existing;
  for (const auto& reader : input->consumers()) {
    // The op itself may be such a transpose; reading its own output would close a cycle.
    if (reader != op && reader->type() == "Transpose" && reader->attrs()->hasAttr("perm") &&
        listAttribute(*reader, "perm") == perm) {
      existing = reader;
      break;
    }
  }
  if (!existing) {
    injectTranspose(graph, input->name(), perm, {op->name()});
    return;
  }
  graph.setOperand(op, inputIndex, existing->getOutput(0));

  // The reader may stand before the reused transpose: move the transpose up, no higher
  // than its own input's producer allows.
  const auto& order = graph.getOps();
  const size_t opPosition = order.indexOf(op.get());
  const size_t transposePosition = order.indexOf(existing.get());
  if (opPosition >= transposePosition) return;
  const auto& producer = existing->getInput(0)->producer();
  const size_t earliest = producer ? order.indexOf(producer.get()) + 1 : 0;
  if (earliest > opPosition && verboseLogging()) {
    graph.diagnostics().write(
        "insertOrReuseTranspose: Error: Unable to guarantee topological order while inserting Transpose for ",
        op->name(), "\n");
  }
  graph.moveOptoIndex(existing, std::min(earliest, opPosition));
}

bool squashConstantTranspose(const OpPtr& op, IrGraph& graph, bool intoNext) {
  const auto input = asStatic(op->getInput(0));
  const auto output = op->getOutput(0);
  if (!input) return false;
  const TensorPtr& blocker = intoNext ? output : TensorPtr(input);
  if (blocker->isGraphOutput()) {
    if (verboseLogging()) {
      graph.diagnostics().write("squashConstantTranspose: Cannot squash constant Transpose op ", op->name(),
                                intoNext ? " into next op: output tensor " : " into previous op: input tensor ",
                                blocker->name(), " is a graph output (app-read) tensor.\n");
    }
    return false;
  }
  const auto perm = listAttribute(*op, "perm");
  auto transposed = transposeStaticTensor(input, perm, "", false);
  transposed->setShape(output->dims());
  auto& quant = transposed->mutableQuantInfo();
  if (quant.isDefined()) {
    const auto inverse = getInversePermutation(perm);
    auto mapAxis = [&](int32_t& axis) {
      if (axis >= 0 && static_cast<size_t>(axis) < inverse.size()) axis = static_cast<int32_t>(inverse[axis]);
    };
    switch (quant.encoding) {
      case VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET:
      case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET:
      case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED: mapAxis(quant.axis); break;
      case VRX_QUANTIZATION_ENCODING_BLOCK: mapAxis(quant.blockAxis); break;
      case VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION: mapAxis(quant.expansionAxis); break;
      default: break;
    }
  }
  transposed->setName(generateUniqueTensorName(graph, transposed->name()));
  graph.addTensor(transposed);
  graph.updateTraceInfo(std::vector<TensorPtr>{transposed}, std::vector<TensorPtr>{input, output}, {op}, false);
  graph.replaceAllUses(output, transposed);
  graph.moveGraphOutput(output, transposed);
  if (!intoNext) graph.swapTensorNames(transposed->name(), output->name());
  graph.prune(op, true);
  return true;
}

}  // namespace modeltools::iroptimizer
