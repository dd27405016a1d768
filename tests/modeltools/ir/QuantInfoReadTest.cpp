// Reading every encoding from a backend record. The records are written byte by byte at
// their documented positions, so a slip in the record layout shows here too.

#include <gtest/gtest.h>

#include <cstring>

#include "modeltools/ir/IrTensor.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

// A quantization record assembled from raw bytes.
class RawQuantRecord {
 public:
  RawQuantRecord(uint32_t encoding) {
    put<uint32_t>(0, VRX_DEFINITION_DEFINED);
    put<uint32_t>(4, encoding);
  }
  template <class T>
  RawQuantRecord& put(size_t at, T value) {
    std::memcpy(bytes_ + at, &value, sizeof value);
    return *this;
  }
  const Vrx_QuantizeParams_t& record() const { return *reinterpret_cast<const Vrx_QuantizeParams_t*>(bytes_); }

 private:
  alignas(8) uint8_t bytes_[40] = {};
};

TEST(ReadQuantInfo, UndefinedRecordStaysDefault) {
  Vrx_QuantizeParams_t record{};
  record.encodingDefinition = VRX_DEFINITION_UNDEFINED;
  record.quantizationEncoding = VRX_QUANTIZATION_ENCODING_SCALE_OFFSET;
  const QuantInfo info = readQuantInfo(record, VRX_DATATYPE_UFIXED_POINT_8, {});
  EXPECT_FALSE(info.isDefined());
  EXPECT_FALSE(info.overridden);
}

TEST(ReadQuantInfo, ScaleOffsetTakesDefaultBitwidthAndSymmetryOfUnsignedTypes) {
  const QuantInfo symmetric =
      readQuantInfo(RawQuantRecord(0).put<float>(8, 0.25f).put<int32_t>(12, 128).record(), VRX_DATATYPE_UFIXED_POINT_8, {});
  EXPECT_TRUE(symmetric.overridden);
  EXPECT_EQ(symmetric.encoding, 0u);
  EXPECT_EQ(symmetric.scaleOffset.bitwidth, 8u);
  EXPECT_FLOAT_EQ(symmetric.scaleOffset.scale, 0.25f);
  EXPECT_DOUBLE_EQ(symmetric.scaleOffset.offset, 128);
  EXPECT_TRUE(symmetric.scaleOffset.isSymmetric);
  EXPECT_TRUE(symmetric.scaleOffset.isFixedPoint);

  const QuantInfo asymmetric =
      readQuantInfo(RawQuantRecord(0).put<int32_t>(12, 3).record(), VRX_DATATYPE_UFIXED_POINT_16, {});
  EXPECT_EQ(asymmetric.scaleOffset.bitwidth, 16u);
  EXPECT_FALSE(asymmetric.scaleOffset.isSymmetric);
  // Every other data type is symmetric whatever the offset.
  EXPECT_TRUE(readQuantInfo(RawQuantRecord(0).put<int32_t>(12, 3).record(), VRX_DATATYPE_SFIXED_POINT_8, {})
                  .scaleOffset.isSymmetric);
}

TEST(ReadQuantInfo, BitwidthEncodingUsesRecordBitwidth) {
  const QuantInfo info = readQuantInfo(
      RawQuantRecord(2).put<uint32_t>(8, 4).put<float>(12, 2.0f).put<int32_t>(16, 8).record(), VRX_DATATYPE_UFIXED_POINT_8, {});
  EXPECT_EQ(info.scaleOffset.bitwidth, 4u);
  EXPECT_TRUE(info.scaleOffset.isSymmetric);  // 8 == 2^(4-1)
}

TEST(ReadQuantInfo, PerAxisEncodings) {
  Vrx_ScaleOffset_t pairs[] = {{0.5f, 1}, {0.25f, 2}};
  const QuantInfo axis = readQuantInfo(
      RawQuantRecord(1).put<int32_t>(8, 3).put<uint32_t>(12, 2).put<void*>(16, pairs).record(), VRX_DATATYPE_SFIXED_POINT_8, {});
  EXPECT_EQ(axis.axis, 3);
  ASSERT_EQ(axis.axisEncodings.size(), 2u);
  EXPECT_EQ(axis.axisEncodings[1].bitwidth, 8u);
  EXPECT_DOUBLE_EQ(axis.axisEncodings[1].offset, 2);

  float scales[] = {1.f, 2.f, 3.f};
  int32_t offsets[] = {-1, -2, -3};
  const QuantInfo bw = readQuantInfo(RawQuantRecord(3)
                                         .put<uint32_t>(8, 4)
                                         .put<int32_t>(12, 0)
                                         .put<uint32_t>(16, 3)
                                         .put<void*>(24, scales)
                                         .put<void*>(32, offsets)
                                         .record(),
                                     VRX_DATATYPE_SFIXED_POINT_8, {});
  ASSERT_EQ(bw.axisEncodings.size(), 3u);
  EXPECT_EQ(bw.axisEncodings[2].bitwidth, 4u);
  EXPECT_FLOAT_EQ(bw.axisEncodings[2].scale, 3.f);
  EXPECT_DOUBLE_EQ(bw.axisEncodings[2].offset, -3);
}

