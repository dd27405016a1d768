#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Pass.hpp"

namespace modeltools::iroptimizer {

constexpr uint32_t kNumStages = 4;

// "PreLayout", "PostLayout", "PreQuant", "PostQuant"; "Unknown" for any other value.
std::string optimizationStageName(uint32_t stage);

// Builds the pass object of an id; empty for an id it doesn't know.
using PassFactory = std::function<std::shared_ptr<Pass>(uint32_t id)>;

// Pass objects by stage and id. The library's registry is made by the pass catalogue
// (passes/PassCatalogue.hpp), which knows every pass class; a test may make one of its own.
class PassRegistry {
 public:
  using StageMap = std::map<uint32_t, std::shared_ptr<Pass>>;

  // Empty stages; `factory` builds what registerPass files.
  explicit PassRegistry(PassFactory factory = {});

  // Builds the pass of `id`, gives it the registration fields and files it under `stage`.
  // Throws when the stage holds the id already; a stage above 3 holds nothing (false).
  bool registerPass(uint32_t id, uint32_t stage, const std::set<int32_t>& backends, uint32_t repeatMode,
                    uint32_t requiresEnable, uint32_t keepMatchedOps);
  // Every pass of PassTable.def, in stage PostLayout, for all backends, scheduled as its row says.
  void registerEveryPass();
  // Files a pass object that is ready as it is, with the same refusal as registerPass.
  bool addPass(uint32_t id, uint32_t stage, std::shared_ptr<Pass> pass);
  // Puts `pass` in the place of the one filed under (stage, id) and gives back the previous one
  // (empty if there was none); an empty `pass` removes the entry. Not for use while a graph
  // is being optimized: the registry is read without a lock.
  std::shared_ptr<Pass> replacePass(uint32_t id, uint32_t stage, std::shared_ptr<Pass> pass);

  // A copy of one stage's map; empty for a stage above 3.
  StageMap stagePasses(uint32_t stage) const;
  // The pass names in id order.
  const std::vector<std::string>& passNames() const;

 private:
  StageMap* stageMap(uint32_t stage);

  PassFactory factory_;
  std::array<StageMap, kNumStages> stages_;
};

// The names of all passes, in id order.
std::vector<std::string> getRegisteredPassNames();

}  // namespace modeltools::iroptimizer
