#include "RecordCopy.hpp"

#include <stdexcept>
#include <string>

namespace vrx::core::graphtransformer {
namespace {

// Nested array encodings may hold array encodings; a record deeper than this is refused
// rather than followed without end.
constexpr int kMaxQuantNesting = 8;

std::invalid_argument copyError(const std::string& text) {
  return std::invalid_argument("vrx::core::graphtransformer::copyQuantizeParams: " + text);
}

// Number of scale-offset pairs of a block encoding: the product of dims(i) / blockSize(i), rounded up.
size_t blockPairCount(const uint32_t* blockSize, std::span<const uint32_t> dims) {
  if (blockSize == nullptr) return 0;
  size_t count = 1;
  for (size_t i = 0; i < dims.size(); ++i) {
    if (blockSize[i] == 0) throw copyError("block size of axis " + std::to_string(i) + " is 0");
    count *= (dims[i] + blockSize[i] - 1) / blockSize[i];
  }
  return count;
}

uint32_t dimAt(std::span<const uint32_t> dims, int64_t axis, const char* encoding) {
  if (axis < 0 || static_cast<size_t>(axis) >= dims.size()) {
    throw copyError(std::string(encoding) + " axis " + std::to_string(axis) + " is outside rank " +
                    std::to_string(dims.size()));
  }
  return dims[static_cast<size_t>(axis)];
}

Vrx_QuantizeParams_t copyQuantizeParamsAt(const Vrx_QuantizeParams_t& source, std::span<const uint32_t> dims,
                                          RecordArena& arena, int depth);

Vrx_Tensor_t copyTensorRecordAt(const Vrx_Tensor_t& source, RecordArena& arena, int depth) {
  Vrx_Tensor_t copy{};
  // A version 1 record may end before the version 2 fields: never read them.
  const size_t readable = source.version == 2 ? sizeof(Vrx_Tensor_t) : offsetof(Vrx_Tensor_t, isDynamicDimensions);
  std::memcpy(static_cast<void*>(&copy), &source, readable);
  if (source.version != 2) {
    copy.isDynamicDimensions = nullptr;
    copy.sparseParams = {VRX_SPARSE_LAYOUT_UNDEFINED, 0, 0};
  }
  copy.name = arena.copyString(source.name);
  copy.dimensions = arena.copyArray(source.dimensions, source.rank);
  if (copy.isDynamicDimensions != nullptr) copy.isDynamicDimensions = arena.copyArray(source.isDynamicDimensions, source.rank);
  // Only memType 0 says that clientBuf is a buffer; any other value is carried as it stands.
  if (source.memType == 0 && source.clientBuf.data != nullptr) {
    copy.clientBuf.data = arena.copyArray(static_cast<const std::byte*>(source.clientBuf.data), source.clientBuf.dataSize);
  }
  const std::span<const uint32_t> dims(copy.dimensions, copy.dimensions ? copy.rank : 0);
  copy.quantizeParams = copyQuantizeParamsAt(source.quantizeParams, dims, arena, depth);
  return copy;
}

Vrx_ArrayOf_t* copyArrayOf(const Vrx_ArrayOf_t* source, std::span<const uint32_t> dims, RecordArena& arena,
                           int depth) {
  if (source == nullptr) return nullptr;
  if (depth >= kMaxQuantNesting) throw copyError("array encodings nested too deeply");
  auto* copy = arena.copyArray(source, 1);
  if (source->associatedTensor != nullptr) {
    auto* tensor = arena.allocate<Vrx_Tensor_t>(1);
    *tensor = copyTensorRecordAt(*source->associatedTensor, arena, depth + 1);
    copy->associatedTensor = tensor;
    dims = std::span<const uint32_t>(tensor->dimensions, tensor->dimensions ? tensor->rank : 0);
  }
  if (source->elements != nullptr) {
    copy->elements = arena.allocate<Vrx_QuantizeParams_t*>(source->numElements);
    for (uint32_t i = 0; i < source->numElements; ++i) {
      if (source->elements[i] == nullptr) continue;
      auto* element = arena.allocate<Vrx_QuantizeParams_t>(1);
      *element = copyQuantizeParamsAt(*source->elements[i], dims, arena, depth + 1);
      copy->elements[i] = element;
    }
  }
  return copy;
}

Vrx_QuantizeParams_t copyQuantizeParamsAt(const Vrx_QuantizeParams_t& source, std::span<const uint32_t> dims,
                                          RecordArena& arena, int depth) {
  Vrx_QuantizeParams_t copy = source;
  if (source.encodingDefinition == VRX_DEFINITION_UNDEFINED) return copy;
  switch (source.quantizationEncoding) {
    case VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET: {
      const auto& enc = source.axisScaleOffsetEncoding;
      copy.axisScaleOffsetEncoding.scaleOffset = arena.copyArray(enc.scaleOffset, enc.numScaleOffsets);
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET: {
      const auto& enc = source.bwAxisScaleOffsetEncoding;
      copy.bwAxisScaleOffsetEncoding.scales = arena.copyArray(enc.scales, enc.numElements);
      copy.bwAxisScaleOffsetEncoding.offsets = arena.copyArray(enc.offsets, enc.numElements);
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BLOCK:
    case VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK: {
      const auto& enc = source.blockEncoding;
      const size_t pairs = blockPairCount(enc.blockSize, dims);
      copy.blockEncoding.blockSize = arena.copyArray(enc.blockSize, dims.size());
      copy.blockEncoding.scaleOffset = arena.copyArray(enc.scaleOffset, pairs);
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BW_BLOCK: {
      const auto& enc = source.bwBlockEncoding;
      const size_t pairs = blockPairCount(enc.blockSize, dims);
      copy.bwBlockEncoding.blockSize = arena.copyArray(enc.blockSize, dims.size());
      copy.bwBlockEncoding.scaleOffset = arena.copyArray(enc.scaleOffset, pairs);
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION: {
      const auto* enc = source.blockwiseExpansion;
      if (enc == nullptr) break;
      const size_t channels = dimAt(dims, enc->axis, "blockwise expansion");
      auto* record = arena.copyArray(enc, 1);
      record->scaleOffsets = arena.copyArray(enc->scaleOffsets, channels);
      const size_t scales = channels * enc->numBlocksPerAxis;
      if (enc->blockScaleStorageType == VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16) {
        record->blockScales16 = arena.copyArray(enc->blockScales16, scales);
      } else {
        record->blockScales8 = arena.copyArray(enc->blockScales8, scales);
      }
      copy.blockwiseExpansion = record;
      break;
    }
    case VRX_QUANTIZATION_ENCODING_GROUPED_BW: {
      const auto* enc = source.groupedBwEncoding;
      if (enc == nullptr) break;
      auto* record = arena.copyArray(enc, 1);
      record->scales = arena.copyArray(enc->scales, enc->numElements);
      record->offsets = arena.copyArray(enc->offsets, enc->numElements);
      copy.groupedBwEncoding = record;
      break;
    }
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED: {
      const auto* enc = source.bwAxisScaleOffsetMapped;
      if (enc == nullptr) break;
      auto* record = arena.copyArray(enc, 1);
      record->scales = arena.copyArray(enc->scales, enc->numElements);
      record->offsets = arena.copyArray(enc->offsets, enc->numElements);
      copy.bwAxisScaleOffsetMapped = record;
      break;
    }
    case VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR: {
      const auto* enc = source.mappedVectorEncoding;
      if (enc == nullptr) break;
      auto* record = arena.copyArray(enc, 1);
      record->values = arena.copyArray(enc->values, enc->numValues);
      const size_t entryBytes = enc->tableEntryBits == 8 ? 1 : 4;
      record->table = arena.copyArray(static_cast<const std::byte*>(enc->table), enc->numTableEntries * entryBytes);
      copy.mappedVectorEncoding = record;
      break;
    }
    case VRX_QUANTIZATION_ENCODING_ARRAY:
      copy.arrayOf = copyArrayOf(source.arrayOf, dims, arena, depth);
      break;
    default:
      // Encodings 0 and 2 hold values only; unknown encodings are carried as they stand.
      break;
  }
  return copy;
}

Vrx_Param_t copyParam(const Vrx_Param_t& source, RecordArena& arena) {
  Vrx_Param_t copy = source;
  copy.name = arena.copyString(source.name);
  if (source.paramType == VRX_PARAMTYPE_TENSOR) {
    copy.tensor = copyTensorRecordAt(source.tensor, arena, 0);
  } else if (source.scalar.dataType == VRX_DATATYPE_STRING) {
    copy.scalar.value.stringValue = arena.copyString(source.scalar.value.stringValue);
  }
  return copy;
}

Vrx_Tensor_t* copyTensorArray(const Vrx_Tensor_t* source, uint32_t count, RecordArena& arena) {
  if (source == nullptr) return nullptr;
  auto* copy = arena.allocate<Vrx_Tensor_t>(count);
  for (uint32_t i = 0; i < count; ++i) copy[i] = copyTensorRecordAt(source[i], arena, 0);
  return copy;
}

}  // namespace

const char* RecordArena::copyString(const char* source) {
  if (source == nullptr) return nullptr;
  return copyArray(source, std::strlen(source) + 1);
}

Vrx_Tensor_t copyTensorRecord(const Vrx_Tensor_t& source, RecordArena& arena) {
  return copyTensorRecordAt(source, arena, 0);
}

Vrx_QuantizeParams_t copyQuantizeParams(const Vrx_QuantizeParams_t& source, std::span<const uint32_t> dims,
                                        RecordArena& arena) {
  return copyQuantizeParamsAt(source, dims, arena, 0);
}

Vrx_OpConfig_t copyOpConfig(const Vrx_OpConfig_t& source, RecordArena& arena) {
  Vrx_OpConfig_t copy{};
  copy.version = source.version;
  if (source.version != 1) return copy;
  copy.name = arena.copyString(source.name);
  copy.packageName = arena.copyString(source.packageName);
  copy.typeName = arena.copyString(source.typeName);
  copy.numOfParams = source.numOfParams;
  if (source.params != nullptr) {
    copy.params = arena.allocate<Vrx_Param_t>(source.numOfParams);
    for (uint32_t i = 0; i < source.numOfParams; ++i) copy.params[i] = copyParam(source.params[i], arena);
  }
  copy.numOfInputs = source.numOfInputs;
  copy.inputTensors = copyTensorArray(source.inputTensors, source.numOfInputs, arena);
  copy.numOfOutputs = source.numOfOutputs;
  copy.outputTensors = copyTensorArray(source.outputTensors, source.numOfOutputs, arena);
  return copy;
}

TensorRecordCopy::TensorRecordCopy(const Vrx_Tensor_t& source)
    : arena_(std::make_unique<RecordArena>()), record_(copyTensorRecord(source, *arena_)) {}

OpConfigCopy::OpConfigCopy(const Vrx_OpConfig_t& source)
    : arena_(std::make_unique<RecordArena>()), record_(copyOpConfig(source, *arena_)) {}

}  // namespace vrx::core::graphtransformer
