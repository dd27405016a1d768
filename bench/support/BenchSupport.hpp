#pragma once

#include <benchmark/benchmark.h>

namespace vrx::bench {

// Peak resident memory of the process so far, in MiB.
double peakResidentMiB();

// Adds the process's peak resident memory as a counter.
void reportPeakMemory(benchmark::State& state);

}  // namespace vrx::bench
