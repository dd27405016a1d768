#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "AxisOrder.hpp"
#include "ConversionNamePolicy.hpp"
#include "Diagnostics.hpp"
#include "FlatHashMap.hpp"
#include "GraphServices.hpp"
#include "IrOp.hpp"
#include "IrTensor.hpp"
#include "OpSequence.hpp"
#include "TraceInfo.hpp"

namespace modeltools {

using TensorPtr = std::shared_ptr<IrTensor>;
using StaticTensorPtr = std::shared_ptr<IrStaticTensor>;
using OpPtr = std::shared_ptr<ops::IrOp>;
using OpSet = std::set<OpPtr>;

// The tensors and ops of one network. The graph owns both; `getOps()` is the execution
// order, which every operation that adds or moves an op keeps topological by choosing the
// position itself. Failures are exceptions (run-time unless a caller gave something wrongly).
class IrGraph {
 public:
  // `services` come from the layers above the IR (see GraphServices); without them every op
  // is generic and records can't be made.
  explicit IrGraph(std::string name, std::shared_ptr<AxisOrder> axisOrder = std::make_shared<IrAxisOrder>(),
                   std::map<std::string, AxisFormat> tensorAxisFormats = {}, GraphServices services = {});
  ~IrGraph();
  IrGraph(const IrGraph&) = delete;
  IrGraph& operator=(const IrGraph&) = delete;

  const std::string& name() const { return name_; }
  const std::shared_ptr<AxisOrder>& axisOrder() const { return axisOrder_; }
  const std::map<std::string, AxisFormat>& tensorAxisFormats() const { return tensorAxisFormats_; }
  const GraphServices& services() const { return services_; }
  // Where everything said about this graph goes: standard output unless sent elsewhere.
  Diagnostics& diagnostics() const { return *diagnostics_; }

  // ---- Adding tensors (all forms end in the first) ----
  TensorPtr addTensor(const TensorPtr& tensor);
  TensorPtr addTensor(TensorFields fields);
  StaticTensorPtr addStaticTensor(TensorFields fields, const void* data, uint32_t dataSize, bool borrowedData = false);
  // Quantization follows the data type: quantized types take `quantInfo`, others refuse a defined one.
  TensorPtr addTensor(const std::string& name, const Dims& dims, uint32_t dataType, uint32_t floatDataType,
                      bool quantizable, const QuantInfo& quantInfo,
                      AxisFormat axisFormat = AxisFormat::NOT_YET_DEFINED,
                      AxisFormat srcAxisFormat = AxisFormat::NOT_YET_DEFINED, uint32_t kind = tensorkind::kNative);
  StaticTensorPtr addStaticTensorCopy(const std::string& name, const StaticTensorPtr& source, bool shareTransforms);

  // ---- Adding ops ----
  // The op is wired already; index -1 appends.
  void addOp(const OpPtr& op, int32_t index, bool validate);
  // Wires a new op to tensors that the caller has just found in this graph by name, and appends
  // it under a name it has found free: addOp(op, -1, false) without looking all of them up a
  // second time. The op's own checks (validateOp) come before any tensor knows it.
  void appendResolvedOp(const OpPtr& op, const std::vector<TensorPtr>& inputs, const std::vector<TensorPtr>& outputs);
  // Wires the op by tensor names; missing outputs are made with the given shapes.
  void addOp(const OpPtr& op, const std::vector<std::string>& inputNames, const std::vector<std::string>& outputNames,
             const std::vector<IrTensorShape>& outputShapes, const std::vector<AxisFormat>& outputAxisFormats,
             int32_t index, bool validate);
  // The same, with the shapes the op infers itself.
  void addOp(const OpPtr& op, const std::vector<std::string>& inputNames, const std::vector<std::string>& outputNames,
             const std::vector<AxisFormat>& outputAxisFormats, int32_t index, bool validate);

  // ---- Lookups (never throw) ----
  bool hasTensor(const std::string& name) const { return tensorMap_.contains(name); }
  bool hasOp(const std::string& name) const { return opMap_.contains(name); }
  TensorPtr getTensor(const std::string& name) const;
  OpPtr getOp(const std::string& name) const;
  StaticTensorPtr getStaticTensor(const std::string& name) const;
  std::vector<TensorPtr> getInputs() const { return graphInputs_; }
  std::vector<TensorPtr> getOutputs() const { return graphOutputs_; }
  const OpSequence& getOps() const { return opList_; }
  // Tensors in name order: a sorted copy, made on request (lookups by name are hashed).
  std::map<std::string, TensorPtr> tensors() const { return {tensorMap_.begin(), tensorMap_.end()}; }
  size_t numTensors() const { return tensorMap_.size(); }
  OpSet getConsumers(const TensorPtr& tensor, const std::vector<std::string>& consumerNames) const;

