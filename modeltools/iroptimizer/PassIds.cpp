#include "PassIds.hpp"

#include <sstream>
#include <stdexcept>
#include <unordered_map>

namespace modeltools::iroptimizer {

const std::vector<std::string>& passNamesInIdOrder() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> list;
    for (const auto& row : kPassTable) list.emplace_back(row.name);
    return list;
  }();
  return names;
}

uint32_t getPassIdFromPassName(const std::string& name) {
  static const std::unordered_map<std::string_view, uint32_t> ids = [] {
    std::unordered_map<std::string_view, uint32_t> map;
    for (const auto& row : kPassTable) map.emplace(row.name, row.id);
    return map;
  }();
  auto it = ids.find(name);
  if (it == ids.end()) {
    std::ostringstream message;
    message << "modeltools::iroptimizer::getPassIdFromPassName: "
            << " Invalid pass, No pass registered with the name: " << name;
    throw std::runtime_error(message.str());
  }
  return it->second;
}

std::string getPassNameFromPassId(uint32_t id) {
  if (id >= kNumPasses) {
    std::ostringstream message;
    message << "modeltools::iroptimizer::getPassNameFromPassId: " << " Invalid pass Id " << id;
    throw std::runtime_error(message.str());
  }
  return std::string(kPassTable[id].name);
}

}  // namespace modeltools::iroptimizer
