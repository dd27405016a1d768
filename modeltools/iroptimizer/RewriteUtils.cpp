#include "RewriteUtils.hpp"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "modeltools/iroptimizer/Verbose.hpp"
#include "modeltools/translation/CreateOp.hpp"
#include "modeltools/translation/TensorDataConversion.hpp"

namespace modeltools::iroptimizer {
namespace {

template <class... Parts>
std::runtime_error failure(const char* function, const Parts&... parts) {
  std::ostringstream message;
  message << function << ": ";
  (message << ... << parts);
  return std::runtime_error(message.str());
}

StaticTensorPtr asStatic(const TensorPtr& tensor) {
  return tensor && tensor->isStaticTensor() ? std::static_pointer_cast<IrStaticTensor>(tensor) : nullptr;
}

template <class T>
bool allEqualTyped(const IrStaticTensor& tensor, uint32_t count, float* first) {
  const auto values = tensor.values<T>();
  if (values.size() < count) return false;
  for (uint32_t i = 1; i < count; ++i) {
    if (values[i] != values[0]) return false;
  }
  if (first != nullptr) *first = static_cast<float>(values[0]);
  return true;
}

template <class T>
bool anyNegativeTyped(const IrStaticTensor& tensor) {
  const auto values = tensor.values<T>();
  return std::any_of(values.begin(), values.end(), [](T v) { return v < T(0); });
}

bool isFloatScalarTensor(const StaticTensorPtr& tensor) {
  return tensor && !tensor->shape().hasDynamicAxes() && tensor->elements() == 1 &&
         (tensor->dataType() == VRX_DATATYPE_FLOAT_32 || tensor->dataType() == VRX_DATATYPE_FLOAT_16);
}

bool boolAttributeOr(const ops::IrOp& op, const std::string& name, bool fallback) {
  const auto& attrs = *op.attrs();
  return attrs.hasAttr(name) ? attrs.getAttr<bool>(name) : fallback;
}

// The names go by value: `swapTensorNames` renames the tensors whose names it was handed.
void swapNames(IrGraph& graph, const TensorPtr& a, const TensorPtr& b) {
  const std::string nameA = a->name(), nameB = b->name();
  graph.swapTensorNames(nameA, nameB);
}

bool hasDynamicAxes(const TensorPtr& tensor) { return tensor && tensor->shape().hasDynamicAxes(); }

void sayNoDynamicSupport(const char* function) {
  std::cout << function << ": MatMul/FC Op does not have dynamic axes support. MatMul-Add Fusion / Matmul to FC "
            << "optimization will not be performed.\n";
}

}  // namespace

// ---- Constants ------------------------------------------------------------------------------------

float getConstValue(const TensorPtr& tensor) {
  if (!tensor) throw failure("getConstValue", "Null tensor passed to getConstValue");
  const uint32_t count = tensor->elements();
  if (count != 1) throw failure("getConstValue", "Expected 1 element but found ", count);
  auto data = asStatic(tensor);
  switch (tensor->dataType()) {
    case VRX_DATATYPE_INT_32:
    case VRX_DATATYPE_UINT_32:
    case VRX_DATATYPE_FLOAT_16:
    case VRX_DATATYPE_FLOAT_32:
      if (data) return convertTensorToFloat32(data)[0];
      [[fallthrough]];
    default:
      throw failure("getConstValue", "Found Unsupported VRX datatype in getConstValue function.");
  }
}

bool getStaticFloatScalar(const TensorPtr& tensor, double& value) {
  auto data = asStatic(tensor);
  if (!isFloatScalarTensor(data)) return false;
  value = convertTensorToFloat32(data)[0];
  return true;
}

bool allElementsEqualToValue(const TensorPtr& tensor, float* first) {
  auto data = asStatic(tensor);
  if (!data || data->shape().hasDynamicAxes() || data->elements() == 0) return false;
  const uint32_t count = data->elements();
  switch (data->dataType()) {
    case VRX_DATATYPE_INT_8: return allEqualTyped<int8_t>(*data, count, first);
    case VRX_DATATYPE_UINT_8: return allEqualTyped<uint8_t>(*data, count, first);
    case VRX_DATATYPE_INT_16: return allEqualTyped<int16_t>(*data, count, first);
    case VRX_DATATYPE_UINT_16: return allEqualTyped<uint16_t>(*data, count, first);
    case VRX_DATATYPE_INT_32: return allEqualTyped<int32_t>(*data, count, first);
    case VRX_DATATYPE_UINT_32: return allEqualTyped<uint32_t>(*data, count, first);
    case VRX_DATATYPE_FLOAT_32: return allEqualTyped<float>(*data, count, first);
    case VRX_DATATYPE_FLOAT_16: {
      const FloatBuffer values = convertTensorToFloat32(data);
      for (uint32_t i = 1; i < count; ++i) {
        if (values[i] != values[0]) return false;
      }
      if (first != nullptr) *first = values[0];
      return true;
    }
    default:
      return false;
  }
}

bool allElementsEqualTo(const TensorPtr& tensor, float value) {
  if (!tensor) throw failure("allElementsEqualToValue", "Null tensor passed to allElementsEqualToValue");
  auto data = asStatic(tensor);
  if (!data || data->shape().hasDynamicAxes()) return false;
  const uint32_t count = data->elements();
  if (count == 0) throw failure("allElementsEqualToValue", "Tensor has zero elements");
  switch (data->dataType()) {
    case VRX_DATATYPE_INT_8: case VRX_DATATYPE_UINT_8: case VRX_DATATYPE_INT_16: case VRX_DATATYPE_UINT_16:
    case VRX_DATATYPE_INT_32: case VRX_DATATYPE_UINT_32: case VRX_DATATYPE_FLOAT_16: case VRX_DATATYPE_FLOAT_32:
      break;
    default:
      return false;
  }
  const FloatBuffer values = convertTensorToFloat32(data);
  return std::all_of(values.get(), values.get() + count, [value](float v) { return v == value; });
}

bool anyElementNegative(const TensorPtr& tensor) {
  if (!tensor) throw failure("anyElementNegative", "Null tensor passed to anyElementNegative");
  auto data = asStatic(tensor);
  if (!data) return false;
  switch (data->dataType()) {
    case VRX_DATATYPE_INT_8: return anyNegativeTyped<int8_t>(*data);
    case VRX_DATATYPE_INT_16: return anyNegativeTyped<int16_t>(*data);
    case VRX_DATATYPE_INT_32: return anyNegativeTyped<int32_t>(*data);
    case VRX_DATATYPE_INT_64: return anyNegativeTyped<int64_t>(*data);
    case VRX_DATATYPE_FLOAT_32: return anyNegativeTyped<float>(*data);
    case VRX_DATATYPE_FLOAT_16: {
      const FloatBuffer values = convertTensorToFloat32(data);
      return std::any_of(values.get(), values.get() + data->elements(), [](float v) { return v < 0; });
    }
    default:
      return false;
  }
}

std::vector<uint32_t> staticTensorToU32List(const StaticTensorPtr& tensor) {
  if (!tensor) return {};  // e.g. a list attribute whose tensor holds no data
  const uint32_t count = tensor->dims().empty() ? 0 : tensor->dims()[0];
  const auto values = tensor->values<uint32_t>();
  if (count > values.size()) throw std::out_of_range("Index out of bounds for IrStaticTensor");
  return {values.begin(), values.begin() + count};
}

std::vector<uint32_t> listAttribute(const ops::IrOp& op, const std::string& name) {
  return staticTensorToU32List(op.attrs()->getStaticTensor(name));
}

bool allNearZero(const float* values, size_t count) {
  return std::all_of(values, values + count, [](float v) { return std::fabs(v) <= 1e-8f; });
}

bool isClose(double a, double b, double rtol, double atol) { return std::fabs(a - b) <= std::fabs(b) * rtol + atol; }

bool hasStaticScalarNear(const OpPtr& op, double value, double rtol, double atol) {
  for (const auto& input : op->getInputs()) {
    double x = 0;
    if (getStaticFloatScalar(input, x) && isClose(x, value, rtol, atol)) return true;
  }
  return false;
}

// ---- Op structure ---------------------------------------------------------------------------------

StaticTensorPtr firstStaticInput(const OpPtr& op) {
  for (const auto& input : op->getInputs()) {
    if (auto data = asStatic(input)) return data;
  }
  return nullptr;
}

std::vector<TensorPtr> dynamicInputs(const OpPtr& op) {
  std::vector<TensorPtr> inputs;
  for (const auto& input : op->getInputs()) {
    if (input && !input->isStaticTensor()) inputs.push_back(input);
  }
  return inputs;
}

StaticTensorPtr staticInputAt(const OpPtr& op, uint32_t index) {
  return index < op->numInputs() ? asStatic(op->getInput(index)) : nullptr;
}

bool sameShape(const TensorPtr& a, const TensorPtr& b) { return a && b && a->dims() == b->dims(); }

bool shareDynamicInput(const OpPtr& a, const OpPtr& b) {
  if (!a || !b) return false;
  const auto inputsA = dynamicInputs(a);
  for (const auto& input : dynamicInputs(b)) {
    const bool shared = std::any_of(inputsA.begin(), inputsA.end(),
                                    [&](const TensorPtr& other) { return other->name() == input->name(); });
    if (shared) return true;
  }
  return false;
}

bool isConvType(const std::string& type) {
  return type == "Conv2d" || type == "DepthWiseConv2d" || type == "TransposeConv2d";
}

bool isNormOrDenseType(const std::string& type) {
  return type == "Batchnorm" || type == "InstanceNorm" || type == "FullyConnected" || type == "MatMul";
}

bool producerIsConv(const OpPtr& op) {
  for (const auto& input : dynamicInputs(op)) {
    if (input->producer()) return isConvType(input->producer()->type());
  }
  return false;
}

// ---- Shapes and permutations ----------------------------------------------------------------------

std::vector<uint32_t> getInversePermutation(const std::vector<uint32_t>& perm) {
  std::vector<uint32_t> inverse(perm.size());
  for (size_t i = 0; i < perm.size(); ++i) {
    if (perm[i] >= perm.size()) {
      throw failure("getInversePermutation", "Invalid permutation value ", perm[i], " at index ", i,
                    " for permutation of size ", perm.size());
    }
    inverse[perm[i]] = static_cast<uint32_t>(i);
  }
  return inverse;
}

Dims squeezeOnes(const Dims& dims) {
  Dims squeezed;
  std::copy_if(dims.begin(), dims.end(), std::back_inserter(squeezed), [](uint32_t d) { return d != 1; });
  return squeezed.empty() ? Dims{1} : squeezed;
}

bool trailingDimsMatch(const Dims& a, const Dims& b) {
  if (b.size() > a.size()) return false;
  const size_t offset = a.size() - b.size();
  for (size_t i = 0; i < b.size(); ++i) {
    if (b[i] != a[offset + i] && b[i] != 1) return false;
  }
  return true;
}

std::vector<uint32_t> channelLastToFirstPerm(uint32_t rank) {
  if (rank == 0) return {};
  std::vector<uint32_t> perm = {0};
  if (rank >= 2) perm.push_back(rank - 1);
  for (uint32_t i = 1; i + 1 < rank; ++i) perm.push_back(i);
  return perm;
}

std::vector<uint32_t> channelFirstToLastPerm(uint32_t rank) {
  if (rank == 0) return {};
  std::vector<uint32_t> perm = {0};
  for (uint32_t i = 2; i < rank; ++i) perm.push_back(i);
  if (rank >= 2) perm.push_back(1);
  return perm;
}

std::vector<uint32_t> swapWithLastPerm(uint32_t rank, uint32_t axis) {
  std::vector<uint32_t> perm(rank);
  for (uint32_t i = 0; i < rank; ++i) perm[i] = i;
  if (rank > 0 && axis < rank) std::swap(perm[axis], perm[rank - 1]);
  return perm;
}

std::string permToString(const std::vector<uint32_t>& perm) {
  std::ostringstream text;
  for (uint32_t v : perm) text << v;
  return text.str();
}

std::string generateUniqueTensorName(const IrGraph& graph, const std::string& base) {
  for (uint64_t index = 0;; ++index) {
    std::string candidate = base + "_" + std::to_string(index);
    if (!graph.hasTensor(candidate)) return candidate;
  }
}

std::vector<uint32_t> composePermToSource(const std::vector<uint32_t>& originalToSource,
                                          const std::vector<uint32_t>& perm) {
  const auto inverse = getInversePermutation(perm);
  if (originalToSource.empty()) return inverse;
  std::vector<uint32_t> composed;
  for (uint32_t axis : originalToSource) composed.push_back(axis < inverse.size() ? inverse[axis] : axis);
  return composed;
}

bool sameQuantization(const QuantInfo& a, const QuantInfo& b) {
  auto sameEntries = [](const std::vector<ScaleOffsetInfo>& x, const std::vector<ScaleOffsetInfo>& y) {
    return std::equal(x.begin(), x.end(), y.begin(), y.end(), [](const ScaleOffsetInfo& p, const ScaleOffsetInfo& q) {
      return p.bitwidth == q.bitwidth && p.scale == q.scale && p.offset == q.offset;
    });
  };
  if (a.encoding != b.encoding) return false;
  if (!a.isDefined()) return true;
  return a.scaleOffset.bitwidth == b.scaleOffset.bitwidth && a.scaleOffset.scale == b.scaleOffset.scale &&
         a.scaleOffset.offset == b.scaleOffset.offset && a.axis == b.axis &&
         sameEntries(a.axisEncodings, b.axisEncodings) && a.blockAxis == b.blockAxis && a.blockSize == b.blockSize &&
         sameEntries(a.blockEncodings, b.blockEncodings) && a.expansionAxis == b.expansionAxis &&
         sameEntries(a.expansionEncodings, b.expansionEncodings) && a.groupAxis == b.groupAxis &&
         sameEntries(a.groupEncodings, b.groupEncodings);
}

// ---- Graph changes --------------------------------------------------------------------------------

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
    graph.transferGraphOutputTensor(input, output);
    graph.updateTensorType(movedName, tensorkind::kNative);
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
  const auto transposed = existing->getOutput(0);
  op->setInputAt(transposed, inputIndex);
  const auto inputs = op->getInputs();
  if (std::find(inputs.begin(), inputs.end(), input) == inputs.end()) input->removeConsumer(op);
  transposed->addConsumer(op);

