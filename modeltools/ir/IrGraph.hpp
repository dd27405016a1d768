#pragma once

#include <string>

namespace modeltools {

// The IR graph of one network. (Grows into the full container with the IR core.)
class IrGraph {
 public:
  explicit IrGraph(std::string name) : name_(std::move(name)) {}
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

}  // namespace modeltools
