#include "LogCapture.hpp"

#include <cstdio>
#include <atomic>

namespace vrx::test {
namespace {

// The callback has no user pointer: every capture alive on the thread hears every line.
std::atomic<Vrx_LogHandle_t> g_nextHandle{0x10000};
thread_local std::vector<LogCapture*> t_active;

}  // namespace

LogCapture::LogCapture(uint32_t maxLevel) : handle_(g_nextHandle++) {
  t_active.push_back(this);
  VrxGraphTransformer_registerLogger(handle_, &LogCapture::receive, maxLevel);
}

LogCapture::~LogCapture() {
  VrxGraphTransformer_unregisterLogger(handle_);
  std::erase(t_active, this);
}

void LogCapture::receive(const char* format, uint32_t level, uint64_t timestamp, va_list args) {
  char text[1024];
  std::vsnprintf(text, sizeof text, format, args);
  for (LogCapture* capture : t_active) capture->lines_.push_back({level, timestamp, text});
}

bool LogCapture::contains(uint32_t level, const std::string& text) const {
  for (const auto& line : lines_) {
    if (line.level == level && line.text.find(text) != std::string::npos) return true;
  }
  return false;
}

std::string LogCapture::dump() const {
  std::string all;
  for (const auto& line : lines_) all += "[" + std::to_string(line.level) + "] " + line.text + "\n";
  return all;
}

}  // namespace vrx::test
