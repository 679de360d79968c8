#include "host/registry/store.h"

namespace host {

LSTATUS RegistryStore::Snapshot(RegistryKeyPointer& root) {
  std::lock_guard lock(mutex_);
  const LSTATUS status = before_.empty() ? Refresh() : ERROR_SUCCESS;
  if (status == ERROR_SUCCESS) root = root_;
  return status;
}

LSTATUS RegistryStore::Begin() {
  std::unique_lock lock(mutex_);
  before_.reserve(before_.size() + 1);
  if (before_.empty()) {
    const LSTATUS status = LockFile();
    if (status != ERROR_SUCCESS) return status;
  }
  before_.push_back(root_);
  lock.release();
  return ERROR_SUCCESS;
}

LSTATUS RegistryStore::LockFile() {
  LSTATUS status = Refresh();
  if (status != ERROR_SUCCESS || path_.empty()) return status;
  status = fileLock_.Acquire(path_);
  if (status != ERROR_SUCCESS) return status;
  try {
    // Another process may have written while this one waited.
    status = Refresh();
  } catch (...) {
    fileLock_.Release();
    throw;
  }
  if (status != ERROR_SUCCESS) fileLock_.Release();
  return status;
}

LSTATUS RegistryStore::Commit() noexcept {
  // Begin left the lock to this thread.
  std::unique_lock lock(mutex_, std::adopt_lock);
  const RegistryKeyPointer before = std::move(before_.back());
  before_.pop_back();
  if (!before_.empty()) return ERROR_SUCCESS;
  LSTATUS status = ERROR_SUCCESS;
  if (root_ != before && !path_.empty()) {
    try {
      status = ReplaceRegistryFile(path_, *root_, state_);
    } catch (...) {
      status = ERROR_NOT_ENOUGH_MEMORY;
    }
    if (status != ERROR_SUCCESS) Become(before);
  }
  fileLock_.Release();
  return status;
}

void RegistryStore::Abandon() noexcept {
  std::unique_lock lock(mutex_, std::adopt_lock);
  if (root_ != before_.back()) Become(before_.back());
  before_.pop_back();
  if (before_.empty()) fileLock_.Release();
}

bool RegistryStore::UseFile(std::string path) noexcept {
  std::lock_guard lock(mutex_);
  if (!before_.empty()) return false;
  path_ = std::move(path);
  hasPath_ = true;
  hasRead_ = false;
  Become(nullptr);
  return true;
}

LSTATUS RegistryStore::Refresh() {
  if (!hasPath_) {
    path_ = DefaultRegistryPath();
    hasPath_ = true;
  }
  if (path_.empty()) {
    if (root_ == nullptr) Become(EmptyRegistry());
    return ERROR_SUCCESS;
  }
  RegistryFileState now;
  LSTATUS status = LookAtRegistryFile(path_, now);
  if (status != ERROR_SUCCESS || (hasRead_ && now == state_)) {
    return status != ERROR_SUCCESS ? status : readStatus_;
  }
  std::shared_ptr<RegistryKey> tree;
  status = ReadRegistryFile(path_, now, tree);
  // What the system refuses today it may give tomorrow, so only a file that was read is remembered.
  hasRead_ = status == ERROR_SUCCESS || status == ERROR_BADDB;
  state_ = now;
  readStatus_ = status;
  if (tree != nullptr && root_ != nullptr) KeepRegistrySerials(*tree, *root_);
  if (tree != nullptr) {
    Become(std::move(tree));
  } else {
    generation_.fetch_add(1, std::memory_order_release);
  }
  return status;
}

void RegistryStore::Become(RegistryKeyPointer root) noexcept {
  root_ = std::move(root);
  generation_.fetch_add(1, std::memory_order_release);
}

}  // namespace host
