#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>

#include "VrxGraphTransformer.h"

namespace vrx::core::graphtransformer {

struct Logger {
  VrxLogCallback callback = nullptr;
  std::atomic<uint32_t> maxLevel{0};
  uint64_t baseTimestamp = 0;
};

// The logger registered under the handle, or an empty reference.
std::shared_ptr<Logger> getLogger(Vrx_LogHandle_t loggerHandle);

void registerLogger(Vrx_LogHandle_t loggerHandle, VrxLogCallback callback, uint32_t maxLevel);
void unregisterLogger(Vrx_LogHandle_t loggerHandle);

// Hands one line to the logger's callback if the level is within its maximum.
void log(const std::shared_ptr<Logger>& logger, uint32_t level, const char* file, int line, const char* format, ...)
    __attribute__((format(printf, 5, 6)));

void vlog(const std::shared_ptr<Logger>& logger, uint32_t level, const char* format, va_list args);

// Looks the logger up and logs through it; silent when no logger is registered.
void logTo(Vrx_LogHandle_t loggerHandle, uint32_t level, const char* format, ...) __attribute__((format(printf, 3, 4)));
void vlogTo(Vrx_LogHandle_t loggerHandle, uint32_t level, const char* format, va_list args);

}  // namespace vrx::core::graphtransformer
