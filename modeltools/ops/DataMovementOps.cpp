#include "DataMovementOps.hpp"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

#include "modeltools/ir/DataTypes.hpp"
#include "modeltools/ir/AxisOrder.hpp"
#include "modeltools/ir/Permutations.hpp"

namespace modeltools::ops {
namespace {

using attrcategory::kBackendParam;
using attrcategory::kSupplemental;

// ---- Single-axis attributes ----

enum class UpperBound { None, BelowRank, UpToRank };

// How one class normalizes its single axis attribute and words its refusal:
// "{className} {op} {label}{given}, is incorrect for rank {rank}."
struct AxisRule {
  const char* className;
  const char* attr;
  UpperBound upper;
  bool storeSigned;
  const char* label;
};

constexpr AxisRule kConcatAxis{"ConcatOp", "axis", UpperBound::None, false, "axis provided, "};
constexpr AxisRule kChannelShuffleAxis{"ChannelShuffleOp", "axis", UpperBound::None, false, "axis provided, "};
constexpr AxisRule kSplitAxis{"SplitOp", "axis", UpperBound::None, false, "axis provided, "};
constexpr AxisRule kGatherAxis{"GatherOp", "axis", UpperBound::BelowRank, true, "axis provided, "};
constexpr AxisRule kGatherElementsAxis{"GatherElementsOp", "axis", UpperBound::BelowRank, false, "axis provided, "};
constexpr AxisRule kGatherNdBatchDims{"GatherNDOp", "batch_dims", UpperBound::BelowRank, false,
                                      "batch_dims provided, "};
// A packed axis may also stand behind the last one, so -1 means "after the last".
constexpr AxisRule kPackAxis{"PackOp", "axis", UpperBound::UpToRank, false, "axis = "};

[[noreturn]] void failAxis(std::string_view head, const AxisRule& rule, const IrOp& op, int64_t given, uint32_t rank) {
  fail<std::invalid_argument>(head, rule.className, " ", op.name(), " ", rule.label, given, ", is incorrect for rank ",
                              rank, ".");
}

// The axis as a non-negative value for a rank; accepts the attribute before and after
// canonicalization (signed or unsigned).
uint32_t resolveAxis(const IrOp& op, const AxisRule& rule, uint32_t rank, std::string_view head) {
  const int64_t given = readIntAttr(*op.attrs(), rule.attr);
  int64_t axis = given;
  if (axis < 0) axis += rank + (rule.upper == UpperBound::UpToRank ? 1 : 0);
  const bool tooLarge =
      (rule.upper == UpperBound::BelowRank && axis >= rank) || (rule.upper == UpperBound::UpToRank && axis > rank);
  if (axis < 0 || tooLarge) failAxis(head, rule, op, given, rank);
  return static_cast<uint32_t>(axis);
}

// The common canonical form: resolve against the rank of input 0 and store as a backend parameter.
uint32_t canonicalizeAxis(IrOp& op, const AxisRule& rule, std::string_view head) {
  const uint32_t axis = resolveAxis(op, rule, op.getInput(0)->rank(), head);
  if (rule.storeSigned) {
    op.attrs()->add(rule.attr, static_cast<int32_t>(axis), kBackendParam);
  } else {
    op.attrs()->add(rule.attr, axis, kBackendParam);
  }
  return axis;
}

// An axis that inference must read a dimension at.
uint32_t axisWithin(const IrOp& op, const AxisRule& rule, uint32_t rank, std::string_view head) {
  const uint32_t axis = resolveAxis(op, rule, rank, head);
  if (axis >= rank) failAxis(head, rule, op, readIntAttr(*op.attrs(), rule.attr), rank);
  return axis;
}

// ---- Shapes ----

// Collects dimensions with their dynamic flags.
class ShapeBuilder {
 public:
  void add(uint32_t dim, bool dynamic) {
    if (dynamic) dynamicAxes_.insert(static_cast<uint32_t>(dims_.size()));
    dims_.push_back(dim);
  }
  void addFrom(const IrTensorShape& shape, uint32_t axis) { add(shape.dims()[axis], shape.isDynamicDim(axis)); }
  IrTensorShape build() const { return IrTensorShape(dims_, dynamicAxes_); }

