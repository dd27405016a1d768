#include "OpSupport.hpp"

#include <cstring>

#include "modeltools/ir/AxisOrder.hpp"

namespace modeltools::ops {
namespace {

template <class Stored>
void appendValues(const IrStaticTensor& tensor, std::vector<int64_t>& values) {
  const auto stored = tensor.values<Stored>();
  values.insert(values.end(), stored.begin(), stored.end());
}

template <class T>
std::shared_ptr<IrStaticTensor> makeTensor(const std::string& tensorName, const std::vector<T>& values,
                                           const Dims& shape, uint32_t dataType) {
  TensorFields fields{.name = tensorName,
                  .shape = IrTensorShape(shape),
                  .dataType = dataType,
                  .floatDataType = dataType,
                  .kind = tensorkind::kStatic};
  return std::make_shared<IrStaticTensor>(std::move(fields), values.data(),
                                          static_cast<uint32_t>(values.size() * sizeof(T)));
}

}  // namespace

void requireAttrs(const IrAttributes& attrs, std::initializer_list<const char*> names) {
  for (const char* name : names) attrs.assertAttrExists(name);
}

void addDefaultListAttr(IrAttributes& attrs, const std::string& name, const std::vector<uint32_t>& values,
                        const Dims& shape, uint8_t category) {
  if (!attrs.hasAttr(name)) attrs.add(name, makeListTensor(name, values, shape), category);
}

void requireSupplemental(const IrAttributes& attrs, const std::string& name, const std::string& opName,
                         std::string_view head, std::string_view word) {
  if (!attrs.isInternal(name)) {
    fail<std::invalid_argument>(head, name, " attribute must be set as supplemental ", word, " for op ", opName);
  }
}

int64_t readIntAttr(const IrAttributes& attrs, const std::string& name) {
  const AttrValue& attr = attrs.get(name);
  if (attr.attrType == attrtype::kScalar && attr.dataType == VRX_DATATYPE_UINT_32) return attr.value.uint32Value;
  return attrs.getAttr<int32_t>(name);  // reports any other kind with the getter's own message
}

std::vector<int64_t> readListAttr(const IrAttributes& attrs, const std::string& name) {
  const auto tensor = attrs.getStaticTensor(name);
  std::vector<int64_t> values;
  if (!tensor) return values;
  switch (tensor->dataType()) {
    case VRX_DATATYPE_INT_8:
      appendValues<int8_t>(*tensor, values);
      break;
    case VRX_DATATYPE_UINT_8:
    case VRX_DATATYPE_BOOL_8:
      appendValues<uint8_t>(*tensor, values);
      break;
    case VRX_DATATYPE_INT_16:
      appendValues<int16_t>(*tensor, values);
      break;
    case VRX_DATATYPE_UINT_16:
      appendValues<uint16_t>(*tensor, values);
      break;
    case VRX_DATATYPE_INT_64:
      appendValues<int64_t>(*tensor, values);
      break;
    case VRX_DATATYPE_UINT_64:
      appendValues<uint64_t>(*tensor, values);
      break;
    case VRX_DATATYPE_INT_32:
      appendValues<int32_t>(*tensor, values);
      break;
    default:  // list attributes are 32-bit values
      appendValues<uint32_t>(*tensor, values);
      break;
  }
  return values;
}

std::vector<int32_t> readI32List(const IrAttributes& attrs, const std::string& name) {
  const auto wide = readListAttr(attrs, name);
  std::vector<int32_t> values;
  values.reserve(wide.size());
  for (int64_t value : wide) values.push_back(static_cast<int32_t>(value));
  return values;
}

std::vector<uint32_t> readU32List(const IrAttributes& attrs, const std::string& name) {
  const auto wide = readListAttr(attrs, name);
  std::vector<uint32_t> values;
  values.reserve(wide.size());
  for (int64_t value : wide) values.push_back(static_cast<uint32_t>(value));
  return values;
}

Dims listAttrShape(const IrAttributes& attrs, const std::string& name) {
  const auto tensor = attrs.getStaticTensor(name);
  return tensor ? tensor->dims() : Dims{};
}

std::shared_ptr<IrStaticTensor> makeListTensor(const std::string& tensorName, const std::vector<uint32_t>& values,
                                               const Dims& shape, uint32_t dataType) {
  return makeTensor(tensorName, values, shape, dataType);
}

std::shared_ptr<IrStaticTensor> makeListTensor(const std::string& tensorName, const std::vector<int32_t>& values,
                                               const Dims& shape, uint32_t dataType) {
  return makeTensor(tensorName, values, shape, dataType);
}

uint64_t productOfLastDims(const Dims& dims, size_t n) {
  if (dims.size() < n) return 1;
  uint64_t product = 1;
  for (size_t i = dims.size() - n; i < dims.size(); ++i) product *= dims[i];
  return product;
}

uint64_t productOfDims(const Dims& dims) { return productOfLastDims(dims, dims.size()); }

std::vector<Dims> plainDimsOf(const std::vector<IrTensorShape>& shapes, std::string_view head,
                              const PlainShapeMessages& messages) {
  if (shapes.empty()) {
    if (messages.noShapeIsRuntime) fail<std::runtime_error>(head, messages.noShape);
    fail<std::invalid_argument>(head, messages.noShape);
  }
  std::vector<Dims> dims;
  dims.reserve(shapes.size());
  for (const auto& shape : shapes) {
    if (shape.hasDynamicAxes()) fail<std::invalid_argument>(head, messages.dynamic);
    dims.push_back(shape.dims());
  }
  return dims;
}

void setDataFormatOfInput0(IrOp& op, const AxisOrderPtr& axisOrder) {
  op.setInputAxisFormat(axisOrder->getAxisFormat(op.getInput(0)->rank(), false), 0);
}

}  // namespace modeltools::ops
