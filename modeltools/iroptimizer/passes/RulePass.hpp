#pragma once

#include <memory>
#include <vector>

#include "modeltools/iroptimizer/RuleEngine.hpp"

namespace modeltools::iroptimizer {

// A `SequenceTransformPass` around one fresh object of each rule class, in the order given:
// the form of every rule pass in the factory.
template <class... Rules>
std::shared_ptr<Pass> makeRulePass() {
  return std::make_shared<SequenceTransformPass>(std::vector<RulePtr>{std::make_shared<Rules>()...});
}

}  // namespace modeltools::iroptimizer
