#include "JsonFile.hpp"

#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>

#include <cstdio>
#include <memory>

namespace modeltools {

bool writePrettyJson(const rapidjson::Document& document, const std::string& path) {
  constexpr size_t kBufferSize = 65536;
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  auto buffer = std::make_unique<char[]>(kBufferSize);
  rapidjson::FileWriteStream stream(file, buffer.get(), kBufferSize);
  rapidjson::PrettyWriter<rapidjson::FileWriteStream> writer(stream);
  writer.SetIndent(' ', 4);
  document.Accept(writer);
  stream.Flush();
  std::fclose(file);
  return true;
}

}  // namespace modeltools
