#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "VrxBackendRecords.h"

namespace modeltools {

class IrTensor;
class IrStaticTensor;

// Attribute categories: only backend parameters go back to the backend's op.
namespace attrcategory {
constexpr uint8_t kBackendParam = 1;
constexpr uint8_t kSupplemental = 2;
constexpr uint8_t kInternal = 3;
}  // namespace attrcategory

namespace attrtype {
constexpr uint32_t kScalar = 0;
constexpr uint32_t kTensor = 1;
}  // namespace attrtype

// One attribute: a scalar in its own width, a string, or a static tensor.
struct AttrValue {
  uint32_t dataType = VRX_DATATYPE_UNDEFINED;
  uint32_t attrType = attrtype::kScalar;
  uint8_t category = attrcategory::kBackendParam;
  union {
    bool boolValue;
    int8_t int8Value;
    uint8_t uint8Value;
    int16_t int16Value;
    uint16_t uint16Value;
    int32_t int32Value;
    uint32_t uint32Value;
    int64_t int64Value;
    uint64_t uint64Value;
    float floatValue;
  } value{};
  std::string stringValue;
  std::shared_ptr<IrTensor> tensor;
};

// The parameter table of an op, by name, iterated in name order. Getters never convert:
// the requested type must be the stored one.
class IrAttributes {
 public:
  // Kept sorted in one array: an op has a handful of attributes, and every op of a graph has a
  // table, so one allocation per table beats one per entry.
  using Entry = std::pair<std::string, AttrValue>;

  void add(const std::string& name, bool value, uint8_t category);
  void add(const std::string& name, const std::string& value, uint8_t category);
  void add(const std::string& name, const char* value, uint8_t category) { add(name, std::string(value), category); }
  void add(const std::string& name, int8_t value, uint8_t category);
  void add(const std::string& name, uint8_t value, uint8_t category);
  void add(const std::string& name, int16_t value, uint8_t category);
  void add(const std::string& name, uint16_t value, uint8_t category);
  void add(const std::string& name, int32_t value, uint8_t category);
  void add(const std::string& name, uint32_t value, uint8_t category);
  void add(const std::string& name, int64_t value, uint8_t category);
  void add(const std::string& name, uint64_t value, uint8_t category);
  void add(const std::string& name, float value, uint8_t category);
  void add(const std::string& name, const std::shared_ptr<IrStaticTensor>& tensor, uint8_t category);
  // An entry as it stands, for copying between tables.
  void addValue(const std::string& name, AttrValue value);

  int hasAttr(const std::string& name) const { return find(name) != attrs_.end() ? 1 : 0; }
  void assertAttrExists(const std::string& name) const;

  // Typed getters for bool, float, int32_t, uint32_t, uint8_t and std::string.
  template <class T>
  T getAttr(const std::string& name) const;

  std::shared_ptr<IrStaticTensor> getStaticTensor(const std::string& name) const;
  std::string getStaticTensorName(const std::string& name) const;
  std::vector<std::shared_ptr<IrTensor>> getTensors() const;
  bool isInternal(const std::string& name) const;
  const AttrValue& get(const std::string& name) const;
  void remove(const std::string& name);
  size_t count() const { return attrs_.size(); }

  std::vector<Entry>::const_iterator begin() const { return attrs_.begin(); }
  std::vector<Entry>::const_iterator end() const { return attrs_.end(); }

 private:
  // The entry of that name, or the place where it would stand.
  std::vector<Entry>::const_iterator lowerBound(const std::string& name) const;
  std::vector<Entry>::const_iterator find(const std::string& name) const;
  template <class T>
  void addScalar(const std::string& name, T value, uint32_t dataType, uint8_t category);
  const AttrValue& scalarOfType(const std::string& name, uint32_t dataType) const;

  std::vector<Entry> attrs_;
};

template <>
bool IrAttributes::getAttr<bool>(const std::string& name) const;
template <>
float IrAttributes::getAttr<float>(const std::string& name) const;
template <>
int32_t IrAttributes::getAttr<int32_t>(const std::string& name) const;
template <>
uint32_t IrAttributes::getAttr<uint32_t>(const std::string& name) const;
template <>
uint8_t IrAttributes::getAttr<uint8_t>(const std::string& name) const;
template <>
std::string IrAttributes::getAttr<std::string>(const std::string& name) const;

}  // namespace modeltools
