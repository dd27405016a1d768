// IR ops and tensors back into backend records: backend type rules, params, tensor records
// and the translator's cache.

#include <gtest/gtest.h>

#include <cstring>

#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/translation/IrVrxTranslator.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

using ops::IrOp;
using Names = std::vector<std::string>;

class TranslatorTest : public ::testing::Test {
 protected:
  std::shared_ptr<IrTensor> tensor(const std::string& name, Dims dims, uint32_t kind = tensorkind::kNative) {
    auto t =
        std::make_shared<IrTensor>(TensorFields{.name = name, .shape = IrTensorShape(std::move(dims)), .kind = kind});
    keep.push_back(t);
    return t;
  }
  std::shared_ptr<IrStaticTensor> weights(const std::string& name, std::vector<float> values) {
    auto t =
        std::make_shared<IrStaticTensor>(TensorFields{.name = name,
                                                    .shape = IrTensorShape(Dims{static_cast<uint32_t>(values.size())}),
                                                    .kind = tensorkind::kStatic},
                                         values.data(), static_cast<uint32_t>(values.size() * sizeof(float)));
    keep.push_back(t);
    return t;
  }
  // An op wired to its tensors, and the producer of its outputs.
  std::shared_ptr<IrOp> op(const std::string& name, const std::string& type,
                           std::vector<std::shared_ptr<IrTensor>> inputs,
                           std::vector<std::shared_ptr<IrTensor>> outputs) {
    auto o = std::make_shared<IrOp>(name, type, std::make_shared<IrAttributes>());
    wiring.connect(o, inputs, outputs);
    return o;
  }
  std::shared_ptr<IrOp> unary(const std::string& type, Dims dims = {1, 4}) {
    return op("op" + std::to_string(++ops), type, {tensor("in" + std::to_string(ops), dims)},
              {tensor("out" + std::to_string(ops), dims)});
  }
  // An op of a folded family whose member is named in a supplemental attribute.
  std::shared_ptr<IrOp> member(const std::string& type, const std::string& attr, const std::string& value) {
    auto o = unary(type);
    o->attrs()->add(attr, value, attrcategory::kSupplemental);
    return o;
  }
  Vrx_OpConfig_t& translate(const std::shared_ptr<IrOp>& o, const std::string& backend = "") {
    return *translator.getVrxOp(o, false, backend);
  }
  static Names paramNames(const Vrx_OpConfig_t& config) {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < config.numOfParams; ++i) names.push_back(config.params[i].name);
    return names;
  }
  static const Vrx_Param_t& param(const Vrx_OpConfig_t& config, const std::string& name) {
    for (uint32_t i = 0; i < config.numOfParams; ++i) {
      if (name == config.params[i].name) return config.params[i];
    }
    throw std::runtime_error("no param " + name);
  }

  IrVrxTranslator translator;
  std::vector<std::shared_ptr<IrTensor>> keep;
  IrGraph wiring{"wiring"};  // wires ops to the tensors of `keep`; holds none of them
  int ops = 0;
};

TEST_F(TranslatorTest, FoldedFamiliesGoBackInBackendForms) {
  auto binary = unary("Eltwise_Binary");
  binary->attrs()->add("operation", uint32_t{13}, attrcategory::kBackendParam);
  auto named = member("Eltwise_Binary", "eltwise_type", "ElementWiseMultiply");
  auto softplus = member("Eltwise_Unary", "eltwise_type", "ElementWiseSoftplus");
  softplus->attrs()->add("beta", 2.0f, attrcategory::kSupplemental);
  auto tanh = member("Neuron", "neuron_type", "Tanh");
  tanh->attrs()->add("alpha", 0.5f, attrcategory::kInternal);
  auto relu = unary("Neuron");  // as a client's "Relu" arrives
  relu->attrs()->add("operation", uint32_t{4}, attrcategory::kBackendParam);
  const std::tuple<std::shared_ptr<IrOp>, const char*, uint32_t, Names> cases[] = {
      {binary, "ElementWiseBinary", 13, {"operation"}},
      {named, "ElementWiseBinary", 13, {"operation"}},
      {member("Eltwise_Unary", "eltwise_type", "ElementWiseExp"), "ElementWiseUnary", 5, {"operation"}},
      {softplus, "ElementWiseNeuron", 7, {"beta", "operation"}},
      {tanh, "ElementWiseNeuron", 8, {"alpha", "operation"}},
      {relu, "ElementWiseNeuron", 4, {"operation"}}};
  for (const auto& [o, type, operation, params] : cases) {
    const auto& config = translate(o);
    EXPECT_STREQ(config.typeName, type) << o->name();
    EXPECT_EQ(paramNames(config), params) << o->name();
    EXPECT_EQ(param(config, "operation").scalar.value.uint32Value, operation) << o->name();
  }
  EXPECT_EQ(named->attrs()->hasAttr("eltwise_type"), 0);
  EXPECT_STREQ(translate(unary("Gelu")).typeName, "ElementWiseNeuron");
}

