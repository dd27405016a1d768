#pragma once

#include <cstdint>

#include "VrxBackendRecords.h"

namespace modeltools {

// The name of a data type value ("VRX_DATATYPE_FLOAT_32"), "UNKNOWN" for others.
const char* dataTypeName(uint32_t dataType);

// The eight fixed-point types whose tensors must carry a quantization encoding.
bool isQuantizedDataType(uint32_t dataType);

// True for VRX_DATATYPE_FLOAT_16 and VRX_DATATYPE_FLOAT_32.
bool isFloat16Or32(uint32_t dataType);

// Width in bytes of one scalar of the type; 0 for sub-byte, string and unknown types.
uint32_t dataTypeByteWidth(uint32_t dataType);

}  // namespace modeltools