 private:
  Dims dims_;
  std::set<uint32_t> dynamicAxes_;
};

PlainShapeMessages undefinedShapeMessages(const std::string& className, const std::string& opName,
                                          const char* dynamicWord) {
  return {
      .noShape = "No output shapes infered for " + opName + " op.",
      .noShapeIsRuntime = true,
      .dynamic = className + " " + opName + " has dynamic " + dynamicWord + ". Use inferOutputTensorShapes instead."};
}

uint32_t dimOrZero(const Dims& dims, uint32_t axis) { return axis < dims.size() ? dims[axis] : 0; }

// ---- Spatial rearrangements ----

struct SpatialDims {
  uint32_t batch, height, width, channels;
};

SpatialDims spatialDimsOfInput0(const IrOp& op, const AxisOrderPtr& axisOrder, std::string_view head,
                                const char* className) {
  const Dims& dims = op.getInput(0)->dims();
  const Dims spatial = axisOrder->extractSpatialDims(dims);
  if (spatial.size() != 4) {
    fail<std::invalid_argument>(head, className, " ", op.name(), " expects an input of rank 4, but got rank ",
                                dims.size());
  }
  return {spatial[0], spatial[1], spatial[2], spatial[3]};
}

struct BlockSize {
  uint32_t height, width;
};

BlockSize blockSizeOf(const IrOp& op) {
  const auto values = readU32List(*op.attrs(), "block_size");
  return {listAt(values, 0), listAt(values, 1)};
}

// Depth/space rearrangements divide by the block; a zero block is refused by name.
BlockSize nonZeroBlockSizeOf(const IrOp& op, std::string_view head, const char* className) {
  const BlockSize block = blockSizeOf(op);
  for (const auto& [value, word] : {std::pair{block.height, "block_height"}, std::pair{block.width, "block_width"}}) {
    if (value == 0) {
      fail<std::invalid_argument>(head, className, " ", op.name(), " has zero ", word,
                                  ", which causes division by zero when calculating output dimensions. ", word,
                                  " must be > 0");
    }
  }
  return block;
}

// {before/top, after/bottom, left, right} of a {2, 2} list attribute.
struct SpatialMargins {
  uint32_t top, bottom, left, right;
};

SpatialMargins marginsOf(const IrOp& op, const char* attr) {
  const auto values = readU32List(*op.attrs(), attr);
  return {listAt(values, 0), listAt(values, 1), listAt(values, 2), listAt(values, 3)};
}

uint32_t divideOrZero(uint32_t value, uint32_t divisor) { return divisor == 0 ? 0 : value / divisor; }

bool bitSet(uint32_t mask, uint32_t bit) { return bit < 32 && ((mask >> bit) & 1u) != 0; }

}  // namespace

// ---- TransposeOp ----------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(TransposeOp, IrOp)
void TransposeOp::prepareAttributes() { requireAttrs(*attrs(), {"perm"}); }

void TransposeOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  const int64_t rank = getInput(0)->rank();
  std::vector<uint32_t> perm;
  for (int32_t entry : readI32List(*attrs(), "perm"))
    perm.push_back(static_cast<uint32_t>(entry < 0 ? entry + rank : entry));
  replaceListAttr(*attrs(), "perm", perm, Dims{static_cast<uint32_t>(perm.size())}, VRX_DATATYPE_UINT_32,
                  kBackendParam);
}

std::vector<IrTensorShape> TransposeOp::inferOutputTensorShapes(const AxisOrderPtr&, uint32_t) {
  return {getInput(0)->shape().permute(readU32List(*attrs(), "perm"))};
}

std::vector<Dims> TransposeOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return plainDimsOf(
      inferOutputTensorShapes(axisOrder, numOutputs), "modeltools::ops::TransposeOp::inferOutputShapes",
      {.noShape = "TransposeOp " + name() + " inferOutputTensorShapes did not return any shapes. Input shape: " +
                  toText(getInput(0)->shape()) + ".",
       .noShapeIsRuntime = false,
       .dynamic = "TransposeOp " + name() + " inputs have dynamic shapes. Use inferOutputTensorShapes instead."});
}

void TransposeOp::checkOrder() const {
  constexpr std::string_view head = "modeltools::ops::TransposeOp::populateOutputAxisFormats";
  const std::string prefix = "TransposeOp " + name() + " error: ";
  if (numInputs() != 1) {
    fail<std::invalid_argument>(head, prefix, "TransposeOp expect 1 input, but the size of inputs is ", numInputs());
  }
  const Dims orderShape = listAttrShape(*attrs(), "perm");
  if (orderShape.size() != 1) {
    fail<std::invalid_argument>(head, prefix, "order rank expect 1, but actually ", orderShape.size(), ".");
  }
  const auto perm = readU32List(*attrs(), "perm");
  const uint32_t rank = getInput(0)->rank();
  if (perm.size() != rank) {
    fail<std::invalid_argument>(head, prefix, "order dim ", perm.size(), " is not equal input rank ", rank, ".");
  }
  std::set<uint32_t> seen;
  for (size_t i = 0; i < perm.size(); ++i) {
    if (perm[i] >= rank || !seen.insert(perm[i]).second) {
      fail<std::invalid_argument>(head, prefix, "illegal order. Axis value ", perm[i], " at index ", i,
                                  " is either duplicate or >= input rank ", rank);
    }
  }
  if (numOutputs() != 1) {
    fail<std::invalid_argument>(head, prefix, "TransposeOp expect 1 output, but the size of output is ", numOutputs());
  }
}

void TransposeOp::populateOutputAxisFormats(const AxisOrderPtr&, const AxisFormatMap&, bool) {
  checkOrder();
  const AxisFormat input = getInput(0)->axisFormat();
  const auto perm = readU32List(*attrs(), "perm");
  const AxisFormat output =
      perm == std::vector<uint32_t>{0, 1, 2, 3} ? input : layoutAfter(input, perm).value_or(AxisFormat::NONTRIVIAL);
  getOutput(0)->setAxisFormat(output);
}

// ---- ReshapeOp ------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(ReshapeOp, IrOp)
void ReshapeOp::prepareAttributes() {
  requireAttrs(*attrs(), {"shape"});
  // The backend has no such parameter: the output tensor's shape carries it.
  requireSupplemental(*attrs(), "shape", name(), "modeltools::ops::ReshapeOp::ReshapeOp", "attr");
}

Dims ReshapeOp::calculateShape(const Dims& inputDims, const std::vector<uint32_t>& shapeValues) const {
  constexpr std::string_view head = "modeltools::ops::ReshapeOp::calculateShape";
  constexpr uint32_t kWildcard = 0xFFFFFFFF;
  const std::string prefix = "Unable to calculate ReshapeOp output shape for op " + name() + ": ";
  uint32_t total = 1;
  for (uint32_t dim : inputDims) total *= dim;
  Dims output;
  std::optional<size_t> wildcard;
  for (size_t i = 0; i < shapeValues.size(); ++i) {
    const uint32_t value = shapeValues[i];
    if (value == kWildcard) {
      wildcard = i;
      output.push_back(0);
    } else if (value != 0) {
      output.push_back(value);
      total /= value;
    } else {
      if (i >= inputDims.size()) {
        fail<std::invalid_argument>(head, prefix, "shape param has 0 at index ", i, ", but input shape has only ",
                                    inputDims.size(), " dimensions");
      }
      output.push_back(inputDims[i]);
      total = inputDims[i] != 0 ? total / inputDims[i] : 0;
    }
  }
  if (wildcard) output[*wildcard] = total;

  const uint64_t inputCount = productOfDims(inputDims);
  const uint64_t outputCount = productOfDims(output);
  if (inputCount == outputCount) return output;
  // A batch that the shape left out: the first dimension takes the quotient.
  if (!output.empty() && outputCount != 0 && inputCount % outputCount == 0) {
    output[0] *= static_cast<uint32_t>(inputCount / outputCount);
    return output;
  }
  fail<std::invalid_argument>(head, prefix, "input total element count (", inputCount,
                              ") != output total element count (", outputCount, ")");
}

