#pragma once

// Checks that a statement throws the given exception type with exactly this message, or,
// with the _HAS variant, a message that contains the text.

#include <gtest/gtest.h>

#include <string>

#define VRX_EXPECT_THROW_IMPL(statement, ExceptionType, text, exact)                                       \
  do {                                                                                                    \
    bool vrxThrown = false;                                                                               \
    try {                                                                                                 \
      statement;                                                                                          \
    } catch (const ExceptionType& vrxError) {                                                             \
      vrxThrown = true;                                                                                   \
      const std::string vrxWhat = vrxError.what();                                                        \
      if (exact) {                                                                                        \
        EXPECT_EQ(vrxWhat, std::string(text));                                                            \
      } else {                                                                                            \
        EXPECT_NE(vrxWhat.find(text), std::string::npos) << "message: " << vrxWhat;                       \
      }                                                                                                   \
    }                                                                                                     \
    EXPECT_TRUE(vrxThrown) << #statement " did not throw " #ExceptionType;                                \
  } while (false)

#define EXPECT_THROW_MSG(statement, ExceptionType, text) VRX_EXPECT_THROW_IMPL(statement, ExceptionType, text, true)
#define EXPECT_THROW_HAS(statement, ExceptionType, text) VRX_EXPECT_THROW_IMPL(statement, ExceptionType, text, false)
