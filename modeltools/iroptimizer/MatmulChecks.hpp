#pragma once

// Whether a matmul and a bias fit the fused and fully connected forms.

#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {

// The bias is one-dimensional in effect and as long as the matmul's output features.
bool matmulValidateBias(const IrGraph& graph, const Dims& weightDims, const Dims& biasDims, const OpPtr& op,
                        const TensorPtr& bias);
// Input 1 is a matrix whose reduced dimension meets input 0's last.
bool matmulValidateDims(const IrGraph& graph, const Dims& input0Dims, const Dims& input1Dims, const OpPtr& op);

}  // namespace modeltools::iroptimizer
