#pragma once

// Registers a logger for the lifetime of the object and keeps every line it receives.

#include <string>
#include <vector>

#include "VrxGraphTransformer.h"

namespace vrx::test {

class LogCapture {
 public:
  struct Line {
    uint32_t level;
    uint64_t timestamp;
    std::string text;
  };

  explicit LogCapture(uint32_t maxLevel = 5);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  Vrx_LogHandle_t handle() const { return handle_; }
  const std::vector<Line>& lines() const { return lines_; }
  // True if a line of this level holds the text.
  bool contains(uint32_t level, const std::string& text) const;
  // Every line, one per row, for failure messages.
  std::string dump() const;

 private:
  static void receive(const char* format, uint32_t level, uint64_t timestamp, va_list args);

  Vrx_LogHandle_t handle_;
  std::vector<Line> lines_;
};

}  // namespace vrx::test
