#include "ElementCodec.hpp"

#include "VrxBackendRecords.h"

namespace vrx::tools {

ElementCodec elementCodec(uint32_t dataType) {
  switch (dataType) {
    case VRX_DATATYPE_INT_8:
    case VRX_DATATYPE_SFIXED_POINT_8: return {ElementKind::Signed, 1};
    case VRX_DATATYPE_INT_16:
    case VRX_DATATYPE_SFIXED_POINT_16: return {ElementKind::Signed, 2};
    case VRX_DATATYPE_INT_32:
    case VRX_DATATYPE_SFIXED_POINT_32: return {ElementKind::Signed, 4};
    case VRX_DATATYPE_INT_64: return {ElementKind::Signed, 8};
    case VRX_DATATYPE_UINT_8:
    case VRX_DATATYPE_UFIXED_POINT_8: return {ElementKind::Unsigned, 1};
    case VRX_DATATYPE_UINT_16:
    case VRX_DATATYPE_UFIXED_POINT_16: return {ElementKind::Unsigned, 2};
    case VRX_DATATYPE_UINT_32:
    case VRX_DATATYPE_UFIXED_POINT_32: return {ElementKind::Unsigned, 4};
    case VRX_DATATYPE_UINT_64: return {ElementKind::Unsigned, 8};
    case VRX_DATATYPE_FLOAT_16: return {ElementKind::Float, 2};
    case VRX_DATATYPE_FLOAT_32: return {ElementKind::Float, 4};
    case VRX_DATATYPE_FLOAT_64: return {ElementKind::Float, 8};
    case VRX_DATATYPE_BOOL_8: return {ElementKind::Bool, 1};
    default: return {};
  }
}

void readElement(const ElementCodec& codec, const rapidjson::Value& value, const Location& where, uint8_t* out) {
  if (codec.kind == ElementKind::Bool && value.IsBool()) {
    *out = value.GetBool() ? 1 : 0;
    return;
  }
  visitElementType(codec, [&](auto tag) {
    const auto number = readNumber<decltype(tag)>(value, where);
    std::memcpy(out, &number, sizeof number);
  });
}

}  // namespace vrx::tools
