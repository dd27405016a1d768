#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "VrxBackendRecords.h"

namespace modeltools {

class IrTensor;
namespace ops {
class IrOp;
}

// Turns IR objects back into backend records. It owns every record it made for as long as
// the graph lives: the records point into its storage and into the IR objects it keeps.
class IrVrxTranslator {
 public:
  IrVrxTranslator();
  ~IrVrxTranslator();
  IrVrxTranslator(const IrVrxTranslator&) = delete;
  IrVrxTranslator& operator=(const IrVrxTranslator&) = delete;

  // The op's record; a second request for the same op name returns the first record.
  Vrx_OpConfig_t* getVrxOp(const std::shared_ptr<ops::IrOp>& op, bool omitStaticData, const std::string& backendName);
  // The tensor's record, cached by name.
  Vrx_Tensor_t* getVrxTensor(const std::shared_ptr<IrTensor>& tensor);

 private:
  struct TensorEntry;
  struct OpEntry;
  std::map<std::string, std::shared_ptr<TensorEntry>> tensorCache_;
  std::map<std::string, std::shared_ptr<OpEntry>> opCache_;
};

}  // namespace modeltools
