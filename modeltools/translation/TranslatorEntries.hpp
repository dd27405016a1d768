#pragma once

// The cache entries of IrVrxTranslator, shared by its source units. Entries and the arrays and
// strings their records point to sit in the translator's arena, in the order they were made,
// and live as long as the translator.

#include <array>
#include <memory>
#include <memory_resource>
#include <vector>

#include "IrVrxTranslator.hpp"
#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ir/IrTensor.hpp"

namespace modeltools {

struct IrVrxTranslator::TensorEntry {
  // Ranks up to this keep their dimensions in the entry itself: most tensors need no array of their own.
  static constexpr size_t kInlineRank = 6;

  explicit TensorEntry(std::pmr::memory_resource* arena) : dims(arena), dynamicFlags(arena) {}

  std::shared_ptr<IrTensor> tensor;
  std::array<uint32_t, kInlineRank> inlineDims{};
  std::pmr::vector<uint32_t> dims;  // higher ranks only
  std::pmr::vector<uint8_t> dynamicFlags;
  KeepAlive keepAlive;
  Vrx_Tensor_t record{};
};

struct IrVrxTranslator::OpEntry {
  explicit OpEntry(std::pmr::memory_resource* arena) : tensors(arena), params(arena), tensorEntries(arena) {}

  std::shared_ptr<ops::IrOp> op;
  // The input records, then the output records: one array holds both lists.
  std::pmr::vector<Vrx_Tensor_t> tensors;
  size_t numInputs = 0;
  std::pmr::vector<Vrx_Param_t> params;
  // The tensor entries that the copied records point into, in the order of `tensors`.
  std::pmr::vector<TensorEntry*> tensorEntries;
  KeepAlive keepAlive;
  Vrx_OpConfig_t config{};
};

}  // namespace modeltools
