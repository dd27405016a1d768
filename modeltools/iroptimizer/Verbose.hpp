#pragma once

namespace modeltools::iroptimizer {

// The process-wide switch for the optimizer's debug lines on standard output; off at start.
// It never changes a result.
bool verboseLogging();
void setVerboseLogging(bool on);

}  // namespace modeltools::iroptimizer
