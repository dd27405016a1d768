#include "AxisOrder.hpp"

#include <map>
#include <sstream>
#include <stdexcept>

#include "Permutations.hpp"

namespace modeltools {
namespace {

using Order = std::vector<uint32_t>;
using OrdersByRank = std::map<uint32_t, Order>;

// Entry i of the result is dims[order[i]].
Dims pick(const Dims& dims, const Order& order, const char* function) {
  Dims result;
  result.reserve(order.size());
  for (uint32_t index : order) {
    if (index >= dims.size()) {
      std::ostringstream message;
      message << function << ": permute order " << listToString(order) << " does not fit dimensions "
              << listToString(dims);
      throw std::out_of_range(message.str());
    }
    result.push_back(dims[index]);
  }
  return result;
}

[[noreturn]] void throwInvalid(const char* function, const std::string& text) {
  throw std::invalid_argument(std::string(function) + ": " + text);
}

// Extracts by a per-rank order; a rank without an order fails with the given text.
Dims extractByRank(const Dims& dims, const OrdersByRank& orders, const char* function, const std::string& failure) {
  auto it = orders.find(static_cast<uint32_t>(dims.size()));
  if (it == orders.end()) throwInvalid(function, failure);
  return pick(dims, it->second, function);
}

std::string rankText(const char* before, size_t rank, const char* after) {
  std::ostringstream text;
  text << before << rank << after;
  return text.str();
}

const OrdersByRank kIdentity345 = {
    {3, identityPermutation(3)}, {4, identityPermutation(4)}, {5, identityPermutation(5)}};

void refuseBothWeightKinds(bool isConvWeights, bool isTransposeConvWeights, const char* function) {
  if (isConvWeights && isTransposeConvWeights) {
    throwInvalid(function, "These dimensions cannot represent both conv weights and deconv weights.");
  }
}

enum class Direction { FromIr, ToIr };

// The spatial-last order by rank alone: the channel moves between second and last place.
Order orderByRank(Direction direction, size_t rank, const char* function, const char* what) {
  constexpr size_t kMaxRank = 5;
  if (rank == 0) return {};  // a scalar has nothing to permute
  if (rank > kMaxRank) {
    throwInvalid(function, rankText((std::string("Cannot assume permute order of ") + what + " with rank ").c_str(),
                                    rank, (", maximum supported rank is " + std::to_string(kMaxRank)).c_str()));
  }
  const auto r = static_cast<uint32_t>(rank);
  return direction == Direction::FromIr ? channelLastToFirstPerm(r) : channelFirstToLastPerm(r);
}

// The spatial-last order for a tagged tensor: the format row first, else by rank.
Order spatialLastOrder(Direction direction, size_t rank, AxisFormat format, bool isConvWeights,
                       bool isTransposeConvWeights, const char* function, const char* what) {
  const bool toIr = direction == Direction::ToIr;
  switch (format) {
    case AxisFormat::NCDHW:
    case AxisFormat::NDHWC:
      if (isConvWeights) return toIr ? Order{2, 3, 4, 1, 0} : Order{4, 3, 0, 1, 2};
      if (isTransposeConvWeights) return toIr ? Order{2, 3, 4, 0, 1} : Order{3, 4, 0, 1, 2};
      break;
    case AxisFormat::NCHW:
    case AxisFormat::NHWC:
      if (isConvWeights) return toIr ? Order{2, 3, 1, 0} : Order{3, 2, 0, 1};
      if (isTransposeConvWeights) return Order{2, 3, 0, 1};
      break;
    case AxisFormat::NCF:
    case AxisFormat::NFC:
      if (toIr && isConvWeights) return Order{2, 1, 0};
      if (toIr && isTransposeConvWeights) return Order{2, 0, 1};
      break;
    case AxisFormat::TNF:
    case AxisFormat::NTF:
      return Order{1, 0, 2};
    default:
      break;
  }
  return orderByRank(direction, rank, function, what);
}

AxisFormat formatByRank(uint32_t rank, AxisFormat rank3, AxisFormat rank4, AxisFormat rank5) {
  switch (rank) {
    case 3: return rank3;
    case 4: return rank4;
    case 5: return rank5;
    default: return AxisFormat::NONTRIVIAL;
  }
}

const char* const kTimeSeriesFailure = "for extracting time series dims, expected rank 3";

}  // namespace

// ---- Spatial first ---------------------------------------------------------------------------

Dims SpatialFirstAxisOrder::extractSpatialDims(const Dims& dims) const {
  return extractByRank(dims, kIdentity345, "modeltools::SpatialFirstAxisOrder::extractSpatialDims",
                       rankText("Invalid dimension rank ", dims.size(),
                                " for extracting spatial dims, expected rank 3, 4, or 5"));
}

Dims SpatialFirstAxisOrder::extractTimeSeriesDims(const Dims& dims) const {
  return extractByRank(
      dims, {{3, identityPermutation(3)}}, "modeltools::SpatialFirstAxisOrder::extractTimeSeriesDims",
      rankText("Invalid dimension rank ", dims.size(), (std::string(" ") + kTimeSeriesFailure).c_str()));
}

Dims SpatialFirstAxisOrder::extractConvWeightsDims(const Dims& dims) const {
  return extractByRank(dims, kIdentity345, "modeltools::SpatialFirstAxisOrder::extractConvWeightsDims",
                       rankText("Invalid dimension rank ", dims.size(),
                                " for extracting conv weights, expected rank 3, 4, or 5"));
}

Dims SpatialFirstAxisOrder::extractFcWeightsDims(const Dims& dims) const {
  return extractByRank(dims, {{2, identityPermutation(2)}}, "modeltools::SpatialFirstAxisOrder::extractFcWeightsDims",
                       rankText("Shape needs to be of length 2 for FC weights, but got length ", dims.size(), ""));
}

Dims SpatialFirstAxisOrder::extractTransposeConvWeightsDims(const Dims& dims) const {
  return extractByRank(dims, kIdentity345, "modeltools::SpatialFirstAxisOrder::extractTransposeConvWeightsDims",
                       rankText("Invalid dimension rank ", dims.size(),
                                " for extracting transpose conv weights, expected rank 3, 4, or 5"));
}

Dims SpatialFirstAxisOrder::formatDims1d(uint32_t n, uint32_t l, uint32_t c) const { return {n, l, c}; }
Dims SpatialFirstAxisOrder::formatDims2d(uint32_t n, uint32_t h, uint32_t w, uint32_t c) const { return {n, h, w, c}; }
Dims SpatialFirstAxisOrder::formatDims3d(uint32_t n, uint32_t d, uint32_t h, uint32_t w, uint32_t c) const {
  return {n, d, h, w, c};
}
Dims SpatialFirstAxisOrder::formatTimeSeriesDims(uint32_t n, uint32_t t, uint32_t f) const { return {n, t, f}; }

AxisFormat SpatialFirstAxisOrder::getAxisFormat(uint32_t rank, bool isTimeSeries) const {
  if (rank == 1) return AxisFormat::ANY;
  if (rank == 2) return AxisFormat::NF;
  return formatByRank(rank, isTimeSeries ? AxisFormat::NTF : AxisFormat::NFC, AxisFormat::NHWC, AxisFormat::NDHWC);
}

AxisFormat SpatialFirstAxisOrder::getConvWeightsFormat(uint32_t rank) const {
  return formatByRank(rank, AxisFormat::FIO, AxisFormat::HWIO, AxisFormat::DHWIO);
}

AxisFormat SpatialFirstAxisOrder::getTransposeConvWeightsFormat(uint32_t rank) const {
  return getConvWeightsFormat(rank);
}

Dims SpatialFirstAxisOrder::permuteDimsFromIr(const Dims& dims, AxisFormat, bool isConvWeights,
                                              bool isTransposeConvWeights) const {
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights, "modeltools::SpatialFirstAxisOrder::permuteDimsFromIr");
  return dims;
}

