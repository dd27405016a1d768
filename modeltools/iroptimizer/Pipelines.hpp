#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Pass.hpp"

namespace modeltools::backendinfo {
class BackendInfo;
}

namespace modeltools::iroptimizer {

// The ordered pass ids that run in one stage for one backend.
class PassPipeline {
 public:
  virtual ~PassPipeline() = default;
  virtual std::vector<uint32_t> getPasses(const std::shared_ptr<backendinfo::BackendInfo>& backendInfo,
                                          uint32_t stage) const = 0;
};

// The list every backend runs, in stage PostLayout.
class DefaultPassPipeline final : public PassPipeline {
 public:
  std::vector<uint32_t> getPasses(const std::shared_ptr<backendinfo::BackendInfo>& backendInfo,
                                  uint32_t stage) const override;
};

// What NXA runs on top of the default list, in stage PostLayout.
class NXAPassPipeline final : public PassPipeline {
 public:
  std::vector<uint32_t> getPasses(const std::shared_ptr<backendinfo::BackendInfo>& backendInfo,
                                  uint32_t stage) const override;
};

// Default gives the default pipeline, NXA the NXA one, every other value none.
std::shared_ptr<PassPipeline> createPassPipeline(int32_t backend);

// A backend info's byte as a pipeline key: 0 to 6 as they are, anything else Unknown.
PipelineBackend pipelineBackendFromByte(uint8_t backend);

// The clean-up that runs after Replace6dOps has changed the graph, each pass re-enabled first.
const std::vector<uint32_t>& replace6dFollowUpPasses();

}  // namespace modeltools::iroptimizer
