#include <gtest/gtest.h>

#include "modeltools/ir/IrAttributes.hpp"
#include "modeltools/ir/IrTensor.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

std::shared_ptr<IrStaticTensor> perm() {
  uint32_t values[] = {0, 2, 1};
  return std::make_shared<IrStaticTensor>(
      TensorFields{.name = "perm", .shape = IrTensorShape({3}), .dataType = VRX_DATATYPE_UINT_32}, values, sizeof values);
}

TEST(IrAttributes, GettersNeverConvertEvenWhereTheValueWouldFit) {
  IrAttributes attrs;
  attrs.add("axis", uint32_t{1}, attrcategory::kBackendParam);
  EXPECT_EQ(attrs.getAttr<uint32_t>("axis"), 1u);
  EXPECT_THROW_MSG(attrs.getAttr<int32_t>("axis"), std::runtime_error,
                   "modeltools::IrAttributes::getAttr: Invalid requested type: VRX_DATATYPE_INT_32 for attr: axis "
                   "with type: VRX_DATATYPE_UINT_32");
  attrs.add("small", int16_t{3}, attrcategory::kBackendParam);
  EXPECT_THROW_HAS(attrs.getAttr<int32_t>("small"), std::runtime_error, "with type: VRX_DATATYPE_INT_16");
}

TEST(IrAttributes, EveryKindKeepsItsDataType) {
  IrAttributes attrs;
  attrs.add("b", true, 1);
  attrs.add("s", "text", 2);
  attrs.add("i8", int8_t{-1}, 1);
  attrs.add("u64", uint64_t{1} << 40, 1);
  attrs.add("f", 0.5f, 1);
  attrs.add("u8", uint8_t{200}, 1);
  EXPECT_TRUE(attrs.getAttr<bool>("b"));
  EXPECT_EQ(attrs.getAttr<std::string>("s"), "text");
  EXPECT_EQ(attrs.get("i8").dataType, static_cast<uint32_t>(VRX_DATATYPE_INT_8));
  EXPECT_EQ(attrs.get("u64").value.uint64Value, uint64_t{1} << 40);
  EXPECT_FLOAT_EQ(attrs.getAttr<float>("f"), 0.5f);
  EXPECT_EQ(attrs.getAttr<uint8_t>("u8"), 200);
}

TEST(IrAttributes, AddingAgainReplacesValueTypeAndCategory) {
  IrAttributes attrs;
  attrs.add("mode", uint32_t{1}, attrcategory::kBackendParam);
  attrs.add("mode", "nearest", attrcategory::kSupplemental);
  EXPECT_EQ(attrs.count(), 1u);
  EXPECT_EQ(attrs.getAttr<std::string>("mode"), "nearest");
  EXPECT_TRUE(attrs.isInternal("mode"));
}

TEST(IrAttributes, ScalarsAndTensorsAreReadOnlyThroughTheirOwnGetters) {
  IrAttributes attrs;
  attrs.add("perm", perm(), attrcategory::kBackendParam);
  attrs.add("axis", int32_t{0}, attrcategory::kBackendParam);
  EXPECT_THROW_MSG(attrs.getAttr<uint32_t>("perm"), std::runtime_error,
                   "modeltools::IrAttributes::getAttr: Attribute perm is not a scalar type");
  EXPECT_THROW_MSG(attrs.getStaticTensor("axis"), std::runtime_error,
                   "modeltools::IrAttributes::getStaticTensor: Attribute 'axis' is not a tensor, actual attrType=0 "
                   "(expected VRX_PARAMTYPE_TENSOR)");
  EXPECT_EQ(attrs.getStaticTensorName("perm"), "perm");
  EXPECT_EQ(attrs.get("perm").dataType, static_cast<uint32_t>(VRX_DATATYPE_UINT_32));
  ASSERT_EQ(attrs.getTensors().size(), 1u);
}

TEST(IrAttributes, MissingNamesAreReported) {
  IrAttributes attrs;
  attrs.add("a", true, 1);
  EXPECT_EQ(attrs.hasAttr("x"), 0);
  EXPECT_THROW_MSG(attrs.assertAttrExists("x"), std::runtime_error,
                   "modeltools::IrAttributes::assertAttrExists: Attribute 'x' not present. Available attributes count: 1");
  EXPECT_THROW_MSG(attrs.remove("x"), std::invalid_argument,
                   "modeltools::IrAttributes::remove: Unable to remove attribute 'x': attribute does not exist. "
                   "Available attributes count: 1");
  attrs.remove("a");
  EXPECT_EQ(attrs.count(), 0u);
}

TEST(IrAttributes, IterateInNameOrder) {
  IrAttributes attrs;
  for (const char* name : {"zeta", "alpha", "mid"}) attrs.add(name, true, 1);
  std::vector<std::string> names;
  for (const auto& [name, value] : attrs) names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{"alpha", "mid", "zeta"}));
}

}  // namespace
}  // namespace modeltools
