#include "IrVrxTranslator.hpp"

#include <cstring>
#include <stdexcept>

#include "BackendTypeRules.hpp"
#include "DataTypes.hpp"
#include "TranslatorEntries.hpp"

namespace modeltools {
namespace {

constexpr const char* kCorePackage = "vrx.core";

[[noreturn]] void fail(const char* function, const std::string& text) {
  throw std::invalid_argument(std::string("modeltools::IrVrxTranslator::") + function + ": " + text);
}

// The backend's type of a tensor. A tensor with no producer that isn't static is one the
// graph reads from outside.
uint32_t backendTensorType(const IrTensor& tensor) {
  const auto& dims = tensor.dims();
  if (tensor.name().empty() || (dims.size() == 1 && dims[0] == 0)) return VRX_TENSORTYPE_NULL;
  if (tensor.isStaticTensor() || tensor.producer()) return tensor.getTensorType();
  if (tensor.updateable()) return VRX_TENSORTYPE_UPDATEABLE_APP_WRITE;
  if (tensor.isOptional()) return tensorkind::kOptional;
  return VRX_TENSORTYPE_APP_WRITE;
}

bool isParamScalarType(uint32_t dataType) {
  switch (dataType) {
    case VRX_DATATYPE_INT_8:
    case VRX_DATATYPE_INT_16:
    case VRX_DATATYPE_INT_32:
    case VRX_DATATYPE_INT_64:
    case VRX_DATATYPE_UINT_8:
    case VRX_DATATYPE_UINT_16:
    case VRX_DATATYPE_UINT_32:
    case VRX_DATATYPE_UINT_64:
    case VRX_DATATYPE_FLOAT_16:
    case VRX_DATATYPE_FLOAT_32:
    case VRX_DATATYPE_SFIXED_POINT_8:
    case VRX_DATATYPE_SFIXED_POINT_16:
    case VRX_DATATYPE_SFIXED_POINT_32:
    case VRX_DATATYPE_UFIXED_POINT_8:
    case VRX_DATATYPE_UFIXED_POINT_16:
    case VRX_DATATYPE_UFIXED_POINT_32:
    case VRX_DATATYPE_BOOL_8:
    case VRX_DATATYPE_STRING: return true;
    default: return false;
  }
}

void setClientBuffer(Vrx_Tensor_t& record, const IrTensor& tensor, bool omitData) {
  if (!tensor.isStaticTensor()) return;
  const auto& data = static_cast<const IrStaticTensor&>(tensor);
  record.clientBuf.data = omitData ? nullptr : const_cast<void*>(data.getData());
  record.clientBuf.dataSize = data.dataSize();
}

template <class T>
T* dataOrNull(std::vector<T>& values) {
  return values.empty() ? nullptr : values.data();
}

}  // namespace

IrVrxTranslator::IrVrxTranslator() = default;
IrVrxTranslator::~IrVrxTranslator() = default;

std::shared_ptr<IrVrxTranslator::TensorEntry> IrVrxTranslator::makeTensorEntry(const std::shared_ptr<IrTensor>& tensor,
                                                                               bool cached) {
  auto entry = std::make_shared<TensorEntry>();
  entry->tensor = tensor;
  entry->name = tensor->name();
  entry->dims = tensor->dims();
  entry->dynamicFlags = tensor->shape().dynamicFlags();
  Vrx_Tensor_t& record = entry->record;
  record.version = 2;
  record.id = tensor->id();
  record.name = entry->name.c_str();
  record.type = backendTensorType(*tensor);
  record.dataFormat = VRX_TENSOR_DATA_FORMAT_DENSE;
  record.dataType = tensor->dataType();
  record.sparseParams.layout = tensor->sparseLayout();
  if (tensor->isSparse()) {
    record.dataFormat = VRX_TENSOR_DATA_FORMAT_SPARSE;
    record.sparseParams.numSpecifiedElements = tensor->numSpecifiedElements();
    record.sparseParams.numSparseDimensions = tensor->numSparseDimensions();
  }
  record.rank = static_cast<uint32_t>(entry->dims.size());
  record.dimensions = dataOrNull(entry->dims);
  record.memType = 0;
  record.isDynamicDimensions = dataOrNull(entry->dynamicFlags);
  if (!cached) {
    translateQuantEncoding(*tensor, record.quantizeParams, entry->keepAlive);
    return entry;
  }
  tensorCache_[tensor->name()] = entry;
  try {
    translateQuantEncoding(*tensor, record.quantizeParams, entry->keepAlive);
  } catch (...) {
    tensorCache_.erase(tensor->name());
    throw;
  }
  return entry;
}

std::shared_ptr<IrVrxTranslator::TensorEntry> IrVrxTranslator::tensorEntry(const std::shared_ptr<IrTensor>& tensor) {
  if (!tensor) fail("getVrxTensor", "Invalid tensor: received null tensor pointer, expected a valid tensor");
  auto it = tensorCache_.find(tensor->name());
  // A record stands while its name (which composition may have sanitized) and the name of
  // the tensor it was made for still equal the name asked for.
  if (it != tensorCache_.end() && tensor->name() == it->second->record.name &&
      it->second->tensor->name() == tensor->name()) {
    return it->second;
  }
  return makeTensorEntry(tensor, true);
}

Vrx_Tensor_t* IrVrxTranslator::getVrxTensor(const std::shared_ptr<IrTensor>& tensor) {
  return &tensorEntry(tensor)->record;
}

void IrVrxTranslator::addParams(OpEntry& entry) {
  for (const auto& [name, attr] : *entry.op->attrs()) {
    if (attr.category != attrcategory::kBackendParam) continue;
    Vrx_Param_t param{};
    param.name = entry.keep(name);
    if (attr.attrType == attrtype::kScalar) {
      if (!isParamScalarType(attr.dataType)) {
        fail("getVrxOp", "IrVrxTranslator::getVrxOp DataType unsupported for attribute: " + name);
      }
      param.paramType = VRX_PARAMTYPE_SCALAR;
      param.scalar.dataType = attr.dataType;
      if (attr.dataType == VRX_DATATYPE_STRING) {
        param.scalar.value.stringValue = entry.keep(attr.stringValue);
      } else if (attr.dataType == VRX_DATATYPE_BOOL_8) {
        param.scalar.value.bool8Value = attr.value.boolValue ? 1 : 0;
      } else {
        std::memcpy(&param.scalar.value, &attr.value, vrx::dataTypeByteWidth(attr.dataType));
      }
    } else if (attr.attrType == attrtype::kTensor && attr.tensor) {
      // A tensor param is the op's own: its record isn't shared through the cache.
      auto tensorEntry = makeTensorEntry(attr.tensor, false);
      param.paramType = VRX_PARAMTYPE_TENSOR;
      param.tensor = tensorEntry->record;
      setClientBuffer(param.tensor, *attr.tensor, false);
      entry.paramEntries.push_back(std::move(tensorEntry));
    } else {
      fail("getVrxOp", "IrVrxTranslator::getVrxOp AttrType undefined for attribute: " + name);
    }
    entry.params.push_back(param);
  }
  entry.config.numOfParams = static_cast<uint32_t>(entry.params.size());
  entry.config.params = dataOrNull(entry.params);
}

void IrVrxTranslator::addTensorLists(OpEntry& entry, bool omitStaticData) {
  for (const auto& tensor : entry.op->getInputs()) {
    auto tensorEntry = this->tensorEntry(tensor);
    Vrx_Tensor_t record = tensorEntry->record;
    setClientBuffer(record, *tensor, omitStaticData);
    entry.inputs.push_back(record);
    entry.inputEntries.push_back(std::move(tensorEntry));
  }
  for (const auto& tensor : entry.op->getOutputs()) {
    auto tensorEntry = this->tensorEntry(tensor);
    entry.outputs.push_back(tensorEntry->record);
    entry.outputEntries.push_back(std::move(tensorEntry));
  }
  entry.config.numOfInputs = static_cast<uint32_t>(entry.inputs.size());
  entry.config.inputTensors = dataOrNull(entry.inputs);
  entry.config.numOfOutputs = static_cast<uint32_t>(entry.outputs.size());
  entry.config.outputTensors = dataOrNull(entry.outputs);
}

Vrx_OpConfig_t* IrVrxTranslator::getVrxOp(const std::shared_ptr<ops::IrOp>& op, bool omitStaticData,
                                          const std::string& backendName) {
  if (!op) fail("getVrxOp", "Invalid op: received null op pointer, expected a valid op");
  if (auto it = opCache_.find(op->name()); it != opCache_.end() && it->second->op->name() == op->name()) {
    OpEntry& entry = *it->second;
    // A record made for validation left static data out; the backend needs it.
    for (size_t i = 0; !omitStaticData && i < entry.inputs.size(); ++i) {
      if (entry.inputs[i].clientBuf.data == nullptr) {
        setClientBuffer(entry.inputs[i], *entry.inputEntries[i]->tensor, false);
      }
    }
    return &entry.config;
  }
  auto entry = std::make_shared<OpEntry>();
  entry->op = op;
  Vrx_OpConfig_t& config = entry->config;
  config.version = 1;
  config.name = entry->keep(op->name());
  const auto& attrs = *op->attrs();
  config.packageName =
      entry->keep(attrs.hasAttr("packageName") ? attrs.getAttr<std::string>("packageName") : kCorePackage);
  config.typeName = entry->keep(backendTypeOf(*op, backendName));
  addParams(*entry);
  addTensorLists(*entry, omitStaticData);
  opCache_[op->name()] = entry;
  return &entry->config;
}

void IrVrxTranslator::keepWithOp(const Vrx_OpConfig_t& config, std::shared_ptr<void> storage) {
  auto it = config.name != nullptr ? opCache_.find(config.name) : opCache_.end();
  if (it == opCache_.end() || &it->second->config != &config) {
    fail("keepWithOp",
         std::string("Op record ") + (config.name ? config.name : "") + " wasn't made by this translator");
  }
  it->second->keepAlive.push_back(std::move(storage));
}

void IrVrxTranslator::keepWithTensor(const std::string& tensorName, const Vrx_Tensor_t& record,
                                     std::shared_ptr<void> storage) {
  auto it = tensorCache_.find(tensorName);
  if (it == tensorCache_.end() || &it->second->record != &record) {
    fail("keepWithTensor", "Tensor record " + tensorName + " wasn't made by this translator");
  }
  it->second->keepAlive.push_back(std::move(storage));
}

}  // namespace modeltools
