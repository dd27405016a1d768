#include "TransformManager.hpp"

#include <sstream>

namespace modeltools {

std::string BaseTransform::describe(const char* type, const char* attribute) const {
  std::ostringstream text;
  text << "{\n\"type\": \"" << type << "\",\n\"tensor_attributes\": [\n{\n\"" << attribute
       << "\": {\n\"dtype\": \"uint32\",\n\"dims\": [" << values.size() << "],\n\"data\": [";
  for (size_t i = 0; i < values.size(); ++i) text << (i ? ", " : "") << values[i];
  text << "]\n}\n}\n]\n}";
  return text.str();
}

}  // namespace modeltools
