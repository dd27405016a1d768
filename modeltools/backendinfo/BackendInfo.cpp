#include "BackendInfo.hpp"

#include <array>
#include <utility>

namespace modeltools::backendinfo {
namespace {

template <class Info>
std::shared_ptr<BackendInfo> make(uint8_t backend, uint32_t socId) {
  return std::make_shared<Info>(backend, socId);
}

struct BackendEntry {
  const char* name;
  uint8_t backend;
  std::shared_ptr<BackendInfo> (*create)(uint8_t, uint32_t);
};

// Names are compared in this order; the first equal one wins.
constexpr std::array<BackendEntry, 7> kBackends = {{
    {"CPU", backendbyte::kCPU, make<CPUBackendInfo>},
    {"GPU", backendbyte::kGPU, make<GPUBackendInfo>},
    {"DSP", backendbyte::kDSP, make<DSPBackendInfo>},
    {"NXA", backendbyte::kNXA, make<NXABackendInfo>},
    {"NXB", backendbyte::kNXB, make<NXBBackendInfo>},
    {"NXD", backendbyte::kNXD, make<NXDBackendInfo>},
    {"NXC", backendbyte::kNXC, make<NXCBackendInfo>},
}};

// Chip lookup is not wired in yet: every chip is unknown (0). Only a non-empty name may ever
// reach the chip table, so an empty one never pays for building it.
uint32_t socIdForName(const std::string& /*socName*/) { return 0; }

}  // namespace

std::shared_ptr<BackendInfo> createBackendInfo(std::string backendName, std::string socName) {
  const uint32_t socId = socIdForName(socName);
  for (const auto& entry : kBackends) {
    if (backendName == entry.name) return entry.create(entry.backend, socId);
  }
  return nullptr;
}

}  // namespace modeltools::backendinfo
