// SPDX-License-Identifier: MIT
// The one registry of the process: the tree of its file, kept in step with it, over what packages
// brought, and over both what this process entered for itself.
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
  // the result is no success, or something is thrown, nothing has changed. ERROR_ACCESS_DENIED for
  // taking away what a package brought.
  LSTATUS Modify(const std::function<LSTATUS(RegistryKeyPointer& root)>& change);

  // An empty path is memory only, without packages.
  void UseFile(std::string path) noexcept;

  // Empty when there is none. Throws std::bad_alloc.
  std::string File();

  // While one lives, what its thread enters is seen by this process alone, above all else, and
  // nothing is written.
  class ForThisProcess {
   public:
    ForThisProcess() noexcept;
    ~ForThisProcess();
    ForThisProcess(const ForThisProcess&) = delete;
    ForThisProcess& operator=(const ForThisProcess&) = delete;
  };

  // Another number after each change of the tree or its readability, as far as this process has
  // noticed it.
  std::uint64_t generation() const noexcept { return generation_.load(std::memory_order_acquire); }

 private:
  const std::string& Path();
  LSTATUS Refresh();
  LSTATUS ModifyForThisProcess(const std::function<LSTATUS(RegistryKeyPointer& root)>& change);
  struct Layers {
    RegistryKeyPointer own;      // of the file
    RegistryKeyPointer written;  // over what packages brought
    RegistryKeyPointer all;      // under what this process entered
  };
  Layers Lay(RegistryKeyPointer own) const;
  void Become(Layers layers) noexcept;

  std::mutex mutex_;
  std::atomic<std::uint64_t> generation_{1};
  bool hasPath_ = false;
  std::string path_;
  bool hasRead_ = false;
  RegistryFileState state_;
  LSTATUS readStatus_ = ERROR_SUCCESS;
  RegistryKeyPointer packages_;  // null without any
  RegistryKeyPointer added_;     // null if this process entered nothing
  Layers now_;
};

}  // namespace host
