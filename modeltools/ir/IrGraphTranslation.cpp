// The graph's road back to backend records, through the translator and the validator that the
// layers above the IR provide.

#include <stdexcept>

#include "IrGraph.hpp"

namespace modeltools {
namespace {

[[noreturn]] void failWithoutService(const char* function, const char* service) {
  throw std::runtime_error(std::string("modeltools::IrGraph::") + function + ": the graph was made without " +
                           service);
}

}  // namespace

RecordTranslator& IrGraph::translator() {
  if (!translator_) {
    if (!services_.makeTranslator) failWithoutService("translator", "a record translator");
    translator_ = services_.makeTranslator(*diagnostics_);
  }
  return *translator_;
}

std::vector<Vrx_OpConfig_t*> IrGraph::getVrxOps() {
  auto& records = translator();
  std::vector<Vrx_OpConfig_t*> configs;
  configs.reserve(opList_.size());
  records.reserve(opList_.size(), tensorMap_.size());
  for (const auto& op : opList_) configs.push_back(records.getVrxOp(op, false, ""));
  return configs;
}

Vrx_Tensor_t* IrGraph::getVrxTensor(const std::string& name) {
  auto tensor = getTensor(name);
  return tensor ? translator().getVrxTensor(tensor) : nullptr;
}

void IrGraph::validateVrxOpConfig(const OpPtr& op, bool omitStaticData, const std::string& backendName) {
  if (!services_.validate) failWithoutService("validateVrxOpConfig", "an op validator");
  const Vrx_OpConfig_t* config = translator().getVrxOp(op, omitStaticData, backendName);
  const std::string configName = config->name != nullptr ? config->name : "";
  if (configName != op->name()) {
    throw std::runtime_error("modeltools::IrGraph::validateVrxOpConfig: Collision detected! Op name " + op->name() +
                             " does not match opConfig name " + configName + " (op type: " + op->type() + ")");
  }
  std::string message;
  if (services_.validate(*config, message) == 0) return;
  throw std::runtime_error("modeltools::IrGraph::validateVrxOpConfig: Failed VRX validation for " + op->name() +
                           " with error\n" + message);
}

}  // namespace modeltools
