#include "IrTensor.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "DataTypes.hpp"
#include "IrOp.hpp"
#include "Permutations.hpp"
#include "TransformManager.hpp"

namespace modeltools {
namespace {

std::atomic<uint32_t> g_nextTensorId{1};

uint32_t defaultBitwidth(uint32_t dataType) {
  switch (dataType) {
    case VRX_DATATYPE_SFIXED_POINT_4:
    case VRX_DATATYPE_UFIXED_POINT_4: return 4;
    case VRX_DATATYPE_SFIXED_POINT_8:
    case VRX_DATATYPE_UFIXED_POINT_8: return 8;
    case VRX_DATATYPE_SFIXED_POINT_16:
    case VRX_DATATYPE_UFIXED_POINT_16: return 16;
    case VRX_DATATYPE_SFIXED_POINT_32:
    case VRX_DATATYPE_UFIXED_POINT_32: return 32;
    default: return 0;
  }
}

bool isUnsignedFixedPoint(uint32_t dataType) {
  return dataType == VRX_DATATYPE_UFIXED_POINT_4 || dataType == VRX_DATATYPE_UFIXED_POINT_8 ||
         dataType == VRX_DATATYPE_UFIXED_POINT_16 || dataType == VRX_DATATYPE_UFIXED_POINT_32;
}

ScaleOffsetInfo scaleOffsetEntry(uint32_t dataType, uint32_t bitwidth, float scale, double offset) {
  ScaleOffsetInfo info;
  info.bitwidth = bitwidth;
  info.scale = scale;
  info.offset = offset;
  info.isFixedPoint = true;
  // Unsigned types are symmetric when the offset sits in the middle of the range.
  info.isSymmetric = !isUnsignedFixedPoint(dataType) || offset == std::ldexp(1.0, static_cast<int>(bitwidth) - 1);
  return info;
}

size_t blockPairCount(const uint32_t* blockSize, std::span<const uint32_t> dims) {
  if (blockSize == nullptr) return 0;
  size_t count = 1;
  for (size_t i = 0; i < dims.size(); ++i) {
    if (blockSize[i] == 0) {
      throw std::invalid_argument("modeltools::readQuantInfo: block size of axis " + std::to_string(i) + " is 0");
    }
    count *= (dims[i] + blockSize[i] - 1) / blockSize[i];
  }
  return count;
}

// The IR keeps one block size, along axis 0; other block shapes could not be written back
// consistently, so they are refused here rather than lost.
void requireBlocksAlongFirstAxis(const uint32_t* blockSize, std::span<const uint32_t> dims) {
  if (blockSize == nullptr) return;
  for (size_t i = 1; i < dims.size(); ++i) {
    if (blockSize[i] != 1) {
      std::ostringstream message;
      message << "modeltools::readQuantInfo: block quantization is carried with blocks along axis 0 only, but the "
                 "block size of axis "
              << i << " is " << blockSize[i];
      throw std::invalid_argument(message.str());
    }
  }
}

uint32_t dimAtAxis(std::span<const uint32_t> dims, uint32_t axis) {
  if (axis >= dims.size()) {
    throw std::invalid_argument("modeltools::readQuantInfo: blockwise expansion axis " + std::to_string(axis) +
                                " is outside rank " + std::to_string(dims.size()));
  }
  return dims[axis];
}

std::string opText(const IrTensor::OpPtr& op) {
  std::ostringstream out;
  if (op) out << *op;
  return out.str();
}

// Bytes a dense tensor of these dims needs, or 0 when the type has no whole-byte width.
uint64_t expectedDataSize(const Dims& dims, uint32_t dataType) {
  const uint64_t width = modeltools::dataTypeByteWidth(dataType);
  uint64_t size = width;
  for (uint32_t d : dims) size *= d;
  return size;
}

}  // namespace

QuantInfo readQuantInfo(const Vrx_QuantizeParams_t& record, uint32_t dataType, std::span<const uint32_t> dims) {
  QuantInfo info;
  if (record.encodingDefinition == VRX_DEFINITION_UNDEFINED) return info;
  info.overridden = true;
  info.encoding = record.quantizationEncoding;
  info.definition = record.encodingDefinition;
  const uint32_t bitwidth = defaultBitwidth(dataType);
  auto entry = [&](uint32_t bits, float scale, double offset) { return scaleOffsetEntry(dataType, bits, scale, offset); };

  switch (record.quantizationEncoding) {
    case VRX_QUANTIZATION_ENCODING_SCALE_OFFSET:
      info.scaleOffset = entry(bitwidth, record.scaleOffsetEncoding.scale, record.scaleOffsetEncoding.offset);
      break;
    case VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET: {
      const auto& enc = record.bwScaleOffsetEncoding;
      info.scaleOffset = entry(enc.bitwidth, enc.scale, enc.offset);
      break;
    }
    case VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET: {
      const auto& enc = record.axisScaleOffsetEncoding;
      info.axis = enc.axis;
      for (uint32_t i = 0; enc.scaleOffset != nullptr && i < enc.numScaleOffsets; ++i) {
        info.axisEncodings.push_back(entry(bitwidth, enc.scaleOffset[i].scale, enc.scaleOffset[i].offset));
      }
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET: {
      const auto& enc = record.bwAxisScaleOffsetEncoding;
      info.axis = enc.axis;
      for (uint32_t i = 0; enc.scales != nullptr && i < enc.numElements; ++i) {
        info.axisEncodings.push_back(entry(enc.bitwidth, enc.scales[i], enc.offsets ? enc.offsets[i] : 0));
      }
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED: {
      const auto* enc = record.bwAxisScaleOffsetMapped;
      if (enc == nullptr) break;
      info.axis = enc->axis;
      for (uint32_t i = 0; enc->scales != nullptr && i < enc->numElements; ++i) {
        auto item = entry(enc->bitwidth, enc->scales[i], enc->offsets ? enc->offsets[i] : 0);
        item.mappedValue = enc->mappedValue;
        info.axisEncodings.push_back(item);
      }
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BLOCK:
    case VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK: {
      const auto& enc = record.blockEncoding;
      const bool floatOffsets = record.quantizationEncoding == VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK;
      requireBlocksAlongFirstAxis(enc.blockSize, dims);
      info.blockAxis = 0;
      info.blockSize = enc.blockSize != nullptr && !dims.empty() ? enc.blockSize[0] : 0;
      const size_t pairs = enc.scaleOffset != nullptr ? blockPairCount(enc.blockSize, dims) : 0;
      for (size_t i = 0; i < pairs; ++i) {
        const double offset = floatOffsets ? enc.floatScaleOffset[i].offset : enc.scaleOffset[i].offset;
        info.blockEncodings.push_back(entry(bitwidth, enc.scaleOffset[i].scale, offset));
      }
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION: {
      const auto* enc = record.blockwiseExpansion;
      if (enc == nullptr) break;
      const uint32_t channels = dimAtAxis(dims, enc->axis);
      info.expansionAxis = static_cast<int32_t>(enc->axis);
      for (uint32_t i = 0; enc->scaleOffsets != nullptr && i < channels; ++i) {
        info.expansionEncodings.push_back(entry(bitwidth, enc->scaleOffsets[i].scale, enc->scaleOffsets[i].offset));
      }
      info.numBlocksPerAxis = enc->numBlocksPerAxis;
      info.blockScaleBitwidth = enc->blockScaleBitwidth;
      const size_t scales = static_cast<size_t>(channels) * enc->numBlocksPerAxis;
      if (enc->blockScaleStorageType == VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_8 && enc->blockScales8 != nullptr) {
        info.blockScales8.assign(enc->blockScales8, enc->blockScales8 + scales);
      } else if (enc->blockScaleStorageType == VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16 &&
                 enc->blockScales16 != nullptr) {
        info.blockScales16.assign(enc->blockScales16, enc->blockScales16 + scales);
      }
      break;
    }
    case VRX_QUANTIZATION_ENCODING_GROUPED_BW: {
      const auto* enc = record.groupedBwEncoding;
      if (enc == nullptr) break;
      info.groupAxis = enc->axis;
      for (uint32_t i = 0; enc->scales != nullptr && i < enc->numElements; ++i) {
        info.groupEncodings.push_back(entry(enc->bitwidth, enc->scales[i], enc->offsets ? enc->offsets[i] : 0));
      }
      info.groupParam0 = enc->groupParam0;
      info.groupParam1 = enc->groupParam1;
      info.groupFlag0 = enc->groupFlag0;
      info.groupFlag1 = enc->groupFlag1;
      info.groupFlag2 = enc->groupFlag2;
      break;
    }
    default:
      // Encodings the library only writes (11, 12, 13) and unknown ones carry no fields.
      break;
  }
  return info;
}

// ---- IrTensor -------------------------------------------------------------------------------

uint32_t IrTensor::nextId() { return g_nextTensorId.fetch_add(1); }

void IrTensor::resetIdCounter(uint32_t maxId) { g_nextTensorId.store(maxId + 1); }

IrTensor::IrTensor(TensorFields fields)
    : id_(nextId()),
      name_(std::move(fields.name)),
      shape_(std::move(fields.shape)),
      dataType_(fields.dataType),
      floatDataType_(fields.floatDataType),
      axisFormat_(fields.axisFormat),
      srcAxisFormat_(fields.srcAxisFormat),
      kind_(fields.kind),
      quantizable_(fields.quantizable),
      sparseLayout_(fields.sparseLayout),
      numSpecifiedElements_(fields.numSpecifiedElements),
      numSparseDimensions_(fields.numSparseDimensions),
      updateable_(fields.updateable),
      permToSource_(std::move(fields.permToSource)) {
  if (fields.quantInfo.isDefined()) setQInfo(fields.dataType, fields.quantInfo);
}

IrTensor::IrTensor(std::string name, IrTensorShape shape, uint32_t dataType, AxisFormat axisFormat,
                   AxisFormat srcAxisFormat, uint32_t kind)
    : IrTensor(TensorFields{.name = std::move(name),
                          .shape = std::move(shape),
                          .dataType = dataType,
                          .floatDataType = dataType,
                          .quantizable = modeltools::isFloat16Or32(dataType),
                          .axisFormat = axisFormat,
                          .srcAxisFormat = srcAxisFormat,
                          .kind = kind}) {}

void IrTensor::setName(const std::string& name) {
  name_ = name;
  id_ = nextId();
}

void IrTensor::removeConsumer(const OpPtr& op) {
  if (consumers_.erase(op) == 0) {
    throw std::invalid_argument("modeltools::IrTensor::removeConsumer: Op " + opText(op) +
                                " is not a consumer of tensor " + name_);
  }
}

uint32_t IrTensor::elements() const {
  if (shape_.hasDynamicAxes()) {
    std::ostringstream message;
    message << "modeltools::IrTensor::elements: Cannot get number of elements for tensor named " << name_
            << " with dynamic shape " << shape_;
    throw std::invalid_argument(message.str());
  }
  if (shape_.dims().empty()) return 0;
  uint32_t count = 1;
  for (uint32_t d : shape_.dims()) count *= d;
  return count;
}

uint32_t IrTensor::getTensorType() const {
  if (updateable_) {
    switch (kind_) {
      case tensorkind::kGraphInput: return VRX_TENSORTYPE_UPDATEABLE_APP_WRITE;
      case tensorkind::kGraphOutput: return VRX_TENSORTYPE_UPDATEABLE_APP_READ;
      case tensorkind::kGraphInputOutput: return VRX_TENSORTYPE_UPDATEABLE_APP_READWRITE;
      case tensorkind::kNative: return VRX_TENSORTYPE_UPDATEABLE_NATIVE;
      case tensorkind::kStatic: return VRX_TENSORTYPE_UPDATEABLE_STATIC;
      default: return kUndefined;
    }
  }
  if (kind_ <= tensorkind::kNull || (kind_ >= 11 && kind_ <= 13)) return kind_;
  if (kind_ == tensorkind::kContext) return VRX_TENSORTYPE_STATIC;
  return kUndefined;
}

const QuantInfo& IrTensor::quantInfo() const {
  static const QuantInfo none;
  return quantInfo_ ? *quantInfo_ : none;
}

QuantInfo& IrTensor::mutableQuantInfo() {
  if (!quantInfo_) quantInfo_ = std::make_unique<QuantInfo>();
  return *quantInfo_;
}

bool IrTensor::isQuantized() const { return modeltools::isQuantizedDataType(dataType_) && quantInfo().isDefined(); }

void IrTensor::setQuantizable(bool flag) {
  if (flag && !modeltools::isFloat16Or32(dataType_)) {
    throw std::invalid_argument("modeltools::IrTensor::setQuantizable: Tensor: " + name_ +
                                " must be of type float to be quantizable, but it's: " + modeltools::dataTypeName(dataType_));
  }
  quantizable_ = flag;
  if (!flag && quantInfo_) quantInfo_->encoding = kUndefined;
}

void IrTensor::setQInfo(uint32_t dataType, const QuantInfo& quantInfo) {
  if (quantInfo.isDefined() && quantizable_) {
    dataType_ = dataType;
    setQuantInfo(quantInfo);
    return;
  }
  std::ostringstream message;
  message << "modeltools::IrTensor::setQInfo: ";
  if (quantizable_ && modeltools::isQuantizedDataType(dataType) && !quantInfo.isDefined()) {
    message << "Must set valid quantization info for tensor " << name_ << " with quantized data type "
            << modeltools::dataTypeName(dataType) << ", but got undefined quantization encoding.";
  } else {
    message << "Can't set quantization data with data type: " << modeltools::dataTypeName(dataType) << " for: " << name_
            << " with quantizable flag " << quantizable_;
  }
  throw std::invalid_argument(message.str());
}

void IrTensor::setFloatQInfo(uint32_t dataType, const QuantInfo& quantInfo) {
  quantizable_ = false;
  if (quantInfo_) quantInfo_->encoding = kUndefined;
  if (!modeltools::isFloat16Or32(dataType)) {
    throw std::invalid_argument(
        std::string("modeltools::IrTensor::setFloatQInfo: Datatype provided to setFloatQInfo should be float but got ") +
        modeltools::dataTypeName(dataType));
  }
  dataType_ = dataType;
  QuantInfo& stored = mutableQuantInfo();
  stored = quantInfo;
  stored.encoding = kUndefined;
  stored.overridden = true;
  stored.scaleOffset.isFixedPoint = false;
}

void IrTensor::setSparseParams(uint32_t layout, uint32_t numSpecifiedElements, uint32_t numSparseDimensions) {
  sparseLayout_ = layout;
  numSpecifiedElements_ = numSpecifiedElements;
  numSparseDimensions_ = numSparseDimensions;
}

std::vector<uint32_t> IrTensor::permutationToSource() const {
  if (!permToSource_.empty()) return permToSource_;
  if (axisFormat_ == AxisFormat::NOT_YET_DEFINED || srcAxisFormat_ == AxisFormat::NOT_YET_DEFINED) return {};
  const uint32_t rank = shape_.rank();
  if (axisFormat_ == AxisFormat::NONTRIVIAL || axisFormat_ == srcAxisFormat_) return identityPermutation(rank);
  const std::string source = axisFormatToString(srcAxisFormat_);
  const std::string current = axisFormatToString(axisFormat_);
  auto sameLetters = [](std::string a, std::string b) {
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    return a == b;
  };
  if (srcAxisFormat_ != AxisFormat::ANY && srcAxisFormat_ != AxisFormat::NONTRIVIAL && axisFormat_ != AxisFormat::ANY &&
      sameLetters(source, current)) {
    std::vector<uint32_t> perm;
    for (uint32_t i = 0; i < rank; ++i) {
      const size_t at = i < source.size() ? current.find(source[i]) : std::string::npos;
      if (at == std::string::npos) return {};
      perm.push_back(static_cast<uint32_t>(at));
    }
    return perm;
  }
  struct Entry {
    AxisFormat source, current;
    std::vector<uint32_t> perm;
  };
  static const Entry table[] = {{AxisFormat::NCF, AxisFormat::NCHW, {0, 1, 2, 3}},
                                {AxisFormat::NCF, AxisFormat::NHWC, {0, 3, 1, 2}},
                                {AxisFormat::NCDHW, AxisFormat::NCHW, {0, 1, 2, 3}},
                                {AxisFormat::NCDHW, AxisFormat::NHWC, {0, 3, 1, 2}}};
  for (const auto& entry : table) {
    if (entry.source == srcAxisFormat_ && entry.current == axisFormat_) return entry.perm;
  }
  return {};
}

// ---- IrStaticTensor -------------------------------------------------------------------------

IrStaticTensor::IrStaticTensor(TensorFields fields, const void* data, uint32_t dataSize, bool borrowedData)
    : IrTensor(std::move(fields)) {
  if (dims().empty() && data != nullptr && dataSize != 0) {
    std::ostringstream message;
    message << "modeltools::IrStaticTensor::IrStaticTensor: IrStaticTensor (" << name()
            << ") has empty dims but non-null data with dataSize=" << dataSize << ". Must specify correct dims!";
    throw std::invalid_argument(message.str());
  }
  // Dense data of a whole-byte type must fill the dimensions exactly.
  const uint64_t expected = expectedDataSize(dims(), dataType());
  if (dataSize != 0 && expected != 0 && !isSparse() && !shape().hasDynamicAxes() && expected != dataSize) {
    std::ostringstream message;
    message << "modeltools::IrStaticTensor::IrStaticTensor: IrStaticTensor (" << name()
            << ") data size mismatch: expected tensorSize=" << expected << " (from dims), but got dataSize="
            << dataSize;
    throw std::invalid_argument(message.str());
  }
  adopt(data, dataSize, borrowedData);
}

IrStaticTensor::IrStaticTensor(TensorFields fields, const void* data, uint32_t dataSize, bool borrowedData,
                               std::shared_ptr<TransformManager> transformManager)
    : IrTensor(std::move(fields)), transformManager_(std::move(transformManager)) {
  adopt(data, dataSize, borrowedData);
}

IrStaticTensor::~IrStaticTensor() { release(); }

void IrStaticTensor::adopt(const void* data, uint32_t dataSize, bool borrowed) {
  borrowedData_ = borrowed;
  dataSize_ = dataSize;
  if (borrowed) {
    data_ = static_cast<uint8_t*>(const_cast<void*>(data));
    return;
  }
  data_ = new uint8_t[dataSize == 0 ? 1 : dataSize]();
  if (data != nullptr && dataSize != 0) std::memcpy(data_, data, dataSize);
}

void IrStaticTensor::release() {
  if (!borrowedData_) delete[] data_;
  data_ = nullptr;
}

void IrStaticTensor::updateData(void* data, uint32_t size, bool takeOwnership) {
  if (size != dataSize_) {
    std::ostringstream message;
    message << "modeltools::IrStaticTensor::updateData: Data sizes do not match; existing data size: " << dataSize_
            << " provided data size: " << size << "\n";
    throw std::invalid_argument(message.str());
  }
  if (takeOwnership) {
    release();
    data_ = static_cast<uint8_t*>(data);
    borrowedData_ = false;
    return;
  }
  if (borrowedData_) {
    data_ = new uint8_t[dataSize_ == 0 ? 1 : dataSize_]();
    borrowedData_ = false;
  }
  if (data != nullptr && size != 0) std::memmove(data_, data, size);
}

const std::shared_ptr<TransformManager>& IrStaticTensor::getTransformManager() {
  if (!transformManager_) transformManager_ = std::make_shared<TransformManager>();
  return transformManager_;
}

void IrStaticTensor::setData(const void* data, uint32_t size) {
  auto* copy = new uint8_t[size == 0 ? 1 : size]();
  if (data != nullptr && size != 0) std::memcpy(copy, data, size);
  release();
  data_ = copy;
  dataSize_ = size;
  borrowedData_ = false;
}

}  // namespace modeltools
