#pragma once

// Graph changes that rules share beyond the graph's own operations: moving every reader to a
// tensor of the same shape, and giving a layer its own copy of a shared weight.

#include <cstdint>
#include <string>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {

// base + "_" + the first decimal index from 0 that no tensor of the graph has as name.
std::string generateUniqueTensorName(const IrGraph& graph, const std::string& base);
bool sameQuantization(const QuantInfo& a, const QuantInfo& b);
// Moves every reader of `oldTensor` to `newTensor`, which then takes the old name. The shapes
// must match, and with `checkQuantization` the quantization and data types as well.
void replaceAllUsers(IrGraph& graph, const TensorPtr& newTensor, const TensorPtr& oldTensor, bool checkQuantization);
// Puts a new rank-1 32-bit list in the place of the attribute `name`, in the category it had.
void setListAttribute(const OpPtr& op, const std::string& name, const std::vector<uint32_t>& values);
// Gives the op its own copy of a static input that others read too.
void manageSharedStaticInput(IrGraph& graph, const OpPtr& op, uint32_t inputIndex);

}  // namespace modeltools::iroptimizer