std::vector<Dims> ReshapeOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) {
  return {calculateShape(getInput(0)->dims(), readU32List(*attrs(), "shape"))};
}

void ReshapeOp::populateOutputAxisFormats(const AxisOrderPtr& axisOrder, const AxisFormatMap& inputFormats,
                                          bool treatAsTimeSeries) {
  if (numOutputs() == 0) {
    IrOp::populateOutputAxisFormats(axisOrder, inputFormats, treatAsTimeSeries);  // refuses with its message
    return;
  }
  using enum AxisFormat;
  const auto input = getInput(0);
  const AxisFormat format = input->axisFormat();
  const Dims& in = input->dims();
  const Dims& out = getOutput(0)->dims();
  const bool sameBatch = !in.empty() && !out.empty() && in[0] == out[0];
  const auto ones = [&out](std::initializer_list<size_t> axes) {
    return std::all_of(axes.begin(), axes.end(), [&out](size_t axis) { return out[axis] == 1; });
  };
  AxisFormat result = NONTRIVIAL;
  if (format != NC) {
    static const std::set<AxisFormat> spatial = {NDHWC, NCDHW, NHWC, NCHW, NFC, NCF};
    if (spatial.contains(format) && out.size() == 2 && sameBatch) result = NF;
  } else if (sameBatch) {
    // A flattened input restored to a spatial shape.
    if (out.size() == 5 && ones({2, 3, 4})) {
      result = NCDHW;
    } else if (out.size() == 5 && ones({1, 2, 3})) {
      result = NDHWC;
    } else if (out.size() == 4 && ones({2, 3})) {
      result = NCHW;
    } else if (out.size() == 4 && ones({1, 2})) {
      result = NHWC;
    } else if (out.size() == 3 && ones({2})) {
      result = NCF;
    } else if (out.size() == 3 && ones({1})) {
      result = NFC;
    }
  }
  getOutput(0)->setAxisFormat(result);
}

// ---- ConcatOp -------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(ConcatOp, IrOp)
void ConcatOp::prepareAttributes() { addDefaultAttr(*attrs(), "axis", int32_t{-1}, kBackendParam); }

void ConcatOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  canonicalizeAxis(*this, kConcatAxis, "modeltools::ops::ConcatOp::canonicalizeOp");
}

std::vector<IrTensorShape> ConcatOp::inferOutputTensorShapes(const AxisOrderPtr&, uint32_t) {
  constexpr std::string_view head = "modeltools::ops::ConcatOp::inferOutputTensorShapes";
  const uint32_t axis = attrs()->getAttr<uint32_t>("axis");  // canonical form only
  const auto inputs = getInputs();
  if (inputs.empty()) return {};
  uint32_t sum = 0;
  bool dynamic = false;
  for (const auto& input : inputs) {
    const IrTensorShape& shape = input->shape();
    if (axis >= shape.rank())
      fail<std::invalid_argument>(head, "Axis ", axis, " is out of bounds for tensor with shape ", shape);
    sum += shape.dims()[axis];
    dynamic = dynamic || shape.isDynamicDim(axis);
  }
  const IrTensorShape& first = inputs.front()->shape();
  for (const auto& input : inputs) {
    const IrTensorShape& shape = input->shape();
    if (shape.rank() != first.rank()) {
      fail<std::invalid_argument>(head, "Cannot Concat inputs with different ranks ", first.rank(), " and ",
                                  shape.rank());
    }
    for (uint32_t i = 0; i < shape.rank(); ++i) {
      if (i != axis && (shape.dims()[i] != first.dims()[i] || shape.isDynamicDim(i) != first.isDynamicDim(i))) {
        fail<std::invalid_argument>(head,
                                    "Inconsistency in dynamic axis shapes. Cannot concat tensor with shapes: ", first,
                                    " and ", shape, " on axis ", axis);
      }
    }
  }
  ShapeBuilder result;
  for (uint32_t i = 0; i < first.rank(); ++i) {
    if (i == axis) {
      result.add(sum, dynamic);
    } else {
      result.addFrom(first, i);
    }
  }
  return {result.build()};
}

std::vector<Dims> ConcatOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return plainDimsOf(inferOutputTensorShapes(axisOrder, numOutputs), "modeltools::ops::ConcatOp::inferOutputShapes",
                     undefinedShapeMessages("ConcatOp", name(), "inputs"));
}

// ---- SplitOp --------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(SplitOp, IrOp)
void SplitOp::prepareAttributes() { requireAttrs(*attrs(), {"axis", "split_index"}); }

void SplitOp::canonicalizeOp(uint32_t numOutputs) {
  constexpr std::string_view head = "modeltools::ops::SplitOp::canonicalizeOp";
  IrOp::canonicalizeOp(numOutputs);
  const uint32_t axis = canonicalizeAxis(*this, kSplitAxis, head);
  if (!readListAttr(*attrs(), "split_index").empty()) return;
  // No boundaries given: equal parts.
  const Dims& dims = getInput(0)->dims();
  if (axis >= dims.size()) failAxis(head, kSplitAxis, *this, axis, static_cast<uint32_t>(dims.size()));
  if (numOutputs == 0 || dims[axis] % numOutputs != 0) {
    fail<std::invalid_argument>(head, "SplitOp ", name(), " cannot split axis ", axis, " equally amongst ", numOutputs,
                                " outputs.");
  }
  const uint32_t step = dims[axis] / numOutputs;
  std::vector<uint32_t> boundaries;
  for (uint32_t k = 1; k < numOutputs; ++k) boundaries.push_back(k * step);
  replaceListAttr(*attrs(), "split_index", boundaries, Dims{numOutputs - 1}, VRX_DATATYPE_UINT_32, kBackendParam);
}