Dims SpatialFirstAxisOrder::permuteDimsToIr(const Dims& dims, AxisFormat, bool isConvWeights,
                                            bool isTransposeConvWeights) const {
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights, "modeltools::SpatialFirstAxisOrder::permuteDimsToIr");
  return dims;
}

IrTensorShape SpatialFirstAxisOrder::permuteShapeFromIr(const IrTensorShape& shape, AxisFormat, bool isConvWeights,
                                                        bool isTransposeConvWeights) const {
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights,
                        "modeltools::SpatialFirstAxisOrder::permuteShapeFromIr");
  return shape;
}

IrTensorShape SpatialFirstAxisOrder::permuteShapeToIr(const IrTensorShape& shape, AxisFormat, bool isConvWeights,
                                                      bool isTransposeConvWeights) const {
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights, "modeltools::SpatialFirstAxisOrder::permuteShapeToIr");
  return shape;
}

// ---- Spatial last ----------------------------------------------------------------------------

Dims SpatialLastAxisOrder::extractSpatialDims(const Dims& dims) const {
  static const OrdersByRank orders = {{3, {0, 2, 1}}, {4, {0, 2, 3, 1}}, {5, {0, 2, 3, 4, 1}}};
  return extractByRank(dims, orders, "modeltools::SpatialLastAxisOrder::extractSpatialDims",
                       rankText("Invalid dimension rank ", dims.size(),
                                " for extracting tensor, expected rank 3, 4, or 5"));
}

Dims SpatialLastAxisOrder::extractTimeSeriesDims(const Dims& dims) const {
  return extractByRank(
      dims, {{3, {1, 0, 2}}}, "modeltools::SpatialLastAxisOrder::extractTimeSeriesDims",
      rankText("Invalid dimension rank ", dims.size(), (std::string(" ") + kTimeSeriesFailure).c_str()));
}

