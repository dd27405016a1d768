#pragma once

// Questions about an op's inputs and about shapes that rules ask before they rewrite.

#include <cstdint>
#include <string>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {

// The tensor as a static one, or empty.
StaticTensorPtr asStatic(const TensorPtr& tensor);
StaticTensorPtr firstStaticInput(const OpPtr& op);
// The inputs that are not null and not static, in input order.
std::vector<TensorPtr> dynamicInputs(const OpPtr& op);
StaticTensorPtr staticInputAt(const OpPtr& op, uint32_t index);
bool sameShape(const TensorPtr& a, const TensorPtr& b);
// Some dynamic input of `b` has the name of a dynamic input of `a`.
bool shareDynamicInput(const OpPtr& a, const OpPtr& b);
bool isConvType(const std::string& type);
bool isNormOrDenseType(const std::string& type);
// The first dynamic input that has a producer has a convolution for it.
bool producerIsConv(const OpPtr& op);
// The dims without the ones; {1} when nothing remains.
Dims squeezeOnes(const Dims& dims);
// `b` is no longer than `a`, and each dim of `b`, aligned at the end of `a`, equals it or is 1.
bool trailingDimsMatch(const Dims& a, const Dims& b);

}  // namespace modeltools::iroptimizer
