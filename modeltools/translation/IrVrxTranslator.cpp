#include "IrVrxTranslator.hpp"

#include <stdexcept>

#include "modeltools/ir/IrOp.hpp"

namespace modeltools {

// Scaffolding while the translation is being built.
struct IrVrxTranslator::TensorEntry {};
struct IrVrxTranslator::OpEntry {};

IrVrxTranslator::IrVrxTranslator() = default;
IrVrxTranslator::~IrVrxTranslator() = default;

Vrx_OpConfig_t* IrVrxTranslator::getVrxOp(const std::shared_ptr<ops::IrOp>&, bool, const std::string&) {
  throw std::runtime_error("modeltools::IrVrxTranslator::getVrxOp: translation is not available yet");
}

Vrx_Tensor_t* IrVrxTranslator::getVrxTensor(const std::shared_ptr<IrTensor>&) {
  throw std::runtime_error("modeltools::IrVrxTranslator::getVrxTensor: translation is not available yet");
}

}  // namespace modeltools
