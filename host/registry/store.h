// The one registry of the process: its tree, kept in step with its file.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/registry/file.h"
#include "host/registry/tree.h"

namespace host {

// All members may be called from any thread. Between Begin and its Commit or Abandon the registry
// belongs to the calling thread.
class RegistryStore final {
 public:
  // The tree as it stands now; reads the file when it is another one than last time.
  LSTATUS Snapshot(RegistryKeyPointer& root);

  // Opens a batch of changes, or says why there can be none (and opens nothing).
  LSTATUS Begin();
  // Closes the innermost batch; the outermost one writes. On failure nothing has changed.
  LSTATUS Commit() noexcept;
  // Closes the innermost batch and undoes what happened in it.
  void Abandon() noexcept;

  // A batch of one change: change(RegistryKeyPointer& root) puts a new root in the place of the
  // old.
  template <class Change>
  LSTATUS Modify(Change&& change);

  // An empty path is memory only. False inside a batch: nothing has changed.
  bool UseFile(std::string path) noexcept;

  // Another number after each change of the tree or its readability, as far as this process has
  // noticed it.
  std::uint64_t generation() const noexcept { return generation_.load(std::memory_order_acquire); }

 private:
  LSTATUS Refresh();
  LSTATUS LockFile();
  void Become(RegistryKeyPointer root) noexcept;

  std::recursive_mutex mutex_;
  std::atomic<std::uint64_t> generation_{1};
  bool hasPath_ = false;
  std::string path_;
  bool hasRead_ = false;
  RegistryFileState state_;
  LSTATUS readStatus_ = ERROR_SUCCESS;
  RegistryKeyPointer root_;
  // The trees at the beginning of each open batch.
  std::vector<RegistryKeyPointer> before_;
  RegistryFileLock fileLock_;
};

template <class Change>
LSTATUS RegistryStore::Modify(Change&& change) {
  LSTATUS status = Begin();
  if (status != ERROR_SUCCESS) return status;
  try {
    RegistryKeyPointer root = root_;
    status = change(root);
    if (status == ERROR_SUCCESS && root != root_) Become(std::move(root));
  } catch (...) {
    Abandon();
    throw;
  }
  if (status == ERROR_SUCCESS) return Commit();
  Abandon();
  return status;
}

}  // namespace host
