#pragma once

// Placing a "Transpose" on a tensor, reusing one that exists, and folding a transpose of a
// constant into its data.

#include <cstdint>
#include <string>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {

// Gives input `inputIndex` of the op a view transposed by `perm`, reusing such a transpose
// of the same tensor when one exists.
void insertOrReuseTranspose(IrGraph& graph, const OpPtr& op, uint32_t inputIndex, const std::vector<uint32_t>& perm);
// Puts a "Transpose" behind the tensor for the named consumers and returns it. With
// `keepOutputName`, a graph output keeps its name on the transposed tensor.
OpPtr injectTranspose(IrGraph& graph, const std::string& tensorName, const std::vector<uint32_t>& perm,
                      const std::vector<std::string>& consumerNames, const std::string& optionalName = "",
                      bool keepOutputName = false);
// Applies a "Transpose" of a static tensor to the data and removes the op; false when it can't.
bool squashConstantTranspose(const OpPtr& op, IrGraph& graph, bool intoNext);

}  // namespace modeltools::iroptimizer
