#include "BuildIrTensor.hpp"

#include <set>
#include <span>
#include <string>

namespace modeltools {
namespace {

std::string nameOf(const Vrx_Tensor_t& tensor) { return tensor.name != nullptr ? tensor.name : ""; }

// The IR's kind of a tensor type; the updateable flag is kept apart.
uint32_t kindOfTensorType(uint32_t type) {
  switch (type) {
    case VRX_TENSORTYPE_UPDATEABLE_STATIC: return tensorkind::kStatic;
    case VRX_TENSORTYPE_UPDATEABLE_NATIVE: return tensorkind::kNative;
    case VRX_TENSORTYPE_UPDATEABLE_APP_WRITE: return tensorkind::kGraphInput;
    case VRX_TENSORTYPE_UPDATEABLE_APP_READ: return tensorkind::kGraphOutput;
    case VRX_TENSORTYPE_UPDATEABLE_APP_READWRITE: return tensorkind::kGraphInputOutput;
    default: break;
  }
  if (type <= VRX_TENSORTYPE_NULL || (type >= 11 && type <= 13)) return type;
  return kUndefined;
}

// A record with rank above 0 but no dimensions has none to read.
std::span<const uint32_t> dimsOf(const Vrx_Tensor_t& tensor) {
  if (tensor.dimensions == nullptr) return {};
  return {tensor.dimensions, tensor.rank};
}

std::set<uint32_t> dynamicAxesOf(const Vrx_Tensor_t& tensor, uint32_t rank) {
  std::set<uint32_t> axes;
  if (tensor.version != 2 || tensor.isDynamicDimensions == nullptr) return axes;
  for (uint32_t i = 0; i < rank; ++i) {
    if (tensor.isDynamicDimensions[i] != 0) axes.insert(i);
  }
  return axes;
}

bool isSparseRecord(const Vrx_Tensor_t& tensor) {
  return tensor.version == 2 && tensor.sparseParams.layout == VRX_SPARSE_LAYOUT_HYBRID_COO;
}

// The record's dimensions, with its dynamic axes when asked for.
IrTensorShape shapeOf(const Vrx_Tensor_t& tensor, bool withDynamicAxes) {
  const auto dims = dimsOf(tensor);
  Dims copy(dims.begin(), dims.end());
  if (!withDynamicAxes) return IrTensorShape(std::move(copy));
  return IrTensorShape(std::move(copy), dynamicAxesOf(tensor, static_cast<uint32_t>(dims.size())));
}

// What tensors and static tensors take alike from a record.
TensorFields commonFields(const Vrx_Tensor_t& tensor, IrTensorShape shape) {
  return TensorFields{.name = nameOf(tensor),
                      .shape = std::move(shape),
                      .dataType = tensor.dataType,
                      .floatDataType = tensor.dataType,
                      .quantizable = tensor.dataType == VRX_DATATYPE_FLOAT_32 ||
                                     tensor.quantizeParams.encodingDefinition != VRX_DEFINITION_UNDEFINED,
                      .quantInfo = buildQuantInfo(tensor),
                      .axisFormat = AxisFormat::NOT_YET_DEFINED,
                      .srcAxisFormat = AxisFormat::NOT_YET_DEFINED};
}

}  // namespace

const void* recordData(const Vrx_Tensor_t& tensor) { return tensor.memType == 0 ? tensor.clientBuf.data : nullptr; }

QuantInfo buildQuantInfo(const Vrx_Tensor_t& tensor) {
  return readQuantInfo(tensor.quantizeParams, tensor.dataType, dimsOf(tensor));
}

std::shared_ptr<IrTensor> buildIrTensor(const Vrx_Tensor_t& tensor) {
  // A sparse tensor keeps its dimensions as bounds and has no dynamic axes.
  const bool sparse = isSparseRecord(tensor);
  TensorFields fields = commonFields(tensor, shapeOf(tensor, !sparse));
  fields.kind = kindOfTensorType(tensor.type);
  if (sparse) {
    fields.sparseLayout = VRX_SPARSE_LAYOUT_HYBRID_COO;
    fields.numSpecifiedElements = tensor.sparseParams.numSpecifiedElements;
    fields.numSparseDimensions = tensor.sparseParams.numSparseDimensions;
  }
  return std::make_shared<IrTensor>(std::move(fields));
}

std::shared_ptr<IrStaticTensor> buildIrStaticTensor(const Vrx_Tensor_t& tensor) {
  TensorFields fields = commonFields(tensor, shapeOf(tensor, false));
  fields.kind = tensorkind::kStatic;
  return std::make_shared<IrStaticTensor>(std::move(fields), recordData(tensor), tensor.clientBuf.dataSize, false);
}

}  // namespace modeltools
