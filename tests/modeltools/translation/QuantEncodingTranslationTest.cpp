// Quantization info back into backend encodings: what a client record can't carry (the forms
// only the library writes) and the refusals. Client encodings go round trip in RoundTripTest.

#include <gtest/gtest.h>

#include "modeltools/ir/IrTensor.hpp"
#include "modeltools/translation/IrVrxTranslator.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

ScaleOffsetInfo item(uint32_t bitwidth, float scale, double offset, uint32_t mappedValue = 0) {
  ScaleOffsetInfo info;
  info.bitwidth = bitwidth;
  info.scale = scale;
  info.offset = offset;
  info.mappedValue = mappedValue;
  return info;
}

QuantInfo encoding(uint32_t code, uint32_t definition = VRX_DEFINITION_DEFINED) {
  QuantInfo info;
  info.encoding = code;
  info.definition = definition;
  return info;
}

class QuantTranslationTest : public ::testing::Test {
 protected:
  std::shared_ptr<IrTensor> quantized(const QuantInfo& info, uint32_t dataType = VRX_DATATYPE_SFIXED_POINT_8,
                                      Dims dims = {4, 2}) {
    auto t = std::make_shared<IrTensor>(TensorFields{.name = "t" + std::to_string(tensors.size()),
                                                   .shape = IrTensorShape(std::move(dims)),
                                                   .dataType = dataType,
                                                   .quantizable = true,
                                                   .quantInfo = info});
    tensors.push_back(t);
    return t;
  }
  const Vrx_QuantizeParams_t& translate(const QuantInfo& info, uint32_t dataType = VRX_DATATYPE_SFIXED_POINT_8,
                                        Dims dims = {4, 2}) {
    return translator.getVrxTensor(quantized(info, dataType, std::move(dims)))->quantizeParams;
  }

  IrVrxTranslator translator;
  std::vector<std::shared_ptr<IrTensor>> tensors;
};

TEST_F(QuantTranslationTest, ScaleOffsetFormsNormalizeDefinitionAndTruncateOffsets) {
  QuantInfo info = encoding(VRX_QUANTIZATION_ENCODING_SCALE_OFFSET, 5);
  info.scaleOffset = item(8, 0.5f, -3.7);
  const auto& plain = translate(info);
  EXPECT_EQ(plain.encodingDefinition, 1u);
  EXPECT_EQ(plain.quantizationEncoding, 0u);
  EXPECT_FLOAT_EQ(plain.scaleOffsetEncoding.scale, 0.5f);
  EXPECT_EQ(plain.scaleOffsetEncoding.offset, -3);

  info.encoding = VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET;
  info.definition = 0;  // 0 stays 0
  info.scaleOffset = item(4, 0.25f, 7.0);
  const auto& bitwidth = translate(info);
  EXPECT_EQ(bitwidth.encodingDefinition, 0u);
  EXPECT_EQ(bitwidth.bwScaleOffsetEncoding.bitwidth, 4u);
  EXPECT_FLOAT_EQ(bitwidth.bwScaleOffsetEncoding.scale, 0.25f);
  EXPECT_EQ(bitwidth.bwScaleOffsetEncoding.offset, 7);
}

TEST_F(QuantTranslationTest, EncodingsThatCannotBeFormedAreRefused) {
  const std::string head = "modeltools::IrVrxTranslator::translateQuantEncoding: ";
  QuantInfo info = encoding(VRX_QUANTIZATION_ENCODING_BLOCK);
  info.blockEncodings = {item(4, 1.0f, 0)};
  info.blockAxis = -1;
  EXPECT_THROW_MSG(translate(info), std::invalid_argument, head + "Negative BQ Axis is currently unsupported");
  info.blockAxis = 2;
  EXPECT_THROW_MSG(translate(info), std::invalid_argument, head + "BQ Axis must be less than tensor rank");
  info.blockAxis = 0;
  info.blockEncodings.clear();
  info.encoding = VRX_QUANTIZATION_ENCODING_BW_BLOCK;
  EXPECT_THROW_MSG(translate(info), std::invalid_argument, head + "BQ encoding requires at least one encoding info");
  QuantInfo expansion = encoding(VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION);
  expansion.expansionEncodings = {item(8, 0.5f, 0)};
  EXPECT_THROW_MSG(translate(expansion), std::invalid_argument, head + "Unpopulated LPBQ scales");
  // A failed record leaves nothing behind in the cache.
  EXPECT_NE(translator.getVrxTensor(quantized(encoding(0))), nullptr);
}

