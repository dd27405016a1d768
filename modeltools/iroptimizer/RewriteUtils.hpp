#pragma once

// Functions shared by rewrite rules: reading constants, working with permutations, placing
// a transpose on a tensor, moving readers between tensors, giving a layer its own copy of a
// shared weight. The throwing ones raise run-time errors "function: message".

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"

namespace modeltools::iroptimizer {

// ---- Constants ----
float getConstValue(const TensorPtr& tensor);
bool getStaticFloatScalar(const TensorPtr& tensor, double& value);
// All elements equal the first (written to `first` when given); false for null, empty or unreadable.
bool allElementsEqualToValue(const TensorPtr& tensor, float* first = nullptr);
// The strict form behind it: every element, read as float, equals `value`. A null tensor and
// one without elements throw; a tensor without data (not static) or of another type gives false.
bool allElementsEqualTo(const TensorPtr& tensor, float value);
bool anyElementNegative(const TensorPtr& tensor);
std::vector<uint32_t> staticTensorToU32List(const StaticTensorPtr& tensor);
bool allNearZero(const float* values, size_t count);
// abs(a - b) <= abs(b) * rtol + atol: the tolerance is against `b`.
bool isClose(double a, double b, double rtol, double atol);
bool hasStaticScalarNear(const OpPtr& op, double value, double rtol, double atol);
// "perm" and the like: a static list attribute read as 32-bit values.
std::vector<uint32_t> listAttribute(const ops::IrOp& op, const std::string& name);

// ---- Op structure ----
StaticTensorPtr firstStaticInput(const OpPtr& op);
std::vector<TensorPtr> dynamicInputs(const OpPtr& op);
StaticTensorPtr staticInputAt(const OpPtr& op, uint32_t index);
bool sameShape(const TensorPtr& a, const TensorPtr& b);
bool shareDynamicInput(const OpPtr& a, const OpPtr& b);
bool isConvType(const std::string& type);
bool isNormOrDenseType(const std::string& type);
bool producerIsConv(const OpPtr& op);

// ---- Shapes and permutations ----
std::vector<uint32_t> getInversePermutation(const std::vector<uint32_t>& perm);
Dims squeezeOnes(const Dims& dims);
bool trailingDimsMatch(const Dims& a, const Dims& b);
std::vector<uint32_t> channelLastToFirstPerm(uint32_t rank);
std::vector<uint32_t> channelFirstToLastPerm(uint32_t rank);
std::vector<uint32_t> swapWithLastPerm(uint32_t rank, uint32_t axis);
std::string permToString(const std::vector<uint32_t>& perm);
std::string generateUniqueTensorName(const IrGraph& graph, const std::string& base);
// The permutation from a tensor transposed by `perm` to the source order, given the
// original tensor's own (empty counts as the identity).
std::vector<uint32_t> composePermToSource(const std::vector<uint32_t>& originalToSource,
                                          const std::vector<uint32_t>& perm);
bool sameQuantization(const QuantInfo& a, const QuantInfo& b);

// ---- Graph changes ----
// Gives input `inputIndex` of the op a view transposed by `perm`, reusing such a transpose
// of the same tensor when one exists.
void insertOrReuseTranspose(IrGraph& graph, const OpPtr& op, uint32_t inputIndex, const std::vector<uint32_t>& perm);
// Puts a "Transpose" behind the tensor for the named consumers and returns it. With
// `keepOutputName`, a graph output keeps its name on the transposed tensor.
OpPtr injectTranspose(IrGraph& graph, const std::string& tensorName, const std::vector<uint32_t>& perm,
                      const std::vector<std::string>& consumerNames, const std::string& optionalName = "",
                      bool keepOutputName = false);
// Moves every reader of `oldTensor` to `newTensor`, which then takes the old name.
void replaceAllUsers(IrGraph& graph, const TensorPtr& newTensor, const TensorPtr& oldTensor, bool checkQuantization);
// Gives the op its own copy of a static input that others read too.
void manageSharedStaticInput(IrGraph& graph, const OpPtr& op, uint32_t inputIndex);
// Applies a "Transpose" of a static tensor to the data and removes the op; false when it can't.
bool squashConstantTranspose(const OpPtr& op, IrGraph& graph, bool intoNext);
bool matmulValidateBias(const Dims& weightDims, const Dims& biasDims, const OpPtr& op, const TensorPtr& bias);
bool matmulValidateDims(const Dims& input0Dims, const Dims& input1Dims, const OpPtr& op);

}  // namespace modeltools::iroptimizer
