#include "JsonOutput.hpp"

#include <cstring>

namespace vrx::tools {

namespace {

template <class T>
std::string shortestText(T value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  // The reader takes "-0" for the integer 0; a fraction keeps the sign of a negative zero.
  if (value == 0 && std::signbit(value)) return "-0.0";
  char text[40];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

}  // namespace

std::string shortestFloatText(float value) { return shortestText(value); }

std::string shortestDoubleText(double value) { return shortestText(value); }

std::string hexText(const uint8_t* bytes, size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(size * 2);
  for (size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace vrx::tools
