#pragma once

// The hash map for lookups by name (and by address) on the hot paths. A large graph is looked
// up hundreds of thousands of times in maps that no longer fit the caches; open addressing
// keeps a lookup to the metadata and the slot itself, where a node-based map also visits the
// bucket array, the node before and the node. String keys can be looked up with string views.

#include <absl/container/flat_hash_map.h>

namespace modeltools {

template <class Key, class Value>
using FlatHashMap = absl::flat_hash_map<Key, Value>;

}  // namespace modeltools
