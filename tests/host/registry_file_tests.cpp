// SPDX-License-Identifier: MIT
// The embedded host's registry file where processes are killed while they write it, where many
// write at once, where the disk is full, and where changes follow each other fast.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <random>
#include <thread>

#include "tests/host/registry_text.h"
#include "tests/rows/values.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

class RegistryFile : public testing::Test {
 protected:
  ~RegistryFile() override { HostUseRegistryFile(nullptr); }

  // The file as a process finds it that begins now.
  void Open() const { ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK); }
  static LSTATUS Enter(const std::string& path) {
    HKEY key = nullptr;
    return RegCreateKeyExW(HKEY_CLASSES_ROOT, Widen(path).c_str(), 0, nullptr, 0, KEY_WRITE,
                           nullptr, &key, nullptr)
               ? 1
               : RegCloseKey(key);
  }
  // How many keys it has; -1 where it cannot be read.
  int Keys() const {
    Open();
    OLECHAR name[256];
    for (DWORD index = 0;; ++index) {
      DWORD units = 256;
      const LSTATUS status =
          RegEnumKeyExW(HKEY_CLASSES_ROOT, index, name, &units, nullptr, nullptr, nullptr, nullptr);
      if (status == ERROR_NO_MORE_ITEMS) return static_cast<int>(index);
      if (status != ERROR_SUCCESS) return -1;
    }
  }
  template <class Work>
  static pid_t Fork(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    return child;
  }

  const TempFile file_{"registry"};
};

// As often as the environment says, else for a moment.
TEST_F(RegistryFile, IsTheOldOrTheNewOneWhereItsWriterIsKilled) {
  const char* const told = std::getenv("RASTEL_KILLS");
  const int kills = told ? std::atoi(told) : 25;
  void* const shared =
      mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto& entered = *new (shared) std::atomic<int>(0);
  std::mt19937 random(1);
  for (int kill = 0; kill < kills; ++kill) {
    if (entered > 300) std::filesystem::remove(file_.path()), entered = 0;
    const int before = entered;
    const pid_t writer = Fork([&] {
      Open();
      while (Enter(std::to_string(entered)) == ERROR_SUCCESS) ++entered;
      return false;
    });
    while (entered == before && waitpid(writer, nullptr, WNOHANG) == 0) usleep(100);
    usleep(static_cast<useconds_t>(random() % 4000));
    ASSERT_EQ(::kill(writer, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status)) << "it failed by itself";
    // The last one may have arrived and not been counted.
    const int keys = Keys();
    ASSERT_TRUE(keys == entered || keys == entered + 1) << keys << " of " << entered;
    entered = keys;
  }
  munmap(shared, 4096);
}

TEST_F(RegistryFile, HoldsWhatTwoProcessesOfEightThreadsEnter) {
  std::vector<pid_t> writers;
  for (const std::string process : {"a", "b"}) {
    writers.push_back(Fork([&] {
      Open();
      std::atomic<int> failed{0};
      std::vector<std::thread> threads;
      for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
          for (int i = 0; i < 10; ++i) {
            failed += Enter(process + std::to_string(thread * 10 + i)) != ERROR_SUCCESS;
          }
        });
      }
      for (std::thread& thread : threads) thread.join();
      return failed == 0;
    }));
  }
  int status = 0, seen = 0;
  for (const pid_t writer : writers) {
    while (waitpid(writer, &status, WNOHANG) == 0) {
      const int keys = Keys();
      EXPECT_GE(keys, seen) << "read while it is replaced";
      seen = keys;
    }
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(Keys(), 160);
}

TEST_F(RegistryFile, StaysWhereTheDiskIsFull) {
  Open();
  ASSERT_EQ(Enter("one"), ERROR_SUCCESS);
  const std::string before = file_.Content();
  // As full as it can be without a disk: no file may become longer.
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit full{before.size() + 5, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &full);
  const LSTATUS entered = Enter("two");
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  EXPECT_NE(entered, ERROR_SUCCESS);
  EXPECT_EQ(file_.Content(), before);
  EXPECT_FALSE(std::filesystem::exists(file_.path() + ".new"));
  EXPECT_EQ(Enter("three"), ERROR_SUCCESS);
  EXPECT_EQ(Keys(), 2);
}

// By that a process sees a change that leaves the size alone, where the system's clock for files
// stands still for a while.
TEST_F(RegistryFile, HasALaterTimeAfterEveryChange) {
  Open();
  std::filesystem::file_time_type last = std::filesystem::file_time_type::min();
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(Enter(std::to_string(round)), ERROR_SUCCESS);
    const auto now = std::filesystem::last_write_time(file_.path());
    ASSERT_GT(now, last) << round;
    last = now;
  }
}

}  // namespace
}  // namespace tests
