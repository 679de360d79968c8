#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/platform.h"

namespace tests {
namespace {

class CriticalSections : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section_, 0)); }
  void TearDown() override { DeleteCriticalSection(&section_); }

  bool AnotherThreadCanEnter() {
    bool entered = false;
    std::thread([&] {
      entered = TryEnterCriticalSection(&section_) != FALSE;
      if (entered) LeaveCriticalSection(&section_);
    }).join();
    return entered;
  }

  static_assert(sizeof(CRITICAL_SECTION) == 40);
  CRITICAL_SECTION section_;
};

TEST_F(CriticalSections, Owner_EntersAgainAndLeavesAsOften) {
  EXPECT_TRUE(AnotherThreadCanEnter());
  EnterCriticalSection(&section_);
  EXPECT_TRUE(TryEnterCriticalSection(&section_));
  EnterCriticalSection(&section_);
  for (int entries = 3; entries > 0; --entries) {
    EXPECT_FALSE(AnotherThreadCanEnter()) << entries;
    LeaveCriticalSection(&section_);
  }
  EXPECT_TRUE(AnotherThreadCanEnter());
}

TEST_F(CriticalSections, ManyThreads_AreInOneAtATime) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        EnterCriticalSection(&section_);
        EnterCriticalSection(&section_);
        ++count;
        LeaveCriticalSection(&section_);
        ++count;
        LeaveCriticalSection(&section_);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 2 * kThreads * kRounds);
}

}  // namespace
}  // namespace tests
