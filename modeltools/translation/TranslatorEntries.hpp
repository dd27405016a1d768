#pragma once

// The cache entries of IrVrxTranslator, shared by its source units. Each entry owns what its
// record points to, so a record stays readable for as long as its entry lives.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "IrVrxTranslator.hpp"
#include "modeltools/ir/IrOp.hpp"
#include "modeltools/ir/IrTensor.hpp"

namespace modeltools {

// Copies of the strings that records point to, packed into blocks that never move, so that
// the names of an op cost one allocation rather than one each.
class TextStore {
 public:
  TextStore() = default;
  TextStore(const TextStore&) = delete;
  TextStore& operator=(const TextStore&) = delete;
  ~TextStore() {
    while (blocks_ != nullptr) {
      Block* next = blocks_->next;
      ::operator delete(blocks_);
      blocks_ = next;
    }
  }

  // Room for this many characters, terminators included, in one block.
  void reserve(size_t size) {
    if (size > room_) addBlock(size);
  }
  const char* keep(std::string_view text) {
    reserve(text.size() + 1);
    char* copy = cursor_;
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    cursor_ += text.size() + 1;
    room_ -= text.size() + 1;
    return copy;
  }

 private:
  struct Block {
    Block* next;
  };
  static constexpr size_t kMinimumBlock = 64;

  void addBlock(size_t size) {
    const size_t room = std::max(size, kMinimumBlock);
    auto* block = static_cast<Block*>(::operator new(sizeof(Block) + room));
    block->next = blocks_;
    blocks_ = block;
    cursor_ = reinterpret_cast<char*>(block + 1);
    room_ = room;
  }

  Block* blocks_ = nullptr;
  char* cursor_ = nullptr;
  size_t room_ = 0;
};

struct IrVrxTranslator::TensorEntry {
  // Ranks up to this keep their dimensions in the entry itself: most tensors need no array of their own.
  static constexpr size_t kInlineRank = 6;

  std::shared_ptr<IrTensor> tensor;
  std::string name;
  std::array<uint32_t, kInlineRank> inlineDims{};
  std::vector<uint32_t> dims;  // higher ranks only
  std::vector<uint8_t> dynamicFlags;
  KeepAlive keepAlive;
  Vrx_Tensor_t record{};
};

struct IrVrxTranslator::OpEntry {
  std::shared_ptr<ops::IrOp> op;
  TextStore strings;
  // The input records, then the output records: one array holds both lists.
  std::vector<Vrx_Tensor_t> tensors;
  size_t numInputs = 0;
  std::vector<Vrx_Param_t> params;
  // The tensor entries that the copied records point into, in the order of `tensors`.
  std::vector<std::shared_ptr<TensorEntry>> tensorEntries;
  // What the records of tensor params point into, one entry each. Sized once before the first
  // is made: records point into the entries, which must never move.
  std::vector<TensorEntry> paramEntries;
  KeepAlive keepAlive;
  Vrx_OpConfig_t config{};

  const char* keep(std::string_view text) { return strings.keep(text); }
};

}  // namespace modeltools
