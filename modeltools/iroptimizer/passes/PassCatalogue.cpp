#include "PassCatalogue.hpp"

#include <type_traits>
#include <vector>

#include "modeltools/iroptimizer/PassIds.hpp"
#include "modeltools/iroptimizer/RuleEngine.hpp"
#include "modeltools/iroptimizer/passes/IdentityRemoval.hpp"
#include "modeltools/iroptimizer/passes/TransposeCleanup.hpp"

namespace modeltools::iroptimizer {
namespace {

// The object of a row's classes: a pass class stands alone; rule classes sweep the graph in
// the row's order inside one SequenceTransformPass.
template <class First, class... Rest>
std::shared_ptr<Pass> makePass() {
  if constexpr (sizeof...(Rest) == 0 && std::is_base_of_v<Pass, First>) {
    return std::make_shared<First>();
  } else {
    static_assert(
        (std::is_base_of_v<MatchAndRewriteRule, First> && ... && std::is_base_of_v<MatchAndRewriteRule, Rest>),
        "a row of PassTable.def names one pass class or one or more rule classes");
    return std::make_shared<SequenceTransformPass>(
        std::vector<RulePtr>{std::make_shared<First>(), std::make_shared<Rest>()...});
  }
}

}  // namespace

std::shared_ptr<Pass> createPass(uint32_t id) {
  switch (id) {
#define VRX_PASS(id, name, schedule, file, ...) \
  case id:                                      \
    return makePass<__VA_ARGS__>();
#include "modeltools/iroptimizer/PassTable.def"
#undef VRX_PASS
    default:
      return nullptr;
  }
}

PassRegistry& passRegistry() {
  static PassRegistry registry = [] {
    PassRegistry filled(&createPass);
    filled.registerEveryPass();
    return filled;
  }();
  return registry;
}

}  // namespace modeltools::iroptimizer