  // ---- Backend records (the graph's translator owns them) ----
  std::vector<Vrx_OpConfig_t*> getVrxOps();
  Vrx_Tensor_t* getVrxTensor(const std::string& name);
  void validateVrxOpConfig(const OpPtr& op, bool omitStaticData, const std::string& backendName);
  // Made on first use; throws for a graph made without services.
  RecordTranslator& translator();

  // ---- Renaming and small changes ----
  void changeOpName(const OpPtr& op, const std::string& newName);
  // Names by value: callers often pass a tensor's own name, which the rename changes.
  void updateTensorName(std::string oldName, std::string newName);
  void swapTensorNames(std::string nameA, std::string nameB);
  void removeTensor(const std::string& name) { tensorMap_.erase(name); }
  static std::shared_ptr<AxisOrder> makeAxisOrder(const std::string& name);
  void resetTensorIds() const;
  void mergeQuantInfo(const TensorPtr& a, const TensorPtr& b, bool flag);
  void transferQuantInfo(const TensorPtr& from, const TensorPtr& to);
  // The graph's name generator, made on first use.
  ConversionNamePolicy& namePolicy();

  // ---- Editing edges: both ends of every edge stay in step ----
  // Wires an op that isn't in the graph yet: it reads `inputs` and writes `outputs`, in order.
  void connect(const OpPtr& op, const std::vector<TensorPtr>& inputs, const std::vector<TensorPtr>& outputs);
  // Every reader of `oldTensor` reads `newTensor` in its place, at every input where it read it.
  void replaceAllUses(const TensorPtr& oldTensor, const TensorPtr& newTensor);
  // Input `index` of the op becomes `tensor`; the old tensor keeps the op as reader only if the
  // op still reads it at another input.
  void setOperand(const OpPtr& op, uint32_t index, const TensorPtr& tensor);
  // `to` takes the place of `from` among the graph outputs, and `from` becomes a native tensor.
  void moveGraphOutput(const TensorPtr& from, const TensorPtr& to);
  // Takes the op out of the graph: its inputs lose it as reader, its outputs lose it as producer,
  // and an output that nothing reads and that is no graph output leaves the graph with it.
  void removeOp(const OpPtr& op);
  // The message with which squash or squashIdentity would refuse, or nothing when it can go
  // ahead: a rule asks first and declines without having changed anything.
  std::optional<std::string> squashRefusal(const OpPtr& op, const std::string& inputName, bool keepInputTensor) const;
  std::optional<std::string> squashIdentityRefusal(const OpPtr& op) const;

  // ---- Surgery: rewiring what stands ----
  void inject(const OpPtr& op, const std::string& inputName, const std::string& outputName,
              const std::vector<std::string>& consumerNames, AxisFormat axisFormat, bool validate,
              bool inheritQuantizable);
  void injectAtIndex(const OpPtr& op, const std::string& inputName, const std::string& outputName, int32_t index,
                     const std::vector<std::string>& consumerNames, AxisFormat axisFormat, bool validate,
                     bool inheritQuantizable);
  void injectImplicitPermute(const std::string& tensorName, AxisFormat axisFormat,
                             const std::vector<uint32_t>& permOrder, const std::vector<std::string>& consumerNames);
  void permuteToSpatialFirst(const TensorPtr& tensor, const OpPtr& consumer);
  void permuteNfcToNcf(const TensorPtr& tensor, const OpPtr& consumer);
  void permuteToSpatialLast(const TensorPtr& tensor, const OpPtr& consumer);
  void moveOptoIndex(const OpPtr& op, size_t index);
  void prune(const OpPtr& op, bool force);
  void removeOpAsConsumer(const TensorPtr& tensor, const OpPtr& op);
  void replace(const OpPtr& oldOp, const OpPtr& newOp, const std::string& axisOrderName);
  void squash(const OpPtr& op, const std::string& inputName, bool keepInputTensor, bool transferQuantization);
  void squashIdentity(const OpPtr& op, bool transferQuantization);
  void transferConsumers(const TensorPtr& fromTensor, const TensorPtr& toTensor, const OpSet& consumers);
  void transferGraphOutputTensor(const TensorPtr& fromTensor, const TensorPtr& toTensor);
  void updateTensorType(const std::string& name, uint32_t kind);
  bool isStaticPassThrough(const OpPtr& op) const;

