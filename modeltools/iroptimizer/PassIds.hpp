#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace modeltools::iroptimizer {

// The closed set of passes. Ids are what the pipelines list; names are what clients allow.
namespace passid {
enum : uint32_t {
  AlignMatmulRanks = 0,
  OptimizeTransposes = 1,
  SquashMultiplePermute = 2,
  FoldReshapesInstance1 = 3,
  FoldReshapesInstance2 = 4,
  FoldReshapesInstance3 = 5,
  FoldReshapesInstance4 = 6,
  SinkTransposeBelowSum = 7,
  OptimizeTransposeReshape = 8,
  HandleGatherNegativeIndices = 9,
  SquashReshapeInstance1 = 10,
  SquashReshapeInstance2 = 11,
  MatchSpaceToDepth = 12,
  MultiTimeStepsGRU = 13,
  Replace6dOps = 14,
  OptimizeGatherND = 15,
  OptimizeDepthToSpace = 16,
  RemoveIdentityPreLT = 17,
  RemoveNoOps1 = 18,
  RemoveNoOps2 = 19,
  RemoveCastIdentity = 20,
  ForcePruneCast = 21,
  SquashPad = 22,
  FoldCasts = 23,
  FoldSoftmax = 24,
  FoldConcats = 25,
  ExpandGruOpStructure = 26,
  InjectCastForGather = 27,
  FullyConnectedToHadamard = 28,
  FoldHadamardWithMul = 29,
  HoistTransposeAboveElementWiseMux = 30,
  SquashConstantInput = 31,
  ExpandSparseOpStructure = 32,
  ProcessCustomIOQuantInfo = 33,
  OptimizeNegation = 34,
  UnrollGruTimeSteps = 35,
  MatchGelu = 36,
  MatchGeluApprox = 37,
  MatchLogit = 38,
  MultiTimeStepsLSTM = 39,
  ExpandLstmOpStructure = 40,
  OptimizeDepthReduce = 41,
  UnrollLstm = 42,
  SquashBatchnormInstance1 = 43,
  SquashBatchnormInstance2 = 44,
  OptimizeNonInplaceConcat = 45,
  ReduceEltwiseBinTranspose = 46,
  SquashConstantTranspose = 47,
  PermuteAxisToLast = 48,
  MergeLowLevelOpsToBatchnorm = 49,
  OptimizeUnmatchedMatMul = 50,
  ReplaceTRTWithReshape = 51,
  ExpandInverse = 52,
  FallbackDepthBroadcastEltwiseBin = 53,
  OptimizeDepthBroadcastElementwise = 54,
  AdjustNormOpBuffersInstance1 = 55,
  AdjustNormOpBuffersInstance2 = 56,
  AdjustNormOpFlattenLastDimsInstance1 = 57,
  AdjustNormOpFlattenLastDimsInstance2 = 58,
  ExpandThresholdedRelu = 59,
  HoistTranspose = 60,
  RemoveInverseTransposePair = 61,
  TransformLayout = 62,
  ExpandElementwiseMean = 63,
  ExpandReduceL2Op = 64,
  FlattenPReluAlpha = 65,
  MergeLowLevelOpsToPRelu = 66,
  RecordLoraTensorTransforms = 67,
  ExpandExpandOpToEltwise = 68,
  SquashTileUnsqueezeToExpand = 69,
  MatchTopK = 70,
  MatchChannelShuffle = 71,
  MatmulToFC = 72,
  MergeLowLevelOpsToL2Norm = 73,
  FoldToClip = 74,
  SquashEltwiseProd = 75,
  SquashEltwiseDiv = 76,
  SquashEltwiseSum = 77,
  SquashEltwiseSub = 78,
  SquashBoxDecoder = 79,
  OptimizeDetectionOutput = 80,
  MatchHardSwish = 81,
  FoldMinMaxToReluMinMax = 82,
  MergeLowLevelOpsToBatchToSpace = 83,
  MergeLowLevelOpsToDepthToSpace = 84,
  MergeLowLevelOpsToSpaceToBatch = 85,
  MergeLowLevelOpsToSpaceToDepth = 86,
  MatmulAddFusion = 87,
  MergeLowLevelOpsToResize = 88
};
}  // namespace passid

constexpr uint32_t kNumPasses = 89;

// Exact, case-sensitive; an unknown name throws a run-time error.
uint32_t getPassIdFromPassName(const std::string& name);
// An id outside the table throws a run-time error.
std::string getPassNameFromPassId(uint32_t id);
// The names of all passes in id order.
const std::vector<std::string>& passNamesInIdOrder();

}  // namespace modeltools::iroptimizer
