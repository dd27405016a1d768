// Trace records: which framework ops and tensors each IR op and tensor came from.

#include <algorithm>
#include <set>
#include <stdexcept>

#include "IrGraph.hpp"

namespace modeltools {
namespace {

template <class Object>
void appendItems(std::vector<TraceSource>& items, const std::vector<std::shared_ptr<Object>>& objects, uint32_t kind) {
  for (const auto& object : objects) {
    if (object) items.push_back({kind, object->name()});
  }
}

void requireTargetsAndSources(bool targetsEmpty, bool sourcesEmpty) {
  if (targetsEmpty) {
    throw std::runtime_error("modeltools::IrGraph::updateTraceInfo: updateTraceInfo called with empty targets list");
  }
  if (sourcesEmpty) {
    throw std::runtime_error("modeltools::IrGraph::updateTraceInfo: updateTraceInfo called with empty sources lists");
  }
}

std::vector<std::string> sortedUnique(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

std::vector<std::string> difference(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  std::vector<std::string> result;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(result));
  return result;
}

}  // namespace

TraceTable& IrGraph::traceRecords(uint32_t kind) { return kind == tracekind::kOp ? opTraceInfo_ : tensorTraceInfo_; }

const TraceTable& IrGraph::traceRecords(uint32_t kind) const {
  return kind == tracekind::kOp ? opTraceInfo_ : tensorTraceInfo_;
}

std::vector<TraceSource> IrGraph::getTraceSources(uint32_t kind, const std::string& name) const {
  const auto* sources = traceRecords(kind).find(name);
  return sources != nullptr ? *sources : std::vector<TraceSource>{};
}

void IrGraph::setTraceSources(uint32_t kind, const std::string& name, const std::vector<TraceSource>& sources) {
  if (sources.empty()) return;
  traceRecords(kind).set(name, sources);
}

void IrGraph::addTraceSources(uint32_t kind, const std::string& name, const std::vector<TraceSource>& sources) {
  if (sources.empty()) return;
  const auto existing = getTraceSources(kind, name);
  setTraceSources(kind, name, existing.empty() ? sources : mergeTraceSources(sources, existing));
}

void IrGraph::addTraceSourcesToAll(const std::vector<std::string>& opNames, const std::vector<std::string>& tensorNames,
                                   const std::vector<TraceSource>& sources) {
  for (const auto& name : opNames) addTraceSources(tracekind::kOp, name, sources);
  for (const auto& name : tensorNames) addTraceSources(tracekind::kTensor, name, sources);
}

void IrGraph::removeTraceSources(uint32_t kind, const std::string& name) { traceRecords(kind).erase(name); }

void IrGraph::removeOpTraceRecords(const std::vector<OpPtr>& ops) {
  for (const auto& op : ops) {
    if (op) removeTraceSources(tracekind::kOp, op->name());
  }
}

std::vector<TraceSource> IrGraph::mergeTraceSources(const std::vector<TraceSource>& first,
                                                    const std::vector<TraceSource>& second) {
  std::vector<TraceSource> merged = first;
  for (const auto& source : second) {
    if (std::find(merged.begin(), merged.end(), source) == merged.end()) merged.push_back(source);
  }
  return merged;
}

std::vector<TraceSource> IrGraph::collectTraceSources(const std::vector<TraceSource>& items) const {
  std::vector<TraceSource> collected;
  for (const auto& item : items) collected = mergeTraceSources(collected, getTraceSources(item.kind, item.name));
  return collected;
}

void IrGraph::updateTraceInfo(const std::vector<OpPtr>& targetOps, const std::vector<OpPtr>& sourceOps,
                              const std::vector<TensorPtr>& sourceTensors, bool removeSources) {
  requireTargetsAndSources(targetOps.empty(), sourceOps.empty() && sourceTensors.empty());
  std::vector<TraceSource> items;
  appendItems(items, sourceOps, tracekind::kOp);
  appendItems(items, sourceTensors, tracekind::kTensor);
  const auto collected = collectTraceSources(items);
  for (const auto& target : targetOps) {
    if (target && !collected.empty()) addTraceSources(tracekind::kOp, target->name(), collected);
  }
  if (removeSources) {
    for (const auto& item : items) removeTraceSources(item.kind, item.name);
  }
}

void IrGraph::updateTraceInfo(const std::vector<TensorPtr>& targetTensors, const std::vector<TensorPtr>& sourceTensors,
                              const std::vector<OpPtr>& sourceOps, bool removeSources) {
  requireTargetsAndSources(targetTensors.empty(), sourceTensors.empty() && sourceOps.empty());
  std::vector<TraceSource> items;
  appendItems(items, sourceTensors, tracekind::kTensor);
  appendItems(items, sourceOps, tracekind::kOp);
  const auto collected = collectTraceSources(items);
  for (const auto& target : targetTensors) {
    if (target && !collected.empty()) addTraceSources(tracekind::kTensor, target->name(), collected);
  }
  if (removeSources) {
    for (const auto& item : items) removeTraceSources(item.kind, item.name);
  }
}

void IrGraph::validateTraceInfoCompleteness(const std::string& stage) const {
  const std::string head = "modeltools::IrGraph::validateTraceInfoCompleteness: ";
  std::vector<std::string> targetOps, targetTensors;
  for (const auto& op : opList_) {
    targetOps.push_back(op->name());
    for (const auto& t : op->getInputs()) targetTensors.push_back(t->name());
    for (const auto& t : op->getOutputs()) targetTensors.push_back(t->name());
  }
  std::vector<std::string> recordOps, recordTensors, recordSourceOps, recordSourceTensors;
  auto collect = [](const TraceTable& records, std::vector<std::string>& targets,
                    std::vector<std::string>& sourceOps, std::vector<std::string>& sourceTensors) {
    for (const auto& record : records) {
      targets.push_back(record.name);
      for (const auto& source : record.sources) {
        (source.kind == tracekind::kOp ? sourceOps : sourceTensors).push_back(source.name);
      }
    }
  };
  collect(opTraceInfo_, recordOps, recordSourceOps, recordSourceTensors);
  collect(tensorTraceInfo_, recordTensors, recordSourceOps, recordSourceTensors);
  targetOps = sortedUnique(targetOps);
  targetTensors = sortedUnique(targetTensors);
  recordOps = sortedUnique(recordOps);
  recordTensors = sortedUnique(recordTensors);
  recordSourceOps = sortedUnique(recordSourceOps);
  recordSourceTensors = sortedUnique(recordSourceTensors);
  const auto sourceOps = sortedUnique(sourceOpNames_);
  const auto sourceTensors = sortedUnique(sourceTensorNames_);

  struct Check {
    std::vector<std::string> missing;
    const char* message;
    bool ops;
  };
  const Check checks[] = {
      {difference(targetOps, recordOps),
       "WARNING: Op names in target irgraph are not all contained by framework tracing record in stage ", true},
      {difference(recordOps, targetOps),
       "WARNING: Op names in framework tracing record are not all contained by target irgraph in stage ", true},
      {difference(targetTensors, recordTensors),
       "WARNING: Tensor names in target irgraph are not all contained by framework tracing record in stage ", false},
      {difference(recordTensors, targetTensors),
       "WARNING: Tensor names in framework tracing record are not all contained by target irgraph in stage ", false},
      {difference(sourceOps, recordSourceOps),
       "WARNING: Op names in source model are not all contained by framework tracing record in stage ", true},
      {difference(recordSourceOps, sourceOps),
       "WARNING: Op names in framework tracing record are not all contained by source model in stage ", true},
      {difference(sourceTensors, recordSourceTensors),
       "WARNING: Tensor names in source model are not all contained by framework tracing record in stage ", false},
      {difference(recordSourceTensors, sourceTensors),
       "WARNING: Tensor names in framework tracing record are not all contained by source model in stage ", false},
  };
  bool complete = true;
  for (const auto& check : checks) {
    if (check.missing.empty()) continue;
    complete = false;
    diagnostics().write(head, check.message, stage,
                        check.ops ? ", please check below ops:" : ", please check below tensors:", "\n");
    for (const auto& name : check.missing) {
      diagnostics().write(head, check.ops ? "missing op: " : "missing tensor: ", name, "\n");
    }
  }
  if (complete) diagnostics().write(head, "Framework tracing record is complete in stage ", stage, ".\n");
}

}  // namespace modeltools
