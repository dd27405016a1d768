#include "BuildIrOp.hpp"

#include <optional>
#include <string>

#include "BuildIrTensor.hpp"
#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ops/OpFamilies.hpp"

namespace modeltools {
namespace {

constexpr const char* kCorePackage = "vrx.core";

std::string textOf(const char* text) { return text != nullptr ? text : ""; }

// A scalar param in its own width; false for data types that have no attribute form.
bool addScalarParam(IrAttributes& attrs, const std::string& name, const Vrx_Scalar_t& scalar) {
  constexpr uint8_t category = attrcategory::kBackendParam;
  const auto& v = scalar.value;
  switch (scalar.dataType) {
    case VRX_DATATYPE_FLOAT_32: attrs.add(name, v.floatValue, category); return true;
    case VRX_DATATYPE_INT_64: attrs.add(name, v.int64Value, category); return true;
    case VRX_DATATYPE_INT_32: attrs.add(name, v.int32Value, category); return true;
    case VRX_DATATYPE_INT_16: attrs.add(name, v.int16Value, category); return true;
    case VRX_DATATYPE_INT_8: attrs.add(name, v.int8Value, category); return true;
    case VRX_DATATYPE_UINT_64: attrs.add(name, v.uint64Value, category); return true;
    case VRX_DATATYPE_UINT_32: attrs.add(name, v.uint32Value, category); return true;
    case VRX_DATATYPE_UINT_16: attrs.add(name, v.uint16Value, category); return true;
    case VRX_DATATYPE_UINT_8: attrs.add(name, v.uint8Value, category); return true;
    case VRX_DATATYPE_BOOL_8: attrs.add(name, v.bool8Value != 0, category); return true;
    // The string itself doesn't survive: only whether there was one.
    case VRX_DATATYPE_STRING: attrs.add(name, v.stringValue != nullptr, category); return true;
    default: return false;
  }
}

void addParams(IrAttributes& attrs, const Vrx_OpConfig_t& opConfig) {
  if (opConfig.version != 1 || opConfig.params == nullptr) return;
  for (uint32_t i = 0; i < opConfig.numOfParams; ++i) {
    const Vrx_Param_t& param = opConfig.params[i];
    const std::string name = textOf(param.name);
    if (param.paramType == VRX_PARAMTYPE_TENSOR) {
      if (param.tensor.name == nullptr) continue;
      attrs.add(name, buildIrStaticTensor(param.tensor), attrcategory::kBackendParam);
    } else {
      addScalarParam(attrs, name, param.scalar);
    }
  }
}

// The neuron family as it folds: codes 2 and 7 have no backend type of their own here.
std::optional<uint32_t> foldableNeuronCode(const std::string& type) {
  auto code = ops::codeOf(ops::neuronCodes(), type);
  if (code && (*code == 2 || *code == 7)) return std::nullopt;
  return code;
}

// The IR type of a built-in backend type, with the attribute that keeps the family member.
std::string foldCoreType(const std::string& type, IrAttributes& attrs) {
  struct CodedFamily {
    std::optional<uint32_t> code;
    const char* irType;
  };
  const CodedFamily coded[] = {{ops::codeOf(ops::binaryElementwiseCodes(), type), "Eltwise_Binary"},
                               {ops::codeOf(ops::unaryElementwiseCodes(), type), "Eltwise_Unary"},
                               {foldableNeuronCode(type), "Neuron"}};
  for (const auto& family : coded) {
    if (!family.code) continue;
    attrs.add("operation", *family.code, attrcategory::kBackendParam);
    return family.irType;
  }
  struct NamedFamily {
    const std::set<std::string>& names;
    const char* irType;
    const char* memberAttr;
  };
  const NamedFamily named[] = {{ops::ternaryElementwiseNames(), "Eltwise_Ternary", "eltwise_type"},
                               {ops::argNames(), "Arg", "arg_type"},
                               {ops::reduceNames(), "Reduce", "reduce_type"},
                               {ops::poolNames(), "Pool", "pool_type"},
                               {ops::pool3dNames(), "Pool3d", "pool_type"}};
  for (const auto& family : named) {
    if (!family.names.contains(type)) continue;
    attrs.add(family.memberAttr, type, attrcategory::kSupplemental);
    return family.irType;
  }
  // The generic forms carry their own "operation" param.
  if (type == "ElementWiseUnary") return "Eltwise_Unary";
  if (type == "ElementWiseBinary") return "Eltwise_Binary";
  return type;
}

}  // namespace

std::shared_ptr<ops::IrOp> buildIrOp(const Vrx_OpConfig_t& opConfig) {
  const std::string packageName = textOf(opConfig.packageName);
  const std::string name = textOf(opConfig.name);
  std::string type = textOf(opConfig.typeName);

  auto attrs = std::make_shared<IrAttributes>();
  attrs->add("packageName", packageName, attrcategory::kSupplemental);
  addParams(*attrs, opConfig);
  if (packageName == kCorePackage) type = foldCoreType(type, *attrs);
  return std::make_shared<ops::IrOp>(name, std::move(type), std::move(attrs));
}

}  // namespace modeltools
