#pragma once

#include <memory>
#include <vector>

namespace modeltools {

class BaseTransform;

// The transforms (reshapes, transposes, ...) that have been applied to a static tensor's
// data, in order. Tensors made from one another may share one list.
class TransformManager {
 public:
  const std::vector<std::shared_ptr<BaseTransform>>& transforms() const { return transforms_; }
  void addTransform(std::shared_ptr<BaseTransform> transform) { transforms_.push_back(std::move(transform)); }

 private:
  std::vector<std::shared_ptr<BaseTransform>> transforms_;
};

}  // namespace modeltools
