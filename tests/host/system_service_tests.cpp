#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/platform.h"

namespace tests {
namespace {

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

TEST(CriticalSections, ManyThreads_AreInOneAtATime) {
  static_assert(sizeof(CRITICAL_SECTION) == 40);
  CRITICAL_SECTION section;
  ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 0));
  EnterCriticalSection(&section);
  EXPECT_TRUE(TryEnterCriticalSection(&section)) << "again by its owner";
  LeaveCriticalSection(&section);
  std::thread([&] { EXPECT_FALSE(TryEnterCriticalSection(&section)); }).join();
  LeaveCriticalSection(&section);
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 2000; ++round) {
        EnterCriticalSection(&section);
        ++count;
        LeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 8000);
  DeleteCriticalSection(&section);
}

}  // namespace
}  // namespace tests
