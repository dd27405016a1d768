#include "PassManager.hpp"

#include <algorithm>
#include <cstdio>

#include "PassDump.hpp"
#include "PassIds.hpp"
#include "Pipelines.hpp"
#include "modeltools/backendinfo/BackendInfo.hpp"
#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {
namespace {

template <class T>
bool contains(const std::vector<T>& list, const T& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

// The change flag of one scheduled run: once, or until the pass stops reporting changes.
bool runPass(Pass& pass, IrGraph& graph) {
  switch (pass.repeatMode) {
    case repeatmode::kOnce: return pass.run(graph);
    case repeatmode::kUntilStable: {
      if (!pass.run(graph)) return false;
      for (uint32_t runs = 1; runs < PassManager::kMaxRunsUntilStable && pass.run(graph); ++runs) {
      }
      return true;
    }
    default: return false;  // an unknown mode never runs
  }
}

void runPipeline(PassManager& manager, IrGraph& graph, const std::shared_ptr<PassPipeline>& pipeline,
                 const std::shared_ptr<backendinfo::BackendInfo>& backendInfo, uint32_t stage) {
  if (!pipeline) return;
  const auto ids = pipeline->getPasses(backendInfo, stage);
  if (!ids.empty()) manager.applyOptimizationPasses(graph, ids, stage);
}

}  // namespace

PassManager::PassManager(OptimizerConfig config, const PassRegistry& registry)
    : config_(std::move(config)), registry_(registry) {}

void PassManager::optimizeStage(IrGraph& graph, const std::shared_ptr<backendinfo::BackendInfo>& backendInfo,
                                uint32_t stage) {
  runPipeline(*this, graph, createPassPipeline(Default), backendInfo, stage);
  if (contains(executedPasses_, getPassNameFromPassId(passid::Replace6dOps))) {
    // Replacing rank-6 ops leaves reshapes behind that these passes clean up, even when the
    // client disabled them.
    const auto& followUp = replace6dFollowUpPasses();
    for (const uint32_t id : followUp) std::erase(config_.disabledPasses, id);
    applyOptimizationPasses(graph, followUp, stage);
  }
  if (backendInfo) {
    runPipeline(*this, graph, createPassPipeline(pipelineBackendFromByte(backendInfo->backend())), backendInfo, stage);
  }
  runPostOptimizationSteps(graph, stage);
}

bool PassManager::isEnabled(const Pass& pass, uint32_t id) const {
  if (pass.requiresEnable == 1 && !contains(config_.enabledPasses, id)) return false;
  return !contains(config_.disabledPasses, id);
}

bool PassManager::wantsPassDump(const std::string& passName) const {
  return config_.dumpPassFilter.empty() || contains(config_.dumpPassFilter, passName);
}

void PassManager::logDebug(const IrGraph& graph, const std::string& passName, const char* text) const {
  if (!config_.passLog) return;
  graph.diagnostics().write("modeltools::iroptimizer::PassManager::applyOptimizationPasses: DEBUG: ", passName, text,
                            "\n");
}

PassManager::Fingerprints PassManager::watchedOpFingerprints(const IrGraph& graph) const {
  Fingerprints fingerprints;
  for (const auto& op : graph.getOps()) {
    if (contains(config_.dumpOpFilter, op->name())) fingerprints[op->name()] = opFingerprint(*op);
  }
  return fingerprints;
}

bool PassManager::dumpChangedWatchedOps(const IrGraph& graph, const Fingerprints& before,
                                        const std::string& suffix) const {
  std::vector<std::string> watched = config_.dumpOpFilter;
  std::vector<std::string> seen;
  bool written = false;
  for (const auto& op : graph.getOps()) {
    seen.push_back(op->name());
    if (!contains(watched, op->name())) continue;
    const auto stored = before.find(op->name());
    if (stored != before.end() && stored->second == opFingerprint(*op)) continue;
    std::erase(watched, op->name());
    writePassDump(graph, op->name() + suffix);
    written = true;
  }
  for (const auto& name : watched) {
    if (contains(seen, name) || !before.contains(name)) continue;
    writePassDump(graph, name + suffix);  // the op has left the graph
    written = true;
  }
  return written;
}

void PassManager::applyOptimizationPasses(IrGraph& graph, const std::vector<uint32_t>& ids, uint32_t stage) {
  const auto passes = registry_.stagePasses(stage);
  std::map<std::string, uint32_t> counters;
  for (const uint32_t id : ids) {
    const auto registered = passes.find(id);
    if (registered == passes.end()) {
      if (config_.passLog) logDebug(graph, getPassNameFromPassId(id), " Pass not registered for this stage; skipping");
      continue;
    }
    Pass& pass = *registered->second;
    if (!isEnabled(pass, id)) continue;
    const std::string name = getPassNameFromPassId(id);
    logDebug(graph, name, " Pass getting executed in IrOptimizer");

    const Fingerprints fingerprints = dumpsAt(dumplevel::kPerWatchedOp) ? watchedOpFingerprints(graph) : Fingerprints{};
    const std::string count = std::to_string(++counters[name]);
    const std::string beforeName = "Before" + name + count + ".json";
    const bool dumpsPerPass = dumpsAt(dumplevel::kPerPass) || dumpsAt(dumplevel::kPerWatchedOp);
    if (dumpsPerPass && wantsPassDump(name)) writePassDump(graph, beforeName);

    if (!runPass(pass, graph)) {
      std::remove(beforeName.c_str());  // a missing file is no failure
      continue;
    }
    executedPasses_.push_back(name);
    if (!config_.dumpGraphs) continue;
    if (config_.dumpLevel == dumplevel::kPerPass && wantsPassDump(name)) {
      writePassDump(graph, "After" + name + count + ".json");
    }
    if (config_.dumpLevel == dumplevel::kPerWatchedOp &&
        !dumpChangedWatchedOps(graph, fingerprints, "_After" + name + count + ".json")) {
      std::remove(beforeName.c_str());
    }
  }
}

void PassManager::runPostOptimizationSteps(IrGraph& graph, uint32_t stage) {
  if (config_.validateTraceInfo) {
    graph.validateTraceInfoCompleteness("Post G2G optimizations: " + optimizationStageName(stage));
  }
  lastMacsParams_ = graph.reEvalMacsParams();
  if (dumpsAt(dumplevel::kAfterAllStages)) {
    static const std::string kFileName = "IRGraph_after_IrGraph_optimizations.json";
    graph.diagnostics().write(
        "modeltools::iroptimizer::PassManager::runPostOptimizationSteps: Dumping IR graph after IrGraph "
        "optimizations as ",
        kFileName, "\n");
    graph.dumpJson(kFileName);
  }
  // "transpose_b" serves inside the optimizer only and must never reach the backend.
  for (const auto& op : graph.getOps()) {
    if (op->type() == "FullyConnected" && op->attrs()->hasAttr("transpose_b")) op->attrs()->remove("transpose_b");
  }
}

}  // namespace modeltools::iroptimizer
