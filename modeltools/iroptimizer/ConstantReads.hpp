#pragma once

// Reading constants out of static tensors and list attributes. Float results are 32-bit;
// 16-bit float data is widened. The throwing ones raise run-time errors "function: message".

#include <cstdint>
#include <string>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {

// The single element of a one-element 32-bit integer or 16/32-bit float tensor.
float getConstValue(const TensorPtr& tensor);
// True for a static one-element 16/32-bit float tensor; writes its value.
bool getStaticFloatScalar(const TensorPtr& tensor, double& value);
// All elements equal the first (written to `first` when given); false for null, empty or unreadable.
bool allElementsEqualToValue(const TensorPtr& tensor, float* first = nullptr);
// The strict form behind it: every element, read as float, equals `value`. A null tensor and
// one without elements throw; a tensor without data (not static) or of another type gives false.
bool allElementsEqualTo(const TensorPtr& tensor, float value);
bool anyElementNegative(const TensorPtr& tensor);
std::vector<uint32_t> staticTensorToU32List(const StaticTensorPtr& tensor);
// "perm" and the like: a static list attribute read as 32-bit values.
std::vector<uint32_t> listAttribute(const ops::IrOp& op, const std::string& name);
bool allNearZero(const float* values, size_t count);
// abs(a - b) <= abs(b) * rtol + atol: the tolerance is against `b`.
bool isClose(double a, double b, double rtol, double atol);
// Some input is a static one-element float tensor close to `value`.
bool hasStaticScalarNear(const OpPtr& op, double value, double rtol, double atol);

}  // namespace modeltools::iroptimizer