std::vector<Dims> SplitOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) {
  const Dims& in = getInput(0)->dims();
  const uint32_t axis =
      axisWithin(*this, kSplitAxis, static_cast<uint32_t>(in.size()), "modeltools::ops::SplitOp::inferOutputShapes");
  std::vector<uint32_t> boundaries{0};
  for (uint32_t boundary : readU32List(*attrs(), "split_index")) boundaries.push_back(boundary);
  boundaries.push_back(in[axis]);
  std::vector<Dims> shapes;
  for (size_t k = 0; k + 1 < boundaries.size(); ++k) {
    Dims out = in;
    out[axis] = boundaries[k + 1] - boundaries[k];
    shapes.push_back(std::move(out));
  }
  return shapes;
}

void SplitOp::resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  constexpr std::string_view head = "modeltools::ops::SplitOp::resizeOp";
  const Dims& in = getInput(0)->dims();
  const uint32_t axis = axisWithin(*this, kSplitAxis, static_cast<uint32_t>(in.size()), head);
  uint64_t sum = 0;
  for (const auto& output : getOutputs()) sum += dimOrZero(output->dims(), axis);
  if (sum != in[axis]) {
    fail<std::invalid_argument>(head, "Unable to resize op ", name(), " of type ", type(),
                                " due to mismatch between input dimension (", in[axis],
                                ") and sum of output dimensions (", sum, ") along split axis ", axis, ".");
  }
  IrOp::resizeOp(axisOrder, numOutputs);
}

// ---- PackOp ---------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(PackOp, IrOp)
void PackOp::prepareAttributes() { requireAttrs(*attrs(), {"axis"}); }

void PackOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  canonicalizeAxis(*this, kPackAxis, "modeltools::ops::PackOp::canonicalizeOp");
}

std::vector<Dims> PackOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) {
  Dims out = getInput(0)->dims();
  const uint32_t axis =
      resolveAxis(*this, kPackAxis, static_cast<uint32_t>(out.size()), "modeltools::ops::PackOp::inferOutputShapes");
  out.insert(out.begin() + axis, static_cast<uint32_t>(numInputs()));
  return {out};
}

// ---- TileOp ---------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(TileOp, IrOp)
void TileOp::prepareAttributes() { requireAttrs(*attrs(), {"multiples"}); }

std::vector<Dims> TileOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) {
  Dims out = getInput(0)->dims();
  const auto multiples = readU32List(*attrs(), "multiples");
  if (multiples.size() != out.size()) {
    fail<std::invalid_argument>("modeltools::ops::TileOp::inferOutputShapes", "TileOp (", name(), ") multiples length ",
                                multiples.size(), " doesn't equal input rank ", out.size());
  }
  for (size_t i = 0; i < out.size(); ++i) out[i] *= multiples[i];
  return {out};
}

// ---- PadOp ----------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(PadOp, IrOp)
void PadOp::prepareAttributes() {
  requireAttrs(*attrs(), {"pad_amount", "scheme"});
  addDefaultAttr(*attrs(), "pad_constant_value", 0.0f, kBackendParam);
}

std::vector<Dims> PadOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) {
  constexpr std::string_view head = "modeltools::ops::PadOp::inferOutputShapes";
  Dims out = getInput(0)->dims();
  const Dims padShape = listAttrShape(*attrs(), "pad_amount");
  const uint32_t pairs = dimOrZero(padShape, 0);
  const uint32_t pairSize = dimOrZero(padShape, 1);
  if (pairSize != 2) {
    fail<std::invalid_argument>(head, "Input Pad shape for op ", name(),
                                " dims()[1] must be equal with 2, but get:", pairSize);
  }
  if (pairs != out.size()) {
    fail<std::invalid_argument>(head, "Input Pad shape (", pairs, ") for op ", name(),
                                " must be equal to Input[0] rank (", out.size(), ").");
  }
  const auto amounts = readU32List(*attrs(), "pad_amount");
  for (size_t i = 0; i < out.size(); ++i) out[i] += listAt(amounts, 2 * i) + listAt(amounts, 2 * i + 1);
  return {out};
}

void PadOp::overrideDataAxisFormats(const AxisOrderPtr& axisOrder) { setDataFormatOfInput0(*this, axisOrder); }

// ---- GatherOp -------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(GatherOp, IrOp)
void GatherOp::prepareAttributes() { requireAttrs(*attrs(), {"axis"}); }

void GatherOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  canonicalizeAxis(*this, kGatherAxis, "modeltools::ops::GatherOp::canonicalizeOp");
}

std::vector<IrTensorShape> GatherOp::inferOutputTensorShapes(const AxisOrderPtr&, uint32_t) {
  const IrTensorShape& data = getInput(0)->shape();
  const IrTensorShape& indices = getInput(1)->shape();
  const uint32_t axis =
      resolveAxis(*this, kGatherAxis, data.rank(), "modeltools::ops::GatherOp::inferOutputTensorShapes");
  ShapeBuilder result;
  for (uint32_t i = 0; i < axis; ++i) result.addFrom(data, i);
  for (uint32_t i = 0; i < indices.rank(); ++i) result.addFrom(indices, i);
  for (uint32_t i = axis + 1; i < data.rank(); ++i) result.addFrom(data, i);
  return {result.build()};
}

