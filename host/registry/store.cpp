#include "host/registry/store.h"

namespace host {

LSTATUS RegistryStore::Snapshot(RegistryKeyPointer& root) {
  std::lock_guard lock(mutex_);
  const LSTATUS status = Refresh();
  if (status == ERROR_SUCCESS) root = root_;
  return status;
}

LSTATUS RegistryStore::Modify(const std::function<LSTATUS(RegistryKeyPointer& root)>& change) {
  std::lock_guard lock(mutex_);
  LSTATUS status = Refresh();
  FileDescriptor fileLock;
  if (status == ERROR_SUCCESS && !path_.empty()) {
    status = LockRegistryFile(path_, fileLock);
    // Another process may have written while this one waited.
    if (status == ERROR_SUCCESS) status = Refresh();
  }
  if (status != ERROR_SUCCESS) return status;
  RegistryKeyPointer root = root_;
  status = change(root);
  if (status != ERROR_SUCCESS || root == root_) return status;
  if (!path_.empty()) status = ReplaceRegistryFile(path_, *root, state_);
  if (status == ERROR_SUCCESS) Become(std::move(root));
  return status;
}

void RegistryStore::UseFile(std::string path) noexcept {
  std::lock_guard lock(mutex_);
  path_ = std::move(path);
  hasPath_ = true;
  hasRead_ = false;
  Become(nullptr);
}

LSTATUS RegistryStore::Refresh() {
  if (!hasPath_) {
    path_ = DefaultRegistryPath();
    hasPath_ = true;
  }
  if (path_.empty()) {
    if (root_ == nullptr) Become(std::make_shared<RegistryKey>());
    return ERROR_SUCCESS;
  }
  RegistryFileState now;
  LSTATUS status = LookAtRegistryFile(path_, now);
  if (status != ERROR_SUCCESS) return status;
  if (hasRead_ && now == state_) return readStatus_;
  RegistryKeyPointer root;
  status = ReadRegistryFile(path_, now, root);
  // What the system refuses today it may give tomorrow, so only a file that was read is remembered.
  hasRead_ = status == ERROR_SUCCESS || status == ERROR_BADDB;
  state_ = now;
  readStatus_ = status;
  Become(root != nullptr ? std::move(root) : root_);
  return status;
}

void RegistryStore::Become(RegistryKeyPointer root) noexcept {
  root_ = std::move(root);
  generation_.fetch_add(1, std::memory_order_release);
}

}  // namespace host
