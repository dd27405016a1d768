#include "IrAttributes.hpp"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "DataTypes.hpp"
#include "IrTensor.hpp"

namespace modeltools {

template <class T>
void IrAttributes::addScalar(const std::string& name, T value, uint32_t dataType, uint8_t category) {
  AttrValue attr;
  attr.dataType = dataType;
  attr.attrType = attrtype::kScalar;
  attr.category = category;
  std::memcpy(&attr.value, &value, sizeof(T));
  addValue(name, std::move(attr));
}

std::vector<IrAttributes::Entry>::const_iterator IrAttributes::lowerBound(const std::string& name) const {
  return std::lower_bound(attrs_.begin(), attrs_.end(), name,
                          [](const Entry& entry, const std::string& key) { return entry.first < key; });
}

std::vector<IrAttributes::Entry>::const_iterator IrAttributes::find(const std::string& name) const {
  auto it = lowerBound(name);
  return it != attrs_.end() && it->first == name ? it : attrs_.end();
}

void IrAttributes::addValue(const std::string& name, AttrValue value) {
  auto it = lowerBound(name);
  if (it != attrs_.end() && it->first == name) {
    // The last write wins, data type and category included.
    attrs_[static_cast<size_t>(it - attrs_.begin())].second = std::move(value);
    return;
  }
  attrs_.emplace(it, name, std::move(value));
}

void IrAttributes::add(const std::string& name, bool value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_BOOL_8, category);
}
void IrAttributes::add(const std::string& name, const std::string& value, uint8_t category) {
  AttrValue attr;
  attr.dataType = VRX_DATATYPE_STRING;
  attr.category = category;
  attr.stringValue = value;
  addValue(name, std::move(attr));
}
void IrAttributes::add(const std::string& name, int8_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_INT_8, category);
}
void IrAttributes::add(const std::string& name, uint8_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_UINT_8, category);
}
void IrAttributes::add(const std::string& name, int16_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_INT_16, category);
}
void IrAttributes::add(const std::string& name, uint16_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_UINT_16, category);
}
void IrAttributes::add(const std::string& name, int32_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_INT_32, category);
}
void IrAttributes::add(const std::string& name, uint32_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_UINT_32, category);
}
void IrAttributes::add(const std::string& name, int64_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_INT_64, category);
}
void IrAttributes::add(const std::string& name, uint64_t value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_UINT_64, category);
}
void IrAttributes::add(const std::string& name, float value, uint8_t category) {
  addScalar(name, value, VRX_DATATYPE_FLOAT_32, category);
}

void IrAttributes::add(const std::string& name, const std::shared_ptr<IrStaticTensor>& tensor, uint8_t category) {
  AttrValue attr;
  attr.attrType = attrtype::kTensor;
  attr.dataType = tensor ? tensor->dataType() : static_cast<uint32_t>(VRX_DATATYPE_UNDEFINED);
  attr.category = category;
  attr.tensor = tensor;
  addValue(name, std::move(attr));
}

void IrAttributes::assertAttrExists(const std::string& name) const { get(name); }

// One search: every attribute read of every pass comes through here.
const AttrValue& IrAttributes::get(const std::string& name) const {
  auto it = find(name);
  if (it == attrs_.end()) {
    std::ostringstream message;
    message << "modeltools::IrAttributes::assertAttrExists: Attribute '" << name
            << "' not present. Available attributes count: " << attrs_.size();
    throw std::runtime_error(message.str());
  }
  return it->second;
}

const AttrValue& IrAttributes::scalarOfType(const std::string& name, uint32_t dataType) const {
  const AttrValue& attr = get(name);
  if (attr.attrType != attrtype::kScalar) {
    throw std::runtime_error("modeltools::IrAttributes::getAttr: Attribute " + name + " is not a scalar type");
  }
  if (attr.dataType != dataType) {
    throw std::runtime_error(std::string("modeltools::IrAttributes::getAttr: Invalid requested type: ") +
                             modeltools::dataTypeName(dataType) + " for attr: " + name +
                             " with type: " + modeltools::dataTypeName(attr.dataType));
  }
  return attr;
}

template <>
bool IrAttributes::getAttr<bool>(const std::string& name) const {
  return scalarOfType(name, VRX_DATATYPE_BOOL_8).value.boolValue;
}
template <>
float IrAttributes::getAttr<float>(const std::string& name) const {
  return scalarOfType(name, VRX_DATATYPE_FLOAT_32).value.floatValue;
}
template <>
int32_t IrAttributes::getAttr<int32_t>(const std::string& name) const {
  return scalarOfType(name, VRX_DATATYPE_INT_32).value.int32Value;
}
template <>
uint32_t IrAttributes::getAttr<uint32_t>(const std::string& name) const {
  return scalarOfType(name, VRX_DATATYPE_UINT_32).value.uint32Value;
}
template <>
uint8_t IrAttributes::getAttr<uint8_t>(const std::string& name) const {
  return scalarOfType(name, VRX_DATATYPE_UINT_8).value.uint8Value;
}
template <>
std::string IrAttributes::getAttr<std::string>(const std::string& name) const {
  return scalarOfType(name, VRX_DATATYPE_STRING).stringValue;
}

std::shared_ptr<IrStaticTensor> IrAttributes::getStaticTensor(const std::string& name) const {
  const AttrValue& attr = get(name);
  if (attr.attrType != attrtype::kTensor) {
    std::ostringstream message;
    message << "modeltools::IrAttributes::getStaticTensor: Attribute '" << name
            << "' is not a tensor, actual attrType=" << attr.attrType << " (expected VRX_PARAMTYPE_TENSOR)";
    throw std::runtime_error(message.str());
  }
  return std::dynamic_pointer_cast<IrStaticTensor>(attr.tensor);
}

std::string IrAttributes::getStaticTensorName(const std::string& name) const {
  auto tensor = getStaticTensor(name);
  return tensor ? tensor->name() : std::string();
}

std::vector<std::shared_ptr<IrTensor>> IrAttributes::getTensors() const {
  std::vector<std::shared_ptr<IrTensor>> tensors;
  for (const auto& [name, attr] : attrs_) {
    if (attr.attrType == attrtype::kTensor) tensors.push_back(attr.tensor);
  }
  return tensors;
}

bool IrAttributes::isInternal(const std::string& name) const {
  return get(name).category == attrcategory::kSupplemental;
}

void IrAttributes::remove(const std::string& name) {
  auto it = find(name);
  if (it == attrs_.end()) {
    std::ostringstream message;
    message << "modeltools::IrAttributes::remove: Unable to remove attribute '" << name
            << "': attribute does not exist. Available attributes count: " << attrs_.size();
    throw std::invalid_argument(message.str());
  }
  attrs_.erase(it);
}

}  // namespace modeltools
