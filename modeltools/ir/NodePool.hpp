#pragma once

// Pooled storage for the nodes of a node-based structure (the op order's tree). A large graph
// has hundreds of thousands of such nodes; from the heap each would land wherever there is
// room, between the objects made at the same time. From a pool, nodes made one after another
// sit side by side in a few large blocks: walks in the order of creation touch few cache lines
// and pages, and dropping the structure returns a handful of blocks to the heap instead of one
// chunk per node.

#include <cstddef>
#include <memory>
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

}  // namespace modeltools
