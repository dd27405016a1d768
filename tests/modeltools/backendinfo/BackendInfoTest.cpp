// Target information by backend name.

#include <gtest/gtest.h>

#include "modeltools/backendinfo/BackendInfo.hpp"

namespace modeltools::backendinfo {
namespace {

template <class Info>
void expectInfo(const std::string& name, uint8_t byte) {
  const auto info = createBackendInfo(name, "");
  ASSERT_NE(info, nullptr) << name;
  EXPECT_NE(std::dynamic_pointer_cast<Info>(info), nullptr) << name;
  EXPECT_EQ(info->backend(), byte) << name;
  EXPECT_EQ(info->socId(), 0u) << name;
  EXPECT_TRUE(info->isSupported()) << name;
}

TEST(BackendInfo, EachKnownNameGivesItsClassAndByte) {
  expectInfo<CPUBackendInfo>("CPU", 0);
  expectInfo<DSPBackendInfo>("DSP", 1);
  expectInfo<GPUBackendInfo>("GPU", 2);
  expectInfo<NXABackendInfo>("NXA", 3);
  expectInfo<NXBBackendInfo>("NXB", 4);
  expectInfo<NXDBackendInfo>("NXD", 5);
  expectInfo<NXCBackendInfo>("NXC", 6);
}

TEST(BackendInfo, OtherNamesGiveNothing) {
  for (const char* name : {"NXE", "UNKNOWN", "cpu", "Nxa", "", "CPU ", " GPU", "NXAB"}) {
    EXPECT_EQ(createBackendInfo(name, ""), nullptr) << '"' << name << '"';
  }
  EXPECT_EQ(createBackendInfo(std::string("CPU\0", 4), ""), nullptr);
}

TEST(BackendInfo, ChipNameNotInTableLeavesSocIdZero) {
  const auto info = createBackendInfo("NXA", "no-such-chip");
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->backend(), 3);
  EXPECT_EQ(info->socId(), 0u);
}

}  // namespace
}  // namespace modeltools::backendinfo
