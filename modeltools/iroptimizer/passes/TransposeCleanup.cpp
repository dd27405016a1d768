#include "TransposeCleanup.hpp"

#include <algorithm>
#include <optional>

#include "modeltools/ir/Permutations.hpp"
#include "modeltools/iroptimizer/ConstantReads.hpp"
#include "modeltools/iroptimizer/GraphEdits.hpp"

namespace modeltools::iroptimizer {
namespace {

// Axis a of the transposed data is axis perm[a] of the data; `inverse` gives that as the
// position of a in it. Empty when an axis is out of range (negative axes read as large values).
std::optional<std::vector<uint32_t>> axesBeforeTranspose(const std::vector<uint32_t>& axes,
                                                         const std::vector<uint32_t>& inverse) {
  std::vector<uint32_t> renumbered;
  for (uint32_t axis : axes) {
    const auto at = std::find(inverse.begin(), inverse.end(), axis);
    if (at == inverse.end()) return std::nullopt;
    renumbered.push_back(static_cast<uint32_t>(at - inverse.begin()));
  }
  return renumbered;
}

}  // namespace

removeInverseTransposePair::removeInverseTransposePair()
    : before(op("Transpose", isWildcard())), reduce(op("Reduce", before)) {
  pattern = op("Transpose", reduce);
  rejectEscapingMatches = true;
}

bool removeInverseTransposePair::rewriteCallback(IrGraph& graph, const CaptureMap& captures) {
  const OpPtr a = captures.at(before), d = captures.at(reduce), b = captures.at(pattern);
  const auto p = listAttribute(*a, "perm"), q = listAttribute(*b, "perm");
  if (p.empty() || getInversePermutation(p) != q || !d->attrs()->hasAttr("axes")) return false;
  const auto axes = axesBeforeTranspose(listAttribute(*d, "axes"), q);
  // Everything is checked before the graph changes: both squashes must be possible.
  const auto aIn = a->getInput(0)->name(), bIn = b->getInput(0)->name();
  if (!axes || graph.squashRefusal(a, aIn, true) || graph.squashRefusal(b, bIn, false)) return false;
  graph.squash(a, aIn, true, true);
  graph.squash(b, bIn, false, true);
  setListAttribute(d, "axes", *axes);
  return true;
}

}  // namespace modeltools::iroptimizer
