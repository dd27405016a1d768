#pragma once

// Reading a parsed graph file: typed access to JSON values with messages that say where
// in the file a bad value stands.

#include <rapidjson/document.h>

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "GraphFile.hpp"

namespace vrx::tools {

// A place in a graph file, such as "net.json: tensor 'w': \"dims\"[2]".
class Location {
 public:
  Location(std::string file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}

  // A place inside this one: "tensor 'w'" / "quantization" gives "tensor 'w': quantization".
  Location operator/(std::string_view part) const;
  Location field(std::string_view key) const;
  Location item(size_t index) const;

  const std::string& file() const { return file_; }
  std::string text() const { return path_.empty() ? file_ : file_ + ": " + path_; }
  [[noreturn]] void fail(std::string_view problem) const;

 private:
  std::string file_;
  std::string path_;
};

// "a string", "an array", ...: what a person calls the kind of a JSON value.
std::string jsonKindName(const rapidjson::Value& value);

std::string readString(const rapidjson::Value& value, const Location& where);
const rapidjson::Value::ConstArray readArray(const rapidjson::Value& value, const Location& where);
// Hex digits, two per byte; spaces between them are allowed.
std::vector<uint8_t> readHex(const rapidjson::Value& value, const Location& where);

// A JSON number as T: integers must be integral and in range, floats take any number.
template <class T>
T readNumber(const rapidjson::Value& value, const Location& where) {
  if constexpr (std::is_floating_point_v<T> || std::is_same_v<T, _Float16>) {
    if (!value.IsNumber()) where.fail("expected a number, found " + jsonKindName(value));
    // Through float, so that a half value written as its shortest float text reads back exactly.
    return static_cast<T>(static_cast<float>(value.GetDouble()));
  } else {
    if (!value.IsInt64() && !value.IsUint64()) {
      where.fail("expected an integer, found " + jsonKindName(value));
    }
    using Limits = std::numeric_limits<T>;
    const bool fits = value.IsUint64() ? value.GetUint64() <= static_cast<uint64_t>(Limits::max())
                                       : value.GetInt64() >= static_cast<int64_t>(Limits::min());
    if (!fits) {
      const std::string text = value.IsUint64() ? std::to_string(value.GetUint64()) : std::to_string(value.GetInt64());
      where.fail("value " + text + " is outside " + std::to_string(+Limits::min()) + " to " +
                 std::to_string(+Limits::max()));
    }
    return value.IsUint64() ? static_cast<T>(value.GetUint64()) : static_cast<T>(value.GetInt64());
  }
}

// A double is read at full width, not through float.
template <>
inline double readNumber<double>(const rapidjson::Value& value, const Location& where) {
  if (!value.IsNumber()) where.fail("expected a number, found " + jsonKindName(value));
  return value.GetDouble();
}

// One JSON object of the file. Every key must be read before `finish`, so a misspelt key
// is reported instead of silently ignored.
class ObjectReader {
 public:
  ObjectReader(const rapidjson::Value& value, Location where);

  const Location& where() const { return where_; }
  Location at(const char* key) const { return where_.field(key); }

  bool has(const char* key) const;
  // The value of the key, or null when it is absent; the key counts as read.
  const rapidjson::Value* find(const char* key) const;
  const rapidjson::Value& require(const char* key) const;
  // Absent or JSON null.
  bool isNullOrAbsent(const char* key) const;

  std::string string(const char* key) const { return readString(require(key), at(key)); }
  template <class T>
  T number(const char* key) const {
    return readNumber<T>(require(key), at(key));
  }
  template <class T>
  T number(const char* key, T fallback) const {
    const auto* value = find(key);
    return value != nullptr ? readNumber<T>(*value, at(key)) : fallback;
  }
  ObjectReader object(const char* key) const { return ObjectReader(require(key), at(key)); }

  // True if a key other than "comment" hasn't been read yet.
  bool hasUnreadFields() const;
  // Fails on the first key that nobody read. "comment" is always allowed.
  void finish() const;

 private:
  const char* firstUnreadField() const;

  const rapidjson::Value& value_;
  Location where_;
  mutable std::set<std::string, std::less<>> read_;
};

}  // namespace vrx::tools
