// Client op configs into generic IR ops: folding of backend families, params into attributes.

#include <gtest/gtest.h>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/translation/BuildIrOp.hpp"
#include "support/Records.hpp"

namespace modeltools {
namespace {

using vrx::test::Records;

struct Folding {
  const char* backendType;
  const char* irType;
  const char* attr;  // "operation" holds a code, the others the backend type
  uint32_t code;
};

TEST(BuildIrOp, CorePackageFoldsFamiliesIntoIrTypes) {
  const Folding cases[] = {{"ElementWiseAdd", "Eltwise_Binary", "operation", 0},
                           {"ElementWiseXor", "Eltwise_Binary", "operation", 19},
                           {"ElementWiseSquaredDifference", "Eltwise_Binary", "operation", 17},
                           {"ElementWiseAbs", "Eltwise_Unary", "operation", 0},
                           {"ElementWiseSquareRoot", "Eltwise_Unary", "operation", 15},
                           {"Elu", "Neuron", "operation", 0},
                           {"Gelu", "Neuron", "operation", 1},
                           {"HardSwish", "Neuron", "operation", 3},
                           {"Relu", "Neuron", "operation", 4},
                           {"ReluMinMax", "Neuron", "operation", 5},
                           {"Sigmoid", "Neuron", "operation", 6},
                           {"Tanh", "Neuron", "operation", 8},
                           {"ElementWiseSelect", "Eltwise_Ternary", "eltwise_type", 0},
                           {"Argmin", "Arg", "arg_type", 0},
                           {"ReduceMean", "Reduce", "reduce_type", 0},
                           {"L2Pool2d", "Pool", "pool_type", 0},
                           {"PoolMax3d", "Pool3d", "pool_type", 0}};
  Records records;
  for (const auto& c : cases) {
    auto op = buildIrOp(records.op("n", c.backendType, {}, {}));
    EXPECT_EQ(op->type(), c.irType) << c.backendType;
    const AttrValue& attr = op->attrs()->get(c.attr);
    if (std::string(c.attr) == "operation") {
      EXPECT_EQ(op->attrs()->getAttr<uint32_t>("operation"), c.code) << c.backendType;
      EXPECT_EQ(attr.category, attrcategory::kBackendParam);
    } else {
      EXPECT_EQ(op->attrs()->getAttr<std::string>(c.attr), c.backendType);
      EXPECT_EQ(attr.category, attrcategory::kSupplemental);
    }
  }
}

TEST(BuildIrOp, GenericElementWiseFormsKeepTheirOwnOperation) {
  Records records;
  auto binary = buildIrOp(records.op("b", "ElementWiseBinary", {}, {}, {records.scalarU32("operation", 13)}));
  EXPECT_EQ(binary->type(), "Eltwise_Binary");
  EXPECT_EQ(binary->attrs()->getAttr<uint32_t>("operation"), 13u);
  auto unary = buildIrOp(records.op("u", "ElementWiseUnary", {}, {}));
  EXPECT_EQ(unary->type(), "Eltwise_Unary");
  EXPECT_EQ(unary->attrs()->hasAttr("operation"), 0);
}

TEST(BuildIrOp, TypesOutsideTheMapsAndOtherPackagesStayAsTheyCame) {
  Records records;
  for (const char* type : {"ElementWiseSoftplus", "HARD_SIGMOID", "Conv2d", "MyCustomOp"}) {
    EXPECT_EQ(buildIrOp(records.op("n", type, {}, {}))->type(), type);
  }
  auto custom = buildIrOp(records.op("c", "ElementWiseAdd", {}, {}, {records.scalarU32("k", 2)}, "my.pkg"));
  EXPECT_EQ(custom->type(), "ElementWiseAdd");
  EXPECT_EQ(custom->attrs()->hasAttr("operation"), 0);
  EXPECT_EQ(custom->attrs()->getAttr<std::string>("packageName"), "my.pkg");
  EXPECT_EQ(custom->attrs()->get("packageName").category, attrcategory::kSupplemental);
  EXPECT_EQ(custom->attrs()->getAttr<uint32_t>("k"), 2u);
}

Vrx_Param_t scalar(Records& records, const char* name, uint32_t dataType, uint64_t raw) {
  Vrx_Param_t p = records.scalarU32(name, 0);
  p.scalar.dataType = dataType;
  p.scalar.value.uint64Value = raw;
  return p;
}

TEST(BuildIrOp, ScalarParamsKeepTheirWidthAndUnknownTypesAreDropped) {
  Records records;
  Vrx_Param_t text = records.scalarU32("text", 0);
  text.scalar.dataType = VRX_DATATYPE_STRING;
  text.scalar.value.stringValue = records.text("hello");
  Vrx_Param_t noText = text;
  noText.name = records.text("noText");
  noText.scalar.value.stringValue = nullptr;
  auto op = buildIrOp(records.op(
      "n", "Custom", {}, {},
      {scalar(records, "i64", VRX_DATATYPE_INT_64, static_cast<uint64_t>(-5)),
       scalar(records, "u16", VRX_DATATYPE_UINT_16, 7), scalar(records, "i8", VRX_DATATYPE_INT_8, 0xFE),
       scalar(records, "flag", VRX_DATATYPE_BOOL_8, 0x100), scalar(records, "on", VRX_DATATYPE_BOOL_8, 0x101),
       records.scalarF32("f", 1.5f), text, noText, scalar(records, "fixed", VRX_DATATYPE_UFIXED_POINT_8, 3),
       scalar(records, "half", VRX_DATATYPE_FLOAT_16, 3)}));
  records.scribble();
  const auto& attrs = *op->attrs();
  EXPECT_EQ(attrs.get("i64").dataType, static_cast<uint32_t>(VRX_DATATYPE_INT_64));
  EXPECT_EQ(attrs.get("i64").value.int64Value, -5);
  EXPECT_EQ(attrs.get("u16").value.uint16Value, 7);
  EXPECT_EQ(attrs.get("i8").value.int8Value, -2);
  EXPECT_FALSE(attrs.getAttr<bool>("flag"));  // only the low byte counts
  EXPECT_TRUE(attrs.getAttr<bool>("on"));
  EXPECT_FLOAT_EQ(attrs.getAttr<float>("f"), 1.5f);
  EXPECT_TRUE(attrs.getAttr<bool>("text"));
  EXPECT_FALSE(attrs.getAttr<bool>("noText"));
  EXPECT_EQ(attrs.hasAttr("fixed"), 0);
  EXPECT_EQ(attrs.hasAttr("half"), 0);
  EXPECT_EQ(attrs.get("f").category, attrcategory::kBackendParam);
}

TEST(BuildIrOp, TensorParamsBecomeStaticTensorsWithCopiedData) {
  Records records;
  Vrx_Param_t unnamed = records.tensorU32("unnamed", {1}, {1});
  unnamed.tensor.name = nullptr;
  auto op = buildIrOp(records.op("n", "Conv2d", {}, {}, {records.tensorU32("stride", {2, 3}, {2}), unnamed}));
  records.scribble();
  auto stride = op->attrs()->getStaticTensor("stride");
  ASSERT_NE(stride, nullptr);
  EXPECT_EQ(stride->kind(), tensorkind::kStatic);
  EXPECT_EQ(stride->dims(), (Dims{2}));
  EXPECT_EQ(std::vector<uint32_t>(stride->values<uint32_t>().begin(), stride->values<uint32_t>().end()),
            (std::vector<uint32_t>{2, 3}));
  EXPECT_EQ(op->attrs()->get("stride").category, attrcategory::kBackendParam);
  EXPECT_EQ(op->attrs()->hasAttr("unnamed"), 0);
}

TEST(BuildIrOp, ConfigOfAnotherVersionHasNoParams) {
  Records records;
  Vrx_OpConfig_t config = records.op("n", "Custom", {}, {}, {records.scalarU32("k", 1)});
  config.version = 2;
  EXPECT_EQ(buildIrOp(config)->attrs()->hasAttr("k"), 0);
}

}  // namespace
}  // namespace modeltools