TEST(ReadQuantInfo, MappedEncodingReadsNullOffsetsAsZero) {
  float scales[] = {1.f, 2.f};
  Vrx_BwAxisScaleOffsetMapped_t mapped{8, 1, 77, 2, scales, nullptr};
  const QuantInfo info =
      readQuantInfo(RawQuantRecord(8).put<void*>(8, &mapped).record(), VRX_DATATYPE_UFIXED_POINT_8, {});
  EXPECT_EQ(info.axis, 1);
  ASSERT_EQ(info.axisEncodings.size(), 2u);
  EXPECT_EQ(info.axisEncodings[1].mappedValue, 77u);
  EXPECT_DOUBLE_EQ(info.axisEncodings[1].offset, 0);
}

TEST(ReadQuantInfo, BlockEncodingsCountPairsRoundedUp) {
  const uint32_t dims[] = {5, 2};
  uint32_t blocks[] = {2, 1};  // ceil(5/2) * 2 = 6 pairs
  std::vector<Vrx_ScaleOffset_t> pairs(6);
  for (int i = 0; i < 6; ++i) pairs[i] = {static_cast<float>(i), i};
  const QuantInfo info = readQuantInfo(RawQuantRecord(4).put<void*>(8, blocks).put<void*>(16, pairs.data()).record(),
                                       VRX_DATATYPE_SFIXED_POINT_4, dims);
  EXPECT_EQ(info.blockAxis, 0);
  EXPECT_EQ(info.blockSize, 2u);
  ASSERT_EQ(info.blockEncodings.size(), 6u);
  EXPECT_EQ(info.blockEncodings[0].bitwidth, 4u);
  EXPECT_DOUBLE_EQ(info.blockEncodings[5].offset, 5);

  std::vector<Vrx_FloatScaleOffset_t> floatPairs(6, {1.f, 1.5f});
  const QuantInfo floats = readQuantInfo(
      RawQuantRecord(7).put<void*>(8, blocks).put<void*>(16, floatPairs.data()).record(), VRX_DATATYPE_SFIXED_POINT_8, dims);
  EXPECT_DOUBLE_EQ(floats.blockEncodings[5].offset, 1.5);
}

TEST(ReadQuantInfo, BlocksAcrossOtherAxesAreRefused) {
  const uint32_t dims[] = {4, 4};
  uint32_t blocks[] = {1, 2};
  Vrx_ScaleOffset_t pairs[8] = {};
  EXPECT_THROW_MSG(readQuantInfo(RawQuantRecord(4).put<void*>(8, blocks).put<void*>(16, pairs).record(),
                                 VRX_DATATYPE_SFIXED_POINT_8, dims),
                   std::invalid_argument,
                   "modeltools::readQuantInfo: block quantization is carried with blocks along axis 0 only, but the "
                   "block size of axis 1 is 2");
}

TEST(ReadQuantInfo, BlockwiseExpansionCopiesScalesOfItsStorage) {
  const uint32_t dims[] = {2, 8};
  Vrx_ScaleOffset_t pairs[] = {{1.f, 0}, {2.f, 0}};
  uint8_t scales8[] = {1, 2, 3, 4};
  Vrx_BlockwiseExpansion_t expansion{};
  expansion.axis = 0;
  expansion.scaleOffsets = pairs;
  expansion.numBlocksPerAxis = 2;
  expansion.blockScaleBitwidth = 4;
  expansion.blockScaleStorageType = VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_8;
  expansion.blockScales8 = scales8;
  const QuantInfo info =
      readQuantInfo(RawQuantRecord(5).put<void*>(8, &expansion).record(), VRX_DATATYPE_SFIXED_POINT_8, dims);
  EXPECT_EQ(info.expansionAxis, 0);
  EXPECT_EQ(info.expansionEncodings.size(), 2u);
  EXPECT_EQ(info.numBlocksPerAxis, 2u);
  EXPECT_EQ(info.blockScaleBitwidth, 4);
  EXPECT_EQ(info.blockScales8, (std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_TRUE(info.blockScales16.empty());
}

TEST(ReadQuantInfo, GroupedEncodingKeepsParametersAndFlags) {
  float scales[] = {0.5f};
  int32_t offsets[] = {4};
  Vrx_GroupedBwEncoding_t grouped{4, 2, 1, scales, offsets, 11, 12, 1, 0, 1};
  const QuantInfo info =
      readQuantInfo(RawQuantRecord(6).put<void*>(8, &grouped).record(), VRX_DATATYPE_SFIXED_POINT_8, {});
  EXPECT_EQ(info.groupAxis, 2);
  ASSERT_EQ(info.groupEncodings.size(), 1u);
  EXPECT_EQ(info.groupEncodings[0].bitwidth, 4u);
  EXPECT_EQ(info.groupParam0, 11u);
  EXPECT_EQ(info.groupParam1, 12u);
  EXPECT_EQ(info.groupFlag2, 1);
}

TEST(ReadQuantInfo, EncodingsWrittenOnlyByTheLibraryCarryNoFields) {
  const QuantInfo info = readQuantInfo(RawQuantRecord(13).put<void*>(8, nullptr).record(), VRX_DATATYPE_UFIXED_POINT_8, {});
  EXPECT_EQ(info.encoding, 13u);
  EXPECT_TRUE(info.overridden);
  EXPECT_TRUE(info.subInfos.empty());
}

}  // namespace
}  // namespace modeltools
