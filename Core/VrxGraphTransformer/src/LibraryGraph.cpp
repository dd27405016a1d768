#include "LibraryGraph.hpp"

#include "Core/Validation/src/Operations/OpValidator.hpp"
#include "modeltools/ops/OpClasses.hpp"
#include "modeltools/translation/CreateOp.hpp"
#include "modeltools/translation/IrVrxTranslator.hpp"

namespace vrx::core::graphtransformer {

modeltools::GraphServices libraryGraphServices() {
  using namespace modeltools;
  return GraphServices{
      .typedView = &ops::typedView,
      .makeTranspose =
          [](const std::string& name, const std::vector<uint32_t>& perm) {
            return iroptimizer::createOp("Transpose", name, {{"perm", iroptimizer::OpAttrValue(perm)}});
          },
      .makeTranslator = [](Diagnostics& diagnostics) -> std::unique_ptr<RecordTranslator> {
        return std::make_unique<IrVrxTranslator>(&diagnostics);
      },
      .validate = [validator = std::make_shared<vrx::validation::OpValidator>()](
                      const Vrx_OpConfig_t& config,
                      std::string& message) { return validator->validate(config, message); },
  };
}

std::shared_ptr<modeltools::IrGraph> makeLibraryGraph(const std::string& name) {
  return std::make_shared<modeltools::IrGraph>(name, std::make_shared<modeltools::IrAxisOrder>(),
                                               std::map<std::string, modeltools::AxisFormat>{},
                                               libraryGraphServices());
}

}  // namespace vrx::core::graphtransformer
