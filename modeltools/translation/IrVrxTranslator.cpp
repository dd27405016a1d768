#include "IrVrxTranslator.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "BackendTypeRules.hpp"
#include "modeltools/ir/DataTypes.hpp"
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

template <class Values>
auto* dataOrNull(Values& values) {
  return values.empty() ? nullptr : values.data();
}

}  // namespace

IrVrxTranslator::IrVrxTranslator(Diagnostics* diagnostics)
    : diagnostics_(diagnostics != nullptr ? diagnostics : &ownDiagnostics_) {}

IrVrxTranslator::~IrVrxTranslator() {
  // Op entries first: they point into tensor entries.
  for (OpEntry* entry : opEntries_) entry->~OpEntry();
  for (TensorEntry* entry : tensorEntries_) entry->~TensorEntry();
}

const char* IrVrxTranslator::keep(std::string_view text) {
  auto* copy = static_cast<char*>(arena_.allocate(text.size() + 1, 1));
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

void IrVrxTranslator::reserve(size_t ops, size_t tensors) {
  opCache_.reserve(ops);
  tensorCache_.reserve(tensors);
}

IrVrxTranslator::TensorEntry* IrVrxTranslator::makeTensorEntry(const std::shared_ptr<IrTensor>& tensor) {
  // Listed before it holds anything, so that whatever it comes to hold is released with the translator.
  auto* made = new (arena_.allocate(sizeof(TensorEntry), alignof(TensorEntry))) TensorEntry(&arena_);
  tensorEntries_.push_back(made);
  TensorEntry& entry = *made;
  entry.tensor = tensor;
  const auto& dims = tensor->dims();
  uint32_t* storedDims = nullptr;
  if (dims.size() > TensorEntry::kInlineRank) {
    entry.dims.assign(dims.begin(), dims.end());
    storedDims = entry.dims.data();
  } else if (!dims.empty()) {
    std::copy(dims.begin(), dims.end(), entry.inlineDims.begin());
    storedDims = entry.inlineDims.data();
  }
  const auto& dynamicFlags = tensor->shape().dynamicFlags();
  entry.dynamicFlags.assign(dynamicFlags.begin(), dynamicFlags.end());
  Vrx_Tensor_t& record = entry.record;
  record.version = 2;
  record.id = tensor->id();
  record.name = keep(tensor->name());
  record.type = backendTensorType(*tensor);
  record.dataFormat = VRX_TENSOR_DATA_FORMAT_DENSE;
  record.dataType = tensor->dataType();
  record.sparseParams.layout = tensor->sparseLayout();
  if (tensor->isSparse()) {
    record.dataFormat = VRX_TENSOR_DATA_FORMAT_SPARSE;
    record.sparseParams.numSpecifiedElements = tensor->numSpecifiedElements();
    record.sparseParams.numSparseDimensions = tensor->numSparseDimensions();
  }
  record.rank = static_cast<uint32_t>(dims.size());
  record.dimensions = storedDims;
  record.memType = 0;
  record.isDynamicDimensions = dataOrNull(entry.dynamicFlags);
  return made;
}

IrVrxTranslator::TensorEntry* IrVrxTranslator::tensorEntry(const std::shared_ptr<IrTensor>& tensor) {
  if (!tensor) fail("getVrxTensor", "Invalid tensor: received null tensor pointer, expected a valid tensor");
  // One lookup finds the record or makes the slot for a new one.
  auto [it, inserted] = tensorCache_.try_emplace(tensor->name());
  // A record stands while its name (which composition may have sanitized) and the name of
  // the tensor it was made for still equal the name asked for.
  if (!inserted && tensor->name() == it->second->record.name && it->second->tensor->name() == tensor->name()) {
    return it->second;
  }
  TensorEntry* entry = nullptr;
  try {
    entry = makeTensorEntry(tensor);
  } catch (...) {
    if (inserted) tensorCache_.erase(it);
    throw;
  }
  // Cached before its quantization is translated, so that an array encoding that names its
  // own tensor finds it; gone again if the translation fails.
  it->second = entry;
  try {
    translateQuantEncoding(*tensor, entry->record.quantizeParams, entry->keepAlive);
  } catch (...) {
    tensorCache_.erase(tensor->name());
    throw;
  }
  return entry;
}

Vrx_Tensor_t* IrVrxTranslator::getVrxTensor(const std::shared_ptr<IrTensor>& tensor) {
  return &tensorEntry(tensor)->record;
}

void IrVrxTranslator::addParams(OpEntry& entry) {
  size_t params = 0;
  for (const auto& [name, attr] : *entry.op->attrs()) params += attr.category == attrcategory::kBackendParam;
  entry.params.reserve(params);
  for (const auto& [name, attr] : *entry.op->attrs()) {
    if (attr.category != attrcategory::kBackendParam) continue;
    Vrx_Param_t param{};
    param.name = keep(name);
    if (attr.attrType == attrtype::kScalar) {
      if (!isParamScalarType(attr.dataType)) {
        fail("getVrxOp", "IrVrxTranslator::getVrxOp DataType unsupported for attribute: " + name);
      }
      param.paramType = VRX_PARAMTYPE_SCALAR;
      param.scalar.dataType = attr.dataType;
      if (attr.dataType == VRX_DATATYPE_STRING) {
        param.scalar.value.stringValue = keep(attr.stringValue);
      } else if (attr.dataType == VRX_DATATYPE_BOOL_8) {
        param.scalar.value.bool8Value = attr.value.boolValue ? 1 : 0;
      } else {
        std::memcpy(&param.scalar.value, &attr.value, modeltools::dataTypeByteWidth(attr.dataType));
      }
    } else if (attr.attrType == attrtype::kTensor && attr.tensor) {
      // A tensor param is the op's own: its record isn't shared through the cache.
      TensorEntry& tensorEntry = *makeTensorEntry(attr.tensor);
      translateQuantEncoding(*attr.tensor, tensorEntry.record.quantizeParams, tensorEntry.keepAlive);
      param.paramType = VRX_PARAMTYPE_TENSOR;
      param.tensor = tensorEntry.record;
      setClientBuffer(param.tensor, *attr.tensor, false);
    } else {
      fail("getVrxOp", "IrVrxTranslator::getVrxOp AttrType undefined for attribute: " + name);
    }
    entry.params.push_back(param);
  }
  entry.config.numOfParams = static_cast<uint32_t>(entry.params.size());
  entry.config.params = dataOrNull(entry.params);
}

void IrVrxTranslator::addTensorLists(OpEntry& entry, bool omitStaticData) {
  // Sized once: the config points into the array.
  entry.tensors.reserve(entry.op->numInputs() + entry.op->numOutputs());
  entry.tensorEntries.reserve(entry.op->numInputs() + entry.op->numOutputs());
  for (const auto& tensor : entry.op->getInputs()) {
    TensorEntry* tensorEntry = this->tensorEntry(tensor);
    setClientBuffer(entry.tensors.emplace_back(tensorEntry->record), *tensor, omitStaticData);
    entry.tensorEntries.push_back(tensorEntry);
  }
  entry.numInputs = entry.tensors.size();
  for (const auto& tensor : entry.op->getOutputs()) {
    TensorEntry* tensorEntry = this->tensorEntry(tensor);
    entry.tensors.push_back(tensorEntry->record);
    entry.tensorEntries.push_back(tensorEntry);
  }
  const size_t numOutputs = entry.tensors.size() - entry.numInputs;
  entry.config.numOfInputs = static_cast<uint32_t>(entry.numInputs);
  entry.config.inputTensors = entry.numInputs == 0 ? nullptr : entry.tensors.data();
  entry.config.numOfOutputs = static_cast<uint32_t>(numOutputs);
  entry.config.outputTensors = numOutputs == 0 ? nullptr : entry.tensors.data() + entry.numInputs;
}

Vrx_OpConfig_t* IrVrxTranslator::getVrxOp(const std::shared_ptr<ops::IrOp>& op, bool omitStaticData,
                                          const std::string& backendName) {
  if (!op) fail("getVrxOp", "Invalid op: received null op pointer, expected a valid op");
  // One lookup finds the record or makes the slot for a new one.
  auto [it, inserted] = opCache_.try_emplace(op->name());
  if (!inserted && it->second->op->name() == op->name()) {
    OpEntry& entry = *it->second;
    // A record made for validation left static data out; the backend needs it.
    for (size_t i = 0; !omitStaticData && i < entry.numInputs; ++i) {
      if (entry.tensors[i].clientBuf.data == nullptr) {
        setClientBuffer(entry.tensors[i], *entry.tensorEntries[i]->tensor, false);
      }
    }
    return &entry.config;
  }
  // A stale record stays until its replacement is complete; a new slot goes if translation fails.
  OpEntry*& slot = it->second;
  try {
    slot = makeOpEntry(op, omitStaticData, backendName);
  } catch (...) {
    if (inserted) opCache_.erase(op->name());
    throw;
  }
  return &slot->config;
}

IrVrxTranslator::OpEntry* IrVrxTranslator::makeOpEntry(const std::shared_ptr<ops::IrOp>& op, bool omitStaticData,
                                                       const std::string& backendName) {
  // Listed before it holds anything, so that whatever it comes to hold is released with the translator.
  auto* entry = new (arena_.allocate(sizeof(OpEntry), alignof(OpEntry))) OpEntry(&arena_);
  opEntries_.push_back(entry);
  entry->op = op;
  const auto& attrs = *op->attrs();
  const std::string packageName =
      attrs.hasAttr("packageName") ? attrs.getAttr<std::string>("packageName") : kCorePackage;
  const std::string typeName = backendTypeOf(*op, backendName);
  Vrx_OpConfig_t& config = entry->config;
  config.version = 1;
  config.name = keep(op->name());
  config.packageName = keep(packageName);
  config.typeName = keep(typeName);
  addParams(*entry);
  addTensorLists(*entry, omitStaticData);
  return entry;
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
