#pragma once

// The JSON fields of every quantization encoding, told once for reading and for writing.
// `Io` is the reader or the writer; each call names a key and the record member behind it:
//   value(key, member)          one number
//   count(n, {keys})            reading: n from the length of the arrays under the keys
//   array(key, pointer, n)      n values, or null
//   pairs(pointer, n)           n scale-offset pairs as parallel arrays "scales" and "offsets"
//   record(pointer, fields)     a record behind a pointer, its fields flattened into this object
//   arrayOf(pointer, dims)      encoding 13, whose elements are quantization objects again
//   raw(bytes)                  the union of an encoding that has no fields of its own here

#include <initializer_list>
#include <span>

#include "JsonInput.hpp"
#include "VrxBackendRecords.h"

namespace vrx::tools {

// Scale-offset pairs of a block encoding: the product of dims(i) / blockSize(i), rounded up.
inline size_t blockPairCount(const uint32_t* blockSize, std::span<const uint32_t> dims, const Location& where) {
  if (blockSize == nullptr) return 0;
  size_t count = 1;
  for (size_t i = 0; i < dims.size(); ++i) {
    if (blockSize[i] == 0) where.fail("block size of axis " + std::to_string(i) + " is 0");
    count *= (dims[i] + blockSize[i] - 1) / blockSize[i];
  }
  return count;
}

inline uint32_t dimensionAt(std::span<const uint32_t> dims, int64_t axis, const Location& where) {
  if (axis < 0 || static_cast<size_t>(axis) >= dims.size()) {
    where.fail("axis " + std::to_string(axis) + " is outside the tensor's rank " + std::to_string(dims.size()));
  }
  return dims[static_cast<size_t>(axis)];
}

template <class Io>
void visitBlockwiseExpansion(Io& io, Vrx_BlockwiseExpansion_t& e, std::span<const uint32_t> dims) {
  io.value("axis", e.axis);
  const size_t channels = dimensionAt(dims, e.axis, io.where());
  io.pairs(e.scaleOffsets, channels);
  io.value("numBlocksPerAxis", e.numBlocksPerAxis);
  io.value("blockScaleBitwidth", e.blockScaleBitwidth);
  io.value("blockScaleStorageType", e.blockScaleStorageType);
  const size_t scales = channels * e.numBlocksPerAxis;
  if (e.blockScaleStorageType == VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16) {
    io.array("blockScales", e.blockScales16, scales);
  } else {
    io.array("blockScales", e.blockScales8, scales);
  }
}

template <class Io>
void visitGroupedBw(Io& io, Vrx_GroupedBwEncoding_t& e) {
  io.value("bitwidth", e.bitwidth);
  io.value("axis", e.axis);
  io.count(e.numElements, {"scales", "offsets"});
  io.array("scales", e.scales, e.numElements);
  io.array("offsets", e.offsets, e.numElements);
  io.value("groupParam0", e.groupParam0);
  io.value("groupParam1", e.groupParam1);
  io.value("groupFlag0", e.groupFlag0);
  io.value("groupFlag1", e.groupFlag1);
  io.value("groupFlag2", e.groupFlag2);
}

template <class Io>
void visitAxisMapped(Io& io, Vrx_BwAxisScaleOffsetMapped_t& e) {
  io.value("bitwidth", e.bitwidth);
  io.value("axis", e.axis);
  io.value("mappedValue", e.mappedValue);
  io.count(e.numElements, {"scales", "offsets"});
  io.array("scales", e.scales, e.numElements);
  io.array("offsets", e.offsets, e.numElements);
}

template <class Io>
void visitMappedVector(Io& io, Vrx_MappedVectorEncoding_t& e) {
  io.value("mappingKind", e.mappingKind);
  io.count(e.numValues, {"values"});
  io.array("values", e.values, e.numValues);
  io.value("tableEntryBits", e.tableEntryBits);
  io.count(e.numTableEntries, {"table"});
  // The table's entries are bytes when the record says 8 bits, 32-bit words otherwise.
  if (e.tableEntryBits == 8) {
    auto* table = static_cast<uint8_t*>(e.table);
    io.array("table", table, e.numTableEntries);
    e.table = table;
  } else {
    auto* table = static_cast<uint32_t*>(e.table);
    io.array("table", table, e.numTableEntries);
    e.table = table;
  }
}

template <class Io>
void visitEncodingFields(Io& io, Vrx_QuantizeParams_t& q, std::span<const uint32_t> dims) {
  switch (q.quantizationEncoding) {
    case VRX_QUANTIZATION_ENCODING_SCALE_OFFSET:
      io.value("scale", q.scaleOffsetEncoding.scale);
      io.value("offset", q.scaleOffsetEncoding.offset);
      return;
    case VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET: {
      auto& e = q.axisScaleOffsetEncoding;
      io.value("axis", e.axis);
      io.count(e.numScaleOffsets, {"scales", "offsets"});
      io.pairs(e.scaleOffset, e.numScaleOffsets);
      return;
    }
    case VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET:
      io.value("bitwidth", q.bwScaleOffsetEncoding.bitwidth);
      io.value("scale", q.bwScaleOffsetEncoding.scale);
      io.value("offset", q.bwScaleOffsetEncoding.offset);
      return;
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET: {
      auto& e = q.bwAxisScaleOffsetEncoding;
      io.value("bitwidth", e.bitwidth);
      io.value("axis", e.axis);
      io.count(e.numElements, {"scales", "offsets"});
      io.array("scales", e.scales, e.numElements);
      io.array("offsets", e.offsets, e.numElements);
      return;
    }
    case VRX_QUANTIZATION_ENCODING_BLOCK:
    case VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK: {
      auto& e = q.blockEncoding;
      io.array("blockSize", e.blockSize, dims.size());
      const size_t pairs = blockPairCount(e.blockSize, dims, io.where());
      if (q.quantizationEncoding == VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK) {
        io.pairs(e.floatScaleOffset, pairs);
      } else {
        io.pairs(e.scaleOffset, pairs);
      }
      return;
    }
    case VRX_QUANTIZATION_ENCODING_BW_BLOCK: {
      auto& e = q.bwBlockEncoding;
      io.value("bitwidth", e.bitwidth);
      io.array("blockSize", e.blockSize, dims.size());
      io.pairs(e.scaleOffset, blockPairCount(e.blockSize, dims, io.where()));
      return;
    }
    case VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION:
      io.record(q.blockwiseExpansion, [&](Vrx_BlockwiseExpansion_t& e) { visitBlockwiseExpansion(io, e, dims); });
      return;
    case VRX_QUANTIZATION_ENCODING_GROUPED_BW:
      io.record(q.groupedBwEncoding, [&](Vrx_GroupedBwEncoding_t& e) { visitGroupedBw(io, e); });
      return;
    case VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED:
      io.record(q.bwAxisScaleOffsetMapped, [&](Vrx_BwAxisScaleOffsetMapped_t& e) { visitAxisMapped(io, e); });
      return;
    case VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR:
      io.record(q.mappedVectorEncoding, [&](Vrx_MappedVectorEncoding_t& e) { visitMappedVector(io, e); });
      return;
    case VRX_QUANTIZATION_ENCODING_ARRAY:
      io.arrayOf(q.arrayOf, dims);
      return;
    case VRX_QUANTIZATION_ENCODING_UNDEFINED:
      return;
    default:
      // An encoding this library doesn't know is carried as it stands.
      io.raw(q.raw);
      return;
  }
}

}  // namespace vrx::tools
