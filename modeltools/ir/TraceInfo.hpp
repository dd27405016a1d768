#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace modeltools {

namespace tracekind {
constexpr uint32_t kTensor = 0;
constexpr uint32_t kOp = 1;
}  // namespace tracekind

// A framework op or tensor that an IR object came from.
struct TraceSource {
  uint32_t kind = tracekind::kTensor;
  std::string name;
  bool operator==(const TraceSource& other) const = default;
};

struct TraceRecord {
  std::string name;
  std::vector<TraceSource> sources;
};

}  // namespace modeltools
