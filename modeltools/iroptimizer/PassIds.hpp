#pragma once

// Ids, names and schedules of all passes, as PassTable.def lists them.

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace modeltools::iroptimizer {

enum class PassSchedule : uint8_t { Once, UntilStable, OnceKeepingMatchedOps };

// `passid::RemoveNoOps1` and its kin: the ids by name.
namespace passid {
enum : uint32_t {
#define VRX_PASS(id, name, ...) name = id,
#include "PassTable.def"
#undef VRX_PASS
};
}  // namespace passid

struct PassRow {
  uint32_t id;
  std::string_view name;
  PassSchedule schedule;
  std::string_view file;     // where its classes live; empty while the pass is pending
  std::string_view classes;  // as the row writes them
};

inline constexpr PassRow kPassTable[] = {
#define VRX_PASS(id, name, schedule, file, ...) {id, #name, PassSchedule::schedule, file, #__VA_ARGS__},
#include "PassTable.def"
#undef VRX_PASS
};

constexpr uint32_t kNumPasses = static_cast<uint32_t>(std::size(kPassTable));

// Pipelines and clients refer to passes by id, so a row out of place would silently run
// another pass.
constexpr bool rowsAreInIdOrder() {
  for (uint32_t i = 0; i < kNumPasses; ++i) {
    if (kPassTable[i].id != i) return false;
  }
  return true;
}
static_assert(rowsAreInIdOrder(), "PassTable.def must hold the ids 0, 1, 2, ... in this order, without gaps");

// The registration fields of a schedule.
constexpr uint32_t repeatModeOf(PassSchedule schedule) { return schedule == PassSchedule::UntilStable ? 1 : 0; }
constexpr uint32_t keepsMatchedOps(PassSchedule schedule) {
  return schedule == PassSchedule::OnceKeepingMatchedOps ? 1 : 0;
}

// Exact, case-sensitive; an unknown name throws a run-time error.
uint32_t getPassIdFromPassName(const std::string& name);
// An id outside the table throws a run-time error.
std::string getPassNameFromPassId(uint32_t id);
// The names of all passes in id order.
const std::vector<std::string>& passNamesInIdOrder();

}  // namespace modeltools::iroptimizer
