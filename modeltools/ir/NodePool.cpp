#include "NodePool.hpp"

#include <algorithm>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
// Free slots stay poisoned, so that the sanitizer still sees a node used after its erase.
#define VRX_POISON(address, size) ASAN_POISON_MEMORY_REGION(address, size)
#define VRX_UNPOISON(address, size) ASAN_UNPOISON_MEMORY_REGION(address, size)
#else
#define VRX_POISON(address, size) ((void)(address), (void)(size))
#define VRX_UNPOISON(address, size) ((void)(address), (void)(size))
#endif

namespace modeltools {
namespace {

// Blocks start small, for small graphs, and double up to this many slots.
constexpr size_t kFirstBlockSlots = 16;
constexpr size_t kLargestBlockSlots = 4096;

}  // namespace

NodePool::NodePool(size_t slotSize)
    : slotSize_(std::max(slotSize, sizeof(void*))), nextBlockSlots_(kFirstBlockSlots) {}

NodePool::~NodePool() {
  // The heap gets its blocks back as it gave them.
  for (const auto& block : blocks_) VRX_UNPOISON(block.bytes.get(), block.size);
}

void NodePool::addBlock() {
  const size_t bytes = nextBlockSlots_ * slotSize_;
  blocks_.push_back({std::make_unique_for_overwrite<std::byte[]>(bytes), bytes});
  next_ = blocks_.back().bytes.get();
  end_ = next_ + bytes;
  VRX_POISON(next_, bytes);
  nextBlockSlots_ = std::min(nextBlockSlots_ * 2, kLargestBlockSlots);
}

void* NodePool::allocate() {
  if (freeSlots_ != nullptr) {
    void* slot = freeSlots_;
    VRX_UNPOISON(slot, slotSize_);
    freeSlots_ = *static_cast<void**>(slot);
    return slot;
  }
  if (next_ == end_) addBlock();
  void* slot = next_;
  next_ += slotSize_;
  VRX_UNPOISON(slot, slotSize_);
  return slot;
}

void NodePool::deallocate(void* slot) {
  *static_cast<void**>(slot) = freeSlots_;
  freeSlots_ = slot;
  VRX_POISON(slot, slotSize_);
}

}  // namespace modeltools
