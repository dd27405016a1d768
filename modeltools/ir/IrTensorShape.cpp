#include "IrTensorShape.hpp"

#include <sstream>
#include <stdexcept>

#include "AxisOrder.hpp"

namespace modeltools {
namespace {

constexpr const char* kAxisFormatNames[] = {"NCDHW", "NDHWC", "NCHW", "NHWC", "NCF",  "NFC",  "TNF",  "NTF",
                                            "NF",    "NC",    "ANY",  "NONTRIVIAL", "DHWIO", "DHWOI", "IODHW",
                                            "OIDHW", "HWIO",  "HWOI", "IOHW", "OIHW", "FIO",  "FOI",  "IOF", "OIF"};

const char* axisFormatName(AxisFormat format) {
  const auto value = static_cast<int32_t>(format);
  if (format == AxisFormat::NOT_YET_DEFINED) return "NOT_YET_DEFINED";
  if (value < 0 || value >= static_cast<int32_t>(std::size(kAxisFormatNames))) return nullptr;
  return kAxisFormatNames[value];
}

template <class Values>
std::string joinList(const Values& values) {
  std::ostringstream out;
  out << "[";
  bool first = true;
  for (uint32_t v : values) {
    out << (first ? "" : ",") << v;
    first = false;
  }
  out << "]";
  return out.str();
}

std::string shapeText(const IrTensorShape& shape) {
  std::ostringstream out;
  out << shape;
  return out.str();
}

// Leading 1s up to `rank`; dynamic axes move up with their dimension.
IrTensorShape padFront(const IrTensorShape& shape, uint32_t rank) {
  const uint32_t added = rank - shape.rank();
  Dims dims(added, 1);
  dims.insert(dims.end(), shape.dims().begin(), shape.dims().end());
  std::set<uint32_t> dynamic;
  for (uint32_t axis : shape.dynamicAxes()) dynamic.insert(axis + added);
  return IrTensorShape(std::move(dims), std::move(dynamic));
}

}  // namespace

std::string axisFormatToString(AxisFormat format) {
  const char* name = axisFormatName(format);
  return name != nullptr ? name : "NOT_YET_DEFINED";
}

std::ostream& operator<<(std::ostream& out, AxisFormat format) {
  if (const char* name = axisFormatName(format)) out << name;
  return out;
}

std::string listToString(const std::vector<uint32_t>& values) { return joinList(values); }
std::string listToString(const std::set<uint32_t>& values) { return joinList(values); }

IrTensorShape::IrTensorShape(Dims dims) : dims_(std::move(dims)) {
  validate();
  deriveMasks();
}

IrTensorShape::IrTensorShape(Dims dims, std::set<uint32_t> dynamicAxes)
    : dims_(std::move(dims)), dynamicAxes_(std::move(dynamicAxes)) {
  validate();
  deriveMasks();
}

void IrTensorShape::deriveMasks() {
  // Most shapes have no dynamic axis: they keep both derived members empty and allocate nothing.
  dynamicMask_.clear();
  dynamicFlags_.clear();
  if (dynamicAxes_.empty()) return;
  dynamicMask_.assign(dims_.size(), false);
  dynamicFlags_.assign(dims_.size(), 0);
  for (uint32_t axis : dynamicAxes_) {
    dynamicMask_[axis] = true;
    dynamicFlags_[axis] = 1;
  }
}

void IrTensorShape::validate() const {
  for (uint32_t axis : dynamicAxes_) {
    if (axis >= dims_.size()) {
      std::ostringstream message;
      message << "modeltools::IrTensorShape::validate: IrTensorShape of rank " << dims_.size() << " cannot have "
              << axis << " as dynamic dimension";
      throw std::invalid_argument(message.str());
    }
  }
}

bool IrTensorShape::isDynamicDim(uint32_t index) const {
  if (index >= dims_.size()) {
    std::ostringstream message;
    message << "modeltools::IrTensorShape::isDynamicDim: IrTensorShape::isDynamicDim error: out of bound index "
            << index << " for IrTensorShape of rank " << dims_.size();
    throw std::invalid_argument(message.str());
  }
  return !dynamicAxes_.empty() && dynamicMask_[index];
}

IrTensorShape IrTensorShape::permute(const std::vector<uint32_t>& order) const {
  if (order.size() != dims_.size()) {
    std::ostringstream message;
    message << "modeltools::IrTensorShape::permute: IrTensorShape permute error: permute order "
            << listToString(order) << " does not have the same rank as TensorShape " << listToString(dims_);
    throw std::invalid_argument(message.str());
  }
  std::vector<bool> seen(order.size(), false);
  for (uint32_t axis : order) {
    if (axis >= order.size() || seen[axis]) {
      std::ostringstream message;
      message << "modeltools::IrTensorShape::permute: IrTensorShape permute error: illegal order "
              << listToString(order) << " for shape " << *this;
      throw std::invalid_argument(message.str());
    }
    seen[axis] = true;
  }
  Dims dims;
  std::set<uint32_t> dynamic;
  for (uint32_t i = 0; i < order.size(); ++i) {
    dims.push_back(dims_[order[i]]);
    if (dynamicAxes_.contains(order[i])) dynamic.insert(i);
  }
  return IrTensorShape(std::move(dims), std::move(dynamic));
}

bool IrTensorShape::operator==(const IrTensorShape& other) const {
  return dims_ == other.dims_ && dynamicAxes_ == other.dynamicAxes_;
}

std::ostream& operator<<(std::ostream& out, const IrTensorShape& shape) {
  return out << "IrTensorShape(dims = " << listToString(shape.dims()) << " , dy_axes="
             << listToString(shape.dynamicAxes()) << ")";
}

Dims getBroadcastedShape(const Dims& dimsOne, const Dims& dimsTwo, const std::shared_ptr<AxisOrder>& axisOrder,
                         bool useAxisOrder) {
  Dims one = dimsOne;
  Dims two = dimsTwo;
  if (useAxisOrder) {
    one = axisOrder->permuteDimsToIr(one, AxisFormat::NOT_YET_DEFINED, false, false);
    two = axisOrder->permuteDimsToIr(two, AxisFormat::NOT_YET_DEFINED, false, false);
  } else {
    const size_t rank = std::max(one.size(), two.size());
    one.insert(one.begin(), rank - one.size(), 1);
    two.insert(two.begin(), rank - two.size(), 1);
  }
  Dims result;
  int64_t i = static_cast<int64_t>(one.size()) - 1;
  int64_t j = static_cast<int64_t>(two.size()) - 1;
  for (; i >= 0 && j >= 0; --i, --j) {
    const uint32_t a = one[i];
    const uint32_t b = two[j];
    if (a == b || b == 1) {
      result.insert(result.begin(), a);
    } else if (a == 1) {
      result.insert(result.begin(), b);
    } else {
      std::ostringstream message;
      message << "modeltools::getBroadcastedShape: Unable to broadcast shapes: dimension mismatch at axis " << i
              << ", dimsOne[" << i << "]=" << a << " vs dimsTwo[" << j << "]=" << b;
      throw std::invalid_argument(message.str());
    }
  }
  for (; i >= 0; --i) result.insert(result.begin(), one[i]);
  for (; j >= 0; --j) result.insert(result.begin(), two[j]);
  if (useAxisOrder) result = axisOrder->permuteDimsFromIr(result, AxisFormat::NOT_YET_DEFINED, false, false);
  return result;
}

IrTensorShape getBroadcastedTensorShape(const IrTensorShape& shapeOne, const IrTensorShape& shapeTwo) {
  const uint32_t rank = std::max(shapeOne.rank(), shapeTwo.rank());
  const IrTensorShape one = padFront(shapeOne, rank);
  const IrTensorShape two = padFront(shapeTwo, rank);
  Dims dims(rank);
  std::set<uint32_t> dynamic;
  for (int64_t axis = static_cast<int64_t>(rank) - 1; axis >= 0; --axis) {
    const auto i = static_cast<uint32_t>(axis);
    const uint32_t a = one.dims()[i];
    const uint32_t b = two.dims()[i];
    const bool da = one.isDynamicDim(i);
    const bool db = two.isDynamicDim(i);
    bool takenDynamic;
    if (a == b && da == db) {
      dims[i] = a;
      takenDynamic = da;
    } else if (a == 1 && !da) {
      dims[i] = b;
      takenDynamic = db;
    } else if (b == 1 && !db) {
      dims[i] = a;
      takenDynamic = da;
    } else {
      throw std::invalid_argument("modeltools::getBroadcastedTensorShape: Unable to broadcast shapes: " +
                                  shapeText(one) + " and " + shapeText(two));
    }
    if (takenDynamic) dynamic.insert(i);
  }
  return IrTensorShape(std::move(dims), std::move(dynamic));
}

}  // namespace modeltools