TEST_F(TranslatorTest, MemberTypesComeBackAndTheirAttributeStaysOutOfParams) {
  const std::pair<const char*, const char*> families[] = {
      {"Eltwise_Ternary", "eltwise_type"}, {"Arg", "arg_type"}, {"Pool", "pool_type"},
      {"Pool3d", "pool_type"},             {"Reduce", "reduce_type"}};
  for (const auto& [irType, attr] : families) {
    const auto& config = translate(member(irType, attr, "BackendMember"));
    EXPECT_STREQ(config.typeName, "BackendMember") << irType;
    EXPECT_EQ(config.numOfParams, 0u) << irType;
  }
  EXPECT_STREQ(translate(unary("MyCustomOp")).typeName, "MyCustomOp");
}

TEST_F(TranslatorTest, UnknownMembersAreRefused) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"Eltwise_Binary", "eltwise_type", "ElementWiseSquaredDifference",
       "ElementwiseBinaryOp op1 eltwise_type provided, ElementWiseSquaredDifference, is incorrect "},
      {"Eltwise_Unary", "eltwise_type", "ElementWiseAdd",
       "ElementwiseUnaryOp op2 eltwise_type provided, ElementWiseAdd, is incorrect "},
      {"Neuron", "neuron_type", "Swish", "ElementwiseNeuronOp op3 neuron_type provided, Swish, is incorrect "}};
  for (const auto& [type, attr, value, text] : cases) {
    EXPECT_THROW_MSG(translate(member(type, attr, value)), std::invalid_argument,
                     std::string("modeltools::IrVrxTranslator::getVrxOp: ") + text);
  }
}

TEST_F(TranslatorTest, ResizeTakesItsBackendFormByRankModeAndBackend) {
  // dims, interpolation, transformation, backend, type, and the bool params that come out true
  const std::tuple<Dims, uint32_t, uint32_t, const char*, std::string, Names> cases[] = {
      {{1, 8, 8, 3}, 2, 0, "", "Resize", {}},
      {{1, 8, 8, 3}, 0, 3, "", "ResizeNearestNeighbor", {}},
      {{1, 8, 8, 3}, 0, 0, "", "ResizeNearestNeighbor", {"half_pixel_centers"}},
      {{1, 8, 8, 3}, 1, 2, "", "ResizeBilinear", {"align_corners"}},
      {{1, 8, 8, 3}, 1, 2, "NXC", "Resize", {}},
      {{1, 8, 3}, 0, 3, "", "Resize", {}}};
  for (const auto& [dims, interpolation, transformation, backend, type, flags] : cases) {
    auto o = unary("Resize", dims);
    o->attrs()->add("interpolation_mode", interpolation, attrcategory::kBackendParam);
    o->attrs()->add("transformation_mode", transformation, attrcategory::kBackendParam);
    const auto& config = translate(o, backend);
    EXPECT_EQ(config.typeName, type);
    Names flagsSet;
    for (uint32_t i = 0; i < config.numOfParams; ++i) {
      const auto& p = config.params[i];
      if (p.scalar.dataType == VRX_DATATYPE_BOOL_8 && p.scalar.value.bool8Value) flagsSet.push_back(p.name);
    }
    EXPECT_EQ(flagsSet, flags) << type;
    // What the rule added stays on the op.
    EXPECT_EQ(o->attrs()->hasAttr("align_corners"), type == "Resize" ? 0 : 1);
  }
}

