#pragma once

#include <sstream>
#include <stdexcept>

namespace modeltools::iroptimizer {

// The run-time error of a rewrite helper: "function: " and the parts as a stream writes them.
template <class... Parts>
std::runtime_error helperFailure(const char* function, const Parts&... parts) {
  std::ostringstream message;
  message << function << ": ";
  (message << ... << parts);
  return std::runtime_error(message.str());
}

}  // namespace modeltools::iroptimizer
