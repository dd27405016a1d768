#pragma once

// Writing a graph file: objects are indented one member a line, arrays of plain values stand
// on one line, and every number is written so that reading it back gives the same bits.

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

namespace vrx::tools {

using JsonBuffer = rapidjson::StringBuffer;
using PrettyJson = rapidjson::PrettyWriter<JsonBuffer>;
using CompactJson = rapidjson::Writer<JsonBuffer>;

// The shortest text that reads back as the same float ("0.1", not "0.10000000149011612").
// NaN and the infinities are "NaN", "Infinity" and "-Infinity", which the reader accepts.
std::string shortestFloatText(float value);
std::string shortestDoubleText(double value);

template <class Writer>
void writeNumberText(Writer& writer, const std::string& text) {
  writer.RawValue(text.c_str(), text.size(), rapidjson::kNumberType);
}

template <class Writer, class T>
void writeNumber(Writer& writer, T value) {
  if constexpr (std::is_same_v<T, float> || std::is_same_v<T, _Float16>) {
    writeNumberText(writer, shortestFloatText(static_cast<float>(value)));
  } else if constexpr (std::is_same_v<T, double>) {
    writeNumberText(writer, shortestDoubleText(value));
  } else if constexpr (std::is_signed_v<T>) {
    writer.Int64(value);
  } else {
    writer.Uint64(value);
  }
}

// A value on one line: `writeValue(compactWriter)` writes one array or object.
template <class WriteValue>
void writeInline(PrettyJson& out, rapidjson::Type type, WriteValue&& writeValue) {
  JsonBuffer buffer;
  CompactJson line(buffer);
  writeValue(line);
  out.RawValue(buffer.GetString(), buffer.GetSize(), type);
}

// An array of plain values on one line: `writeItems(compactWriter)` writes the items.
template <class WriteItems>
void writeInlineArray(PrettyJson& out, WriteItems&& writeItems) {
  writeInline(out, rapidjson::kArrayType, [&](CompactJson& line) {
    line.StartArray();
    writeItems(line);
    line.EndArray();
  });
}

template <class T>
void writeNumberArray(PrettyJson& out, const T* values, size_t count) {
  writeInlineArray(out, [&](CompactJson& line) {
    for (size_t i = 0; i < count; ++i) writeNumber(line, values[i]);
  });
}

template <class Writer>
void writeKey(Writer& out, const char* key) {
  out.Key(key, static_cast<rapidjson::SizeType>(std::strlen(key)));
}

template <class Writer>
void writeString(Writer& out, const char* key, const std::string& value) {
  writeKey(out, key);
  out.String(value.c_str(), static_cast<rapidjson::SizeType>(value.size()));
}

template <class Writer, class T>
void writeField(Writer& out, const char* key, T value) {
  writeKey(out, key);
  writeNumber(out, value);
}

std::string hexText(const uint8_t* bytes, size_t size);

}  // namespace vrx::tools
