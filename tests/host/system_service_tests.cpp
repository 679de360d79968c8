#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "tests/support/debug_capture.h"

namespace tests {
namespace {

TEST(DebugOutput, Texts_ReachTheSinkWhileThereIsOne) {
  OutputDebugStringA("before");
  {
    DebugCapture capture;
    OutputDebugStringA("one");
    OutputDebugStringA("");
    std::thread([] { OutputDebugStringA("two"); }).join();
    EXPECT_EQ(capture.Texts(), (std::vector<std::string>{"one", "", "two"}));
  }
  OutputDebugStringA("after");
}

TEST(LoadedStrings, AbsentInTheModule_GiveAnEmptyBuffer) {
  char buffer[4] = "###";
  EXPECT_EQ(LoadStringA(nullptr, 54321, buffer, sizeof(buffer)), 0);
  EXPECT_STREQ(buffer, "");
}

TEST(LastError, EachThread_HasItsOwn) {
  SetLastError(122);
  EXPECT_EQ(GetLastError(), 122u);
  DWORD fresh = 1;
  std::thread([&] {
    fresh = GetLastError();
    SetLastError(87);
  }).join();
  EXPECT_EQ(fresh, 0u);
  EXPECT_NE(GetLastError(), 87u);
}

TEST(TaskMemory, SizeZeroAndNull_FollowTheirRules) {
  void* block = CoTaskMemAlloc(0);
  EXPECT_NE(block, nullptr);
  CoTaskMemFree(block);
  CoTaskMemFree(nullptr);
  auto* bytes = static_cast<BYTE*>(CoTaskMemRealloc(nullptr, 3));
  ASSERT_NE(bytes, nullptr);
  std::fill_n(bytes, 3, BYTE{0xA5});
  bytes = static_cast<BYTE*>(CoTaskMemRealloc(bytes, 5000));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(bytes[2], 0xA5);
  EXPECT_EQ(CoTaskMemRealloc(bytes, 0), nullptr);
}

}  // namespace
}  // namespace tests
