#pragma once

// Pooled storage for the nodes of node-based containers (hash maps above all). A large graph
// has hundreds of thousands of map nodes; from the heap each would land wherever there is
// room, between the objects made at the same time. From a pool, nodes made one after another
// sit side by side in a few large blocks: lookups and walks in the order of creation touch
// few cache lines and pages, and dropping a map returns a handful of blocks to the heap
// instead of one chunk per node.

#include <cstddef>
#include <memory>
#include <functional>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace modeltools {

// Equal-sized slots carved from blocks that grow as the pool fills; freed slots are reused.
class NodePool {
 public:
  explicit NodePool(size_t slotSize);
  ~NodePool();
  NodePool(const NodePool&) = delete;
  NodePool& operator=(const NodePool&) = delete;

  size_t slotSize() const { return slotSize_; }
  void* allocate();
  void deallocate(void* slot);

 private:
  void addBlock();

  struct Block {
    std::unique_ptr<std::byte[]> bytes;
    size_t size;
  };

  size_t slotSize_;
  size_t nextBlockSlots_;
  std::vector<Block> blocks_;
  std::byte* next_ = nullptr;
  std::byte* end_ = nullptr;
  void* freeSlots_ = nullptr;  // a list threaded through the freed slots
};

// One pool per node size, shared by a container and every allocator rebound from its own.
class NodePools {
 public:
  NodePool& forSize(size_t size);

 private:
  std::vector<std::unique_ptr<NodePool>> pools_;
};

// An allocator that takes single objects from pools and arrays (a hash map's buckets) from the
// heap. Each default-made allocator has pools of its own; copies and rebinds share them.
template <class T>
class PoolAllocator {
 public:
  using value_type = T;
  using propagate_on_container_move_assignment = std::true_type;
  using propagate_on_container_swap = std::true_type;

  PoolAllocator() : pools_(std::make_shared<NodePools>()) {}
  template <class U>
  PoolAllocator(const PoolAllocator<U>& other) : pools_(other.pools_) {}

  T* allocate(size_t count) {
    if (count != 1) return std::allocator<T>().allocate(count);
    return static_cast<T*>(pools_->forSize(slotSizeOf()).allocate());
  }
  void deallocate(T* object, size_t count) {
    if (count != 1) return std::allocator<T>().deallocate(object, count);
    pools_->forSize(slotSizeOf()).deallocate(object);
  }

  template <class U>
  bool operator==(const PoolAllocator<U>& other) const {
    return pools_ == other.pools_;
  }

 private:
  template <class U>
  friend class PoolAllocator;

  // Slots are aligned for any node: sizes are rounded up to the strictest fundamental alignment.
  static constexpr size_t slotSizeOf() {
    static_assert(alignof(T) <= alignof(std::max_align_t), "over-aligned nodes can't be pooled");
    constexpr size_t unit = alignof(std::max_align_t);
    return (sizeof(T) + unit - 1) / unit * unit;
  }

  std::shared_ptr<NodePools> pools_;
};

// A hash map whose nodes come from pools of its own.
template <class Key, class Value, class Hash = std::hash<Key>, class Equal = std::equal_to<Key>>
using PooledHashMap = std::unordered_map<Key, Value, Hash, Equal, PoolAllocator<std::pair<const Key, Value>>>;

}  // namespace modeltools
