// The logger registry as a client sees it.

#include <gtest/gtest.h>

#include "support/LogCapture.hpp"
#include "support/RecordingBackend.hpp"

namespace vrx::test {
namespace {

TEST(Logger, LinesAboveMaximumLevelAreDropped) {
  RecordingBackend backend;
  LogCapture logs(/*maxLevel=*/1);
  GraphTransformerConfig config;
  ASSERT_EQ(VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(), backend.graphHandle(),
                                            logs.handle(), "g", backend.table(), 1, &config),
            0u);
  EXPECT_FALSE(logs.contains(3, "initialize done"));
  EXPECT_EQ(VrxGraphTransformer_addGraphTensor(backend.graphHandle(), nullptr), 1100u);
  EXPECT_TRUE(logs.contains(1, "Found NULL vrxTensor"));
  VrxGraphTransformer_free();
}

TEST(Logger, UnregisteredLoggerHearsNothingAndTimeStampsRise) {
  RecordingBackend backend;
  GraphTransformerConfig config;
  uint64_t handle = 0;
  {
    LogCapture logs;
    handle = logs.handle();
    ASSERT_EQ(VrxGraphTransformer_createGraph(backend.backendHandle(), backend.contextHandle(),
                                              backend.graphHandle(), handle, "g", backend.table(), 1, &config),
              0u);
    VrxGraphTransformer_addGraphTensor(backend.graphHandle(), nullptr);
    ASSERT_GE(logs.lines().size(), 2u);
    EXPECT_LE(logs.lines()[0].timestamp, logs.lines()[1].timestamp);
  }
  // The capture unregistered itself; the transformer's handle now finds no logger.
  EXPECT_EQ(VrxGraphTransformer_addGraphTensor(backend.graphHandle(), nullptr), 1100u);
  VrxGraphTransformer_free();
}

}  // namespace
}  // namespace vrx::test
