#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "IrAttributes.hpp"
#include "IrTensor.hpp"
#include "IrTensorShape.hpp"

namespace modeltools {
class AxisOrder;
class IrGraph;
}

namespace modeltools::ops {

using TensorPtr = std::shared_ptr<IrTensor>;
using TensorList = std::vector<TensorPtr>;
using WeakTensorList = std::vector<std::weak_ptr<IrTensor>>;
using AxisOrderPtr = std::shared_ptr<AxisOrder>;

// A node of the IR graph that computes. The base is also the generic op that every client
// node becomes; typed classes add rules but never data: all state is in the attributes and
// the tensor lists. Ops refer to their tensors without owning them.
class IrOp : public std::enable_shared_from_this<IrOp> {
 public:
  IrOp(std::string name, std::string type, std::shared_ptr<IrAttributes> attrs);
  virtual ~IrOp() = default;
  IrOp(const IrOp&) = delete;
  IrOp& operator=(const IrOp&) = delete;

  virtual uint64_t macs(const AxisOrderPtr& axisOrder);
  virtual uint32_t paramsCount(const AxisOrderPtr& axisOrder);
  virtual void canonicalizeOp(uint32_t numOutputs);
  virtual std::vector<Dims> inferOutputShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs);
  virtual std::vector<IrTensorShape> inferOutputTensorShapes(const AxisOrderPtr& axisOrder, uint32_t numOutputs);
  virtual std::vector<uint32_t> inferOutputDataTypes(uint32_t numOutputs);
  virtual std::vector<uint32_t> inferOutputFloatDataTypes(uint32_t numOutputs);
  virtual void overrideDataAxisFormats(const AxisOrderPtr& axisOrder);
  virtual void populateOutputAxisFormats(const AxisOrderPtr& axisOrder,
                                         const std::map<std::string, AxisFormat>& inputFormats,
                                         bool treatAsTimeSeries);
  virtual void validateOp();
  virtual void resizeOp(const AxisOrderPtr& axisOrder, uint32_t numOutputs);

  const std::string& name() const { return name_; }
  const std::string& type() const { return type_; }
  const std::shared_ptr<IrAttributes>& attrs() const { return attrs_; }
  bool canonicalized() const { return canonicalized_; }
  void setCanonicalized(bool flag) { canonicalized_ = flag; }

  void setInputAxisFormat(AxisFormat format, uint32_t index);
  // Room for this many inputs and outputs, so that wiring a new op allocates its lists once.
  void reserveTensorLists(size_t inputs, size_t outputs);

  TensorList getInputs() const { return lockWeakPtr(inputs_); }
  TensorList getOutputs() const { return lockWeakPtr(outputs_); }
  TensorPtr getInput(uint32_t index) const;
  TensorPtr getOutput(uint32_t index) const;
  size_t numInputs() const { return inputs_.size(); }
  size_t numOutputs() const { return outputs_.size(); }
  std::vector<Dims> getInputShapes() const;
  std::vector<Dims> getOutputShapes() const;
  const std::vector<AxisFormat>& inputAxisFormats() const { return inputAxisFormats_; }

  TensorList lockWeakPtr(const WeakTensorList& list) const;

 protected:
  // Sets the inputs and outputs given to the four-argument constructors of typed ops.
  void setTensors(const TensorList& inputs, const TensorList& outputs);

  template <class T>
  void addAtIdx(std::vector<T>& list, const T& value, int32_t index);
  template <class T>
  void rmAtIdx(std::vector<T>& list, uint32_t index);

 private:
  // Each of these changes one end of an edge. Only the graph calls them, and it changes the
  // other end (the tensor's producer or readers) in the same operation.
  friend class ::modeltools::IrGraph;
  void setName(const std::string& name) { name_ = name; }
  void addInput(const TensorPtr& tensor, int32_t index);
  virtual void addOutput(const TensorPtr& tensor, int32_t index);
  void removeInput(const TensorPtr& tensor);
  void removeInputAt(uint32_t index);
  void removeOutput(const TensorPtr& tensor);
  void removeOutputAt(uint32_t index);
  void setInputAt(const TensorPtr& tensor, uint32_t index);
  void replaceInputTensor(const TensorPtr& oldTensor, const TensorPtr& newTensor);
  void replaceOutputTensor(const TensorPtr& oldTensor, const TensorPtr& newTensor);
  // Takes over another op's input and output lists, with the input axis formats recorded there.
  void takeTensorListsFrom(const IrOp& other) {
    inputs_ = other.inputs_;
    outputs_ = other.outputs_;
    inputAxisFormats_ = other.inputAxisFormats_;
  }

  std::string name_;
  std::string type_;
  std::shared_ptr<IrAttributes> attrs_;
  bool canonicalized_ = false;
  std::vector<AxisFormat> inputAxisFormats_;
  WeakTensorList inputs_;
  WeakTensorList outputs_;
};

using OpPtr = std::shared_ptr<IrOp>;

// Writes {name}[{type}].
std::ostream& operator<<(std::ostream& out, const IrOp& op);

}  // namespace modeltools::ops
