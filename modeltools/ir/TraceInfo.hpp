#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <unordered_map>
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

// The records of one kind, in order of creation, found by name in constant time: every
// rewrite looks records up, so a linear search would make large graphs quadratic.
class TraceTable {
 public:
  // The record's sources, or null without a record.
  const std::vector<TraceSource>* find(const std::string& name) const {
    auto it = index_.find(name);
    return it == index_.end() ? nullptr : &it->second->sources;
  }
  // Replaces the record's sources, or appends a record.
  void set(const std::string& name, std::vector<TraceSource> sources) {
    auto it = index_.find(name);
    if (it != index_.end()) {
      it->second->sources = std::move(sources);
      return;
    }
    records_.push_back({name, std::move(sources)});
    index_.emplace(name, std::prev(records_.end()));
  }
  // Removes the record; the others keep their order.
  void erase(const std::string& name) {
    auto it = index_.find(name);
    if (it == index_.end()) return;
    records_.erase(it->second);
    index_.erase(it);
  }
  bool empty() const { return records_.empty(); }
  size_t size() const { return records_.size(); }
  std::list<TraceRecord>::const_iterator begin() const { return records_.begin(); }
  std::list<TraceRecord>::const_iterator end() const { return records_.end(); }

 private:
  std::list<TraceRecord> records_;
  std::unordered_map<std::string, std::list<TraceRecord>::iterator> index_;
};

}  // namespace modeltools