Dims SpatialLastAxisOrder::extractConvWeightsDims(const Dims& dims) const {
  static const OrdersByRank orders = {{3, {2, 1, 0}}, {4, {2, 3, 1, 0}}, {5, {2, 3, 4, 1, 0}}};
  return extractByRank(dims, orders, "modeltools::SpatialLastAxisOrder::extractConvWeightsDims",
                       rankText("Invalid dimension rank ", dims.size(),
                                " for extracting conv weights, expected rank 3, 4, or 5"));
}

Dims SpatialLastAxisOrder::extractFcWeightsDims(const Dims& dims) const {
  return extractByRank(dims, {{2, {1, 0}}}, "modeltools::SpatialLastAxisOrder::extractFcWeightsDims",
                       rankText("Shape needs to be of length 2 for FC weights, but got length ", dims.size(), ""));
}

Dims SpatialLastAxisOrder::extractTransposeConvWeightsDims(const Dims& dims) const {
  static const OrdersByRank orders = {{3, {2, 0, 1}}, {4, {2, 3, 0, 1}}, {5, {2, 3, 4, 0, 1}}};
  return extractByRank(dims, orders, "modeltools::SpatialLastAxisOrder::extractTransposeConvWeightsDims",
                       rankText("Invalid dimension rank ", dims.size(),
                                " for extracting transpose conv weights, expected rank 3, 4, or 5"));
}

Dims SpatialLastAxisOrder::formatDims1d(uint32_t n, uint32_t l, uint32_t c) const { return {n, c, l}; }
Dims SpatialLastAxisOrder::formatDims2d(uint32_t n, uint32_t h, uint32_t w, uint32_t c) const { return {n, c, h, w}; }
Dims SpatialLastAxisOrder::formatDims3d(uint32_t n, uint32_t d, uint32_t h, uint32_t w, uint32_t c) const {
  return {n, c, d, h, w};
}
Dims SpatialLastAxisOrder::formatTimeSeriesDims(uint32_t n, uint32_t t, uint32_t f) const { return {t, n, f}; }

AxisFormat SpatialLastAxisOrder::getAxisFormat(uint32_t rank, bool isTimeSeries) const {
  if (rank == 1) return AxisFormat::ANY;
  if (rank == 2) return AxisFormat::NF;
  return formatByRank(rank, isTimeSeries ? AxisFormat::TNF : AxisFormat::NCF, AxisFormat::NCHW, AxisFormat::NCDHW);
}

AxisFormat SpatialLastAxisOrder::getConvWeightsFormat(uint32_t rank) const {
  return formatByRank(rank, AxisFormat::OIF, AxisFormat::OIHW, AxisFormat::OIDHW);
}

AxisFormat SpatialLastAxisOrder::getTransposeConvWeightsFormat(uint32_t rank) const {
  return formatByRank(rank, AxisFormat::IOF, AxisFormat::IOHW, AxisFormat::IODHW);
}

Dims SpatialLastAxisOrder::permuteDimsFromIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                                             bool isTransposeConvWeights) const {
  const char* function = "modeltools::SpatialLastAxisOrder::permuteDimsFromIr";
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights, function);
  return pick(dims, spatialLastOrder(Direction::FromIr, dims.size(), format, isConvWeights, isTransposeConvWeights,
                                     function, "dimensions"),
              function);
}

Dims SpatialLastAxisOrder::permuteDimsToIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                                           bool isTransposeConvWeights) const {
  const char* function = "modeltools::SpatialLastAxisOrder::permuteDimsToIr";
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights, function);
  return pick(dims, spatialLastOrder(Direction::ToIr, dims.size(), format, isConvWeights, isTransposeConvWeights,
                                     function, "dimensions"),
              function);
}

IrTensorShape SpatialLastAxisOrder::permuteShapeFromIr(const IrTensorShape& shape, AxisFormat format,
                                                       bool isConvWeights, bool isTransposeConvWeights) const {
  const char* function = "modeltools::SpatialLastAxisOrder::permuteShapeFromIr";
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights, function);
  return shape.permute(spatialLastOrder(Direction::FromIr, shape.rank(), format, isConvWeights,
                                        isTransposeConvWeights, function, "shape"));
}

IrTensorShape SpatialLastAxisOrder::permuteShapeToIr(const IrTensorShape& shape, AxisFormat format, bool isConvWeights,
                                                     bool isTransposeConvWeights) const {
  const char* function = "modeltools::SpatialLastAxisOrder::permuteShapeToIr";
  refuseBothWeightKinds(isConvWeights, isTransposeConvWeights, function);
  return shape.permute(spatialLastOrder(Direction::ToIr, shape.rank(), format, isConvWeights, isTransposeConvWeights,
                                        function, "shape"));
}

}  // namespace modeltools
