#pragma once

// Passes with scripted answers that log their runs, registries made of them, small graphs,
// and a scratch working directory for the dumps that the scheduler writes there.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/PassRegistry.hpp"

namespace modeltools::iroptimizer::test {

namespace fs = std::filesystem;

// Appends its name to a shared log on each run and answers by its script (no change by default).
class ScriptedPass : public Pass {
 public:
  using Script = std::function<bool(IrGraph&, uint32_t call)>;
  ScriptedPass(std::string name, std::vector<std::string>& log, Script script)
      : name_(std::move(name)), log_(log), script_(std::move(script)) {}
  bool run(IrGraph& graph) override {
    ++calls;
    log_.push_back(name_);
    return script_ ? script_(graph, calls) : false;
  }
  uint32_t calls = 0;

 private:
  std::string name_;
  std::vector<std::string>& log_;
  Script script_;
};

inline ScriptedPass::Script alwaysChanges() {
  return [](IrGraph&, uint32_t) { return true; };
}

// A registry of its own for one test; passes are filed in stage PostLayout.
class TestRegistry {
 public:
  std::shared_ptr<ScriptedPass> add(uint32_t id, ScriptedPass::Script script = {},
                                    uint32_t repeatMode = repeatmode::kOnce) {
    auto pass = std::make_shared<ScriptedPass>(getPassNameFromPassId(id), log, std::move(script));
    pass->repeatMode = repeatMode;
    registry.addPass(id, PostLayout, pass);
    return pass;
  }
  // Every pass of the table, each with the repeat mode of its row.
  void addAll(const std::map<uint32_t, ScriptedPass::Script>& scripts = {}) {
    for (const auto& row : kPassTable) {
      const auto script = scripts.find(row.id);
      add(row.id, script == scripts.end() ? ScriptedPass::Script{} : script->second, repeatModeOf(row.schedule));
    }
  }

  PassRegistry registry;
  std::vector<std::string> log;
};

inline std::vector<std::string> passNames(const std::vector<uint32_t>& ids) {
  std::vector<std::string> names;
  for (const uint32_t id : ids) names.push_back(getPassNameFromPassId(id));
  return names;
}

// a -> Relu "r" -> b -> FullyConnected "fc" (static weights w) -> c.
inline std::shared_ptr<IrGraph> smallGraph() {
  auto graph = std::make_shared<IrGraph>("g");
  auto a = graph->addTensor(TensorFields{.name = "a", .shape = IrTensorShape({1, 4}), .kind = tensorkind::kGraphInput});
  auto b = graph->addTensor(TensorFields{.name = "b", .shape = IrTensorShape({1, 4})});
  const std::vector<float> weights(8, 0.5f);
  auto w = graph->addStaticTensor(TensorFields{.name = "w", .shape = IrTensorShape({2, 4}), .kind = tensorkind::kStatic},
                                  weights.data(), 32);
  auto c = graph->addTensor(TensorFields{.name = "c", .shape = IrTensorShape({1, 2}), .kind = tensorkind::kGraphOutput});
  auto wire = [&](const std::string& name, const std::string& type, std::vector<TensorPtr> ins, TensorPtr out) {
    auto op = std::make_shared<ops::IrOp>(name, type, nullptr);
    graph->connect(op, ins, {out});
    graph->addOp(op, -1, false);
    return op;
  };
  wire("r", "Relu", {a}, b);
  wire("fc", "FullyConnected", {b, w}, c)->attrs()->add("transpose_b", true, attrcategory::kInternal);
  return graph;
}

inline std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs the test inside a fresh directory and goes back afterwards.
class ScratchDirectory {
 public:
  ScratchDirectory() : previous_(fs::current_path()) {
    path_ = fs::temp_directory_path() /
            ("vrx_passmgr_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(path_);
    fs::create_directories(path_);
    fs::current_path(path_);
  }
  ~ScratchDirectory() {
    fs::current_path(previous_);
    fs::remove_all(path_);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  // The names of the files in the directory, sorted.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  fs::path previous_;
  fs::path path_;
};

}  // namespace modeltools::iroptimizer::test
