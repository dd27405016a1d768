#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_set>

namespace modeltools {

// Generates op names for rewrites: a counter per op type, and the set of names handed out.
class ConversionNamePolicy {
 public:
  std::string generateUniqueName(const std::string& namePrefixStr, const std::string& opType);
  std::string getOpName(const std::string& opType, const std::string& requestedName, bool leadingUnderscore,
                        const std::string& prefix, const std::string& suffixA, const std::string& suffixB);

 private:
  std::map<std::string, uint32_t> typeCounters_;
  std::unordered_set<std::string> usedNames_;
};

}  // namespace modeltools
