// Quantization info back into the backend's encodings. Every array and record that the
// params point to is owned through the keep-alive list of the tensor entry they belong to.

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>

#include "modeltools/ir/DataTypes.hpp"
#include "TranslatorEntries.hpp"

namespace modeltools {
namespace {

[[noreturn]] void fail(const std::string& text) {
  throw std::invalid_argument("modeltools::IrVrxTranslator::translateQuantEncoding: " + text);
}

// Offsets are held as doubles; the backend takes them truncated to 32 bits.
int32_t toOffset(double offset) {
  constexpr double lowest = std::numeric_limits<int32_t>::min();
  constexpr double highest = std::numeric_limits<int32_t>::max();
  if (std::isnan(offset)) return 0;
  return static_cast<int32_t>(std::trunc(std::clamp(offset, lowest, highest)));
}

template <class T>
T* keepArray(IrVrxTranslator::KeepAlive& keepAlive, std::vector<T> values) {
  if (values.empty()) return nullptr;
  auto owned = std::make_shared<std::vector<T>>(std::move(values));
  keepAlive.push_back(owned);
  return owned->data();
}

template <class T>
T* keepRecord(IrVrxTranslator::KeepAlive& keepAlive, const T& value) {
  auto owned = std::make_shared<T>(value);
  keepAlive.push_back(owned);
  return owned.get();
}

std::vector<Vrx_ScaleOffset_t> scaleOffsets(const std::vector<ScaleOffsetInfo>& items) {
  std::vector<Vrx_ScaleOffset_t> pairs;
  pairs.reserve(items.size());
  for (const auto& item : items) pairs.push_back({item.scale, toOffset(item.offset)});
  return pairs;
}

std::vector<Vrx_FloatScaleOffset_t> floatScaleOffsets(const std::vector<ScaleOffsetInfo>& items) {
  std::vector<Vrx_FloatScaleOffset_t> pairs;
  pairs.reserve(items.size());
  for (const auto& item : items) pairs.push_back({item.scale, static_cast<float>(item.offset)});
  return pairs;
}

std::vector<float> scalesOf(const std::vector<ScaleOffsetInfo>& items) {
  std::vector<float> scales;
  for (const auto& item : items) scales.push_back(item.scale);
  return scales;
}

std::vector<int32_t> offsetsOf(const std::vector<ScaleOffsetInfo>& items) {
  std::vector<int32_t> offsets;
  for (const auto& item : items) offsets.push_back(toOffset(item.offset));
  return offsets;
}

uint32_t firstBitwidth(const std::vector<ScaleOffsetInfo>& items) { return items.empty() ? 0 : items.front().bitwidth; }

uint32_t count(const std::vector<ScaleOffsetInfo>& items) { return static_cast<uint32_t>(items.size()); }

// Block quantization: block sizes of 1 except along the axis. The bitwidth form (encoding 11)
// carries float offsets.
void fillBlock(const QuantInfo& info, uint32_t rank, bool bitwidthForm, Vrx_QuantizeParams_t& params,
               IrVrxTranslator::KeepAlive& keepAlive) {
  if (info.blockAxis < 0) fail("Negative BQ Axis is currently unsupported");
  if (static_cast<uint32_t>(info.blockAxis) >= rank) fail("BQ Axis must be less than tensor rank");
  if (info.blockEncodings.empty()) fail("BQ encoding requires at least one encoding info");
  std::vector<uint32_t> blockSizes(rank, 1);
  blockSizes[static_cast<size_t>(info.blockAxis)] = info.blockSize;
  // Eight-bit blocks go to the backend in the bitwidth form.
  if (bitwidthForm || info.blockEncodings.front().bitwidth == 8) {
    params.quantizationEncoding = VRX_QUANTIZATION_ENCODING_BW_BLOCK;
    params.bwBlockEncoding.bitwidth = info.blockEncodings.front().bitwidth;
    params.bwBlockEncoding.blockSize = keepArray(keepAlive, std::move(blockSizes));
    params.bwBlockEncoding.scaleOffset = keepArray(keepAlive, floatScaleOffsets(info.blockEncodings));
    return;
  }
  params.blockEncoding.blockSize = keepArray(keepAlive, std::move(blockSizes));
  params.blockEncoding.scaleOffset = keepArray(keepAlive, scaleOffsets(info.blockEncodings));
}

void fillBlockwiseExpansion(const QuantInfo& info, Vrx_QuantizeParams_t& params,
                            IrVrxTranslator::KeepAlive& keepAlive) {
  if (info.blockScales8.empty() && info.blockScales16.empty()) fail("Unpopulated LPBQ scales");
  Vrx_BlockwiseExpansion_t record{};
  record.axis = static_cast<uint32_t>(info.expansionAxis);
  record.scaleOffsets = keepArray(keepAlive, scaleOffsets(info.expansionEncodings));
  record.numBlocksPerAxis = info.numBlocksPerAxis;
  record.blockScaleBitwidth = info.blockScaleBitwidth;
  if (!info.blockScales8.empty()) {
    record.blockScaleStorageType = VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_8;
    record.blockScales8 = keepArray(keepAlive, info.blockScales8);
  } else {
    record.blockScaleStorageType = VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16;
    record.blockScales16 = keepArray(keepAlive, info.blockScales16);
  }
  params.blockwiseExpansion = keepRecord(keepAlive, record);
}

void fillGroupedBitwidth(const QuantInfo& info, Vrx_QuantizeParams_t& params, IrVrxTranslator::KeepAlive& keepAlive) {
  Vrx_GroupedBwEncoding_t record{};
  record.bitwidth = firstBitwidth(info.groupEncodings);
  record.axis = info.groupAxis;
  record.numElements = count(info.groupEncodings);
  record.scales = keepArray(keepAlive, scalesOf(info.groupEncodings));
  record.offsets = keepArray(keepAlive, offsetsOf(info.groupEncodings));
  record.groupParam0 = info.groupParam0;
  record.groupParam1 = info.groupParam1;
  record.groupFlag0 = info.groupFlag0;
  record.groupFlag1 = info.groupFlag1;
  record.groupFlag2 = info.groupFlag2;
  params.groupedBwEncoding = keepRecord(keepAlive, record);
}

void fillMappedAxis(const QuantInfo& info, Vrx_QuantizeParams_t& params, IrVrxTranslator::KeepAlive& keepAlive) {
  Vrx_BwAxisScaleOffsetMapped_t* record = nullptr;
  try {
    record = keepRecord(keepAlive, Vrx_BwAxisScaleOffsetMapped_t{});
  } catch (const std::bad_alloc&) {
    fail("Failed to allocate Vrx_BwAxisScaleOffsetMapped_t quant param");
  }
  record->bitwidth = firstBitwidth(info.axisEncodings);
  record->axis = info.axis;
  record->mappedValue = info.axisEncodings.empty() ? 0 : info.axisEncodings.front().mappedValue;
  record->numElements = count(info.axisEncodings);
  try {
    record->scales = keepArray(keepAlive, scalesOf(info.axisEncodings));
    record->offsets = keepArray(keepAlive, offsetsOf(info.axisEncodings));
  } catch (const std::bad_alloc&) {
    fail("Failed to allocate Vrx_BwAxisScaleOffsetMapped_t scales and offsets");
  }
  params.bwAxisScaleOffsetMapped = record;
}

void fillMappedVector(const QuantInfo& info, Vrx_QuantizeParams_t& params, IrVrxTranslator::KeepAlive& keepAlive) {
  Vrx_MappedVectorEncoding_t record{};
  record.mappingKind = info.mappingKind;
  record.numValues = info.numMappedValues;
  std::vector<uint32_t> values(info.mappedValues);
  values.resize(info.numMappedValues);
  record.values = keepArray(keepAlive, std::move(values));
  record.tableEntryBits = info.tableEntryBits;
  record.numTableEntries = info.numTableEntries;
  record.table = info.table8.empty() ? static_cast<void*>(keepArray(keepAlive, info.table32))
                                     : static_cast<void*>(keepArray(keepAlive, info.table8));
  params.mappedVectorEncoding = keepRecord(keepAlive, record);
}

}  // namespace

void IrVrxTranslator::translateQuantEncoding(const IrTensor& tensor, Vrx_QuantizeParams_t& params,
                                             KeepAlive& keepAlive) {
  if (modeltools::isFloat16Or32(tensor.dataType())) {
    // A float tensor has no encoding, whatever stale info it still carries.
    params = {};
    params.encodingDefinition = VRX_DEFINITION_UNDEFINED;
    params.quantizationEncoding = VRX_QUANTIZATION_ENCODING_UNDEFINED;
    return;
  }
  fillEncoding(tensor.quantInfo(), tensor, tensor.rank(), params, keepAlive);
}

void IrVrxTranslator::fillEncoding(const QuantInfo& info, const IrTensor& owner, uint32_t rank,
                                   Vrx_QuantizeParams_t& params, KeepAlive& keepAlive) {
  params = {};
  params.encodingDefinition = info.definition;
  params.quantizationEncoding = info.encoding;
  if (info.encoding == kUndefined) return;
  auto normalizeDefinition = [&] {
    if (params.encodingDefinition != 0) params.encodingDefinition = VRX_DEFINITION_DEFINED;
  };
  switch (info.encoding) {
    case VRX_QUANTIZATION_ENCODING_SCALE_OFFSET:
      params.scaleOffsetEncoding = {info.scaleOffset.scale, toOffset(info.scaleOffset.offset)};
      break;
    case VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET:
      params.axisScaleOffsetEncoding = {info.axis, count(info.axisEncodings),
                                        keepArray(keepAlive, scaleOffsets(info.axisEncodings))};
      break;
    case VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET:
      params.bwScaleOffsetEncoding = {info.scaleOffset.bitwidth, info.scaleOffset.scale,
                                      toOffset(info.scaleOffset.offset)};
      break;
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET:
      params.bwAxisScaleOffsetEncoding = {firstBitwidth(info.axisEncodings), info.axis, count(info.axisEncodings),
                                          keepArray(keepAlive, scalesOf(info.axisEncodings)),
                                          keepArray(keepAlive, offsetsOf(info.axisEncodings))};
      break;
    case VRX_QUANTIZATION_ENCODING_BLOCK: fillBlock(info, rank, false, params, keepAlive); break;
    case VRX_QUANTIZATION_ENCODING_BW_BLOCK: fillBlock(info, rank, true, params, keepAlive); break;
    case VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION: fillBlockwiseExpansion(info, params, keepAlive); break;
    case VRX_QUANTIZATION_ENCODING_GROUPED_BW: fillGroupedBitwidth(info, params, keepAlive); break;
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED: fillMappedAxis(info, params, keepAlive); break;
    case VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR: fillMappedVector(info, params, keepAlive); break;
    case VRX_QUANTIZATION_ENCODING_ARRAY: fillArrayEncoding(info, owner, rank, params, keepAlive); break;
    default:
      diagnostics_->writeError("modeltools::IrVrxTranslator::translateQuantEncoding: Unsupported quantization encoding type: ",
                               info.encoding, ". Skipping.\n");
      return;
  }
  normalizeDefinition();
}

void IrVrxTranslator::fillArrayEncoding(const QuantInfo& info, const IrTensor& owner, uint32_t rank,
                                        Vrx_QuantizeParams_t& params, KeepAlive& keepAlive) {
  Vrx_ArrayOf_t* record = nullptr;
  try {
    record = keepRecord(keepAlive, Vrx_ArrayOf_t{});
  } catch (const std::bad_alloc&) {
    fail("Failed to allocate Vrx_ArrayOf_t");
  }
  record->arrayType = info.arrayType;
  record->numElements = static_cast<uint32_t>(info.subInfos.size());
  if (const auto& associated = info.subInfoTensor) {
    TensorEntry* entry = tensorEntry(associated);
    record->associatedTensor = &entry->record;
    rank = associated->rank();
  }
  if (info.subInfos.empty()) {
    params.arrayOf = record;
    return;
  }
  try {
    record->elements = keepArray(keepAlive, std::vector<Vrx_QuantizeParams*>(info.subInfos.size(), nullptr));
  } catch (const std::bad_alloc&) {
    fail("Failed to allocate array of Vrx_QuantizeParams_t pointers");
  }
  for (size_t i = 0; i < info.subInfos.size(); ++i) {
    Vrx_QuantizeParams_t undefined{};
    undefined.encodingDefinition = VRX_DEFINITION_UNDEFINED;
    undefined.quantizationEncoding = VRX_QUANTIZATION_ENCODING_UNDEFINED;
    try {
      record->elements[i] = keepRecord(keepAlive, undefined);
    } catch (const std::bad_alloc&) {
      fail("Failed to allocate Vrx_QuantizeParams_t for array element");
    }
    fillEncoding(info.subInfos[i], owner, rank, *record->elements[i], keepAlive);
  }
  params.arrayOf = record;
}

}  // namespace modeltools
