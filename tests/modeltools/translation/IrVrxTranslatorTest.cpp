// IR ops and tensors back into backend records: backend type rules, params, tensor records
// and the translator's cache.

#include <gtest/gtest.h>

#include <cstring>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/translation/IrVrxTranslator.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

using ops::IrOp;

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
    for (auto& t : inputs) o->addInput(t, -1);
    for (auto& t : outputs) {
      o->addOutput(t, -1);
      t->setProducer(o);
    }
    return o;
  }
  std::shared_ptr<IrOp> unary(const std::string& type, Dims dims = {1, 4}) {
    return op("op" + std::to_string(++ops), type, {tensor("in" + std::to_string(ops), dims)},
              {tensor("out" + std::to_string(ops), dims)});
  }
  Vrx_OpConfig_t& translate(const std::shared_ptr<IrOp>& o, const std::string& backend = "") {
    return *translator.getVrxOp(o, false, backend);
  }
  static std::vector<std::string> paramNames(const Vrx_OpConfig_t& config) {
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
  int ops = 0;
};

TEST_F(TranslatorTest, FoldedFamiliesGoBackInBackendForms) {
  auto binary = unary("Eltwise_Binary");
  binary->attrs()->add("operation", uint32_t{13}, attrcategory::kBackendParam);
  EXPECT_STREQ(translate(binary).typeName, "ElementWiseBinary");
  EXPECT_EQ(param(translate(binary), "operation").scalar.value.uint32Value, 13u);

  auto named = unary("Eltwise_Binary");
  named->attrs()->add("eltwise_type", "ElementWiseMultiply", attrcategory::kSupplemental);
  EXPECT_STREQ(translate(named).typeName, "ElementWiseBinary");
  EXPECT_EQ(param(translate(named), "operation").scalar.value.uint32Value, 13u);
  EXPECT_EQ(named->attrs()->hasAttr("eltwise_type"), 0);

  auto exp = unary("Eltwise_Unary");
  exp->attrs()->add("eltwise_type", "ElementWiseExp", attrcategory::kSupplemental);
  EXPECT_STREQ(translate(exp).typeName, "ElementWiseUnary");
  EXPECT_EQ(param(translate(exp), "operation").scalar.value.uint32Value, 5u);

  auto softplus = unary("Eltwise_Unary");
  softplus->attrs()->add("eltwise_type", "ElementWiseSoftplus", attrcategory::kSupplemental);
  softplus->attrs()->add("beta", 2.0f, attrcategory::kSupplemental);
  EXPECT_STREQ(translate(softplus).typeName, "ElementWiseNeuron");
  EXPECT_EQ(paramNames(translate(softplus)), (std::vector<std::string>{"beta", "operation"}));
  EXPECT_EQ(param(translate(softplus), "operation").scalar.value.uint32Value, 7u);

  auto tanh = unary("Neuron");
  tanh->attrs()->add("neuron_type", "Tanh", attrcategory::kSupplemental);
  tanh->attrs()->add("alpha", 0.5f, attrcategory::kInternal);
  EXPECT_STREQ(translate(tanh).typeName, "ElementWiseNeuron");
  EXPECT_EQ(paramNames(translate(tanh)), (std::vector<std::string>{"alpha", "operation"}));
  EXPECT_EQ(param(translate(tanh), "operation").scalar.value.uint32Value, 8u);

  auto relu = unary("Neuron");  // as a client's "Relu" arrives
  relu->attrs()->add("operation", uint32_t{4}, attrcategory::kBackendParam);
  EXPECT_STREQ(translate(relu).typeName, "ElementWiseNeuron");
  EXPECT_STREQ(translate(unary("Gelu")).typeName, "ElementWiseNeuron");
}

