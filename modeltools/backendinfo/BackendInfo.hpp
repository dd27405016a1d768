#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace modeltools::backendinfo {

// What the optimizer knows of its target: the backend byte (the pipeline key, 0 to 6) and
// the chip's row id (0 when no chip is known).
class BackendInfo {
 public:
  BackendInfo(uint8_t backend, uint32_t socId) : backend_(backend), socId_(socId) {}
  virtual ~BackendInfo() = default;
  virtual bool isSupported() const = 0;

  uint8_t backend() const { return backend_; }
  uint32_t socId() const { return socId_; }

 private:
  uint8_t backend_;
  uint32_t socId_;
};

namespace backendbyte {
constexpr uint8_t kCPU = 0;
constexpr uint8_t kDSP = 1;
constexpr uint8_t kGPU = 2;
constexpr uint8_t kNXA = 3;
constexpr uint8_t kNXB = 4;
constexpr uint8_t kNXD = 5;
constexpr uint8_t kNXC = 6;
}  // namespace backendbyte

// The backends differ only in their byte; the classes give each a name of its own.
class SupportedBackendInfo : public BackendInfo {
 public:
  using BackendInfo::BackendInfo;
  bool isSupported() const override { return true; }
};

class CPUBackendInfo final : public SupportedBackendInfo {
 public:
  using SupportedBackendInfo::SupportedBackendInfo;
};
class DSPBackendInfo final : public SupportedBackendInfo {
 public:
  using SupportedBackendInfo::SupportedBackendInfo;
};
class GPUBackendInfo final : public SupportedBackendInfo {
 public:
  using SupportedBackendInfo::SupportedBackendInfo;
};
class NXABackendInfo final : public SupportedBackendInfo {
 public:
  using SupportedBackendInfo::SupportedBackendInfo;
};
class NXBBackendInfo final : public SupportedBackendInfo {
 public:
  using SupportedBackendInfo::SupportedBackendInfo;
};
class NXDBackendInfo final : public SupportedBackendInfo {
 public:
  using SupportedBackendInfo::SupportedBackendInfo;
};
class NXCBackendInfo final : public SupportedBackendInfo {
 public:
  using SupportedBackendInfo::SupportedBackendInfo;
};

// The info of a backend by its exact name ("CPU", "DSP", "GPU", "NXA", "NXB", "NXD", "NXC");
// any other name gives an empty pointer. An empty chip name leaves the chip table untouched.
std::shared_ptr<BackendInfo> createBackendInfo(std::string backendName, std::string socName);

}  // namespace modeltools::backendinfo
