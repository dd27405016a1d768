#include "BackendTypeRules.hpp"

#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ops/OpFamilies.hpp"

namespace modeltools {
namespace {

using Rule = std::function<std::string(ops::IrOp&, const std::string& backendName)>;

constexpr uint8_t kParam = attrcategory::kBackendParam;

[[noreturn]] void fail(const std::string& text) {
  throw std::invalid_argument("modeltools::IrVrxTranslator::getVrxOp: " + text);
}

std::string incorrectMember(const char* opClass, const ops::IrOp& op, const char* attr, const std::string& value) {
  return std::string(opClass) + " " + op.name() + " " + attr + " provided, " + value + ", is incorrect ";
}

void setOperation(IrAttributes& attrs, uint32_t code) { attrs.add("operation", code, kParam); }

// Re-enters present attributes as 32-bit float backend params.
void copyFloatParams(IrAttributes& attrs, const std::vector<const char*>& names) {
  for (const char* name : names) {
    if (attrs.hasAttr(name)) attrs.add(name, attrs.getAttr<float>(name), kParam);
  }
}

uint32_t u32OrDefault(const IrAttributes& attrs, const char* name, uint32_t fallback) {
  return attrs.hasAttr(name) ? attrs.getAttr<uint32_t>(name) : fallback;
}

std::string unaryRule(ops::IrOp& op, const std::string&) {
  auto& attrs = *op.attrs();
  if (!attrs.hasAttr("eltwise_type")) return "ElementWiseUnary";
  const auto member = attrs.getAttr<std::string>("eltwise_type");
  std::string type = "ElementWiseUnary";
  if (member == "ElementWiseSoftplus") {
    setOperation(attrs, *ops::codeOf(ops::neuronCodes(), member));
    copyFloatParams(attrs, {"beta", "threshold"});
    type = "ElementWiseNeuron";
  } else if (auto code = ops::codeOf(ops::unaryElementwiseCodes(), member)) {
    setOperation(attrs, *code);
  } else {
    fail(incorrectMember("ElementwiseUnaryOp", op, "eltwise_type", member));
  }
  attrs.remove("eltwise_type");
  return type;
}

std::string binaryRule(ops::IrOp& op, const std::string&) {
  auto& attrs = *op.attrs();
  if (!attrs.hasAttr("eltwise_type")) return "ElementWiseBinary";
  const auto member = attrs.getAttr<std::string>("eltwise_type");
  auto code = ops::codeOf(ops::binaryElementwiseCodes(), member);
  // The backend has no binary form of a squared difference.
  if (!code || member == "ElementWiseSquaredDifference") {
    fail(incorrectMember("ElementwiseBinaryOp", op, "eltwise_type", member));
  }
  setOperation(attrs, *code);
  attrs.remove("eltwise_type");
  return "ElementWiseBinary";
}

std::string neuronRule(ops::IrOp& op, const std::string&) {
  struct Member {
    const char* name;
    std::vector<const char*> params;
  };
  static const Member members[] = {{"Elu", {"alpha"}},
                                   {"Tanh", {"alpha", "beta"}},
                                   {"ReluMinMax", {"min_value", "max_value"}},
                                   {"Relu", {}},
                                   {"Sigmoid", {}},
                                   {"HardSwish", {}}};
  auto& attrs = *op.attrs();
  if (!attrs.hasAttr("neuron_type")) return "ElementWiseNeuron";
  const auto member = attrs.getAttr<std::string>("neuron_type");
  const Member* found = nullptr;
  for (const auto& candidate : members) {
    if (member == candidate.name) found = &candidate;
  }
  if (found == nullptr) fail(incorrectMember("ElementwiseNeuronOp", op, "neuron_type", member));
  setOperation(attrs, *ops::codeOf(ops::neuronCodes(), member));
  copyFloatParams(attrs, found->params);
  attrs.remove("neuron_type");
  return "ElementWiseNeuron";
}

std::string geluRule(ops::IrOp& op, const std::string&) {
  setOperation(*op.attrs(), *ops::codeOf(ops::neuronCodes(), "Gelu"));
  return "ElementWiseNeuron";
}

// Families whose member's backend type is kept as a string attribute.
Rule memberTypeRule(const char* attr) {
  return [attr](ops::IrOp& op, const std::string&) { return op.attrs()->getAttr<std::string>(attr); };
}

std::string resizeRule(ops::IrOp& op, const std::string& backendName) {
  auto& attrs = *op.attrs();
  const uint32_t interpolation = u32OrDefault(attrs, "interpolation_mode", 0);
  const uint32_t rank = op.numInputs() > 0 ? op.getInput(0)->rank() : 0;
  // Only 4-D inputs have the specific backend forms; other ranks keep the general op.
  if (rank != 4 || interpolation == 2 || backendName == "NXC") return "Resize";
  const uint32_t transformation = u32OrDefault(attrs, "transformation_mode", 3);
  attrs.add("align_corners", transformation == 2, kParam);
  attrs.add("half_pixel_centers", transformation == 0, kParam);
  if (interpolation != 1) return "ResizeNearestNeighbor";
  const bool antialias = attrs.hasAttr("antialias") && attrs.getAttr<bool>("antialias");
  attrs.add("antialias", antialias, kParam);
  return "ResizeBilinear";
}

std::string colorTransformRule(ops::IrOp& op, const std::string&) {
  auto& attrs = *op.attrs();
  const uint8_t in = attrs.getAttr<uint8_t>("input_encoding_in");
  const uint8_t out = attrs.getAttr<uint8_t>("input_encoding_out");
  if (out > 1) fail("Invalid color transformation on op " + op.name());
  // Output encoding 0 is the reversed channel order on both kinds of conversion.
  const bool reversed = out == 0;
  if (in == 5 || in == 6) {
    attrs.add("output_order", static_cast<int32_t>(reversed ? 1 : 0), kParam);
    return in == 5 ? "Nv21ToRgb" : "Nv12ToRgb";
  }
  if (in == 2 || in == 3) {
    attrs.add("input_order", static_cast<uint32_t>(in == 3 ? 1 : 0), kParam);
    attrs.add("reverse_output", reversed, kParam);
    return "ArgbToRgb";
  }
  fail("Invalid color transformation on op " + op.name());
}

const std::map<std::string, Rule>& rules() {
  static const std::map<std::string, Rule> table = {
      {"Eltwise_Unary", unaryRule},
      {"Eltwise_Binary", binaryRule},
      {"Eltwise_Ternary", memberTypeRule("eltwise_type")},
      {"Arg", memberTypeRule("arg_type")},
      {"Gelu", geluRule},
      {"Neuron", neuronRule},
      {"Pool", memberTypeRule("pool_type")},
      {"Pool3d", memberTypeRule("pool_type")},
      {"Reduce", memberTypeRule("reduce_type")},
      {"Resize", resizeRule},
      {"ColorTransform", colorTransformRule},
  };
  return table;
}

}  // namespace

std::string backendTypeOf(ops::IrOp& op, const std::string& backendName) {
  auto it = rules().find(op.type());
  return it == rules().end() ? op.type() : it->second(op, backendName);
}

}  // namespace modeltools
