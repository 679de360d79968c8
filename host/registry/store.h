// The one registry of the process: its tree, kept in step with its file.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "host/registry/file.h"
#include "host/registry/tree.h"

namespace host {

// Never destroyed. All members may be called from any thread.
class RegistryStore final {
 public:
  // The tree as it stands now; reads the file when it is another one than last time. ERROR_BADDB,
  // ERROR_CANTREAD. Throws std::bad_alloc.
  LSTATUS Snapshot(RegistryKeyPointer& root);

  // Lets change(root) put another root in the place of the one it is given, and writes that. When
  // the result is no success, or something is thrown, nothing has changed.
  LSTATUS Modify(const std::function<LSTATUS(RegistryKeyPointer& root)>& change);

  // An empty path is memory only.
  void UseFile(std::string path) noexcept;

  // Another number after each change of the tree or its readability, as far as this process has
  // noticed it.
  std::uint64_t generation() const noexcept { return generation_.load(std::memory_order_acquire); }

 private:
  LSTATUS Refresh();
  void Become(RegistryKeyPointer root) noexcept;

  std::mutex mutex_;
  std::atomic<std::uint64_t> generation_{1};
  bool hasPath_ = false;
  std::string path_;
  bool hasRead_ = false;
  RegistryFileState state_;
  LSTATUS readStatus_ = ERROR_SUCCESS;
  RegistryKeyPointer root_;
};

}  // namespace host