  // The reader may stand before the reused transpose: move the transpose up, no higher
  // than its own input's producer allows.
  const auto& order = graph.getOps();
  const size_t opPosition = order.indexOf(op.get());
  const size_t transposePosition = order.indexOf(existing.get());
  if (opPosition >= transposePosition) return;
  const auto& producer = existing->getInput(0)->producer();
  const size_t earliest = producer ? order.indexOf(producer.get()) + 1 : 0;
  if (earliest > opPosition && verboseLogging()) {
    std::cout << "insertOrReuseTranspose: Error: Unable to guarantee topological order while inserting Transpose for "
              << op->name() << "\n";
  }
  graph.moveOptoIndex(existing, std::min(earliest, opPosition));
}

void replaceAllUsers(IrGraph& graph, const TensorPtr& newTensor, const TensorPtr& oldTensor, bool checkQuantization) {
  for (const auto& reader : std::vector<OpPtr>(oldTensor->consumers().begin(), oldTensor->consumers().end())) {
    if (checkQuantization) {
      if (!sameQuantization(newTensor->quantInfo(), oldTensor->quantInfo())) {
        throw failure("replaceAllUsers", "QInfo must match for both the tensors");
      }
      if (newTensor->dataType() != oldTensor->dataType()) {
        throw failure("replaceAllUsers", "DataType must match for both the tensors");
      }
    }
    if (newTensor->dims() != oldTensor->dims()) throw failure("replaceAllUsers", "Dimensions must match for both the tensors");
    reader->replaceInputTensor(oldTensor, newTensor);
    newTensor->addConsumer(reader);
  }
  oldTensor->clearConsumers();
  if (!newTensor->name().empty()) swapNames(graph, newTensor, oldTensor);
}