std::vector<Dims> GatherOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return plainDimsOf(inferOutputTensorShapes(axisOrder, numOutputs), "modeltools::ops::GatherOp::inferOutputShapes",
                     undefinedShapeMessages("GatherOp", name(), "outputs"));
}

// ---- GatherElementsOp -----------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(GatherElementsOp, IrOp)
void GatherElementsOp::prepareAttributes() { requireAttrs(*attrs(), {"axis"}); }

void GatherElementsOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  canonicalizeAxis(*this, kGatherElementsAxis, "modeltools::ops::GatherElementsOp::canonicalizeOp");
}

std::vector<Dims> GatherElementsOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) { return {getInput(1)->dims()}; }

// ---- GatherNDOp -----------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(GatherNDOp, IrOp)
void GatherNDOp::prepareAttributes() { addDefaultAttr(*attrs(), "batch_dims", int32_t{0}, kBackendParam); }

void GatherNDOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  canonicalizeAxis(*this, kGatherNdBatchDims, "modeltools::ops::GatherNDOp::canonicalizeOp");
}

std::vector<Dims> GatherNDOp::inferOutputShapes(const AxisOrderPtr&, uint32_t) {
  constexpr std::string_view head = "modeltools::ops::GatherNDOp::inferOutputShapes";
  const Dims& data = getInput(0)->dims();
  const Dims& indices = getInput(1)->dims();
  const int64_t batchDims = readIntAttr(*attrs(), "batch_dims");
  const int64_t r = static_cast<int64_t>(data.size());
  const int64_t q = static_cast<int64_t>(indices.size());
  if (batchDims < 0 || batchDims >= std::min(r, q)) {
    fail<std::invalid_argument>(head, "The batch_dims must be a value in [0, min(data.rank, indices.rank)) for op ",
                                name(), ", but got batch_dims=", batchDims, ", data.rank=", r, ", indices.rank=", q);
  }
  if (r < 1 || q < 1) {
    fail<std::invalid_argument>(head, "The data rank and indices rank must be >= 1 for op ", name(),
                                ", but got data rank=", r, ", indices rank=", q);
  }
  for (int64_t i = 0; i < batchDims; ++i) {
    if (data[i] != indices[i]) {
      fail<std::invalid_argument>(head, "The first ", batchDims, " dimensions in the shape of indices tensor ",
                                  "and data tensor must be equal for op ", name(), ", but at dimension ", i,
                                  ": data shape=", data[i], ", indices shape=", indices[i]);
    }
  }
  const int64_t last = indices.back();
  if (last < 1 || last > r - batchDims) {
    fail<std::invalid_argument>(head, "The indices_shape[-1] must have a value in [1, data.rank - batch_dims] for op ",
                                name(), ", but got indices_shape[-1]=", last, ", batch_dims=", batchDims,
                                ", data.rank=", r);
  }
  Dims out(indices.begin(), indices.end() - 1);
  out.insert(out.end(), data.begin() + batchDims + last, data.end());
  return {out};
}

uint64_t GatherNDOp::macs(const AxisOrderPtr&) { return productOfLastDims(getOutput(0)->dims(), 3); }

void GatherNDOp::overrideDataAxisFormats(const AxisOrderPtr&) { setInputAxisFormat(AxisFormat::NONTRIVIAL, 1); }

void GatherNDOp::resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  const auto shapes = inferOutputTensorShapes(axisOrder, numOutputs);
  const auto outputs = getOutputs();
  for (size_t i = 0; i < std::min(shapes.size(), outputs.size()); ++i) outputs[i]->setShape(shapes[i]);
}

// ---- StridedSliceOp -------------------------------------------------------------------------

namespace {

constexpr const char* kSliceMasks[] = {"new_axes_mask", "shrink_axes", "begin_mask", "end_mask"};

struct SliceRow {
  int64_t begin, end, stride;
};

SliceRow sliceRow(const std::vector<int32_t>& ranges, size_t row) {
  return {listAt(ranges, 3 * row), listAt(ranges, 3 * row + 1), listAt(ranges, 3 * row + 2)};
}

uint32_t maskOf(const IrAttributes& attrs, const char* name) { return static_cast<uint32_t>(readIntAttr(attrs, name)); }

[[noreturn]] void failStride(std::string_view head, const SliceRow& row, uint32_t axis) {
  fail<std::invalid_argument>(head, "invalid stride ", row.stride, " for begin ", row.begin, " and end ", row.end,
                              " at axis ", axis);
}

// ceil((end - begin) / stride) in 32-bit float; an empty slice has size 0.
uint32_t staticSliceSize(const SliceRow& row, uint32_t axis, std::string_view head) {
  if (row.stride == 0) failStride(head, row, axis);
  const float size = std::ceil(static_cast<float>(row.end - row.begin) / static_cast<float>(row.stride));
  return size > 0.0f ? static_cast<uint32_t>(size) : 0;
}

}  // namespace

VRX_DEFINE_TYPED_OP(StridedSliceOp, IrOp)
void StridedSliceOp::prepareAttributes() {
  requireAttrs(*attrs(), {"ranges"});
  for (const char* mask : kSliceMasks) addDefaultAttr(*attrs(), mask, uint32_t{0}, kBackendParam);
}

