// Pooled node storage: nodes made one after another sit side by side, and freed slots are
// used again.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "modeltools/ir/NodePool.hpp"

namespace modeltools {
namespace {

TEST(NodePoolTest, SlotsComeSideBySideAndFreedOnesAreUsedAgain) {
  NodePool pool(40);
  EXPECT_EQ(pool.slotSize(), 40u);
  auto* first = static_cast<std::byte*>(pool.allocate());
  auto* second = static_cast<std::byte*>(pool.allocate());
  EXPECT_EQ(second, first + 40);
  pool.deallocate(first);
  EXPECT_EQ(pool.allocate(), first);
  // Far more slots than the first block holds: every one is distinct and writable.
  std::vector<void*> slots;
  for (int i = 0; i < 10000; ++i) {
    slots.push_back(pool.allocate());
    *static_cast<uint64_t*>(slots.back()) = static_cast<uint64_t>(i);
  }
  for (int i = 0; i < 10000; ++i) EXPECT_EQ(*static_cast<uint64_t*>(slots[i]), static_cast<uint64_t>(i));
}

}  // namespace
}  // namespace modeltools
