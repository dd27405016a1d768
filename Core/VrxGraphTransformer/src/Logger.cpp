#include "Logger.hpp"

#include <chrono>
#include <cstdarg>
#include <mutex>
#include <string>
#include <unordered_map>

namespace vrx::core::graphtransformer {
namespace {

struct LoggerRegistry {
  std::mutex mutex;
  std::unordered_map<Vrx_LogHandle_t, std::shared_ptr<Logger>> loggers;
};

LoggerRegistry& registry() {
  static LoggerRegistry instance;
  return instance;
}

// Monotonic ticks in microseconds; time stamps are ticks times 100, i.e. in 10 ns units.
uint64_t monotonicTicks() {
  auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

bool wantsLevel(const Logger& logger, uint32_t level) {
  return logger.callback != nullptr && level <= logger.maxLevel.load();
}

void deliver(Logger& logger, uint32_t level, const char* format, va_list args) {
  const std::string formatCopy(format);
  const uint64_t timestamp = monotonicTicks() * 100 - logger.baseTimestamp;
  logger.callback(formatCopy.c_str(), level, timestamp, args);
}

}  // namespace

std::shared_ptr<Logger> getLogger(Vrx_LogHandle_t loggerHandle) {
  auto& reg = registry();
  std::lock_guard lock(reg.mutex);
  auto it = reg.loggers.find(loggerHandle);
  return it == reg.loggers.end() ? nullptr : it->second;
}

void registerLogger(Vrx_LogHandle_t loggerHandle, VrxLogCallback callback, uint32_t maxLevel) {
  auto logger = std::make_shared<Logger>();
  logger->callback = callback;
  logger->maxLevel = maxLevel;
  logger->baseTimestamp = monotonicTicks() * 100;
  auto& reg = registry();
  std::lock_guard lock(reg.mutex);
  reg.loggers[loggerHandle] = std::move(logger);
}

void unregisterLogger(Vrx_LogHandle_t loggerHandle) {
  auto& reg = registry();
  std::lock_guard lock(reg.mutex);
  reg.loggers.erase(loggerHandle);
}

void log(const std::shared_ptr<Logger>& logger, uint32_t level, const char* /*file*/, int /*line*/,
         const char* format, ...) {
  if (!logger || !wantsLevel(*logger, level)) return;
  va_list args;
  va_start(args, format);
  deliver(*logger, level, format, args);
  va_end(args);
}

void vlog(const std::shared_ptr<Logger>& logger, uint32_t level, const char* format, va_list args) {
  if (logger && wantsLevel(*logger, level)) deliver(*logger, level, format, args);
}

void vlogTo(Vrx_LogHandle_t loggerHandle, uint32_t level, const char* format, va_list args) {
  vlog(getLogger(loggerHandle), level, format, args);
}

void logTo(Vrx_LogHandle_t loggerHandle, uint32_t level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  vlogTo(loggerHandle, level, format, args);
  va_end(args);
}

}  // namespace vrx::core::graphtransformer

extern "C" {

Vrx_Status_t VrxGraphTransformer_registerLogger(Vrx_LogHandle_t loggerHandle, VrxLogCallback callback,
                                                uint32_t maxLevel) {
  vrx::core::graphtransformer::registerLogger(loggerHandle, callback, maxLevel);
  return VRX_GT_SUCCESS;
}

Vrx_Status_t VrxGraphTransformer_unregisterLogger(Vrx_LogHandle_t loggerHandle) {
  vrx::core::graphtransformer::unregisterLogger(loggerHandle);
  return VRX_GT_SUCCESS;
}

}