TEST_F(TranslatorTest, ColorTransformPairsPickTypeAndOrder) {
  // input and output encodings, the type they pick, and the order param
  const std::tuple<uint8_t, uint8_t, std::string, uint32_t> cases[] = {
      {5, 0, "Nv21ToRgb", 1}, {5, 1, "Nv21ToRgb", 0}, {6, 0, "Nv12ToRgb", 1}, {6, 1, "Nv12ToRgb", 0},
      {3, 0, "ArgbToRgb", 1}, {2, 0, "ArgbToRgb", 0}, {3, 1, "ArgbToRgb", 1}, {2, 1, "ArgbToRgb", 0}};
  auto withPair = [&](uint8_t in, uint8_t out) {
    auto o = unary("ColorTransform");
    o->attrs()->add("input_encoding_in", in, attrcategory::kSupplemental);
    o->attrs()->add("input_encoding_out", out, attrcategory::kSupplemental);
    return o;
  };
  for (const auto& [in, out, type, order] : cases) {
    const auto& config = translate(withPair(in, out));
    EXPECT_EQ(config.typeName, type);
    const bool argb = type == "ArgbToRgb";
    ASSERT_EQ(paramNames(config), (argb ? Names{"input_order", "reverse_output"} : Names{"output_order"}));
    EXPECT_EQ(config.params[0].scalar.value.uint32Value, order);
    if (argb) {
      EXPECT_EQ(config.params[1].scalar.value.bool8Value, out == 0 ? 1 : 0);
    }
  }
  EXPECT_THROW_MSG(translate(withPair(4, 0)), std::invalid_argument,
                   "modeltools::IrVrxTranslator::getVrxOp: Invalid color transformation on op op9");
}

TEST_F(TranslatorTest, ParamsAreBackendAttributesInNameOrderTensorsAmongThemAndOthersAreRefused) {
  auto o = unary("Conv2d");
  auto& attrs = *o->attrs();
  attrs.add("packageName", "my.pkg", attrcategory::kSupplemental);
  attrs.add("zeta", int8_t{-3}, attrcategory::kBackendParam);
  attrs.add("hidden", 1.0f, attrcategory::kInternal);
  attrs.add("name", "text", attrcategory::kBackendParam);
  attrs.add("stride", weights("strideTensor", {2.0f, 3.0f}), attrcategory::kBackendParam);
  attrs.add("alpha", uint64_t{1} << 40, attrcategory::kBackendParam);
  const auto& config = translate(o);
  EXPECT_STREQ(config.packageName, "my.pkg");
  EXPECT_EQ(paramNames(config), (std::vector<std::string>{"alpha", "name", "stride", "zeta"}));
  EXPECT_EQ(config.params[0].scalar.value.uint64Value, uint64_t{1} << 40);
  EXPECT_STREQ(config.params[1].scalar.value.stringValue, "text");
  const Vrx_Tensor_t& stride = config.params[2].tensor;
  EXPECT_EQ(config.params[2].paramType, static_cast<uint32_t>(VRX_PARAMTYPE_TENSOR));
  EXPECT_STREQ(stride.name, "strideTensor");
  EXPECT_EQ(stride.type, static_cast<uint32_t>(VRX_TENSORTYPE_STATIC));
  ASSERT_EQ(stride.clientBuf.dataSize, 8u);
  EXPECT_EQ(static_cast<const float*>(stride.clientBuf.data)[1], 3.0f);
  EXPECT_EQ(config.params[3].scalar.value.int8Value, -3);

  auto odd = unary("Custom");
  AttrValue wide;
  wide.dataType = VRX_DATATYPE_FLOAT_64;
  odd->attrs()->addValue("wide", wide);
  EXPECT_THROW_MSG(
      translate(odd), std::invalid_argument,
      "modeltools::IrVrxTranslator::getVrxOp: IrVrxTranslator::getVrxOp DataType unsupported for attribute: wide");
  // A failed translation leaves nothing cached.
  odd->attrs()->remove("wide");
  EXPECT_STREQ(translate(odd).name, odd->name().c_str());
  EXPECT_EQ(translate(odd).numOfParams, 0u);
  auto neither = unary("Custom");
  AttrValue list;
  list.attrType = 7;
  neither->attrs()->addValue("list", list);
  EXPECT_THROW_MSG(
      translate(neither), std::invalid_argument,
      "modeltools::IrVrxTranslator::getVrxOp: IrVrxTranslator::getVrxOp AttrType undefined for attribute: list");
}

