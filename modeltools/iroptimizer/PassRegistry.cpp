#include "PassRegistry.hpp"

#include <sstream>
#include <stdexcept>

#include "PassIds.hpp"

namespace modeltools::iroptimizer {
std::string optimizationStageName(uint32_t stage) {
  switch (stage) {
    case PreLayout: return "PreLayout";
    case PostLayout: return "PostLayout";
    case PreQuant: return "PreQuant";
    case PostQuant: return "PostQuant";
    default: return "Unknown";
  }
}

PassRegistry::PassRegistry(PassFactory factory) : factory_(std::move(factory)) {}

const std::vector<std::string>& PassRegistry::passNames() const { return passNamesInIdOrder(); }

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
  auto pass = factory_ ? factory_(id) : nullptr;
  if (!pass) getPassNameFromPassId(id);  // throws the message of an unknown id
  if (!pass) {
    throw std::runtime_error("modeltools::iroptimizer::PassManager::registerPass: no pass object for " +
                             getPassNameFromPassId(id));
  }
  pass->backends = backends;
  pass->stage = stage;
  pass->repeatMode = repeatMode;
  pass->keepMatchedOps = keepMatchedOps;
  pass->requiresEnable = requiresEnable;
  return addPass(id, stage, std::move(pass));
}

void PassRegistry::registerEveryPass() {
  for (const auto& row : kPassTable) {
    registerPass(row.id, PostLayout, {Default}, repeatModeOf(row.schedule), 0, keepsMatchedOps(row.schedule));
  }
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

std::vector<std::string> getRegisteredPassNames() { return passNamesInIdOrder(); }

}  // namespace modeltools::iroptimizer
