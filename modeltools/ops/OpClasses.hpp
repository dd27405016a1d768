#pragma once

// The registry of op classes by type string, with every class of the catalogue in it.

#include <memory>

#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ops/TranslationRegistry.hpp"

namespace modeltools::ops {

// Filled on first use, once for the process.
OpTranslationRegistry& opClassRegistry();

// The op seen through the class of its type: the same name, attribute table and tensors, not
// wired into any graph. Empty for a type without a class.
std::shared_ptr<IrOp> typedView(const IrOp& op);

}  // namespace modeltools::ops
