#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <memory_resource>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "VrxBackendRecords.h"
#include "modeltools/ir/Diagnostics.hpp"
#include "modeltools/ir/FlatHashMap.hpp"
#include "modeltools/ir/GraphServices.hpp"

namespace modeltools {

class IrTensor;
struct QuantInfo;
namespace ops {
class IrOp;
}

// Turns IR objects back into backend records and undoes the folding of families done on the
// way in. Every record it hands out, and every string and array a record points to, lives as
// long as the translator (and so the graph): entries are never dropped earlier, so they are
// made in an arena of the translator's own, side by side in the order they were made, and
// released at once.
class IrVrxTranslator final : public RecordTranslator {
 public:
  // Arrays and records that quantization params point into.
  using KeepAlive = std::vector<std::shared_ptr<void>>;

  // Failures to translate a quantization go to `diagnostics` (standard streams when none).
  explicit IrVrxTranslator(Diagnostics* diagnostics = nullptr);
  ~IrVrxTranslator() override;
  IrVrxTranslator(const IrVrxTranslator&) = delete;
  IrVrxTranslator& operator=(const IrVrxTranslator&) = delete;

  // The op's record; a second request for the same op name returns the first record.
  // `omitStaticData` leaves the data pointers of static inputs null (sizes stay);
  // `backendName` decides one rule of "Resize".
  Vrx_OpConfig_t* getVrxOp(const std::shared_ptr<ops::IrOp>& op, bool omitStaticData,
                           const std::string& backendName) override;
  // Room in the caches for records of this many ops and tensors, so that they fill without rehashing.
  void reserve(size_t ops, size_t tensors) override;
  // The tensor's record, cached by name.
  Vrx_Tensor_t* getVrxTensor(const std::shared_ptr<IrTensor>& tensor) override;
  // Fills `params` from the tensor's quantization; what it allocates goes to `keepAlive`.
  void translateQuantEncoding(const IrTensor& tensor, Vrx_QuantizeParams_t& params, KeepAlive& keepAlive);

  // Storage that something outside the translator wrote into a record of this translator
  // (composition renames and rewires records in place): it lives as long as the record.
  // Throws invalid_argument for a record that isn't the current one of its cache entry.
  void keepWithOp(const Vrx_OpConfig_t& config, std::shared_ptr<void> storage);
  void keepWithTensor(const std::string& tensorName, const Vrx_Tensor_t& record,
                      std::shared_ptr<void> storage) override;
  // The same for storage that records of many ops point into: it lives as long as the translator.
  void keepWithRecords(std::shared_ptr<void> storage) override { keepAlive_.push_back(std::move(storage)); }

  // The backend data type of a value type, for passes that make typed constants.
  template <class T>
  static uint32_t getVrxDataType();

 private:
  struct TensorEntry;
  struct OpEntry;

  TensorEntry* tensorEntry(const std::shared_ptr<IrTensor>& tensor);
  // A record for the tensor, all but its quantization.
  TensorEntry* makeTensorEntry(const std::shared_ptr<IrTensor>& tensor);
  // A copy of the text, with its terminator, in the arena.
  const char* keep(std::string_view text);
  // `owner` is the tensor whose record holds the params; `rank` sizes the block encodings.
  void fillEncoding(const QuantInfo& info, const IrTensor& owner, uint32_t rank, Vrx_QuantizeParams_t& params,
                    KeepAlive& keepAlive);
  void fillArrayEncoding(const QuantInfo& info, const IrTensor& owner, uint32_t rank, Vrx_QuantizeParams_t& params,
                         KeepAlive& keepAlive);
  OpEntry* makeOpEntry(const std::shared_ptr<ops::IrOp>& op, bool omitStaticData, const std::string& backendName);
  void addParams(OpEntry& entry);
  void addTensorLists(OpEntry& entry, bool omitStaticData);

  Diagnostics ownDiagnostics_;  // used when the translator is made without a graph's
  Diagnostics* diagnostics_;
  // Declared before the records, so that it goes after them.
  std::pmr::monotonic_buffer_resource arena_;
  KeepAlive keepAlive_;  // outlives the records that point into it
  // Every entry made, in the order made; the destructor ends them in that order.
  std::vector<TensorEntry*> tensorEntries_;
  std::vector<OpEntry*> opEntries_;
  // Hashed: the caches are only looked up by name, never walked in order.
  FlatHashMap<std::string, TensorEntry*> tensorCache_;
  FlatHashMap<std::string, OpEntry*> opCache_;
};

template <class T>
uint32_t IrVrxTranslator::getVrxDataType() {
  if constexpr (std::is_same_v<T, bool>) return VRX_DATATYPE_BOOL_8;
  else if constexpr (std::is_same_v<T, uint32_t>) return VRX_DATATYPE_UINT_32;
  else if constexpr (std::is_same_v<T, int32_t>) return VRX_DATATYPE_INT_32;
  else if constexpr (std::is_same_v<T, int8_t>) return VRX_DATATYPE_INT_8;
  else if constexpr (std::is_same_v<T, uint8_t>) return VRX_DATATYPE_UINT_8;
  else if constexpr (std::is_same_v<T, float>) return VRX_DATATYPE_FLOAT_32;
  else if constexpr (std::is_same_v<T, uint16_t>) return VRX_DATATYPE_UINT_16;
  else if constexpr (std::is_same_v<T, int16_t>) return VRX_DATATYPE_INT_16;
  else throw std::invalid_argument("modeltools::IrVrxTranslator::getVrxDataType: Unsupported type in getVrxDataType");
}

}  // namespace modeltools
