#include "ConversionNamePolicy.hpp"

#include <stdexcept>

namespace modeltools {

std::string ConversionNamePolicy::generateUniqueName(const std::string& namePrefixStr, const std::string& opType) {
  if (namePrefixStr.empty() || opType.empty()) {
    throw std::invalid_argument("namePrefixStr and opType must not be empty");
  }
  uint32_t& counter = typeCounters_[opType];
  uint32_t attempts = 0;
  std::string candidate = namePrefixStr + "_" + std::to_string(counter);
  while (usedNames_.contains(candidate)) {
    ++attempts;
    ++counter;
    candidate = namePrefixStr + "_" + std::to_string(counter);
  }
  if (attempts >= 10000) throw std::runtime_error("Failed to generate unique name after 10000 attempts");
  usedNames_.insert(candidate);
  return candidate;
}

std::string ConversionNamePolicy::getOpName(const std::string& opType, const std::string& requestedName,
                                            bool leadingUnderscore, const std::string& prefix,
                                            const std::string& suffixA, const std::string& suffixB) {
  std::string base = requestedName.empty() ? opType : requestedName;
  if (leadingUnderscore) base = "_" + base;
  if (!prefix.empty()) return generateUniqueName(prefix + "_" + base, opType);
  std::string name;
  if (!suffixA.empty() && suffixA != "/") {
    name = base + "_" + suffixA;
  } else if (suffixA.empty() && suffixB.empty()) {
    return generateUniqueName(base, opType);
  } else {
    name = suffixB.empty() ? base : base + "_" + suffixB;
  }
  usedNames_.insert(name);
  return name;
}

}  // namespace modeltools
