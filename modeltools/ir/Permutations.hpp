#pragma once

// Permutation arithmetic, and the table of layout changes that a permutation makes: the one
// place where the IR, the op classes and the rewrites look up how axes move.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "IrTensorShape.hpp"

namespace modeltools {

using Permutation = std::vector<uint32_t>;

Permutation identityPermutation(uint32_t rank);
bool isIdentityPermutation(const Permutation& perm);
// result[perm[i]] = i. A value at or beyond the length throws "Invalid permutation value ...".
Permutation getInversePermutation(const Permutation& perm);
// The permutation from a tensor transposed by `perm` to the source order, given the original
// tensor's own (empty counts as the identity).
Permutation composePermToSource(const Permutation& originalToSource, const Permutation& perm);
// {0, n-1, 1, 2, ..., n-2}: channel-last to channel-first; below rank 3 the tail stays.
Permutation channelLastToFirstPerm(uint32_t rank);
// {0, 2, 3, ..., n-1, 1}: channel-first to channel-last.
Permutation channelFirstToLastPerm(uint32_t rank);
// The identity of length n with entries `axis` and n-1 exchanged.
Permutation swapWithLastPerm(uint32_t rank, uint32_t axis);
// The decimal digits of all elements joined without separator ("0312").
std::string permToString(const Permutation& perm);

// A transpose by `perm` of a tensor in layout `from` gives layout `to`.
struct LayoutChange {
  AxisFormat from;
  Permutation perm;
  AxisFormat to;
};
// Data layouts (channel first and last, time and batch major) and weight layouts.
const std::vector<LayoutChange>& layoutChanges();
// The layout after transposing `from` by `perm`, if the table knows it.
std::optional<AxisFormat> layoutAfter(AxisFormat from, const Permutation& perm);
// The permutation that takes layout `from` to layout `to`, if the table knows one.
std::optional<Permutation> permutationBetween(AxisFormat from, AxisFormat to);

}  // namespace modeltools
