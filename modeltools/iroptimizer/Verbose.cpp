#include "Verbose.hpp"

#include <atomic>

namespace modeltools::iroptimizer {
namespace {
std::atomic<bool> g_verbose{false};
}

bool verboseLogging() { return g_verbose.load(); }
void setVerboseLogging(bool on) { g_verbose.store(on); }

}  // namespace modeltools::iroptimizer
