// Expectations of several results at once.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <source_location>

#include "platform/platform.h"

namespace tests {

// Calls that are made one after the other, all with the same result.
inline void ExpectEach(HRESULT expected, std::initializer_list<HRESULT> results,
                       std::source_location where = std::source_location::current()) {
  const testing::ScopedTrace trace(where.file_name(), static_cast<int>(where.line()), "one of");
  int number = 0;
  for (const HRESULT result : results) EXPECT_EQ(result, expected) << "call " << ++number;
}

}  // namespace tests
