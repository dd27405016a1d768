#include "JsonInput.hpp"

#include <cctype>

namespace vrx::tools {

Location Location::operator/(std::string_view part) const {
  return Location(file_, path_.empty() ? std::string(part) : path_ + ": " + std::string(part));
}

// Appending instead of `"\"" + std::string(...)` sidesteps a false -Wrestrict of g++ 12.
Location Location::field(std::string_view key) const { return *this / std::string("\"").append(key).append("\""); }

Location Location::item(size_t index) const {
  return Location(file_, path_ + "[" + std::to_string(index) + "]");
}

void Location::fail(std::string_view problem) const { throw GraphFileError(text() + ": " + std::string(problem)); }

std::string jsonKindName(const rapidjson::Value& value) {
  switch (value.GetType()) {
    case rapidjson::kNullType: return "null";
    case rapidjson::kFalseType:
    case rapidjson::kTrueType: return "a boolean";
    case rapidjson::kObjectType: return "an object";
    case rapidjson::kArrayType: return "an array";
    case rapidjson::kStringType: return "a string";
    case rapidjson::kNumberType: return value.IsDouble() ? "a fractional number" : "an integer";
  }
  return "an unknown value";
}

std::string readString(const rapidjson::Value& value, const Location& where) {
  if (!value.IsString()) where.fail("expected a string, found " + jsonKindName(value));
  return std::string(value.GetString(), value.GetStringLength());
}

const rapidjson::Value::ConstArray readArray(const rapidjson::Value& value, const Location& where) {
  if (!value.IsArray()) where.fail("expected an array, found " + jsonKindName(value));
  return value.GetArray();
}

std::vector<uint8_t> readHex(const rapidjson::Value& value, const Location& where) {
  const std::string text = readString(value, where);
  std::vector<uint8_t> bytes;
  int pending = -1;
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c))) continue;
    if (!std::isxdigit(static_cast<unsigned char>(c))) {
      where.fail(std::string("'") + c + "' is not a hex digit");
    }
    const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::tolower(c) - 'a' + 10;
    if (pending < 0) {
      pending = digit;
    } else {
      bytes.push_back(static_cast<uint8_t>(pending * 16 + digit));
      pending = -1;
    }
  }
  if (pending >= 0) where.fail("hex text has an odd number of digits");
  return bytes;
}

ObjectReader::ObjectReader(const rapidjson::Value& value, Location where) : value_(value), where_(std::move(where)) {
  if (!value_.IsObject()) where_.fail("expected an object, found " + jsonKindName(value_));
}

bool ObjectReader::has(const char* key) const { return value_.HasMember(key); }

const rapidjson::Value* ObjectReader::find(const char* key) const {
  const auto it = value_.FindMember(key);
  if (it == value_.MemberEnd()) return nullptr;
  read_.insert(key);
  return &it->value;
}

const rapidjson::Value& ObjectReader::require(const char* key) const {
  const auto* value = find(key);
  if (value == nullptr) where_.fail("missing field \"" + std::string(key) + "\"");
  return *value;
}

bool ObjectReader::isNullOrAbsent(const char* key) const {
  const auto* value = find(key);
  return value == nullptr || value->IsNull();
}

const char* ObjectReader::firstUnreadField() const {
  for (const auto& member : value_.GetObject()) {
    const std::string_view key(member.name.GetString(), member.name.GetStringLength());
    if (key != "comment" && !read_.contains(key)) return member.name.GetString();
  }
  return nullptr;
}

bool ObjectReader::hasUnreadFields() const { return firstUnreadField() != nullptr; }

void ObjectReader::finish() const {
  if (const char* key = firstUnreadField()) where_.fail("unknown field \"" + std::string(key) + "\"");
}

}  // namespace vrx::tools
