// SPDX-License-Identifier: MIT
// Runs one piece of work on many threads at once, for a while.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platform/platform.h"

namespace tests {

inline constexpr int kThreads = 8;
inline constexpr std::chrono::milliseconds kWorkTime{250};

// Calls work(thread, round) over and over on each of the threads, 0 to kThreads - 1, until the time
// is over, at least once each. All threads begin together and have entered the platform.
template <class Work>
void OnManyThreads(Work&& work, std::chrono::milliseconds workTime = kWorkTime) {
  std::atomic<int> waiting{kThreads};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      CoInitializeEx(nullptr, COINIT_MULTITHREADED);
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      const auto end = std::chrono::steady_clock::now() + workTime;
      int round = 0;
      do {
        work(thread, round++);
      } while (std::chrono::steady_clock::now() < end);
      CoUninitialize();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace tests
