#pragma once

// The readable names of the backend records' enumerations.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vrx::tools {

struct EnumEntry {
  uint32_t value;
  const char* name;
};

// A vocabulary of named values. The first entry of a value gives the name that is written;
// later entries of the same value are aliases that are only read.
class EnumNames {
 public:
  EnumNames(const char* prefix, std::vector<EnumEntry> entries);

  std::optional<std::string> nameOf(uint32_t value) const;
  // Case, "_", "-" and spaces don't matter, and the prefix (e.g. "VRX_DATATYPE_") may be
  // left out: "float32", "FLOAT_32" and "VRX_DATATYPE_FLOAT_32" are one name.
  std::optional<uint32_t> parse(std::string_view text) const;
  // The written names, comma-separated, for messages.
  std::string listNames() const;

 private:
  std::string prefix_;
  std::vector<EnumEntry> entries_;
};

const EnumNames& dataTypeNames();
const EnumNames& tensorTypeNames();
const EnumNames& dataFormatNames();
const EnumNames& encodingNames();
const EnumNames& definitionNames();
const EnumNames& sparseLayoutNames();
const EnumNames& backendNames();

// The name of a value, or its number when it has none.
std::string nameOrNumber(const EnumNames& names, uint32_t value);

}  // namespace vrx::tools
