// The graph's road back to backend records, through its translator.

#include <sstream>
#include <stdexcept>

#include "Core/Validation/src/Operations/OpValidator.hpp"
#include "IrGraph.hpp"
#include "modeltools/translation/IrVrxTranslator.hpp"

namespace modeltools {

std::vector<Vrx_OpConfig_t*> IrGraph::getVrxOps() {
  std::vector<Vrx_OpConfig_t*> configs;
  configs.reserve(opList_.size());
  translator_->reserve(opList_.size(), tensorMap_.size());
  for (const auto& op : opList_) configs.push_back(translator_->getVrxOp(op, false, ""));
  return configs;
}

Vrx_Tensor_t* IrGraph::getVrxTensor(const std::string& name) {
  auto tensor = getTensor(name);
  return tensor ? translator_->getVrxTensor(tensor) : nullptr;
}

void IrGraph::validateVrxOpConfig(const OpPtr& op, bool omitStaticData, const std::string& backendName) {
  const Vrx_OpConfig_t* config = translator_->getVrxOp(op, omitStaticData, backendName);
  const std::string configName = config->name != nullptr ? config->name : "";
  if (configName != op->name()) {
    throw std::runtime_error("modeltools::IrGraph::validateVrxOpConfig: Collision detected! Op name " + op->name() +
                             " does not match opConfig name " + configName + " (op type: " + op->type() + ")");
  }
  std::string message;
  if (validator_->validate(*config, message) == 0) return;
  throw std::runtime_error("modeltools::IrGraph::validateVrxOpConfig: Failed VRX validation for " + op->name() +
                           " with error\n" + message);
}

}  // namespace modeltools