TEST_F(TranslatorTest, TensorRecordTypesFollowKindProducerAndFlags) {
  auto produced = tensor("produced", {2});
  auto updateableNative = tensor("updNative", {2});
  updateableNative->setUpdateable(true);
  op("producer", "Custom", {}, {produced, updateableNative});
  auto updateableInput = tensor("updInput", {2}, tensorkind::kGraphInput);
  updateableInput->setUpdateable(true);
  auto staticUpdateable = weights("updWeights", {1.0f});
  staticUpdateable->setUpdateable(true);
  const std::pair<std::shared_ptr<IrTensor>, uint32_t> cases[] = {
      {produced, VRX_TENSORTYPE_NATIVE},
      {updateableNative, VRX_TENSORTYPE_UPDATEABLE_NATIVE},
      {tensor("input", {2}, tensorkind::kGraphInput), VRX_TENSORTYPE_APP_WRITE},
      {tensor("nativeWithoutProducer", {2}), VRX_TENSORTYPE_APP_WRITE},
      {updateableInput, VRX_TENSORTYPE_UPDATEABLE_APP_WRITE},
      {tensor("optional", {2}, tensorkind::kOptional), 11},
      {weights("weights", {1.0f}), VRX_TENSORTYPE_STATIC},
      {staticUpdateable, VRX_TENSORTYPE_UPDATEABLE_STATIC},
      {tensor("", {2}), VRX_TENSORTYPE_NULL},
      {tensor("absent", {0}), VRX_TENSORTYPE_NULL}};
  for (const auto& [t, type] : cases) EXPECT_EQ(translator.getVrxTensor(t)->type, type) << t->name();
}

TEST_F(TranslatorTest, CachedRecordsComeBackUntilTheirNameChanges) {
  IrGraph graph("g");
  graph.addTensor(TensorFields{.name = "x", .shape = IrTensorShape({1, 4})});
  auto o = std::make_shared<IrOp>("op1", "Custom", std::make_shared<IrAttributes>());
  graph.addOp(o, {"x"}, {"y"}, {IrTensorShape({1, 4})}, {}, -1, false);
  Vrx_OpConfig_t* first = translator.getVrxOp(o, false, "");
  o->attrs()->add("late", 1.0f, attrcategory::kBackendParam);
  EXPECT_EQ(translator.getVrxOp(o, false, ""), first);
  EXPECT_EQ(first->numOfParams, 0u);

  // A renamed op no longer owns its record; a new op under the old name gets a new one.
  graph.changeOpName(o, "renamed");
  auto newcomer = std::make_shared<IrOp>("op1", "Other", std::make_shared<IrAttributes>());
  Vrx_OpConfig_t* second = translator.getVrxOp(newcomer, false, "");
  EXPECT_NE(second, first);
  EXPECT_STREQ(second->typeName, "Other");

  auto t = tensor("t", {3});
  Vrx_Tensor_t* record = translator.getVrxTensor(t);
  EXPECT_EQ(translator.getVrxTensor(t), record);
  t->setName("moved");
  auto successor = tensor("t", {7});
  const Vrx_Tensor_t* fresh = translator.getVrxTensor(successor);
  EXPECT_NE(fresh, record);
  EXPECT_EQ(fresh->dimensions[0], 7u);
}

TEST_F(TranslatorTest, RecordsOutliveTheCacheEntriesTheyWereMadeFrom) {
  auto in = tensor("in", {2});
  auto out = tensor("out", {2});
  auto o = op("o", "Custom", {in}, {out});
  const Vrx_OpConfig_t* config = translator.getVrxOp(o, false, "");
  // The tensor entry under "in" is replaced; the op's copy still points into the old one.
  in->setName("elsewhere");
  translator.getVrxTensor(tensor("in", {9, 9}));
  EXPECT_STREQ(config->inputTensors[0].name, "in");
  EXPECT_EQ(config->inputTensors[0].dimensions[0], 2u);
}

