#include "Permutations.hpp"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace modeltools {

Permutation identityPermutation(uint32_t rank) {
  Permutation perm(rank);
  for (uint32_t i = 0; i < rank; ++i) perm[i] = i;
  return perm;
}

bool isIdentityPermutation(const Permutation& perm) {
  return perm == identityPermutation(static_cast<uint32_t>(perm.size()));
}

Permutation getInversePermutation(const Permutation& perm) {
  Permutation inverse(perm.size());
  for (size_t i = 0; i < perm.size(); ++i) {
    if (perm[i] >= perm.size()) {
      std::ostringstream message;
      message << "getInversePermutation: Invalid permutation value " << perm[i] << " at index " << i
              << " for permutation of size " << perm.size();
      throw std::runtime_error(message.str());
    }
    inverse[perm[i]] = static_cast<uint32_t>(i);
  }
  return inverse;
}

Permutation composePermToSource(const Permutation& originalToSource, const Permutation& perm) {
  const auto inverse = getInversePermutation(perm);
  if (originalToSource.empty()) return inverse;
  Permutation composed;
  for (uint32_t axis : originalToSource) composed.push_back(axis < inverse.size() ? inverse[axis] : axis);
  return composed;
}

Permutation channelLastToFirstPerm(uint32_t rank) {
  if (rank == 0) return {};
  Permutation perm = {0};
  if (rank >= 2) perm.push_back(rank - 1);
  for (uint32_t i = 1; i + 1 < rank; ++i) perm.push_back(i);
  return perm;
}

Permutation channelFirstToLastPerm(uint32_t rank) {
  if (rank == 0) return {};
  Permutation perm = {0};
  for (uint32_t i = 2; i < rank; ++i) perm.push_back(i);
  if (rank >= 2) perm.push_back(1);
  return perm;
}

Permutation swapWithLastPerm(uint32_t rank, uint32_t axis) {
  Permutation perm = identityPermutation(rank);
  if (rank > 0 && axis < rank) std::swap(perm[axis], perm[rank - 1]);
  return perm;
}

std::string permToString(const Permutation& perm) {
  std::ostringstream text;
  for (uint32_t v : perm) text << v;
  return text.str();
}

const std::vector<LayoutChange>& layoutChanges() {
  using enum AxisFormat;
  static const std::vector<LayoutChange> changes = {
      {NDHWC, {0, 4, 1, 2, 3}, NCDHW}, {NCDHW, {0, 2, 3, 4, 1}, NDHWC}, {NHWC, {0, 3, 1, 2}, NCHW},
      {NCHW, {0, 2, 3, 1}, NHWC},      {NFC, {0, 2, 1}, NCF},           {NCF, {0, 2, 1}, NFC},
      {NTF, {1, 0, 2}, TNF},           {TNF, {1, 0, 2}, NTF},           {OIDHW, {2, 3, 4, 1, 0}, DHWIO},
      {IODHW, {2, 3, 4, 0, 1}, DHWIO}, {DHWIO, {3, 4, 0, 1, 2}, IODHW}, {DHWIO, {4, 3, 0, 1, 2}, OIDHW},
      {OIHW, {2, 3, 1, 0}, HWIO},      {IOHW, {2, 3, 0, 1}, HWIO},      {HWIO, {2, 3, 0, 1}, IOHW},
      {HWIO, {3, 2, 0, 1}, OIHW}};
  return changes;
}

std::optional<AxisFormat> layoutAfter(AxisFormat from, const Permutation& perm) {
  for (const auto& change : layoutChanges()) {
    if (change.from == from && change.perm == perm) return change.to;
  }
  return std::nullopt;
}

std::optional<Permutation> permutationBetween(AxisFormat from, AxisFormat to) {
  for (const auto& change : layoutChanges()) {
    if (change.from == from && change.to == to) return change.perm;
  }
  return std::nullopt;
}

}  // namespace modeltools
