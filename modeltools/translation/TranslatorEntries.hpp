#pragma once

// The cache entries of IrVrxTranslator, shared by its source units. Each entry owns what its
// record points to, so a record stays readable for as long as its entry lives.

#include <forward_list>
#include <memory>
#include <string>
#include <vector>

#include "IrVrxTranslator.hpp"
#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ir/IrTensor.hpp"

namespace modeltools {

struct IrVrxTranslator::TensorEntry {
  std::shared_ptr<IrTensor> tensor;
  std::string name;
  std::vector<uint32_t> dims;
  std::vector<uint8_t> dynamicFlags;
  KeepAlive keepAlive;
  Vrx_Tensor_t record{};
};

struct IrVrxTranslator::OpEntry {
  std::shared_ptr<ops::IrOp> op;
  // A list, not a deque: its nodes never move and a handful of names needs no block of its own.
  std::forward_list<std::string> strings;
  std::vector<Vrx_Tensor_t> inputs;
  std::vector<Vrx_Tensor_t> outputs;
  std::vector<Vrx_Param_t> params;
  // The tensor entries that the copied records point into, by list.
  std::vector<std::shared_ptr<TensorEntry>> inputEntries;
  std::vector<std::shared_ptr<TensorEntry>> outputEntries;
  std::vector<std::shared_ptr<TensorEntry>> paramEntries;
  KeepAlive keepAlive;
  Vrx_OpConfig_t config{};

  const char* keep(std::string text) { return strings.emplace_front(std::move(text)).c_str(); }
};

}  // namespace modeltools
