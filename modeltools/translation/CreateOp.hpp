#pragma once

// Typed op creation for rewrite passes: `createOp` makes an op of the catalogue from a type
// string, a name and a map of attribute values; the op has no inputs or outputs yet.

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "modeltools/ir/IrOp.hpp"

namespace modeltools::iroptimizer {

// Which field of an OpAttrValue counts.
namespace attrtag {
constexpr uint32_t kBool = 0;
constexpr uint32_t kFloat = 1;
constexpr uint32_t kInt8 = 2;
constexpr uint32_t kInt32 = 3;
constexpr uint32_t kUint8 = 4;
constexpr uint32_t kUint32 = 5;
constexpr uint32_t kString = 6;
constexpr uint32_t kFloatVector = 7;
constexpr uint32_t kInt32Vector = 8;
constexpr uint32_t kUint32Vector = 9;
}  // namespace attrtag

// One attribute value. All fields exist side by side; the constructors set one and the tag.
// Readers take the field their attribute is defined with; only "axis" looks at the tag.
struct OpAttrValue {
  OpAttrValue() = default;
  OpAttrValue(bool value) : boolValue(value), tag(attrtag::kBool) {}
  OpAttrValue(float value) : floatValue(value), tag(attrtag::kFloat) {}
  OpAttrValue(int8_t value) : int8Value(value), tag(attrtag::kInt8) {}
  OpAttrValue(int32_t value) : int32Value(value), tag(attrtag::kInt32) {}
  OpAttrValue(uint8_t value) : uint8Value(value), tag(attrtag::kUint8) {}
  OpAttrValue(uint32_t value) : uint32Value(value), tag(attrtag::kUint32) {}
  OpAttrValue(std::string value) : stringValue(std::move(value)), tag(attrtag::kString) {}
  OpAttrValue(const char* value) : stringValue(value), tag(attrtag::kString) {}
  OpAttrValue(std::vector<float> values) : floatVector(std::move(values)), tag(attrtag::kFloatVector) {}
  OpAttrValue(std::vector<int32_t> values) : int32Vector(std::move(values)), tag(attrtag::kInt32Vector) {}
  OpAttrValue(std::vector<uint32_t> values) : uint32Vector(std::move(values)), tag(attrtag::kUint32Vector) {}

  bool boolValue = false;
  float floatValue = 0.0f;
  int8_t int8Value = 0;
  int32_t int32Value = 0;
  uint8_t uint8Value = 0;
  uint32_t uint32Value = 0;
  std::string stringValue;
  std::vector<float> floatVector;
  std::vector<int32_t> int32Vector;
  std::vector<uint32_t> uint32Vector;
  uint32_t tag = attrtag::kBool;
};

using OpAttrMap = std::unordered_map<std::string, OpAttrValue>;
using OpPtr = std::shared_ptr<ops::IrOp>;

// A typed op of `type` named `name`, with "packageName" = "vrx.core" unless the attributes
// brought one. Unknown types fail with "Op not supported: {type}".
OpPtr createOp(const std::string& type, const std::string& name, const OpAttrMap& attributes);

// The create functions behind `createOp`, one per type; they don't add "packageName".
OpPtr createBatchToSpaceOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createChannelShuffleOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createConcatOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createConv2dOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createConv3dOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createDepthToSpaceOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createDepthwiseConv2dOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createDetectionOutputOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createElementwiseBinaryOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createElementwiseNeuronOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createElementwiseTernaryOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createElementwiseUnaryOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createExpandDimsOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createExpandOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createGatherOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createGatherElementsOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createGatherNDOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createGetSparseIndicesOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createGetSparseValuesOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createLayerNormOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createPackOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createPadOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createReduceOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createReduceL2Op(const std::string& name, const OpAttrMap& attributes);
OpPtr createReshapeOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createResizeOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createRmsNormOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createSoftmaxOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createSpaceToBatchOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createSpaceToDepthOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createSplitOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createStridedSliceOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createThresholdedReluOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createTileOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createTopKOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createTransposeConv2dOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createTransposeConv3dOp(const std::string& name, const OpAttrMap& attributes);
OpPtr createTransposeOp(const std::string& name, const OpAttrMap& attributes);

}  // namespace modeltools::iroptimizer