void StridedSliceOp::canonicalizeOp(uint32_t numOutputs) {
  constexpr std::string_view head = "modeltools::ops::StridedSliceOp::canonicalizeOp";
  IrOp::canonicalizeOp(numOutputs);
  const IrTensorShape& in = getInput(0)->shape();
  auto ranges = readI32List(*attrs(), "ranges");
  for (uint32_t axis = 0; axis < in.rank(); ++axis) {
    if (in.isDynamicDim(axis)) continue;
    const int64_t d = in.dims()[axis];
    SliceRow row = sliceRow(ranges, axis);
    if (row.begin < 0) row.begin += d;
    // end -1 with a negative stride runs through index 0.
    if (!(row.stride < 0 && row.end == -1) && row.end < 0) row.end += d;
    const bool invalid = row.stride >= 1 ? (row.begin >= row.end || row.begin >= d)
                                         : (row.stride < 0 && (row.begin <= row.end || row.begin < 0));
    if (invalid) failStride(head, row, axis);
    row.begin = std::min(std::max<int64_t>(row.begin, 0), d - 1);
    row.end = row.stride < 1 ? std::min(std::max<int64_t>(row.end, -1), d) : std::min(std::max<int64_t>(row.end, 0), d);
    ranges[3 * axis] = static_cast<int32_t>(row.begin);
    ranges[3 * axis + 1] = static_cast<int32_t>(row.end);
  }
  const auto old = attrs()->getStaticTensor("ranges");
  const uint32_t dataType =
      old && modeltools::dataTypeByteWidth(old->dataType()) == 4 ? old->dataType() : uint32_t{VRX_DATATYPE_INT_32};
  const Dims shape = old ? old->dims() : Dims{static_cast<uint32_t>(ranges.size() / 3), 3};
  replaceListAttr(*attrs(), "ranges", ranges, shape, dataType, kBackendParam);
}

std::pair<uint32_t, bool> StridedSliceOp::calcSliceSizeDynamic(int32_t begin, int32_t end, int32_t stride,
                                                               uint32_t axis) const {
  constexpr std::string_view head = "modeltools::ops::StridedSliceOp::calcSliceSizeDynamic";
  const int64_t d = getInput(0)->dims().at(axis);
  if (stride != 1) {
    fail<std::invalid_argument>(head, "For StridedSlice op ", name(), " stride ", stride, " is not supported for axis ",
                                axis, " with dynamic dimensions.");
  }
  const auto unsupported = [&]() {
    fail<std::invalid_argument>(head, "For StridedSlice op ", name(), " combination of ", " begin = ", begin,
                                " end = ", end, " stride = ", stride, " is not supported for axis ", axis,
                                " with dynamic dimensions.");
  };
  if (begin == 0 && end == d) return {static_cast<uint32_t>(d), true};
  if (begin < 0 && end == d) return {static_cast<uint32_t>(-static_cast<int64_t>(begin)), false};
  if (begin < 0) unsupported();
  if (end >= 0) {
    if (end <= begin) unsupported();
    return {static_cast<uint32_t>(end - begin), false};
  }
  const int64_t size = d + end - begin;
  if (size < 0) unsupported();
  return {static_cast<uint32_t>(size), true};
}

std::vector<IrTensorShape> StridedSliceOp::inferOutputTensorShapes(const AxisOrderPtr&, uint32_t) {
  constexpr std::string_view head = "modeltools::ops::StridedSliceOp::inferOutputTensorShapes";
  const IrTensorShape& in = getInput(0)->shape();
  if (in.hasDynamicAxes()) {
    for (const char* mask : kSliceMasks) {
      const uint32_t value = maskOf(*attrs(), mask);
      if (value != 0) {
        fail<std::invalid_argument>(head, "Attribute ", mask, " with value ", value, " is not supported in op ", name(),
                                    " which has dynamic dimensions.");
      }
    }
  }
  const uint32_t newAxes = maskOf(*attrs(), "new_axes_mask");
  const uint32_t shrinkAxes = maskOf(*attrs(), "shrink_axes");
  const auto ranges = readI32List(*attrs(), "ranges");
  const size_t rows = ranges.size() / 3;
  if (rows < in.rank()) {
    fail<std::invalid_argument>(head, "Unsupported length for ranges in ", name(),
                                ". Expected length of ranges >= ", in.rank(), ", but got ", rows, ".");
  }
  ShapeBuilder result;
  uint32_t shift = 0;
  for (uint32_t i = 0; i < rows; ++i) {
    while (bitSet(newAxes, i + shift)) {
      result.add(1, false);
      ++shift;
    }
    if (bitSet(shrinkAxes, i + shift) || bitSet(newAxes, i + shift)) continue;
    const SliceRow row = sliceRow(ranges, i);
    if (i < in.rank() && in.isDynamicDim(i)) {
      const auto [size, dynamic] = calcSliceSizeDynamic(static_cast<int32_t>(row.begin), static_cast<int32_t>(row.end),
                                                        static_cast<int32_t>(row.stride), i);
      result.add(size, dynamic);
    } else {
      result.add(staticSliceSize(row, i, head), false);
    }
  }
  return {result.build()};
}

std::vector<Dims> StridedSliceOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return plainDimsOf(
      inferOutputTensorShapes(axisOrder, numOutputs), "modeltools::ops::StridedSliceOp::inferOutputShapes",
      {.noShape = "StridedSliceOp " + name() + " inferOutputTensorShapes did not return any shapes.",
       .noShapeIsRuntime = false,
       .dynamic = "StridedSliceOp " + name() + " inputs have dynamic shapes. Use inferOutputTensorShapes instead."});
}

// ---- ExpandDimsOp ---------------------------------------------------------------------------

namespace {

// The output positions of the new axes, ascending; negative values count from the input rank.
std::vector<uint32_t> expandedAxes(const IrOp& op, bool refuseDuplicates, std::string_view head) {
  const int64_t rank = op.getInput(0)->rank();
  const auto axes = readI32List(*op.attrs(), "axes");
  std::vector<uint32_t> positions;
  std::set<int64_t> seen;
  for (size_t i = 0; i < axes.size(); ++i) {
    const int64_t value = axes[i];
    if (value < -rank || value > rank) {
      fail<std::invalid_argument>(head, "ExpandDimsOp axis value ", value, " at index ", i, " is out of range [0,",
                                  rank, ")");
    }
    const int64_t position = value < 0 ? value + rank : value;
    if (!seen.insert(position).second && refuseDuplicates) {
      fail<std::invalid_argument>(head, "ExpandDimsOp axis value ", value, " at index ", i, " is not unique.");
    }
    positions.push_back(static_cast<uint32_t>(position));
  }
  std::sort(positions.begin(), positions.end());
  return positions;
}

}  // namespace

