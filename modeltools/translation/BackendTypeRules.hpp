#pragma once

#include <string>

namespace modeltools::ops {
class IrOp;
}

namespace modeltools {

// The backend's type for an IR op: undoes the folding of families and picks the backend forms
// of "Resize" and "ColorTransform". May add and remove attributes of the op's own table
// (the member of a family becomes the backend's "operation" param).
std::string backendTypeOf(ops::IrOp& op, const std::string& backendName);

}  // namespace modeltools
