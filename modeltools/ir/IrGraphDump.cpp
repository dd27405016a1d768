// The graph's two read-only reports: the MAC and parameter totals, and the JSON dump.

#include <rapidjson/document.h>

#include <set>
#include <sstream>
#include <stdexcept>

#include "IrGraph.hpp"
#include "JsonFile.hpp"

namespace modeltools {
namespace {

using Allocator = rapidjson::Document::AllocatorType;

const char* dtypeName(uint32_t dataType) {
  switch (dataType) {
    case VRX_DATATYPE_INT_8: return "int8";
    case VRX_DATATYPE_INT_16: return "int16";
    case VRX_DATATYPE_INT_32: return "int32";
    case VRX_DATATYPE_INT_64: return "int64";
    case VRX_DATATYPE_UINT_8: return "uint8";
    case VRX_DATATYPE_UINT_16: return "uint16";
    case VRX_DATATYPE_UINT_32: return "uint32";
    case VRX_DATATYPE_UINT_64: return "uint64";
    case VRX_DATATYPE_FLOAT_16: return "float16";
    case VRX_DATATYPE_FLOAT_32: return "float32";
    case VRX_DATATYPE_SFIXED_POINT_4: return "qint4";
    case VRX_DATATYPE_SFIXED_POINT_8: return "qint8";
    case VRX_DATATYPE_SFIXED_POINT_16: return "qint16";
    case VRX_DATATYPE_SFIXED_POINT_32: return "qint32";
    case VRX_DATATYPE_UFIXED_POINT_4: return "quint4";
    case VRX_DATATYPE_UFIXED_POINT_8: return "quint8";
    case VRX_DATATYPE_UFIXED_POINT_16: return "quint16";
    case VRX_DATATYPE_UFIXED_POINT_32: return "quint32";
    case VRX_DATATYPE_BOOL_8: return "bool";
    case VRX_DATATYPE_STRING: return "str";
    default: return "undefined";
  }
}

rapidjson::Value text(const std::string& value, Allocator& allocator) {
  return rapidjson::Value(value.c_str(), static_cast<rapidjson::SizeType>(value.size()), allocator);
}

template <class Container>
rapidjson::Value unsignedArray(const Container& values, Allocator& allocator) {
  rapidjson::Value array(rapidjson::kArrayType);
  for (const auto value : values) array.PushBack(static_cast<uint64_t>(value), allocator);
  return array;
}

rapidjson::Value tensorObject(const IrTensor& tensor, Allocator& allocator) {
  rapidjson::Value shape(rapidjson::kObjectType);
  shape.AddMember("dims", unsignedArray(tensor.dims(), allocator), allocator);
  shape.AddMember("dynamic_axes", unsignedArray(tensor.shape().dynamicAxes(), allocator), allocator);
  rapidjson::Value object(rapidjson::kObjectType);
  object.AddMember("layout", text(axisFormatToString(tensor.axisFormat()), allocator), allocator);
  object.AddMember("shape", shape, allocator);
  object.AddMember("dtype", rapidjson::StringRef(dtypeName(tensor.dataType())), allocator);
  return object;
}

// [{name: tensor}, ...]: the form of a node's inputs and outputs.
rapidjson::Value tensorList(const std::vector<TensorPtr>& tensors, Allocator& allocator) {
  rapidjson::Value list(rapidjson::kArrayType);
  for (const auto& tensor : tensors) {
    rapidjson::Value entry(rapidjson::kObjectType);
    entry.AddMember(text(tensor->name(), allocator), tensorObject(*tensor, allocator), allocator);
    list.PushBack(entry, allocator);
  }
  return list;
}

void addNode(rapidjson::Document& document, const std::string& name, const std::string& type,
             const std::vector<TensorPtr>& inputs, const std::vector<TensorPtr>& outputs, rapidjson::Value attrs) {
  auto& allocator = document.GetAllocator();
  rapidjson::Value node(rapidjson::kObjectType);
  node.AddMember("name", text(name, allocator), allocator);
  node.AddMember("type", text(type, allocator), allocator);
  node.AddMember("inputs", tensorList(inputs, allocator), allocator);
  node.AddMember("outputs", tensorList(outputs, allocator), allocator);
  node.AddMember("attrs", attrs, allocator);
  document.AddMember(text(name, allocator), node, allocator);
}

// A transpose shows its permutation; every other op has no attributes in the dump.
rapidjson::Value dumpedAttrs(const ops::IrOp& op, Allocator& allocator) {
  rapidjson::Value attrs(rapidjson::kObjectType);
  if (op.type() != "Transpose" || !op.attrs()->hasAttr("perm")) return attrs;
  const auto perm = op.attrs()->getStaticTensor("perm");
  const uint32_t count = perm->rank() == 0 ? 0 : perm->dims()[0];
  const auto values = perm->values<uint32_t>();
  rapidjson::Value order(rapidjson::kArrayType);
  for (uint32_t i = 0; i < count; ++i) {
    if (i >= perm->elements() || i >= values.size()) throw std::out_of_range("Index out of bounds for IrStaticTensor");
    order.PushBack(values[i], allocator);
  }
  attrs.AddMember("order", order, allocator);
  return attrs;
}

}  // namespace

std::pair<uint64_t, uint64_t> IrGraph::reEvalMacsParams() {
  constexpr const char* kHead = "modeltools::IrGraph::reEvalMacsParams: ";
  uint64_t totalMacs = 0;
  uint64_t totalParams = 0;
  for (const auto& op : opList_) {
    try {
      // A client's op stays generic; its type's class knows its cost. The view shares the op's
      // attribute table, so the defaults of the class become the op's own.
      auto typed = services_.typedView ? services_.typedView(*op) : nullptr;
      ops::IrOp& counted = typed ? *typed : *op;
      const uint64_t macs = counted.macs(axisOrder_);
      const uint32_t params = counted.paramsCount(axisOrder_);
      totalMacs += macs;
      totalParams += params;
    } catch (const std::exception& error) {
      diagnostics().write(kHead, "WARNING: Failed to calculate MACs/params for op ", op->name(), ": ", error.what(),
                          '\n');
    }
  }
  diagnostics().write(kHead, "Re-evaluated graph statistics after IrOptimizer optimization passes:\n", kHead,
                      "Total MACs: ", totalMacs, '\n', kHead, "Total Params Count: ", totalParams, '\n');
  return {totalMacs, totalParams};
}

void IrGraph::dumpJson(const std::string& path) const {
  const std::string fileName = path.ends_with(".json") ? path : path + ".json";

  rapidjson::Document document(rapidjson::kObjectType);
  auto& allocator = document.GetAllocator();
  auto emptyAttrs = [] { return rapidjson::Value(rapidjson::kObjectType); };
  for (const auto& input : graphInputs_) addNode(document, input->name(), "input", {}, {input}, emptyAttrs());
  std::set<std::string> writtenConstants;
  for (const auto& op : opList_) {
    const auto inputs = op->getInputs();
    for (const auto& input : inputs) {
      if (input->isStaticTensor() && writtenConstants.insert(input->name()).second) {
        addNode(document, input->name(), "constant", {}, {input}, emptyAttrs());
      }
    }
    addNode(document, op->name(), op->type(), inputs, op->getOutputs(), dumpedAttrs(*op, allocator));
  }

  if (!writePrettyJson(document, fileName)) {
    throw std::runtime_error("modeltools::IrGraph::dumpJson: IrGraph::dumpJson: Failed to open file for writing: " +
                             fileName);
  }
}

}  // namespace modeltools
