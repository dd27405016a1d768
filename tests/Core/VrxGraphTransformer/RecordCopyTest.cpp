// Deep copies of client records: every encoding's arrays are copied, so the client's memory
// may be overwritten after the call.

#include <gtest/gtest.h>

#include <deque>
#include <tuple>

#include "RecordCopy.hpp"
#include "support/Records.hpp"

namespace vrx::test {
namespace {

using core::graphtransformer::OpConfigCopy;
using core::graphtransformer::TensorRecordCopy;

template <class T>
std::vector<T> list(const T* p, size_t n) {
  return std::vector<T>(p, p + n);
}

class RecordCopyTest : public ::testing::Test {
 protected:
  Vrx_Tensor_t quantized(uint32_t encoding, std::vector<uint32_t> dims = {2, 4}) {
    Vrx_Tensor_t t = records.tensor("q", VRX_TENSORTYPE_NATIVE, std::move(dims), VRX_DATATYPE_UFIXED_POINT_8);
    t.quantizeParams.encodingDefinition = VRX_DEFINITION_DEFINED;
    t.quantizeParams.quantizationEncoding = encoding;
    return t;
  }
  // A copy that lives as long as the test.
  const Vrx_Tensor_t& copy(const Vrx_Tensor_t& t) { return copies.emplace_back(t).record(); }
  const Vrx_QuantizeParams_t& copyQuant(const Vrx_Tensor_t& t) { return copy(t).quantizeParams; }