TEST_F(TranslatorTest, MemberTypesComeBackAndTheirAttributeStaysOutOfParams) {
  const std::pair<const char*, const char*> families[] = {{"Eltwise_Ternary", "eltwise_type"},
                                                          {"Arg", "arg_type"},
                                                          {"Pool", "pool_type"},
                                                          {"Pool3d", "pool_type"},
                                                          {"Reduce", "reduce_type"}};
  for (const auto& [irType, attr] : families) {
    auto o = unary(irType);
    o->attrs()->add(attr, "BackendMember", attrcategory::kSupplemental);
    const auto& config = translate(o);
    EXPECT_STREQ(config.typeName, "BackendMember") << irType;
    EXPECT_EQ(config.numOfParams, 0u) << irType;
  }
  EXPECT_STREQ(translate(unary("MyCustomOp")).typeName, "MyCustomOp");
}

TEST_F(TranslatorTest, UnknownMembersAreRefused) {
  const char* head = "modeltools::IrVrxTranslator::getVrxOp: ";
  auto squared = unary("Eltwise_Binary");
  squared->attrs()->add("eltwise_type", "ElementWiseSquaredDifference", attrcategory::kSupplemental);
  EXPECT_THROW_MSG(
      translate(squared), std::invalid_argument,
      std::string(head) + "ElementwiseBinaryOp op1 eltwise_type provided, ElementWiseSquaredDifference, is incorrect ");
  auto badUnary = unary("Eltwise_Unary");
  badUnary->attrs()->add("eltwise_type", "ElementWiseAdd", attrcategory::kSupplemental);
  EXPECT_THROW_MSG(translate(badUnary), std::invalid_argument,
                   std::string(head) + "ElementwiseUnaryOp op2 eltwise_type provided, ElementWiseAdd, is incorrect ");
  auto badNeuron = unary("Neuron");
  badNeuron->attrs()->add("neuron_type", "Swish", attrcategory::kSupplemental);
  EXPECT_THROW_MSG(translate(badNeuron), std::invalid_argument,
                   std::string(head) + "ElementwiseNeuronOp op3 neuron_type provided, Swish, is incorrect ");
}

TEST_F(TranslatorTest, ResizeTakesItsBackendFormByRankModeAndBackend) {
  struct Case {
    Dims dims;
    uint32_t interpolation, transformation;
    const char* backend;
    const char* type;
    std::vector<std::string> flagsSet;  // bool params that come out true
  };
  const Case cases[] = {{{1, 8, 8, 3}, 2, 0, "", "Resize", {}},
                        {{1, 8, 8, 3}, 0, 3, "", "ResizeNearestNeighbor", {}},
                        {{1, 8, 8, 3}, 0, 0, "", "ResizeNearestNeighbor", {"half_pixel_centers"}},
                        {{1, 8, 8, 3}, 1, 2, "", "ResizeBilinear", {"align_corners"}},
                        {{1, 8, 8, 3}, 1, 2, "NXC", "Resize", {}},
                        {{1, 8, 3}, 0, 3, "", "Resize", {}}};
  for (const auto& c : cases) {
    auto o = unary("Resize", c.dims);
    o->attrs()->add("interpolation_mode", c.interpolation, attrcategory::kBackendParam);
    o->attrs()->add("transformation_mode", c.transformation, attrcategory::kBackendParam);
    const auto& config = translate(o, c.backend);
    EXPECT_STREQ(config.typeName, c.type);
    std::vector<std::string> flagsSet;
    for (uint32_t i = 0; i < config.numOfParams; ++i) {
      const auto& p = config.params[i];
      if (p.scalar.dataType == VRX_DATATYPE_BOOL_8 && p.scalar.value.bool8Value) flagsSet.push_back(p.name);
    }
    EXPECT_EQ(flagsSet, c.flagsSet) << c.type;
    // What the rule added stays on the op.
    EXPECT_EQ(o->attrs()->hasAttr("align_corners"), std::string(c.type) == "Resize" ? 0 : 1);
  }
}

