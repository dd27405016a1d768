#pragma once

#include <memory>

#include "VrxGraphTransformer.h"

namespace modeltools {
class IrGraph;
}

namespace vrx::ir {

// Turns the client's tensor and node records into the IR, one call at a time, and answers
// with export status values.
class IrGraphBuilder {
 public:
  explicit IrGraphBuilder(Vrx_LogHandle_t loggerHandle) : loggerHandle_(loggerHandle) {}

  void setIrGraph(std::shared_ptr<modeltools::IrGraph> graph) { graph_ = std::move(graph); }
  const std::shared_ptr<modeltools::IrGraph>& getIrGraph() const { return graph_; }

  Vrx_Status_t addTensor(const Vrx_Tensor_t* tensor);
  Vrx_Status_t addNode(const Vrx_OpConfig_t& opConfig);

 private:
  Vrx_LogHandle_t loggerHandle_;
  std::shared_ptr<modeltools::IrGraph> graph_;
};

}  // namespace vrx::ir
