#pragma once

// What every op family shares: the two constructors of a typed class, the attribute checks
// and defaults that constructors run, reading and rewriting list attributes, and the
// message helpers of shape inference.

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "modeltools/ir/IrAttributes.hpp"
#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ir/IrTensor.hpp"
#include "modeltools/ir/IrTensorShape.hpp"
#include "modeltools/ops/TranslationRegistry.hpp"

// Declares, inside a typed op class, its type string and its two constructors. The
// constructors pass the type string to the base, then run `prepareAttributes` (the
// mandatory checks and defaults of the class); the second also wires the tensors.
#define VRX_TYPED_OP(Class, TypeString)                                                             \
 public:                                                                                            \
  static constexpr const char* kType = TypeString;                                                  \
  Class(const std::string& name, std::shared_ptr<::modeltools::IrAttributes> attrs);                \
  Class(const std::string& name, std::shared_ptr<::modeltools::IrAttributes> attrs,                 \
        const ::modeltools::ops::TensorList& inputs, const ::modeltools::ops::TensorList& outputs); \
                                                                                                    \
 private:                                                                                           \
  void prepareAttributes();                                                                         \
                                                                                                    \
 public:

// Defines the two constructors declared by VRX_TYPED_OP. `Base` is the direct base class.
#define VRX_DEFINE_TYPED_OP(Class, Base)                                                                  \
  Class::Class(const std::string& name, std::shared_ptr<::modeltools::IrAttributes> attrs)                \
      : Base(name, kType, std::move(attrs)) {                                                             \
    prepareAttributes();                                                                                  \
  }                                                                                                       \
  Class::Class(const std::string& name, std::shared_ptr<::modeltools::IrAttributes> attrs,                \
               const ::modeltools::ops::TensorList& inputs, const ::modeltools::ops::TensorList& outputs) \
      : Class(name, std::move(attrs)) {                                                                   \
    setTensors(inputs, outputs);                                                                          \
  }

namespace modeltools::ops {

// ---- Messages ----

// Throws E with "{head}: " followed by the parts as a stream writes them.
template <class E, class... Parts>
[[noreturn]] void fail(std::string_view head, const Parts&... parts) {
  std::ostringstream message;
  message << head << ": ";
  (message << ... << parts);
  throw E(message.str());
}

// The text that a stream writes for a value (shapes, lists, formats in messages).
template <class T>
std::string toText(const T& value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

// ---- Constructor checks and defaults ----

// assertAttrExists for each name, in order.
void requireAttrs(const IrAttributes& attrs, std::initializer_list<const char*> names);

// Writes a scalar default when the attribute is absent; a present one is left as it stands.
template <class T>
void addDefaultAttr(IrAttributes& attrs, const std::string& name, T value, uint8_t category) {
  if (!attrs.hasAttr(name)) attrs.add(name, value, category);
}

// Writes a default list of VRX_DATATYPE_UINT_32 when the attribute is absent; the tensor is
// named like the attribute.
void addDefaultListAttr(IrAttributes& attrs, const std::string& name, const std::vector<uint32_t>& values,
                        const Dims& shape, uint8_t category);

// The attribute must be of category 2, else "{name} attribute must be set as supplemental
// {word} for op {opName}" (invalid argument).
void requireSupplemental(const IrAttributes& attrs, const std::string& name, const std::string& opName,
                         std::string_view head, std::string_view word);

// ---- Scalars ----

// A scalar integer attribute stored as signed or unsigned 32 bits (an axis before and after
// canonicalization).
int64_t readIntAttr(const IrAttributes& attrs, const std::string& name);

// ---- List attributes ----

// The values of a list attribute (a static tensor of integers, 32-bit as a rule) widened or
// narrowed to 64 bits; empty for an absent tensor.
std::vector<int64_t> readListAttr(const IrAttributes& attrs, const std::string& name);
std::vector<int32_t> readI32List(const IrAttributes& attrs, const std::string& name);
std::vector<uint32_t> readU32List(const IrAttributes& attrs, const std::string& name);
// The dimensions of a list attribute's tensor.
Dims listAttrShape(const IrAttributes& attrs, const std::string& name);

// Element `index` of a list attribute's values; beyond the end an out-of-range error
// "Index out of bounds for IrStaticTensor".
template <class T>
T listAt(const std::vector<T>& values, size_t index) {
  if (index >= values.size())
    fail<std::out_of_range>("modeltools::ops::listAt", "Index out of bounds for IrStaticTensor");
  return values[index];
}

// A new static tensor holding 32-bit values.
std::shared_ptr<IrStaticTensor> makeListTensor(const std::string& tensorName, const std::vector<uint32_t>& values,
                                               const Dims& shape, uint32_t dataType = VRX_DATATYPE_UINT_32);
std::shared_ptr<IrStaticTensor> makeListTensor(const std::string& tensorName, const std::vector<int32_t>& values,
                                               const Dims& shape, uint32_t dataType = VRX_DATATYPE_INT_32);

// Replaces a list attribute by a new tensor under the old tensor's name (the attribute's
// name if there was none).
template <class T>
void replaceListAttr(IrAttributes& attrs, const std::string& name, const std::vector<T>& values, const Dims& shape,
                     uint32_t dataType, uint8_t category) {
  std::string tensorName = name;
  if (attrs.hasAttr(name) && attrs.get(name).attrType == attrtype::kTensor && attrs.get(name).tensor) {
    tensorName = attrs.get(name).tensor->name();
  }
  attrs.add(name, makeListTensor(tensorName, values, shape, dataType), category);
}

// ---- Shapes ----

// Product of the last n dimensions; 1 if there are fewer than n.
uint64_t productOfLastDims(const Dims& dims, size_t n);
uint64_t productOfDims(const Dims& dims);

// Pattern A: plain dimension lists from the shapes of inferOutputTensorShapes. An empty
// result or a dynamic dimension fails with the class's own texts (message without head).
struct PlainShapeMessages {
  std::string noShape;
  bool noShapeIsRuntime = true;
  std::string dynamic;
};
std::vector<Dims> plainDimsOf(const std::vector<IrTensorShape>& shapes, std::string_view head,
                              const PlainShapeMessages& messages);

// Sets the axis format of input 0 to the order's data format for its rank.
void setDataFormatOfInput0(IrOp& op, const AxisOrderPtr& axisOrder);

}  // namespace modeltools::ops
