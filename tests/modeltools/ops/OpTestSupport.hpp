#pragma once

// Building blocks of the op tests: attribute tables written fluently, and tensors that the
// test keeps alive while the ops refer to them.

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "modeltools/ir/AxisOrder.hpp"
#include "modeltools/ir/IrAttributes.hpp"
#include "modeltools/ir/IrTensor.hpp"
#include "modeltools/ops/OpSupport.hpp"

namespace modeltools::ops::testing {

// A fluent attribute table; list attributes become static tensors named like the attribute.
class Attrs {
 public:
  Attrs& u32(const std::string& name, uint32_t value, uint8_t category = attrcategory::kBackendParam) {
    table_->add(name, value, category);
    return *this;
  }
  Attrs& i32(const std::string& name, int32_t value, uint8_t category = attrcategory::kBackendParam) {
    table_->add(name, value, category);
    return *this;
  }
  Attrs& f32(const std::string& name, float value, uint8_t category = attrcategory::kBackendParam) {
    table_->add(name, value, category);
    return *this;
  }
  Attrs& flag(const std::string& name, bool value, uint8_t category = attrcategory::kBackendParam) {
    table_->add(name, value, category);
    return *this;
  }
  Attrs& str(const std::string& name, const std::string& value, uint8_t category = attrcategory::kSupplemental) {
    table_->add(name, value, category);
    return *this;
  }
  Attrs& list(const std::string& name, const std::vector<uint32_t>& values, Dims shape = {},
              uint8_t category = attrcategory::kBackendParam) {
    if (shape.empty()) shape = {static_cast<uint32_t>(values.size())};
    table_->add(name, makeListTensor(name, values, shape), category);
    return *this;
  }
  Attrs& signedList(const std::string& name, const std::vector<int32_t>& values, Dims shape = {},
                    uint8_t category = attrcategory::kBackendParam) {
    if (shape.empty()) shape = {static_cast<uint32_t>(values.size())};
    table_->add(name, makeListTensor(name, values, shape), category);
    return *this;
  }
  std::shared_ptr<IrAttributes> table() const { return table_; }
  operator std::shared_ptr<IrAttributes>() const { return table_; }

 private:
  std::shared_ptr<IrAttributes> table_ = std::make_shared<IrAttributes>();
};

// Makes tensors and ops wired to them; the fixture owns the tensors as a graph would.
class OpBench {
 public:
  TensorPtr tensor(const std::string& name, Dims dims, std::set<uint32_t> dynamicAxes = {},
                   AxisFormat format = AxisFormat::NOT_YET_DEFINED) {
    auto made = std::make_shared<IrTensor>(TensorFields{
        .name = name, .shape = IrTensorShape(std::move(dims), std::move(dynamicAxes)), .axisFormat = format});
    tensors_.push_back(made);
    return made;
  }

  // An op of class T on new input tensors of the given shapes and `outputs` outputs of shape {1}.
  template <class T>
  std::shared_ptr<T> op(const Attrs& attrs, const std::vector<IrTensorShape>& inputShapes, size_t outputs = 1,
                        AxisFormat inputFormat = AxisFormat::NOT_YET_DEFINED) {
    TensorList inputs, outs;
    for (const auto& shape : inputShapes) {
      inputs.push_back(tensor("in" + std::to_string(counter_++), shape.dims(), shape.dynamicAxes(), inputFormat));
    }
    for (size_t i = 0; i < outputs; ++i) outs.push_back(tensor("out" + std::to_string(counter_++), {1}));
    return std::make_shared<T>("op", attrs.table(), inputs, outs);
  }

  AxisOrderPtr irOrder = std::make_shared<IrAxisOrder>();
  AxisOrderPtr onnxOrder = std::make_shared<OnnxAxisOrder>();

 private:
  TensorList tensors_;
  int counter_ = 0;
};

inline IrTensorShape shape(Dims dims, std::set<uint32_t> dynamicAxes = {}) {
  return IrTensorShape(std::move(dims), std::move(dynamicAxes));
}

}  // namespace modeltools::ops::testing