TEST_F(TranslatorTest, ValidationRecordLeavesStaticDataOutCompositionGetsIt) {
  auto w = weights("w", {1.0f, 2.0f});
  auto o = op("o", "Custom", {tensor("x", {2}), w}, {tensor("y", {2})});
  const Vrx_OpConfig_t* validated = translator.getVrxOp(o, true, "");
  EXPECT_EQ(validated->inputTensors[1].clientBuf.data, nullptr);
  EXPECT_EQ(validated->inputTensors[1].clientBuf.dataSize, 8u);
  const Vrx_OpConfig_t* composed = translator.getVrxOp(o, false, "");
  EXPECT_EQ(composed, validated);
  EXPECT_EQ(composed->inputTensors[1].clientBuf.data, w->getData());
  EXPECT_EQ(composed->inputTensors[0].clientBuf.data, nullptr);
}

TEST_F(TranslatorTest, RecordsKeepNamesAndDimensionsOfAnyLengthAndRank) {
  const std::string longName(300, 'n');
  auto wide = tensor("wide", {1, 2, 3, 4, 5, 6});
  auto wider = tensor("wider", {1, 2, 3, 4, 5, 6, 7});
  auto o = op(longName, "Custom", {wide, wider}, {tensor("scalar", {})});
  o->attrs()->add(std::string(100, 'p'), std::string(200, 'v'), attrcategory::kBackendParam);
  o->attrs()->add("shape", weights("shapeTensor", {1.0f, 2.0f, 3.0f}), attrcategory::kBackendParam);
  const auto& config = translate(o);
  EXPECT_EQ(config.name, longName);
  EXPECT_EQ(config.params[0].name, std::string(100, 'p'));
  EXPECT_EQ(config.params[0].scalar.value.stringValue, std::string(200, 'v'));
  EXPECT_STREQ(config.params[1].tensor.name, "shapeTensor");
  EXPECT_EQ(config.params[1].tensor.dimensions[0], 3u);
  ASSERT_EQ(config.numOfInputs, 2u);
  auto dims = [](const Vrx_Tensor_t& t) { return std::vector<uint32_t>(t.dimensions, t.dimensions + t.rank); };
  EXPECT_EQ(dims(config.inputTensors[0]), (std::vector<uint32_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(dims(config.inputTensors[1]), (std::vector<uint32_t>{1, 2, 3, 4, 5, 6, 7}));
  ASSERT_EQ(config.numOfOutputs, 1u);
  EXPECT_STREQ(config.outputTensors[0].name, "scalar");
  EXPECT_EQ(config.outputTensors[0].rank, 0u);
  EXPECT_EQ(config.outputTensors[0].dimensions, nullptr);

  auto sink = op("sink", "Custom", {tensor("only", {2})}, {});
  EXPECT_EQ(translate(sink).numOfOutputs, 0u);
  EXPECT_EQ(translate(sink).outputTensors, nullptr);
}

TEST(TranslatorDataTypes, ValueTypesHaveTheirBackendType) {
  EXPECT_EQ(IrVrxTranslator::getVrxDataType<uint32_t>(), static_cast<uint32_t>(VRX_DATATYPE_UINT_32));
  EXPECT_EQ(IrVrxTranslator::getVrxDataType<int16_t>(), static_cast<uint32_t>(VRX_DATATYPE_INT_16));
  EXPECT_EQ(IrVrxTranslator::getVrxDataType<bool>(), static_cast<uint32_t>(VRX_DATATYPE_BOOL_8));
  EXPECT_EQ(IrVrxTranslator::getVrxDataType<float>(), static_cast<uint32_t>(VRX_DATATYPE_FLOAT_32));
  EXPECT_THROW_MSG(IrVrxTranslator::getVrxDataType<double>(), std::invalid_argument,
                   "modeltools::IrVrxTranslator::getVrxDataType: Unsupported type in getVrxDataType");
}

}  // namespace
}  // namespace modeltools
