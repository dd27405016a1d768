#pragma once

#include <memory>

#include "VrxBackendRecords.h"

namespace modeltools {

namespace ops {
class IrOp;
}

// A client's node as a generic IrOp: its params become attributes of category 1 and, in the
// built-in package, families of backend types fold into a few IR types with the member kept
// in an attribute (IrVrxTranslator unfolds them on the way back). Reports nothing: params
// of unknown data types and unnamed tensor params are dropped.
std::shared_ptr<ops::IrOp> buildIrOp(const Vrx_OpConfig_t& opConfig);

}  // namespace modeltools
