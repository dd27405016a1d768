// Pooled node storage: maps on pools keep what they hold through growth and erasure, nodes
// made one after another sit side by side, and freed slots are used again.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "modeltools/ir/NodePool.hpp"

namespace modeltools {
namespace {

TEST(NodePoolTest, APooledMapKeepsWhatItHoldsThroughGrowthAndErasure) {
  PooledHashMap<std::string, int> map;
  for (int i = 0; i < 20000; ++i) map.emplace("tensor" + std::to_string(i), i);
  for (int i = 0; i < 20000; i += 2) map.erase("tensor" + std::to_string(i));
  for (int i = 20000; i < 25000; ++i) map.emplace("tensor" + std::to_string(i), i);
  ASSERT_EQ(map.size(), 15000u);
  for (int i = 1; i < 20000; i += 2) EXPECT_EQ(map.at("tensor" + std::to_string(i)), i);
  for (int i = 20000; i < 25000; ++i) EXPECT_EQ(map.at("tensor" + std::to_string(i)), i);
  EXPECT_FALSE(map.contains("tensor0"));

  // A copy shares the original's pools: each stays usable when the other goes.
  auto copy = std::make_unique<PooledHashMap<std::string, int>>(map);
  map.clear();
  map.emplace("after", 1);
  EXPECT_EQ(copy->at("tensor1"), 1);
  copy.reset();
  EXPECT_EQ(map.at("after"), 1);
}

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
