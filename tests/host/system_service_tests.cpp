#include <gtest/gtest.h>

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
  bytes[2] = 0xA5;
  bytes = static_cast<BYTE*>(CoTaskMemRealloc(bytes, 5000));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(bytes[2], 0xA5);
  EXPECT_EQ(CoTaskMemRealloc(bytes, 0), nullptr);
}

// An owner enters again and leaves as often; of many threads one is in at a time.
TEST(CriticalSections, ManyThreads_AreInOneAtATime) {
  static_assert(sizeof(CRITICAL_SECTION) == 40);
  CRITICAL_SECTION section;
  ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 0));
  const auto anotherThreadCanEnter = [&] {
    bool entered = false;
    std::thread([&] {
      entered = TryEnterCriticalSection(&section) != FALSE;
      if (entered) LeaveCriticalSection(&section);
    }).join();
    return entered;
  };
  EnterCriticalSection(&section);
  EXPECT_TRUE(TryEnterCriticalSection(&section));
  EnterCriticalSection(&section);
  for (int entries = 3; entries > 0; --entries) {
    EXPECT_FALSE(anotherThreadCanEnter()) << entries;
    LeaveCriticalSection(&section);
  }
  EXPECT_TRUE(anotherThreadCanEnter());
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 2000; ++round) {
        EnterCriticalSection(&section);
        EnterCriticalSection(&section);
        ++count;
        LeaveCriticalSection(&section);
        ++count;
        LeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 16000);
  DeleteCriticalSection(&section);
}

}  // namespace
}  // namespace tests
