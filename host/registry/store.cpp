// SPDX-License-Identifier: MIT
#include "host/registry/store.h"

#include "host/registry/layers.h"

namespace host {
namespace {

constinit thread_local int entersForThisProcess = 0;

}  // namespace

RegistryStore::ForThisProcess::ForThisProcess() noexcept { ++entersForThisProcess; }
RegistryStore::ForThisProcess::~ForThisProcess() { --entersForThisProcess; }

LSTATUS RegistryStore::Snapshot(RegistryKeyPointer& root) {
  std::lock_guard lock(mutex_);
  const LSTATUS status = Refresh();
  if (status == ERROR_SUCCESS) root = now_.all;
  return status;
}

LSTATUS RegistryStore::Modify(const std::function<LSTATUS(RegistryKeyPointer& root)>& change) {
  std::lock_guard lock(mutex_);
  LSTATUS status = Refresh();
  if (status == ERROR_SUCCESS && entersForThisProcess > 0) return ModifyForThisProcess(change);
  FileDescriptor fileLock;
  if (status == ERROR_SUCCESS && !path_.empty()) {
    status = LockRegistryFile(path_, fileLock);
    // Another process may have written while this one waited.
    if (status == ERROR_SUCCESS) status = Refresh();
  }
  if (status != ERROR_SUCCESS) return status;
  RegistryKeyPointer root = now_.written;
  status = change(root);
  if (status != ERROR_SUCCESS || root == now_.written) return status;
  Layers next = Lay(RegistryBeyond(packages_, root));
  if (packages_ != nullptr && !SameRegistry(*next.written, *root)) return ERROR_ACCESS_DENIED;
  if (!path_.empty()) status = ReplaceRegistryFile(path_, *next.own, state_);
  if (status == ERROR_SUCCESS) Become(std::move(next));
  return status;
}

LSTATUS RegistryStore::ModifyForThisProcess(
    const std::function<LSTATUS(RegistryKeyPointer& root)>& change) {
  RegistryKeyPointer root = now_.all;
  const LSTATUS status = change(root);
  if (status != ERROR_SUCCESS || root == now_.all) return status;
  RegistryKeyPointer added = RegistryBeyond(now_.written, root);
  Layers next{now_.own, now_.written, LayRegistryOver(now_.written, added)};
  added_ = std::move(added);
  Become(std::move(next));
  return ERROR_SUCCESS;
}

void RegistryStore::UseFile(std::string path) noexcept {
  std::lock_guard lock(mutex_);
  path_ = std::move(path);
  hasPath_ = true;
  hasRead_ = false;
  packages_ = added_ = nullptr;
  Become({});
}

std::string RegistryStore::File() {
  std::lock_guard lock(mutex_);
  return Path();
}

const std::string& RegistryStore::Path() {
  if (!hasPath_) {
    path_ = DefaultRegistryPath();
    hasPath_ = true;
  }
  return path_;
}

LSTATUS RegistryStore::Refresh() {
  if (Path().empty()) {
    if (now_.own == nullptr) Become(Lay(std::make_shared<RegistryKey>()));
    return ERROR_SUCCESS;
  }
  RegistryFileState now;
  LSTATUS status = LookAtRegistryFile(path_, now);
  if (status != ERROR_SUCCESS) return status;
  if (hasRead_ && now == state_) return readStatus_;
  RegistryKeyPointer own;
  status = ReadRegistryFile(path_, now, own);
  // Packages come and go with their files; a process sees those of its first look.
  if (now_.own == nullptr) packages_ = ReadPackageRegistries();
  // What the system refuses today it may give tomorrow, so only a file that was read is remembered.
  hasRead_ = status == ERROR_SUCCESS || status == ERROR_BADDB;
  state_ = now;
  readStatus_ = status;
  Become(Lay(own != nullptr ? std::move(own) : now_.own));
  return status;
}

RegistryStore::Layers RegistryStore::Lay(RegistryKeyPointer own) const {
  RegistryKeyPointer written = LayRegistryOver(packages_, own);
  RegistryKeyPointer all = LayRegistryOver(written, added_);
  return {std::move(own), std::move(written), std::move(all)};
}

void RegistryStore::Become(Layers layers) noexcept {
  now_ = std::move(layers);
  generation_.fetch_add(1, std::memory_order_release);
}

}  // namespace host
