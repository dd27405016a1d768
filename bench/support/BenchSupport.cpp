#include "BenchSupport.hpp"

#include <sys/resource.h>

namespace vrx::bench {

double peakResidentMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // ru_maxrss is in KiB
}

void reportPeakMemory(benchmark::State& state) { state.counters["peak_MiB"] = peakResidentMiB(); }

}  // namespace vrx::bench