  // ---- Trace records ----
  std::vector<TraceSource> getTraceSources(uint32_t kind, const std::string& name) const;
  void setTraceSources(uint32_t kind, const std::string& name, const std::vector<TraceSource>& sources);
  void addTraceSources(uint32_t kind, const std::string& name, const std::vector<TraceSource>& sources);
  void addTraceSourcesToAll(const std::vector<std::string>& opNames, const std::vector<std::string>& tensorNames,
                            const std::vector<TraceSource>& sources);
  void removeTraceSources(uint32_t kind, const std::string& name);
  void removeOpTraceRecords(const std::vector<OpPtr>& ops);
  static std::vector<TraceSource> mergeTraceSources(const std::vector<TraceSource>& first,
                                                    const std::vector<TraceSource>& second);
  std::vector<TraceSource> collectTraceSources(const std::vector<TraceSource>& items) const;
  void updateTraceInfo(const std::vector<OpPtr>& targetOps, const std::vector<OpPtr>& sourceOps,
                       const std::vector<TensorPtr>& sourceTensors, bool removeSources);
  void updateTraceInfo(const std::vector<TensorPtr>& targetTensors, const std::vector<TensorPtr>& sourceTensors,
                       const std::vector<OpPtr>& sourceOps, bool removeSources);
  void validateTraceInfoCompleteness(const std::string& stage) const;
  const TraceTable& opTraceInfo() const { return opTraceInfo_; }
  const TraceTable& tensorTraceInfo() const { return tensorTraceInfo_; }
  void setSourceNames(std::vector<std::string> opNames, std::vector<std::string> tensorNames) {
    sourceOpNames_ = std::move(opNames);
    sourceTensorNames_ = std::move(tensorNames);
  }

  // ---- Reports ----
  // Sums MACs and parameter counts over all ops and prints them.
  std::pair<uint64_t, uint64_t> reEvalMacsParams();
  void dumpJson(const std::string& path) const;

 private:
  TraceTable& traceRecords(uint32_t kind);
  const TraceTable& traceRecords(uint32_t kind) const;
  size_t positionForInjection(const TensorPtr& input, const OpSet& consumers) const;
  // Steps shared by inject and injectAtIndex: the op takes the input, gets a new output tensor,
  // and the chosen readers move to that output. Returns the moved readers, or nothing when the
  // op infers no output shape (then the op keeps only the input it took).
  std::optional<OpSet> wireInjectedOp(const OpPtr& op, const TensorPtr& input, const std::string& outputName,
                                      const std::vector<std::string>& consumerNames, AxisFormat axisFormat,
                                      bool inheritQuantizable);
  void addOpAt(const OpPtr& op, int32_t index);
  void wireInputsByName(const OpPtr& op, const std::vector<std::string>& inputNames);
  void wireOutputs(const OpPtr& op, const std::vector<std::string>& outputNames,
                   const std::vector<IrTensorShape>& outputShapes, const std::vector<AxisFormat>& outputAxisFormats);

  std::string name_;
  // Hashed: every rewrite looks tensors up by name; name order is made only when asked for.
  FlatHashMap<std::string, TensorPtr> tensorMap_;
  std::vector<TensorPtr> graphInputs_;
  std::vector<TensorPtr> graphOutputs_;
  OpSequence opList_;
  // Hashed: ops are walked in execution order (opList_), the map only finds them by name.
  FlatHashMap<std::string, OpPtr> opMap_;
  std::shared_ptr<AxisOrder> axisOrder_;
  std::map<std::string, AxisFormat> tensorAxisFormats_;
  GraphServices services_;
  std::unique_ptr<Diagnostics> diagnostics_;
  std::unique_ptr<RecordTranslator> translator_;
  TraceTable opTraceInfo_;
  TraceTable tensorTraceInfo_;
  std::shared_ptr<ConversionNamePolicy> namePolicy_;
  std::vector<std::string> sourceOpNames_;
  std::vector<std::string> sourceTensorNames_;
};

}  // namespace modeltools
