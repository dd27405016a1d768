#pragma once

#include <memory>

#include "VrxGraphTransformer.h"

namespace modeltools {
class IrGraph;
namespace ops {
class IrOp;
}
}  // namespace modeltools

namespace vrx::ir {

// Turns the client's tensor and node records into the IR, one call at a time, and answers
// with export status values. It refuses what the IR can't represent before anything changes;
// exceptions of the IR beneath it pass through. Nothing of a client record is kept: names,
// dimensions, quantization and static data are copied.
class IrGraphBuilder {
 public:
  explicit IrGraphBuilder(Vrx_LogHandle_t loggerHandle) : loggerHandle_(loggerHandle) {}

  void setIrGraph(std::shared_ptr<modeltools::IrGraph> graph) { graph_ = std::move(graph); }
  const std::shared_ptr<modeltools::IrGraph>& getIrGraph() const { return graph_; }

  Vrx_Status_t addTensor(const Vrx_Tensor_t* tensor);
  Vrx_Status_t addNode(const Vrx_OpConfig_t& opConfig);


 private:
  Vrx_Status_t connectInputs(const Vrx_OpConfig_t& opConfig, const std::shared_ptr<modeltools::ops::IrOp>& op);
  Vrx_Status_t connectOutputs(const Vrx_OpConfig_t& opConfig, const std::shared_ptr<modeltools::ops::IrOp>& op);

  Vrx_LogHandle_t loggerHandle_;
  std::shared_ptr<modeltools::IrGraph> graph_;
};

}  // namespace vrx::ir
