#include "DataTypes.hpp"

#include "VrxGraphTransformer.h"

namespace vrx {

const char* dataTypeName(uint32_t dataType) {
  switch (dataType) {
    case VRX_DATATYPE_INT_2: return "VRX_DATATYPE_INT_2";
    case VRX_DATATYPE_INT_4: return "VRX_DATATYPE_INT_4";
    case VRX_DATATYPE_INT_8: return "VRX_DATATYPE_INT_8";
    case VRX_DATATYPE_INT_16: return "VRX_DATATYPE_INT_16";
    case VRX_DATATYPE_INT_32: return "VRX_DATATYPE_INT_32";
    case VRX_DATATYPE_INT_64: return "VRX_DATATYPE_INT_64";
    case VRX_DATATYPE_UINT_2: return "VRX_DATATYPE_UINT_2";
    case VRX_DATATYPE_UINT_4: return "VRX_DATATYPE_UINT_4";
    case VRX_DATATYPE_UINT_8: return "VRX_DATATYPE_UINT_8";
    case VRX_DATATYPE_UINT_16: return "VRX_DATATYPE_UINT_16";
    case VRX_DATATYPE_UINT_32: return "VRX_DATATYPE_UINT_32";
    case VRX_DATATYPE_UINT_64: return "VRX_DATATYPE_UINT_64";
    case VRX_DATATYPE_FLOAT_4: return "VRX_DATATYPE_FLOAT_4";
    case VRX_DATATYPE_FLOAT_8: return "VRX_DATATYPE_FLOAT_8";
    case VRX_DATATYPE_FLOAT_16: return "VRX_DATATYPE_FLOAT_16";
    case VRX_DATATYPE_BFLOAT_16: return "VRX_DATATYPE_BFLOAT_16";
    case VRX_DATATYPE_FLOAT_32: return "VRX_DATATYPE_FLOAT_32";
    case VRX_DATATYPE_FLOAT_64: return "VRX_DATATYPE_FLOAT_64";
    case VRX_DATATYPE_SFIXED_POINT_2: return "VRX_DATATYPE_SFIXED_POINT_2";
    case VRX_DATATYPE_SFIXED_POINT_4: return "VRX_DATATYPE_SFIXED_POINT_4";
    case VRX_DATATYPE_SFIXED_POINT_8: return "VRX_DATATYPE_SFIXED_POINT_8";
    case VRX_DATATYPE_SFIXED_POINT_16: return "VRX_DATATYPE_SFIXED_POINT_16";
    case VRX_DATATYPE_SFIXED_POINT_32: return "VRX_DATATYPE_SFIXED_POINT_32";
    case VRX_DATATYPE_UFIXED_POINT_2: return "VRX_DATATYPE_UFIXED_POINT_2";
    case VRX_DATATYPE_UFIXED_POINT_4: return "VRX_DATATYPE_UFIXED_POINT_4";
    case VRX_DATATYPE_UFIXED_POINT_8: return "VRX_DATATYPE_UFIXED_POINT_8";
    case VRX_DATATYPE_UFIXED_POINT_16: return "VRX_DATATYPE_UFIXED_POINT_16";
    case VRX_DATATYPE_UFIXED_POINT_32: return "VRX_DATATYPE_UFIXED_POINT_32";
    case VRX_DATATYPE_BOOL_8: return "VRX_DATATYPE_BOOL_8";
    case VRX_DATATYPE_STRING: return "VRX_DATATYPE_STRING";
    case VRX_DATATYPE_UNDEFINED: return "VRX_DATATYPE_UNDEFINED";
    default: return "UNKNOWN";
  }
}

bool isQuantizedDataType(uint32_t dataType) {
  switch (dataType) {
    case VRX_DATATYPE_SFIXED_POINT_4:
    case VRX_DATATYPE_SFIXED_POINT_8:
    case VRX_DATATYPE_SFIXED_POINT_16:
    case VRX_DATATYPE_SFIXED_POINT_32:
    case VRX_DATATYPE_UFIXED_POINT_4:
    case VRX_DATATYPE_UFIXED_POINT_8:
    case VRX_DATATYPE_UFIXED_POINT_16:
    case VRX_DATATYPE_UFIXED_POINT_32:
      return true;
    default:
      return false;
  }
}

bool isFloat16Or32(uint32_t dataType) {
  return dataType == VRX_DATATYPE_FLOAT_16 || dataType == VRX_DATATYPE_FLOAT_32;
}

uint32_t dataTypeByteWidth(uint32_t dataType) {
  switch (dataType) {
    case VRX_DATATYPE_INT_8:
    case VRX_DATATYPE_UINT_8:
    case VRX_DATATYPE_FLOAT_8:
    case VRX_DATATYPE_SFIXED_POINT_8:
    case VRX_DATATYPE_UFIXED_POINT_8:
    case VRX_DATATYPE_BOOL_8:
      return 1;
    case VRX_DATATYPE_INT_16:
    case VRX_DATATYPE_UINT_16:
    case VRX_DATATYPE_FLOAT_16:
    case VRX_DATATYPE_BFLOAT_16:
    case VRX_DATATYPE_SFIXED_POINT_16:
    case VRX_DATATYPE_UFIXED_POINT_16:
      return 2;
    case VRX_DATATYPE_INT_32:
    case VRX_DATATYPE_UINT_32:
    case VRX_DATATYPE_FLOAT_32:
    case VRX_DATATYPE_SFIXED_POINT_32:
    case VRX_DATATYPE_UFIXED_POINT_32:
      return 4;
    case VRX_DATATYPE_INT_64:
    case VRX_DATATYPE_UINT_64:
    case VRX_DATATYPE_FLOAT_64:
      return 8;
    default:
      return 0;
  }
}

}  // namespace vrx

extern "C" const char* VrxGraphTransformer_dataTypeName(uint32_t dataType) { return vrx::dataTypeName(dataType); }
