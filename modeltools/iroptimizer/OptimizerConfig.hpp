#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace modeltools::iroptimizer {

// What graph dumps are written when `dumpGraphs` is on.
namespace dumplevel {
constexpr uint32_t kPerStage = 0;
constexpr uint32_t kPerPass = 1;
constexpr uint32_t kPerWatchedOp = 2;
constexpr uint32_t kAfterAllStages = 3;
}  // namespace dumplevel

// The optimizer's switches. Through the exports only `passLists` is ever set; the dump and
// trace switches are for programs that embed the optimizer.
struct OptimizerConfig {
  // Keys "enabledPasses" and "disabledPasses", values pass names.
  std::map<std::string, std::vector<std::string>> passLists;
  // Filled from `passLists` by the IrOptimizer constructor.
  std::vector<uint32_t> enabledPasses;
  std::vector<uint32_t> disabledPasses;
  bool passTrace = false;
  bool dumpGraphs = false;
  uint32_t dumpLevel = dumplevel::kPerStage;
  // Pass names whose dumps are wanted; empty means all.
  std::vector<std::string> dumpPassFilter;
  // Op names watched at level kPerWatchedOp.
  std::vector<std::string> dumpOpFilter;
  bool passLog = false;
  bool validateTraceInfo = false;
};

}  // namespace modeltools::iroptimizer
