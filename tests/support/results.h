// Expectations of several results at once.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>

#include "platform/platform.h"

namespace tests {

// Calls that are made one after the other, all with the same result.
inline void ExpectEach(HRESULT expected, std::initializer_list<HRESULT> results,
                       const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  const testing::ScopedTrace trace(file, line, "one of");
  int number = 0;
  for (const HRESULT result : results) EXPECT_EQ(result, expected) << "call " << ++number;
}

}  // namespace tests