VRX_DEFINE_TYPED_OP(ExpandDimsOp, IrOp)
void ExpandDimsOp::prepareAttributes() { requireAttrs(*attrs(), {"axes"}); }

void ExpandDimsOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  const auto positions = expandedAxes(*this, true, "modeltools::ops::ExpandDimsOp::canonicalizeOp");
  replaceListAttr(*attrs(), "axes", positions, Dims{static_cast<uint32_t>(positions.size())}, VRX_DATATYPE_UINT_32,
                  kBackendParam);
}

std::vector<IrTensorShape> ExpandDimsOp::inferOutputTensorShapes(const AxisOrderPtr&, uint32_t) {
  const IrTensorShape& in = getInput(0)->shape();
  const auto positions = expandedAxes(*this, false, "modeltools::ops::ExpandDimsOp::inferOutputTensorShapes");
  ShapeBuilder result;
  uint32_t next = 0;
  size_t inserted = 0;
  while (next < in.rank() || inserted < positions.size()) {
    const uint32_t position = next + static_cast<uint32_t>(inserted);
    // Positions are at most the input rank, so the input runs out no earlier than they do.
    if (inserted < positions.size() && positions[inserted] <= position) {
      result.add(1, false);
      ++inserted;
    } else {
      result.addFrom(in, next++);
    }
  }
  return {result.build()};
}

std::vector<Dims> ExpandDimsOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  return plainDimsOf(inferOutputTensorShapes(axisOrder, numOutputs), "modeltools::ops::ExpandDimsOp::inferOutputShapes",
                     undefinedShapeMessages("ExpandDimsOp", name(), "inputs"));
}

// ---- ExpandOp -------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(ExpandOp, IrOp)
void ExpandOp::prepareAttributes() { requireAttrs(*attrs(), {"shape"}); }

std::vector<Dims> ExpandOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t) {
  const auto values = readI32List(*attrs(), "shape");
  Dims shape;
  for (size_t i = 0; i < values.size(); ++i) {
    if (values[i] < 1) {
      fail<std::invalid_argument>(
          "modeltools::ops::ExpandOp::inferOutputShapes", "Unable to calculate ExpandOp output shape for op ", name(),
          ". The value of output_shape parameter must be greater than 0. But got ", values[i], " at index ", i, ".");
    }
    shape.push_back(static_cast<uint32_t>(values[i]));
  }
  return {getBroadcastedShape(getInput(0)->dims(), shape, axisOrder, false)};
}

// ---- DepthToSpaceOp, SpaceToDepthOp, BatchToSpaceOp, SpaceToBatchOp --------------------------

VRX_DEFINE_TYPED_OP(DepthToSpaceOp, IrOp)
void DepthToSpaceOp::prepareAttributes() {
  requireAttrs(*attrs(), {"block_size"});
  addDefaultAttr(*attrs(), "mode", uint32_t{0}, kBackendParam);
}

std::vector<Dims> DepthToSpaceOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t) {
  constexpr std::string_view head = "modeltools::ops::DepthToSpaceOp::inferOutputShapes";
  const BlockSize block = nonZeroBlockSizeOf(*this, head, "DepthToSpaceOp");
  const SpatialDims in = spatialDimsOfInput0(*this, axisOrder, head, "DepthToSpaceOp");
  return {axisOrder->formatDims2d(in.batch, in.height * block.height, in.width * block.width,
                                  in.channels / (block.height * block.width))};
}

VRX_DEFINE_TYPED_OP(SpaceToDepthOp, IrOp)
void SpaceToDepthOp::prepareAttributes() {
  requireAttrs(*attrs(), {"block_size"});
  addDefaultAttr(*attrs(), "mode", uint32_t{0}, kBackendParam);
  addDefaultAttr(*attrs(), "data_format", "NHWC", attrcategory::kInternal);
}

std::vector<Dims> SpaceToDepthOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t) {
  constexpr std::string_view head = "modeltools::ops::SpaceToDepthOp::inferOutputShapes";
  const BlockSize block = nonZeroBlockSizeOf(*this, head, "SpaceToDepthOp");
  const SpatialDims in = spatialDimsOfInput0(*this, axisOrder, head, "SpaceToDepthOp");
  return {axisOrder->formatDims2d(in.batch, in.height / block.height, in.width / block.width,
                                  in.channels * block.height * block.width)};
}

VRX_DEFINE_TYPED_OP(BatchToSpaceOp, IrOp)
void BatchToSpaceOp::prepareAttributes() {
  requireAttrs(*attrs(), {"block_size"});
  addDefaultListAttr(*attrs(), "crops", {0, 0, 0, 0}, Dims{2, 2}, kBackendParam);
}

std::vector<Dims> BatchToSpaceOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t) {
  const BlockSize block = blockSizeOf(*this);
  const SpatialMargins crops = marginsOf(*this, "crops");
  const SpatialDims in =
      spatialDimsOfInput0(*this, axisOrder, "modeltools::ops::BatchToSpaceOp::inferOutputShapes", "BatchToSpaceOp");
  return {axisOrder->formatDims2d(divideOrZero(in.batch, block.height * block.width),
                                  in.height * block.height - crops.top - crops.bottom,
                                  in.width * block.width - crops.left - crops.right, in.channels)};
}

VRX_DEFINE_TYPED_OP(SpaceToBatchOp, IrOp)
void SpaceToBatchOp::prepareAttributes() {
  requireAttrs(*attrs(), {"block_size"});
  addDefaultListAttr(*attrs(), "pad_amount", {0, 0, 0, 0}, Dims{2, 2}, kBackendParam);
}

