#include "PassIds.hpp"

#include <sstream>
#include <stdexcept>
#include <unordered_map>

namespace modeltools::iroptimizer {

const std::vector<std::string>& passNamesInIdOrder() {
  static const std::vector<std::string> names = {
    "AlignMatmulRanks",
    "OptimizeTransposes",
    "SquashMultiplePermute",
    "FoldReshapesInstance1",
    "FoldReshapesInstance2",
    "FoldReshapesInstance3",
    "FoldReshapesInstance4",
    "SinkTransposeBelowSum",
    "OptimizeTransposeReshape",
    "HandleGatherNegativeIndices",
    "SquashReshapeInstance1",
    "SquashReshapeInstance2",
    "MatchSpaceToDepth",
    "MultiTimeStepsGRU",
    "Replace6dOps",
    "OptimizeGatherND",
    "OptimizeDepthToSpace",
    "RemoveIdentityPreLT",
    "RemoveNoOps1",
    "RemoveNoOps2",
    "RemoveCastIdentity",
    "ForcePruneCast",
    "SquashPad",
    "FoldCasts",
    "FoldSoftmax",
    "FoldConcats",
    "ExpandGruOpStructure",
    "InjectCastForGather",
    "FullyConnectedToHadamard",
    "FoldHadamardWithMul",
    "HoistTransposeAboveElementWiseMux",
    "SquashConstantInput",
    "ExpandSparseOpStructure",
    "ProcessCustomIOQuantInfo",
    "OptimizeNegation",
    "UnrollGruTimeSteps",
    "MatchGelu",
    "MatchGeluApprox",
    "MatchLogit",
    "MultiTimeStepsLSTM",
    "ExpandLstmOpStructure",
    "OptimizeDepthReduce",
    "UnrollLstm",
    "SquashBatchnormInstance1",
    "SquashBatchnormInstance2",
    "OptimizeNonInplaceConcat",
    "ReduceEltwiseBinTranspose",
    "SquashConstantTranspose",
    "PermuteAxisToLast",
    "MergeLowLevelOpsToBatchnorm",
    "OptimizeUnmatchedMatMul",
    "ReplaceTRTWithReshape",
    "ExpandInverse",
    "FallbackDepthBroadcastEltwiseBin",
    "OptimizeDepthBroadcastElementwise",
    "AdjustNormOpBuffersInstance1",
    "AdjustNormOpBuffersInstance2",
    "AdjustNormOpFlattenLastDimsInstance1",
    "AdjustNormOpFlattenLastDimsInstance2",
    "ExpandThresholdedRelu",
    "HoistTranspose",
    "RemoveInverseTransposePair",
    "TransformLayout",
    "ExpandElementwiseMean",
    "ExpandReduceL2Op",
    "FlattenPReluAlpha",
    "MergeLowLevelOpsToPRelu",
    "RecordLoraTensorTransforms",
    "ExpandExpandOpToEltwise",
    "SquashTileUnsqueezeToExpand",
    "MatchTopK",
    "MatchChannelShuffle",
    "MatmulToFC",
    "MergeLowLevelOpsToL2Norm",
    "FoldToClip",
    "SquashEltwiseProd",
    "SquashEltwiseDiv",
    "SquashEltwiseSum",
    "SquashEltwiseSub",
    "SquashBoxDecoder",
    "OptimizeDetectionOutput",
    "MatchHardSwish",
    "FoldMinMaxToReluMinMax",
    "MergeLowLevelOpsToBatchToSpace",
    "MergeLowLevelOpsToDepthToSpace",
    "MergeLowLevelOpsToSpaceToBatch",
    "MergeLowLevelOpsToSpaceToDepth",
    "MatmulAddFusion",
    "MergeLowLevelOpsToResize"};
  return names;
}

uint32_t getPassIdFromPassName(const std::string& name) {
  static const std::unordered_map<std::string, uint32_t> ids = [] {
    std::unordered_map<std::string, uint32_t> map;
    const auto& names = passNamesInIdOrder();
    for (uint32_t id = 0; id < names.size(); ++id) map.emplace(names[id], id);
    return map;
  }();
  auto it = ids.find(name);
  if (it == ids.end()) {
    std::ostringstream message;
    message << "modeltools::iroptimizer::getPassIdFromPassName: "
            << " Invalid pass, No pass registered with the name: " << name;
    throw std::runtime_error(message.str());
  }
  return it->second;
}

std::string getPassNameFromPassId(uint32_t id) {
  const auto& names = passNamesInIdOrder();
  if (id >= names.size()) {
    std::ostringstream message;
    message << "modeltools::iroptimizer::getPassNameFromPassId: " << " Invalid pass Id " << id;
    throw std::runtime_error(message.str());
  }
  return names[id];
}

}  // namespace modeltools::iroptimizer