void manageSharedStaticInput(IrGraph& graph, const OpPtr& op, uint32_t inputIndex) {
  const auto shared = asStatic(op->getInput(inputIndex));
  if (!shared || shared->consumers().size() < 2) return;
  const std::string name = op->name() + (inputIndex == 1 ? "_kernel_weight" : "_kernel_bias");
  graph.addStaticTensorCopy(name, shared, true);
  auto clone = graph.getStaticTensor(name);
  if (!clone) throw failure("manageSharedStaticInput", "Failed to clone static tensor: ", name);
  graph.updateTraceInfo(std::vector<TensorPtr>{clone}, std::vector<TensorPtr>{shared}, {}, false);
  shared->removeConsumer(op);
  clone->addConsumer(op);
  op->setInputAt(clone, inputIndex);
}

bool squashConstantTranspose(const OpPtr& op, IrGraph& graph, bool intoNext) {
  const auto input = asStatic(op->getInput(0));
  const auto output = op->getOutput(0);
  if (!input) return false;
  const TensorPtr& blocker = intoNext ? output : TensorPtr(input);
  if (blocker->isGraphOutput()) {
    if (verboseLogging()) {
      std::cout << "squashConstantTranspose: Cannot squash constant Transpose op " << op->name()
                << (intoNext ? " into next op: output tensor " : " into previous op: input tensor ") << blocker->name()
                << " is a graph output (app-read) tensor.\n";
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
  const std::vector<OpPtr> readers(output->consumers().begin(), output->consumers().end());
  graph.updateTraceInfo(std::vector<TensorPtr>{transposed}, std::vector<TensorPtr>{input, output}, {op}, false);
  for (const auto& reader : readers) {
    reader->replaceInputTensor(output, transposed);
    output->removeConsumer(reader);
    transposed->addConsumer(reader);
  }
  graph.transferGraphOutputTensor(output, transposed);
  if (!intoNext) swapNames(graph, transposed, output);
  graph.prune(op, true);
  return true;
}

bool matmulValidateBias(const Dims& weightDims, const Dims& biasDims, const OpPtr& op, const TensorPtr& bias) {
  if (biasDims.empty()) return false;
  if ((op->numInputs() > 1 && hasDynamicAxes(op->getInput(1))) || hasDynamicAxes(bias)) {
    sayNoDynamicSupport("matmulValidateBias");
    return false;
  }
  if (weightDims.empty()) return false;
  const bool transposed = boolAttributeOr(*op, "transpose_in1", false);
  if (transposed && weightDims.size() < 2) return false;
  const uint32_t outFeatures = transposed ? weightDims[weightDims.size() - 2] : weightDims.back();
  uint64_t count = 1;
  for (uint32_t d : biasDims) count *= d;
  return count == biasDims.back() && count == outFeatures;
}

bool matmulValidateDims(const Dims& input0Dims, const Dims& input1Dims, const OpPtr& op) {
  if (input1Dims.size() != 2) return false;
  if (boolAttributeOr(*op, "transpose_in0", false)) return false;
  if (hasDynamicAxes(op->getInput(0)) || (op->numInputs() > 1 && hasDynamicAxes(op->getInput(1)))) {
    sayNoDynamicSupport("matmulValidateDims");
    return false;
  }
  if (input0Dims.empty()) return false;
  const bool transposed = boolAttributeOr(*op, "transpose_in1", false);
  return input0Dims.back() == (transposed ? input1Dims[1] : input1Dims[0]);
}

}  // namespace modeltools::iroptimizer
