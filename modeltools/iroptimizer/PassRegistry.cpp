#include "PassRegistry.hpp"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "PassFactory.hpp"
#include "PassIds.hpp"

namespace modeltools::iroptimizer {
namespace {

// Every pass runs once, except these, which run until they stop changing the graph.
constexpr std::array<uint32_t, 12> kUntilStablePasses = {
    passid::OptimizeTransposes, passid::SquashMultiplePermute, passid::FoldReshapesInstance1,
    passid::FoldReshapesInstance2, passid::FoldReshapesInstance3, passid::FoldReshapesInstance4,
    passid::OptimizeTransposeReshape, passid::Replace6dOps, passid::FoldCasts,
    passid::FoldConcats, passid::ExpandSparseOpStructure, passid::ReduceEltwiseBinTranspose,
};

// Rewrites that must leave the ops they matched standing, for a later pass to clean up.
constexpr std::array<uint32_t, 1> kKeepMatchedOpsPasses = {passid::SquashBoxDecoder};

template <size_t N>
bool listed(const std::array<uint32_t, N>& ids, uint32_t id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// Every pass of the table, in stage PostLayout, for all backends.
void registerAllPasses(PassRegistry& registry) {
  for (uint32_t id = 0; id < kNumPasses; ++id) {
    registry.registerPass(id, PostLayout, {Default},
                          listed(kUntilStablePasses, id) ? repeatmode::kUntilStable : repeatmode::kOnce, 0,
                          listed(kKeepMatchedOpsPasses, id) ? 1 : 0);
  }
}

}  // namespace

std::string optimizationStageName(uint32_t stage) {
  switch (stage) {
    case PreLayout: return "PreLayout";
    case PostLayout: return "PostLayout";
    case PreQuant: return "PreQuant";
    case PostQuant: return "PostQuant";
    default: return "Unknown";
  }
}

PassRegistry::PassRegistry() : passNames_(passNamesInIdOrder()) {}

PassRegistry& PassRegistry::instance() {
  // Filled on first use rather than by a load-time initializer of this unit, so that pass
  // constructors may rely on the constants of other units.
  static PassRegistry registry = [] {
    PassRegistry filled;
    registerAllPasses(filled);
    return filled;
  }();
  return registry;
}

PassRegistry::StageMap* PassRegistry::stageMap(uint32_t stage) {
  return stage < kNumStages ? &stages_[stage] : nullptr;
}

bool PassRegistry::addPass(uint32_t id, uint32_t stage, std::shared_ptr<Pass> pass) {
  const std::string name = getPassNameFromPassId(id);
  StageMap* passes = stageMap(stage);
  if (passes == nullptr) return false;
  if (passes->contains(id)) {
    std::ostringstream message;
    message << "modeltools::iroptimizer::PassManager::registerPass: Pass " << name << " is already registered";
    throw std::runtime_error(message.str());
  }
  passes->emplace(id, std::move(pass));
  return true;
}

bool PassRegistry::registerPass(uint32_t id, uint32_t stage, const std::set<int32_t>& backends, uint32_t repeatMode,
                                uint32_t requiresEnable, uint32_t keepMatchedOps) {
  auto pass = createPass(id);
  if (!pass) getPassNameFromPassId(id);  // throws the message of an unknown id
  pass->backends = backends;
  pass->stage = stage;
  pass->repeatMode = repeatMode;
  pass->keepMatchedOps = keepMatchedOps;
  pass->requiresEnable = requiresEnable;
  return addPass(id, stage, std::move(pass));
}

std::shared_ptr<Pass> PassRegistry::replacePass(uint32_t id, uint32_t stage, std::shared_ptr<Pass> pass) {
  StageMap* passes = stageMap(stage);
  if (passes == nullptr) return nullptr;
  std::shared_ptr<Pass> previous;
  if (auto it = passes->find(id); it != passes->end()) {
    previous = std::move(it->second);
    passes->erase(it);
  }
  if (pass) passes->emplace(id, std::move(pass));
  return previous;
}

PassRegistry::StageMap PassRegistry::stagePasses(uint32_t stage) const {
  return stage < kNumStages ? stages_[stage] : StageMap{};
}

std::vector<std::string> getRegisteredPassNames() { return PassRegistry::instance().passNames(); }

}  // namespace modeltools::iroptimizer
