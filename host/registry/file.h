// The registry's file: where it lies, whether it has changed, and how it is read and replaced.
#pragma once

#include <memory>
#include <string>

#include <sys/types.h>

#include "host/registry/tree.h"

namespace host {

// The default place, empty when there is none: see host/registry/keys.h.
std::string DefaultRegistryPath();

// The path as it is whatever becomes the current folder; empty stays empty. May throw.
std::string FullRegistryPath(const char* path);

// What tells one state of a file from another. A missing file is a state as well.
struct RegistryFileState {
  bool exists = false;
  dev_t device = 0;
  ino_t node = 0;
  off_t bytes = 0;
  timespec modified{};
  timespec changed{};
};
bool operator==(const RegistryFileState& a, const RegistryFileState& b) noexcept;

// ERROR_CANTREAD when the system does not tell.
LSTATUS LookAtRegistryFile(const std::string& path, RegistryFileState& state) noexcept;

// Reads the tree and the state it was read in; a missing file is an empty tree. ERROR_BADDB and a
// state: the file is damaged. ERROR_CANTREAD: it cannot be read.
LSTATUS ReadRegistryFile(const std::string& path, RegistryFileState& state,
                         std::shared_ptr<RegistryKey>& tree);

// Puts a tree in the place of the file, as a whole or not at all. ERROR_CANTWRITE.
LSTATUS ReplaceRegistryFile(const std::string& path, const RegistryKey& tree,
                            RegistryFileState& state);

// Keeps the writers of other processes away as long as it is held.
class RegistryFileLock final {
 public:
  RegistryFileLock() = default;
  ~RegistryFileLock() { Release(); }
  RegistryFileLock(const RegistryFileLock&) = delete;
  RegistryFileLock& operator=(const RegistryFileLock&) = delete;

  // Makes the folders that are missing, and waits up to 10 seconds for the others. ERROR_CANTWRITE.
  LSTATUS Acquire(const std::string& path);
  void Release() noexcept;

 private:
  int file_ = -1;
};

}  // namespace host
