#pragma once

#include <rapidjson/document.h>

#include <string>

namespace modeltools {

// Writes the document pretty printed (indent of 4 blanks) through a 64 KiB file buffer.
// False when the file can't be opened; nothing is written then.
bool writePrettyJson(const rapidjson::Document& document, const std::string& path);

}  // namespace modeltools
