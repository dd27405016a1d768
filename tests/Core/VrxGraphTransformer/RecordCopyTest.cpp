// Deep copies of client records: every encoding's arrays are copied, so the client's memory
// may be overwritten after the call.

#include <gtest/gtest.h>

#include <cstring>

#include "RecordCopy.hpp"
#include "support/Records.hpp"

namespace vrx::test {
namespace {

using core::graphtransformer::OpConfigCopy;
using core::graphtransformer::TensorRecordCopy;

class RecordCopyTest : public ::testing::Test {
 protected:
  Vrx_Tensor_t quantized(uint32_t encoding, std::vector<uint32_t> dims = {2, 4}) {
    Vrx_Tensor_t t = records.tensor("q", VRX_TENSORTYPE_NATIVE, std::move(dims), VRX_DATATYPE_UFIXED_POINT_8);
    t.quantizeParams.encodingDefinition = VRX_DEFINITION_DEFINED;
    t.quantizeParams.quantizationEncoding = encoding;
    return t;
  }
  Records records;
};

TEST_F(RecordCopyTest, TensorFieldsSurviveClientScribble) {
  Vrx_Tensor_t t = records.staticTensor("w", {2, 3}, VRX_DATATYPE_UINT_8, {1, 2, 3, 4, 5, 6});
  t.isDynamicDimensions = records.array<uint8_t>({0, 1});
  t.sparseParams = {VRX_SPARSE_LAYOUT_HYBRID_COO, 9, 2};
  t.id = 17;
  TensorRecordCopy copy(t);
  records.scribble();

  const Vrx_Tensor_t& c = copy.record();
  EXPECT_EQ(c.version, 2u);
  EXPECT_EQ(c.id, 17u);
  EXPECT_STREQ(c.name, "w");
  EXPECT_EQ(c.type, VRX_TENSORTYPE_STATIC);
  EXPECT_EQ(std::vector<uint32_t>(c.dimensions, c.dimensions + c.rank), (std::vector<uint32_t>{2, 3}));
  EXPECT_EQ(std::vector<uint8_t>(c.isDynamicDimensions, c.isDynamicDimensions + 2), (std::vector<uint8_t>{0, 1}));
  const auto* data = static_cast<const uint8_t*>(c.clientBuf.data);
  EXPECT_EQ(std::vector<uint8_t>(data, data + c.clientBuf.dataSize), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(c.sparseParams.layout, 0u);
  EXPECT_EQ(c.sparseParams.numSpecifiedElements, 9u);
}

TEST_F(RecordCopyTest, VersionOneRecordIgnoresVersionTwoFields) {
  Vrx_Tensor_t t = records.tensor("v1", VRX_TENSORTYPE_NATIVE, {3});
  t.version = 1;
  t.isDynamicDimensions = reinterpret_cast<uint8_t*>(0x10);  // not to be followed
  t.sparseParams = {0, 5, 5};
  TensorRecordCopy copy(t);
  EXPECT_EQ(copy.record().isDynamicDimensions, nullptr);
  EXPECT_EQ(copy.record().sparseParams.layout, static_cast<uint32_t>(VRX_SPARSE_LAYOUT_UNDEFINED));
}

TEST_F(RecordCopyTest, NullPointersStayNullAndForeignBuffersAreCarried) {
  Vrx_Tensor_t t = records.tensor("n", VRX_TENSORTYPE_NATIVE, {});
  t.memType = 1;
  t.clientBuf.data = reinterpret_cast<void*>(0x1234);  // a memory handle, not a buffer
  TensorRecordCopy copy(t);
  EXPECT_EQ(copy.record().dimensions, nullptr);
  EXPECT_EQ(copy.record().clientBuf.data, reinterpret_cast<void*>(0x1234));
}

TEST_F(RecordCopyTest, ScalarEncodingsAreCopiedByValue) {
  Vrx_Tensor_t t = quantized(VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET);
  t.quantizeParams.bwScaleOffsetEncoding = {4, 0.5f, -3};
  TensorRecordCopy copy(t);
  EXPECT_EQ(copy.record().quantizeParams.bwScaleOffsetEncoding.bitwidth, 4u);
  EXPECT_FLOAT_EQ(copy.record().quantizeParams.bwScaleOffsetEncoding.scale, 0.5f);
  EXPECT_EQ(copy.record().quantizeParams.bwScaleOffsetEncoding.offset, -3);
}

TEST_F(RecordCopyTest, AxisEncodingsCopyTheirArrays) {
  Vrx_Tensor_t axis = quantized(VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET);
  axis.quantizeParams.axisScaleOffsetEncoding = {1, 2, records.array<Vrx_ScaleOffset_t>({{0.1f, 1}, {0.2f, 2}})};
  Vrx_Tensor_t bw = quantized(VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET);
  bw.quantizeParams.bwAxisScaleOffsetEncoding = {8, 0, 2, records.array<float>({1.f, 2.f}), records.array<int32_t>({5, 6})};
  TensorRecordCopy axisCopy(axis), bwCopy(bw);
  records.scribble();

  const auto& a = axisCopy.record().quantizeParams.axisScaleOffsetEncoding;
  EXPECT_EQ(a.axis, 1);
  ASSERT_EQ(a.numScaleOffsets, 2u);
  EXPECT_FLOAT_EQ(a.scaleOffset[1].scale, 0.2f);
  EXPECT_EQ(a.scaleOffset[1].offset, 2);
  const auto& b = bwCopy.record().quantizeParams.bwAxisScaleOffsetEncoding;
  EXPECT_FLOAT_EQ(b.scales[1], 2.f);
  EXPECT_EQ(b.offsets[0], 5);
}

TEST_F(RecordCopyTest, BlockEncodingsCopyOnePairPerBlockRoundedUp) {
  // dims {2, 5} with blocks {1, 2}: 2 * ceil(5 / 2) = 6 pairs
  Vrx_Tensor_t t = quantized(VRX_QUANTIZATION_ENCODING_BLOCK, {2, 5});
  std::vector<Vrx_ScaleOffset_t> pairs;
  for (int i = 0; i < 6; ++i) pairs.push_back({static_cast<float>(i), i});
  t.quantizeParams.blockEncoding.blockSize = records.array<uint32_t>({1, 2});
  t.quantizeParams.blockEncoding.scaleOffset = records.array(pairs);
  Vrx_Tensor_t f = quantized(VRX_QUANTIZATION_ENCODING_BW_BLOCK, {2, 5});
  f.quantizeParams.bwBlockEncoding.bitwidth = 8;
  f.quantizeParams.bwBlockEncoding.blockSize = records.array<uint32_t>({2, 5});
  f.quantizeParams.bwBlockEncoding.scaleOffset = records.array<Vrx_FloatScaleOffset_t>({{3.f, 0.5f}});
  TensorRecordCopy copy(t), floatCopy(f);
  records.scribble();

  const auto& b = copy.record().quantizeParams.blockEncoding;
  EXPECT_EQ(b.blockSize[1], 2u);
  EXPECT_EQ(b.scaleOffset[5].offset, 5);
  EXPECT_FLOAT_EQ(floatCopy.record().quantizeParams.bwBlockEncoding.scaleOffset[0].offset, 0.5f);
}

TEST_F(RecordCopyTest, ZeroBlockSizeIsRefused) {
  Vrx_Tensor_t t = quantized(VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK, {2, 5});
  t.quantizeParams.blockEncoding.blockSize = records.array<uint32_t>({1, 0});
  t.quantizeParams.blockEncoding.scaleOffset = records.array<Vrx_ScaleOffset_t>({{1.f, 1}});
  EXPECT_THROW(TensorRecordCopy{t}, std::invalid_argument);
}

TEST_F(RecordCopyTest, BlockwiseExpansionCopiesScalesOfItsStorageWidth) {
  Vrx_Tensor_t t = quantized(VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION, {3, 4});
  Vrx_BlockwiseExpansion_t expansion{};
  expansion.axis = 0;
  expansion.scaleOffsets = records.array<Vrx_ScaleOffset_t>({{1.f, 0}, {2.f, 0}, {3.f, 0}});
  expansion.numBlocksPerAxis = 2;
  expansion.blockScaleBitwidth = 4;
  expansion.blockScaleStorageType = VRX_BLOCKWISE_EXPANSION_SCALE_STORAGE_16;
  expansion.blockScales16 = records.array<uint16_t>({1, 2, 3, 4, 5, 600});
  t.quantizeParams.blockwiseExpansion = records.array<Vrx_BlockwiseExpansion_t>({expansion});
  TensorRecordCopy copy(t);
  records.scribble();

  const auto* e = copy.record().quantizeParams.blockwiseExpansion;
  EXPECT_FLOAT_EQ(e->scaleOffsets[2].scale, 3.f);
  EXPECT_EQ(e->blockScales16[5], 600);
  EXPECT_EQ(e->blockScaleBitwidth, 4);
}

TEST_F(RecordCopyTest, GroupedMappedAndVectorRecordsAreCopied) {
  Vrx_GroupedBwEncoding_t grouped{4, 1, 2, records.array<float>({0.5f, 0.25f}), records.array<int32_t>({1, 2}), 7, 8, 1, 0, 1};
  Vrx_Tensor_t g = quantized(VRX_QUANTIZATION_ENCODING_GROUPED_BW);
  g.quantizeParams.groupedBwEncoding = records.array<Vrx_GroupedBwEncoding_t>({grouped});
  Vrx_BwAxisScaleOffsetMapped_t mapped{8, 0, 42, 2, records.array<float>({1.f, 2.f}), nullptr};
  Vrx_Tensor_t m = quantized(VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED);
  m.quantizeParams.bwAxisScaleOffsetMapped = records.array<Vrx_BwAxisScaleOffsetMapped_t>({mapped});
  Vrx_MappedVectorEncoding_t vector{3, 2, records.array<uint32_t>({10, 11}), 8, 3, records.array<uint8_t>({7, 8, 9})};
  Vrx_Tensor_t v = quantized(VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR);
  v.quantizeParams.mappedVectorEncoding = records.array<Vrx_MappedVectorEncoding_t>({vector});
  TensorRecordCopy gc(g), mc(m), vc(v);
  records.scribble();

  const auto* gr = gc.record().quantizeParams.groupedBwEncoding;
  EXPECT_FLOAT_EQ(gr->scales[1], 0.25f);
  EXPECT_EQ(gr->groupParam1, 8u);
  EXPECT_EQ(gr->groupFlag2, 1);
  const auto* mr = mc.record().quantizeParams.bwAxisScaleOffsetMapped;
  EXPECT_EQ(mr->mappedValue, 42u);
  EXPECT_EQ(mr->offsets, nullptr);
  const auto* vr = vc.record().quantizeParams.mappedVectorEncoding;
  EXPECT_EQ(vr->values[1], 11u);
  EXPECT_EQ(static_cast<const uint8_t*>(vr->table)[2], 9);
}

TEST_F(RecordCopyTest, ArrayEncodingCopiesTensorAndElements) {
  Vrx_QuantizeParams_t element{};
  element.encodingDefinition = VRX_DEFINITION_DEFINED;
  element.quantizationEncoding = VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET;
  element.axisScaleOffsetEncoding = {0, 1, records.array<Vrx_ScaleOffset_t>({{9.f, 9}})};
  Vrx_Tensor_t associated = records.tensor("assoc", VRX_TENSORTYPE_NATIVE, {1});
  Vrx_ArrayOf_t arrayOf{5, 2, records.array<Vrx_Tensor_t>({associated}),
                        records.array<Vrx_QuantizeParams_t*>({records.array<Vrx_QuantizeParams_t>({element}), nullptr})};
  Vrx_Tensor_t t = quantized(VRX_QUANTIZATION_ENCODING_ARRAY);
  t.quantizeParams.arrayOf = records.array<Vrx_ArrayOf_t>({arrayOf});
  TensorRecordCopy copy(t);
  records.scribble();

  const auto* a = copy.record().quantizeParams.arrayOf;
  EXPECT_EQ(a->arrayType, 5u);
  EXPECT_STREQ(a->associatedTensor->name, "assoc");
  EXPECT_FLOAT_EQ(a->elements[0]->axisScaleOffsetEncoding.scaleOffset[0].scale, 9.f);
  EXPECT_EQ(a->elements[1], nullptr);
}

TEST_F(RecordCopyTest, OpConfigCopiesParamsAndTensors) {
  Vrx_Param_t text{};
  text.paramType = VRX_PARAMTYPE_SCALAR;
  text.name = records.text("mode");
  text.scalar.dataType = VRX_DATATYPE_STRING;
  text.scalar.value.stringValue = records.text("nearest");
  Vrx_OpConfig_t op = records.op("conv", "Conv2d", {records.tensor("x", VRX_TENSORTYPE_APP_WRITE, {1, 2})},
                                 {records.tensor("y", VRX_TENSORTYPE_NATIVE, {1, 2})},
                                 {records.tensorU32("stride", {2, 2}, {2}), text}, "my.pkg");
  OpConfigCopy copy(op);
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
}

TEST_F(RecordCopyTest, OpConfigOfOtherVersionKeepsOnlyItsVersion) {
  Vrx_OpConfig_t op = records.op("n", "Relu", {}, {});
  op.version = 2;
  OpConfigCopy copy(op);
  EXPECT_EQ(copy.record().version, 2u);
  EXPECT_EQ(copy.record().name, nullptr);
}

}  // namespace
}  // namespace vrx::test
