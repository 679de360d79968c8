// SPDX-License-Identifier: MIT
// The registry's file: where it lies, whether it has changed, and how it is read and replaced.
#pragma once

#include <memory>
#include <string>

#include <sys/types.h>

#include "host/registry/tree.h"

namespace host {

// An open file of the system, or none.
class FileDescriptor final {
 public:
  explicit FileDescriptor(int file = -1) noexcept : file_(file) {}
  ~FileDescriptor() { Close(); }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int Get() const noexcept { return file_; }
  // Only for none.
  void Adopt(int file) noexcept { file_ = file; }
  bool Close() noexcept;

 private:
  int file_;
};

// The default place, empty when there is none: see host/registry/keys.h.
std::string DefaultRegistryPath();

// The path as it is whatever becomes the current folder; empty stays empty. May throw.
std::string FullRegistryPath(const char* path);

// What tells one state of a file from another; the times are in nanoseconds. A missing file is a
// state as well.
struct RegistryFileState {
  bool exists = false;
  dev_t device = 0;
  ino_t node = 0;
  off_t bytes = 0;
  std::int64_t modified = 0;
  std::int64_t changed = 0;
  bool operator==(const RegistryFileState&) const = default;
};

// ERROR_CANTREAD when the system does not tell.
LSTATUS LookAtRegistryFile(const std::string& path, RegistryFileState& state) noexcept;

// Reads the tree and the state it was read in; a missing file is an empty tree. ERROR_BADDB and a
// state: the file is damaged. ERROR_CANTREAD: it cannot be read.
LSTATUS ReadRegistryFile(const std::string& path, RegistryFileState& state,
                         RegistryKeyPointer& root);

// Puts a tree in the place of the file, whose state is given, as a whole or not at all.
// ERROR_CANTWRITE.
LSTATUS ReplaceRegistryFile(const std::string& path, const RegistryKey& root,
                            RegistryFileState& state);

// Keeps the writers of other processes away until the lock is closed. Makes the folders that are
// missing, and waits up to 10 seconds for the others. ERROR_CANTWRITE.
LSTATUS LockRegistryFile(const std::string& path, FileDescriptor& lock);

}  // namespace host
