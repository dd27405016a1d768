#pragma once

// What a graph needs from the layers above the IR, which the IR may not include: the typed op
// classes (op catalogue), typed op creation and backend records (translation), and op
// validation. The layer that assembles the library hands these in when it makes a graph; a
// graph made without them (the IR on its own, as in its tests) treats every op as generic and
// refuses the operations that need records or typed ops with a clear error.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "VrxBackendRecords.h"

namespace modeltools {

class Diagnostics;
class IrTensor;
namespace ops {
class IrOp;
}

// Turns a graph's ops and tensors into backend records, which live as long as the translator.
class RecordTranslator {
 public:
  virtual ~RecordTranslator() = default;
  // The op's record; a second request for the same op name returns the first record.
  // `omitStaticData` leaves the data pointers of static inputs null; `backendName` decides
  // backend-specific rules.
  virtual Vrx_OpConfig_t* getVrxOp(const std::shared_ptr<ops::IrOp>& op, bool omitStaticData,
                                   const std::string& backendName) = 0;
  // The tensor's record, cached by name.
  virtual Vrx_Tensor_t* getVrxTensor(const std::shared_ptr<IrTensor>& tensor) = 0;
  // Room for records of this many ops and tensors.
  virtual void reserve(size_t ops, size_t tensors) = 0;
  // Storage that something outside the translator wrote into the tensor's record: it lives as
  // long as the record.
  virtual void keepWithTensor(const std::string& tensorName, const Vrx_Tensor_t& record,
                              std::shared_ptr<void> storage) = 0;
  // Storage that records of many ops point into: it lives as long as the translator.
  virtual void keepWithRecords(std::shared_ptr<void> storage) = 0;
};

struct GraphServices {
  // The op seen through the class of its type (same name, attributes and tensors, not wired
  // into the graph), or empty for a type without a class.
  std::function<std::shared_ptr<ops::IrOp>(const ops::IrOp& op)> typedView;
  // A new, unwired "Transpose" op with the permutation `perm`.
  std::function<std::shared_ptr<ops::IrOp>(const std::string& name, const std::vector<uint32_t>& perm)> makeTranspose;
  // The graph's translator into backend records; it reports through the graph's diagnostics.
  std::function<std::unique_ptr<RecordTranslator>(Diagnostics& diagnostics)> makeTranslator;
  // Checks an op config against its op type's definition: 0, or a status with the reason in
  // `message`.
  std::function<Vrx_Status_t(const Vrx_OpConfig_t& config, std::string& message)> validate;
};

}  // namespace modeltools