TEST_F(TranslatorTest, ColorTransformPairsPickTypeAndOrder) {
  struct Case {
    uint8_t in, out;
    const char* type;
    std::vector<std::string> params;
    int order;
  };
  const Case cases[] = {{5, 0, "Nv21ToRgb", {"output_order"}, 1},
                        {5, 1, "Nv21ToRgb", {"output_order"}, 0},
                        {6, 0, "Nv12ToRgb", {"output_order"}, 1},
                        {6, 1, "Nv12ToRgb", {"output_order"}, 0},
                        {3, 0, "ArgbToRgb", {"input_order", "reverse_output"}, 1},
                        {2, 0, "ArgbToRgb", {"input_order", "reverse_output"}, 0},
                        {3, 1, "ArgbToRgb", {"input_order", "reverse_output"}, 1},
                        {2, 1, "ArgbToRgb", {"input_order", "reverse_output"}, 0}};
  auto withPair = [&](uint8_t in, uint8_t out) {
    auto o = unary("ColorTransform");
    o->attrs()->add("input_encoding_in", in, attrcategory::kSupplemental);
    o->attrs()->add("input_encoding_out", out, attrcategory::kSupplemental);
    return o;
  };
  for (const auto& c : cases) {
    const auto& config = translate(withPair(c.in, c.out));
    EXPECT_STREQ(config.typeName, c.type);
    ASSERT_EQ(paramNames(config), c.params);
    EXPECT_EQ(config.params[0].scalar.value.uint32Value, static_cast<uint32_t>(c.order));
    if (c.params.size() == 2) {
      EXPECT_EQ(config.params[1].scalar.value.bool8Value, c.out == 0 ? 1 : 0);
    }
  }
  EXPECT_THROW_MSG(translate(withPair(4, 0)), std::invalid_argument,
                   "modeltools::IrVrxTranslator::getVrxOp: Invalid color transformation on op op9");
}

TEST_F(TranslatorTest, ParamsAreBackendAttributesInNameOrderTensorsAmongThem) {
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
  auto o = unary("Custom");
  Vrx_OpConfig_t* first = translator.getVrxOp(o, false, "");
  o->attrs()->add("late", 1.0f, attrcategory::kBackendParam);
  EXPECT_EQ(translator.getVrxOp(o, false, ""), first);
  EXPECT_EQ(first->numOfParams, 0u);

  // A renamed op no longer owns its record; a new op under the old name gets a new one.
  o->setName("renamed");
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
  EXPECT_EQ(std::vector<uint32_t>(config.inputTensors[0].dimensions, config.inputTensors[0].dimensions + 6),
            (std::vector<uint32_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(std::vector<uint32_t>(config.inputTensors[1].dimensions, config.inputTensors[1].dimensions + 7),
            (std::vector<uint32_t>{1, 2, 3, 4, 5, 6, 7}));
  ASSERT_EQ(config.numOfOutputs, 1u);
  EXPECT_STREQ(config.outputTensors[0].name, "scalar");
  EXPECT_EQ(config.outputTensors[0].rank, 0u);
  EXPECT_EQ(config.outputTensors[0].dimensions, nullptr);

  auto sink = op("sink", "Custom", {tensor("only", {2})}, {});
  EXPECT_EQ(translate(sink).numOfOutputs, 0u);
  EXPECT_EQ(translate(sink).outputTensors, nullptr);
}

TEST_F(TranslatorTest, AFailedTranslationLeavesNothingCached) {
  auto o = unary("Custom");
  AttrValue wide;
  wide.dataType = VRX_DATATYPE_FLOAT_64;
  o->attrs()->addValue("wide", wide);
  EXPECT_THROW_HAS(translate(o), std::invalid_argument, "DataType unsupported for attribute: wide");
  o->attrs()->remove("wide");
  EXPECT_STREQ(translate(o).name, "op1");
  EXPECT_EQ(translate(o).numOfParams, 0u);
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
