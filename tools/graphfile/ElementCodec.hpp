#pragma once

// How one value of a data type stands in a graph file: as a JSON number, a boolean, or,
// for types that JSON numbers don't fit (sub-byte, 8-bit and brain floats, strings), only
// as raw bytes.

#include <cstdint>
#include <cstring>

#include "JsonInput.hpp"
#include "JsonOutput.hpp"

namespace vrx::tools {

enum class ElementKind { Signed, Unsigned, Float, Bool, Raw };

struct ElementCodec {
  ElementKind kind = ElementKind::Raw;
  uint32_t width = 0;  // bytes of one value; 0 for raw types
  bool numeric() const { return kind != ElementKind::Raw; }
};

ElementCodec elementCodec(uint32_t dataType);

// Calls fn(T{}) with the C++ type of one value. Bool values are their byte.
template <class Fn>
void visitElementType(const ElementCodec& codec, Fn&& fn) {
  switch (codec.kind) {
    case ElementKind::Signed:
      if (codec.width == 1) return fn(int8_t{});
      if (codec.width == 2) return fn(int16_t{});
      if (codec.width == 4) return fn(int32_t{});
      return fn(int64_t{});
    case ElementKind::Unsigned:
    case ElementKind::Bool:
      if (codec.width == 1) return fn(uint8_t{});
      if (codec.width == 2) return fn(uint16_t{});
      if (codec.width == 4) return fn(uint32_t{});
      return fn(uint64_t{});
    case ElementKind::Float:
      if (codec.width == 2) return fn(_Float16{});
      if (codec.width == 4) return fn(float{});
      return fn(double{});
    case ElementKind::Raw:
      return;
  }
}

// Reads one value into `out`, which has room for codec.width bytes.
void readElement(const ElementCodec& codec, const rapidjson::Value& value, const Location& where, uint8_t* out);

template <class Writer>
void writeElement(Writer& writer, const ElementCodec& codec, const uint8_t* in) {
  if (codec.kind == ElementKind::Bool && *in <= 1) {
    writer.Bool(*in != 0);
    return;
  }
  visitElementType(codec, [&](auto tag) {
    decltype(tag) value;
    std::memcpy(&value, in, sizeof value);
    writeNumber(writer, value);
  });
}

}  // namespace vrx::tools