std::vector<Dims> SpaceToBatchOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t) {
  const BlockSize block = blockSizeOf(*this);
  const SpatialMargins pads = marginsOf(*this, "pad_amount");
  const SpatialDims in =
      spatialDimsOfInput0(*this, axisOrder, "modeltools::ops::SpaceToBatchOp::inferOutputShapes", "SpaceToBatchOp");
  return {axisOrder->formatDims2d(in.batch * block.height * block.width,
                                  divideOrZero(in.height + pads.top + pads.bottom, block.height),
                                  divideOrZero(in.width + pads.left + pads.right, block.width), in.channels)};
}

// ---- ChannelShuffleOp -----------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(ChannelShuffleOp, IrOp)
void ChannelShuffleOp::prepareAttributes() {
  requireAttrs(*attrs(), {"num_groups"});
  addDefaultAttr(*attrs(), "axis", int32_t{-1}, kBackendParam);
}

void ChannelShuffleOp::canonicalizeOp(uint32_t numOutputs) {
  IrOp::canonicalizeOp(numOutputs);
  canonicalizeAxis(*this, kChannelShuffleAxis, "modeltools::ops::ChannelShuffleOp::canonicalizeOp");
}

void ChannelShuffleOp::resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs) {
  constexpr std::string_view head = "modeltools::ops::ChannelShuffleOp::resizeOp";
  const auto inputs = getInputs();
  const auto outputs = getOutputs();
  if (inputs.size() != outputs.size()) {
    fail<std::invalid_argument>(head, "ChannelShuffle layer ", name(), " input counts ", inputs.size(),
                                " != ", " output counts ", outputs.size(), ".");
  }
  for (size_t i = 0; i < inputs.size(); ++i) {
    // The shuffled axis holds the channels.
    const uint32_t axis = axisWithin(*this, kChannelShuffleAxis, inputs[i]->rank(), head);
    const uint32_t inChannels = inputs[i]->dims()[axis];
    const uint32_t outChannels = dimOrZero(outputs[i]->dims(), axis);
    if (inChannels != outChannels) {
      fail<std::invalid_argument>(head, "ChannelShuffle layer ", name(), " input channels ", inChannels,
                                  " != output channels ", outChannels, " at index ", i,
                                  ". Input and output channel counts must match for channel shuffle.");
    }
  }
  IrOp::resizeOp(axisOrder, numOutputs);
}

// ---- ResizeOp -------------------------------------------------------------------------------

VRX_DEFINE_TYPED_OP(ResizeOp, IrOp)
void ResizeOp::prepareAttributes() {
  IrAttributes& table = *attrs();
  requireAttrs(table, {"scale_width"});
  requireSupplemental(table, "scale_width", name(), "modeltools::ops::ResizeOp::ResizeOp", "attr");
  addDefaultAttr(table, "exclude_outside", false, kSupplemental);
  addDefaultAttr(table, "antialias", false, kSupplemental);
  addDefaultAttr(table, "interpolation_mode", uint32_t{0}, kSupplemental);
  addDefaultAttr(table, "transformation_mode", uint32_t{3}, kSupplemental);
  addDefaultAttr(table, "nearest_mode", uint32_t{0}, kSupplemental);
  addDefaultAttr(table, "cubic_coeff", -0.75f, kSupplemental);
  addDefaultAttr(table, "scale_depth", 1.0f, kSupplemental);
  addDefaultAttr(table, "scale_height", 1.0f, kSupplemental);
}

std::vector<Dims> ResizeOp::inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t) {
  const auto input = getInput(0);
  Dims out = input->dims();
  const uint32_t rank = static_cast<uint32_t>(out.size());
  if (rank < 3 || rank > 5) {
    fail<std::runtime_error>("modeltools::ops::ResizeOp::inferOutputShapes",
                             "3D/4D/5D input to resize(scale) is expected, but got: ", rank, " for Op: ", name());
  }
  AxisFormat format = input->axisFormat();
  if (format == AxisFormat::ANY || format == AxisFormat::NONTRIVIAL) format = axisOrder->getAxisFormat(rank, false);
  // Channel-first formats keep the spatial axes behind the channels.
  const bool channelFirst = (rank == 3 && format == AxisFormat::NCF) || (rank == 4 && format == AxisFormat::NCHW) ||
                            (rank == 5 && format == AxisFormat::NCDHW);
  const uint32_t firstSpatial = channelFirst ? 2 : 1;
  std::vector<const char*> scales = {"scale_depth", "scale_height", "scale_width"};
  scales.erase(scales.begin(), scales.begin() + (5 - rank));
  for (uint32_t i = 0; i < scales.size(); ++i) {
    uint32_t& dim = out[firstSpatial + i];
    const float scaled = std::round(static_cast<float>(dim) * attrs()->getAttr<float>(scales[i]));
    dim = scaled > 0.0f ? static_cast<uint32_t>(scaled) : 0;
  }
  return {out};
}

uint64_t ResizeOp::macs(const AxisOrderPtr&) {
  if (readIntAttr(*attrs(), "interpolation_mode") == 0) return 0;
  const Dims& out = getOutput(0)->dims();
  return out.empty() ? 0 : productOfLastDims(out, out.size() - 1);
}

void ResizeOp::overrideDataAxisFormats(const AxisOrderPtr& axisOrder) { setDataFormatOfInput0(*this, axisOrder); }

void registerDataMovementOps(OpTranslationRegistry& registry) {
  registerOpClasses<TransposeOp, ReshapeOp, ConcatOp, SplitOp, PackOp, TileOp, PadOp, GatherOp, GatherElementsOp,
                    GatherNDOp, StridedSliceOp, ExpandDimsOp, ExpandOp, DepthToSpaceOp, SpaceToDepthOp, BatchToSpaceOp,
                    SpaceToBatchOp, ChannelShuffleOp, ResizeOp>(registry);
}

}  // namespace modeltools::ops
