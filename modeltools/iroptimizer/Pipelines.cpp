#include "Pipelines.hpp"

#include <array>

#include "PassIds.hpp"

namespace modeltools::iroptimizer {
namespace {

using namespace passid;

// Source-level merges and rewrites first, then the layout change, then the clean-up of what it
// injected, the recurrent expansions and the late passes.
constexpr std::array<uint32_t, 80> kDefaultPasses = {
    // Merges and rewrites at the level of the source model.
    MatmulAddFusion, MatmulToFC, MergeLowLevelOpsToBatchnorm, MergeLowLevelOpsToL2Norm, FoldMinMaxToReluMinMax,
    MergeLowLevelOpsToPRelu, MergeLowLevelOpsToResize, MergeLowLevelOpsToDepthToSpace, MergeLowLevelOpsToBatchToSpace,
    MergeLowLevelOpsToSpaceToBatch, MergeLowLevelOpsToSpaceToDepth, FoldCasts, MatchChannelShuffle, MatchGelu,
    MatchHardSwish, FoldToClip, MatchLogit, AdjustNormOpBuffersInstance1, AdjustNormOpFlattenLastDimsInstance1,
    MatchTopK, OptimizeGatherND, SquashEltwiseProd, SquashEltwiseDiv, SquashEltwiseSum, SquashEltwiseSub,
    SquashBatchnormInstance1, SquashBoxDecoder, SquashReshapeInstance1, RemoveCastIdentity, ForcePruneCast,
    ExpandThresholdedRelu, ExpandReduceL2Op, ExpandElementwiseMean, ExpandInverse, SquashTileUnsqueezeToExpand,
    ExpandExpandOpToEltwise,
    // Preparation of the layout change, and the change itself.
    AlignMatmulRanks, FoldReshapesInstance2, RemoveIdentityPreLT, TransformLayout,
    // Clean-up of the transposes and reshapes the layout change injected.
    HoistTranspose, OptimizeDepthBroadcastElementwise, OptimizeUnmatchedMatMul, OptimizeNonInplaceConcat,
    OptimizeDepthReduce, FallbackDepthBroadcastEltwiseBin, AdjustNormOpBuffersInstance2,
    AdjustNormOpFlattenLastDimsInstance2, PermuteAxisToLast, RemoveInverseTransposePair, ReduceEltwiseBinTranspose,
    SquashReshapeInstance2, SquashConstantTranspose, ReplaceTRTWithReshape, FoldReshapesInstance4,
    RecordLoraTensorTransforms, SinkTransposeBelowSum, SquashMultiplePermute, OptimizeNegation, RemoveNoOps1,
    FoldConcats, OptimizeTransposes, OptimizeTransposeReshape, SquashBatchnormInstance2,
    // Recurrent expansions and gather handling.
    MatchGeluApprox, ExpandLstmOpStructure, UnrollLstm, FoldReshapesInstance3, UnrollGruTimeSteps, ExpandGruOpStructure,
    HandleGatherNegativeIndices, InjectCastForGather, RemoveNoOps2,
    // Late passes: sparse ops, custom IO, rank limits, detection output.
    ExpandSparseOpStructure, ProcessCustomIOQuantInfo, HoistTransposeAboveElementWiseMux, SquashConstantInput,
    Replace6dOps, FlattenPReluAlpha, OptimizeDetectionOutput};

constexpr std::array<uint32_t, 2> kNXAPasses = {FullyConnectedToHadamard, FoldHadamardWithMul};

template <size_t N>
std::vector<uint32_t> postLayoutOnly(const std::array<uint32_t, N>& ids, uint32_t stage) {
  if (stage != PostLayout) return {};
  return {ids.begin(), ids.end()};
}

}  // namespace

std::vector<uint32_t> DefaultPassPipeline::getPasses(const std::shared_ptr<backendinfo::BackendInfo>& /*backendInfo*/,
                                                     uint32_t stage) const {
  return postLayoutOnly(kDefaultPasses, stage);
}

std::vector<uint32_t> NXAPassPipeline::getPasses(const std::shared_ptr<backendinfo::BackendInfo>& /*backendInfo*/,
                                                 uint32_t stage) const {
  return postLayoutOnly(kNXAPasses, stage);
}

std::shared_ptr<PassPipeline> createPassPipeline(int32_t backend) {
  switch (backend) {
    case Default: return std::make_shared<DefaultPassPipeline>();
    case NXA: return std::make_shared<NXAPassPipeline>();
    default: return nullptr;
  }
}

PipelineBackend pipelineBackendFromByte(uint8_t backend) {
  return backend <= NXC ? static_cast<PipelineBackend>(backend) : Unknown;
}

const std::vector<uint32_t>& replace6dFollowUpPasses() {
  static const std::vector<uint32_t> ids = {FoldReshapesInstance1, SquashReshapeInstance1, RemoveNoOps1};
  return ids;
}

}  // namespace modeltools::iroptimizer
