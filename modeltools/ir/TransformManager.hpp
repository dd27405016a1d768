#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace modeltools {

// One change applied to a static tensor's data; prints itself as JSON text.
class BaseTransform {
 public:
  explicit BaseTransform(std::vector<uint32_t> values) : values(std::move(values)) {}
  virtual ~BaseTransform() = default;
  virtual std::string toString() const = 0;

  std::vector<uint32_t> values;

 protected:
  // The common text: the type, then one uint32 attribute holding `values`.
  std::string describe(const char* type, const char* attribute) const;
};

// `values` is the new shape.
class ReshapeTransform : public BaseTransform {
 public:
  using BaseTransform::BaseTransform;
  std::string toString() const override { return describe("Reshape", "shape"); }
};

// `values` is the permutation.
class TransposeTransform : public BaseTransform {
 public:
  using BaseTransform::BaseTransform;
  std::string toString() const override { return describe("Transpose", "perm"); }
};

// The transforms applied to a static tensor's data, in order. Tensors made from one
// another may share one list.
class TransformManager {
 public:
  const std::vector<std::shared_ptr<BaseTransform>>& transforms() const { return transforms_; }
  void addTransform(std::shared_ptr<BaseTransform> transform) { transforms_.push_back(std::move(transform)); }

 private:
  std::vector<std::shared_ptr<BaseTransform>> transforms_;
};

}  // namespace modeltools
