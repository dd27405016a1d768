#pragma once

// What vrx-transform tells a person about a run.

#include <ostream>
#include <string>

#include "Transform.hpp"

namespace vrx::tools {

// "6007 (VRX_GT_ERROR_BAD_INPUT: input tensor missing, or a native input without producer)";
// a value the library doesn't produce is the backend's.
std::string describeStatus(Vrx_Status_t status);

// Counts before and after by type, the passes that changed the graph, MACs and parameters,
// the time taken and the files written; or, for a failed run, the call and its status.
void printSummary(std::ostream& out, const TransformOptions& options, const TransformResult& result);

}  // namespace vrx::tools