  Records records;
  std::deque<TensorRecordCopy> copies;
};

TEST_F(RecordCopyTest, TensorFieldsSurviveClientScribble) {
  Vrx_Tensor_t t = records.staticTensor("w", {2, 3}, VRX_DATATYPE_UINT_8, {1, 2, 3, 4, 5, 6});
  t.isDynamicDimensions = records.array<uint8_t>({0, 1});
  t.sparseParams = {VRX_SPARSE_LAYOUT_HYBRID_COO, 9, 2};
  t.id = 17;
  const Vrx_Tensor_t& c = copy(t);
  records.scribble();

  EXPECT_EQ(std::tuple(c.version, c.id, c.type), std::tuple(2u, 17u, uint32_t{VRX_TENSORTYPE_STATIC}));
  EXPECT_STREQ(c.name, "w");
  EXPECT_EQ(list(c.dimensions, c.rank), (std::vector<uint32_t>{2, 3}));
  EXPECT_EQ(list(c.isDynamicDimensions, 2), (std::vector<uint8_t>{0, 1}));
  EXPECT_EQ(list(static_cast<const uint8_t*>(c.clientBuf.data), c.clientBuf.dataSize),
            (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(c.sparseParams.layout, 0u);
  EXPECT_EQ(c.sparseParams.numSpecifiedElements, 9u);
}

TEST_F(RecordCopyTest, PointersNotToBeFollowedAreNot) {
  // A version-1 record has no version-2 fields, whatever they hold.
  Vrx_Tensor_t v1 = records.tensor("v1", VRX_TENSORTYPE_NATIVE, {3});
  v1.version = 1;
  v1.isDynamicDimensions = reinterpret_cast<uint8_t*>(0x10);
  v1.sparseParams = {0, 5, 5};
  EXPECT_EQ(copy(v1).isDynamicDimensions, nullptr);
  EXPECT_EQ(copy(v1).sparseParams.layout, static_cast<uint32_t>(VRX_SPARSE_LAYOUT_UNDEFINED));
  // Null stays null; a buffer in other memory is a handle, carried as it is.
  Vrx_Tensor_t foreign = records.tensor("n", VRX_TENSORTYPE_NATIVE, {});
  foreign.memType = 1;
  foreign.clientBuf.data = reinterpret_cast<void*>(0x1234);
  EXPECT_EQ(copy(foreign).dimensions, nullptr);
  EXPECT_EQ(copy(foreign).clientBuf.data, reinterpret_cast<void*>(0x1234));
}

TEST_F(RecordCopyTest, EveryEncodingSurvivesClientScribble) {
  Vrx_Tensor_t t = quantized(VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET);
  t.quantizeParams.bwScaleOffsetEncoding = {4, 0.5f, -3};
  const auto& bw = copyQuant(t).bwScaleOffsetEncoding;
  t = quantized(VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET);
  t.quantizeParams.axisScaleOffsetEncoding = {1, 2, records.array<Vrx_ScaleOffset_t>({{0.1f, 1}, {0.2f, 2}})};
  const auto& axis = copyQuant(t).axisScaleOffsetEncoding;
  t = quantized(VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET);
  t.quantizeParams.bwAxisScaleOffsetEncoding = {8, 0, 2, records.array<float>({1.f, 2.f}),
                                                records.array<int32_t>({5, 6})};
  const auto& bwAxis = copyQuant(t).bwAxisScaleOffsetEncoding;
  // dims {2, 5} with blocks {1, 2}: 2 * ceil(5 / 2) = 6 pairs
  std::vector<Vrx_ScaleOffset_t> pairs;
  for (int i = 0; i < 6; ++i) pairs.push_back({static_cast<float>(i), i});
  t = quantized(VRX_QUANTIZATION_ENCODING_BLOCK, {2, 5});
  t.quantizeParams.blockEncoding = {records.array<uint32_t>({1, 2}), {records.array(pairs)}};
  const auto& block = copyQuant(t).blockEncoding;
  t = quantized(VRX_QUANTIZATION_ENCODING_BW_BLOCK, {2, 5});
  t.quantizeParams.bwBlockEncoding = {8, records.array<uint32_t>({2, 5}),
                                      records.array<Vrx_FloatScaleOffset_t>({{3.f, 0.5f}})};
  const auto& bwBlock = copyQuant(t).bwBlockEncoding;
  Vrx_BlockwiseExpansion_t expansion{0, records.array<Vrx_ScaleOffset_t>({{1.f, 0}, {2.f, 0}, {3.f, 0}}), 2, 4,
                                     VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16, {}};
  expansion.blockScales16 = records.array<uint16_t>({1, 2, 3, 4, 5, 600});  // scales of the 16-bit storage
  t = quantized(VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION, {3, 4});
  t.quantizeParams.blockwiseExpansion = records.array<Vrx_BlockwiseExpansion_t>({expansion});
  const auto* expanded = copyQuant(t).blockwiseExpansion;
  t = quantized(VRX_QUANTIZATION_ENCODING_GROUPED_BW);
  t.quantizeParams.groupedBwEncoding = records.array<Vrx_GroupedBwEncoding_t>(
      {{4, 1, 2, records.array<float>({0.5f, 0.25f}), records.array<int32_t>({1, 2}), 7, 8, 1, 0, 1}});
  const auto* grouped = copyQuant(t).groupedBwEncoding;
  t = quantized(VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED);
  t.quantizeParams.bwAxisScaleOffsetMapped =
      records.array<Vrx_BwAxisScaleOffsetMapped_t>({{8, 0, 42, 2, records.array<float>({1.f, 2.f}), nullptr}});
  const auto* mapped = copyQuant(t).bwAxisScaleOffsetMapped;
  t = quantized(VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR);
  t.quantizeParams.mappedVectorEncoding = records.array<Vrx_MappedVectorEncoding_t>(
      {{3, 2, records.array<uint32_t>({10, 11}), 8, 3, records.array<uint8_t>({7, 8, 9})}});
  const auto* vector = copyQuant(t).mappedVectorEncoding;
  Vrx_QuantizeParams_t element = quantized(VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET).quantizeParams;
  element.axisScaleOffsetEncoding = {0, 1, records.array<Vrx_ScaleOffset_t>({{9.f, 9}})};
  t = quantized(VRX_QUANTIZATION_ENCODING_ARRAY);
  t.quantizeParams.arrayOf = records.array<Vrx_ArrayOf_t>(
      {{5, 2, records.array<Vrx_Tensor_t>({records.tensor("assoc", VRX_TENSORTYPE_NATIVE, {1})}),
        records.array<Vrx_QuantizeParams_t*>({records.array<Vrx_QuantizeParams_t>({element}), nullptr})}});
  const auto* array = copyQuant(t).arrayOf;
  records.scribble();

  EXPECT_EQ(std::tuple(bw.bitwidth, bw.scale, bw.offset), std::tuple(4u, 0.5f, -3));
  EXPECT_EQ(std::tuple(axis.axis, axis.numScaleOffsets), std::tuple(1, 2u));
  EXPECT_EQ(std::tuple(axis.scaleOffset[1].scale, axis.scaleOffset[1].offset), std::tuple(0.2f, 2));
  EXPECT_EQ(std::tuple(bwAxis.scales[1], bwAxis.offsets[0]), std::tuple(2.f, 5));
  EXPECT_EQ(std::tuple(block.blockSize[1], block.scaleOffset[5].offset), std::tuple(2u, 5));
  EXPECT_EQ(bwBlock.scaleOffset[0].offset, 0.5f);
  EXPECT_EQ(std::tuple(expanded->scaleOffsets[2].scale, expanded->blockScales16[5], expanded->blockScaleBitwidth),
            std::tuple(3.f, uint16_t{600}, uint8_t{4}));
  EXPECT_EQ(std::tuple(grouped->scales[1], grouped->groupParam1, grouped->groupFlag2),
            std::tuple(0.25f, 8u, uint8_t{1}));
  EXPECT_EQ(mapped->mappedValue, 42u);
  EXPECT_EQ(mapped->offsets, nullptr);
  EXPECT_EQ(vector->values[1], 11u);
  EXPECT_EQ(static_cast<const uint8_t*>(vector->table)[2], 9);
  EXPECT_EQ(array->arrayType, 5u);
  EXPECT_STREQ(array->associatedTensor->name, "assoc");
  EXPECT_EQ(array->elements[0]->axisScaleOffsetEncoding.scaleOffset[0].scale, 9.f);
  EXPECT_EQ(array->elements[1], nullptr);
}

TEST_F(RecordCopyTest, ZeroBlockSizeIsRefused) {
  Vrx_Tensor_t t = quantized(VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK, {2, 5});
  t.quantizeParams.blockEncoding = {records.array<uint32_t>({1, 0}), {records.array<Vrx_ScaleOffset_t>({{1.f, 1}})}};
  EXPECT_THROW(TensorRecordCopy{t}, std::invalid_argument);
}

TEST_F(RecordCopyTest, OpConfigCopiesParamsAndTensorsAndOtherVersionsOnlyTheirVersion) {
  Vrx_Param_t text = records.scalarU32("mode", 0);
  text.scalar.dataType = VRX_DATATYPE_STRING;
  text.scalar.value.stringValue = records.text("nearest");
  Vrx_OpConfig_t op = records.op("conv", "Conv2d", {records.tensor("x", VRX_TENSORTYPE_APP_WRITE, {1, 2})},
                                 {records.tensor("y", VRX_TENSORTYPE_NATIVE, {1, 2})},
                                 {records.tensorU32("stride", {2, 2}, {2}), text}, "my.pkg");
  const OpConfigCopy copy(op);
  op.version = 2;
  const OpConfigCopy newer(op);
  records.scribble();

  const Vrx_OpConfig_t& c = copy.record();
  EXPECT_STREQ(c.name, "conv");
  EXPECT_STREQ(c.packageName, "my.pkg");
  EXPECT_STREQ(c.typeName, "Conv2d");
  ASSERT_EQ(c.numOfParams, 2u);
  EXPECT_STREQ(c.params[0].tensor.name, "stride");
  EXPECT_EQ(static_cast<const uint32_t*>(c.params[0].tensor.clientBuf.data)[1], 2u);
  EXPECT_STREQ(c.params[1].scalar.value.stringValue, "nearest");
  EXPECT_STREQ(c.inputTensors[0].name, "x");
  EXPECT_STREQ(c.outputTensors[0].name, "y");
  EXPECT_EQ(newer.record().version, 2u);
  EXPECT_EQ(newer.record().name, nullptr);
}

}  // namespace
}  // namespace vrx::test
