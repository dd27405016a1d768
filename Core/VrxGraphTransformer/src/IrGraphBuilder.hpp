#pragma once

#include <memory>
#include <vector>

#include "VrxGraphTransformer.h"

namespace modeltools {
class IrGraph;
class IrTensor;
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
  // The node's tensors, found in the graph and checked, in the record's order.
  Vrx_Status_t resolveInputs(const Vrx_OpConfig_t& opConfig,
                             std::vector<std::shared_ptr<modeltools::IrTensor>>& inputs) const;
  Vrx_Status_t resolveOutputs(const Vrx_OpConfig_t& opConfig,
                              std::vector<std::shared_ptr<modeltools::IrTensor>>& outputs) const;

  Vrx_LogHandle_t loggerHandle_;
  std::shared_ptr<modeltools::IrGraph> graph_;
};

}  // namespace vrx::ir