TEST_F(QuantTranslationTest, BitwidthBlockFormKeepsItsBitwidthAndFloatOffsets) {
  QuantInfo info = encoding(VRX_QUANTIZATION_ENCODING_BW_BLOCK);
  info.blockAxis = 1;
  info.blockSize = 2;
  info.blockEncodings = {item(4, 0.5f, 1.5), item(4, 0.25f, -2.5), item(4, 1.0f, 3), item(4, 2.0f, 4)};
  const auto& bw = translate(info);
  EXPECT_EQ(bw.quantizationEncoding, static_cast<uint32_t>(VRX_QUANTIZATION_ENCODING_BW_BLOCK));
  EXPECT_EQ(bw.bwBlockEncoding.bitwidth, 4u);
  EXPECT_EQ(std::vector<uint32_t>(bw.bwBlockEncoding.blockSize, bw.bwBlockEncoding.blockSize + 2),
            (std::vector<uint32_t>{1, 2}));
  EXPECT_FLOAT_EQ(bw.bwBlockEncoding.scaleOffset[1].offset, -2.5f);
}

TEST_F(QuantTranslationTest, MappedVectorEncodingIsCarriedThrough) {
  QuantInfo mapped = encoding(VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR);
  mapped.mappingKind = 2;
  mapped.numMappedValues = 3;
  mapped.mappedValues = {5, 6, 7};
  mapped.tableEntryBits = 32;
  mapped.numTableEntries = 2;
  mapped.table32 = {100, 200};
  const auto* wide = translate(mapped).mappedVectorEncoding;
  ASSERT_NE(wide, nullptr);
  EXPECT_EQ(wide->mappingKind, 2u);
  EXPECT_EQ(wide->values[2], 7u);
  EXPECT_EQ(static_cast<const uint32_t*>(wide->table)[1], 200u);
  mapped.table8 = {1, 2};
  EXPECT_EQ(static_cast<const uint8_t*>(translate(mapped).mappedVectorEncoding->table)[1], 2);
}

TEST_F(QuantTranslationTest, ArrayEncodingHoldsEachSubInfoAndItsTensor) {
  QuantInfo array = encoding(VRX_QUANTIZATION_ENCODING_ARRAY, 9);
  array.arrayType = 4;
  QuantInfo first = encoding(VRX_QUANTIZATION_ENCODING_SCALE_OFFSET);
  first.scaleOffset = item(8, 0.5f, 1);
  QuantInfo second = encoding(VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET);
  second.axisEncodings = {item(8, 0.1f, 0), item(8, 0.2f, 0)};
  array.subInfos = {first, second};
  array.subInfoTensor = quantized(encoding(kUndefined), VRX_DATATYPE_UINT_8, {3});
  const auto& params = translate(array);
  EXPECT_EQ(params.encodingDefinition, 1u);
  const Vrx_ArrayOf_t* record = params.arrayOf;
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->arrayType, 4u);
  ASSERT_EQ(record->numElements, 2u);
  EXPECT_EQ(record->associatedTensor, translator.getVrxTensor(array.subInfoTensor));
  EXPECT_FLOAT_EQ(record->elements[0]->scaleOffsetEncoding.scale, 0.5f);
  EXPECT_EQ(record->elements[1]->quantizationEncoding, 1u);
  EXPECT_FLOAT_EQ(record->elements[1]->axisScaleOffsetEncoding.scaleOffset[1].scale, 0.2f);
}

}  // namespace
}  // namespace modeltools
