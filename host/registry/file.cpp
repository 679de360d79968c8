// SPDX-License-Identifier: MIT
#include "host/registry/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <thread>
#include <utility>

#include "host/registry/text.h"

namespace host {
namespace {

constexpr std::chrono::seconds kLongestWait{10};
constexpr std::chrono::milliseconds kWaitStep{5};

std::int64_t Nanoseconds(const timespec& time) noexcept {
  return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

RegistryFileState StateOf(const struct stat& status) noexcept {
  return {true,
          status.st_dev,
          status.st_ino,
          status.st_size,
          Nanoseconds(status.st_mtim),
          Nanoseconds(status.st_ctim)};
}

std::string Folder(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

// Everything in a file of the given size; false when it cannot be read to its end.
bool ReadAll(int file, std::size_t bytes, std::string& content) {
  content.resize(bytes);
  std::size_t done = 0;
  while (done < bytes) {
    const ssize_t count = read(file, content.data() + done, bytes - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  content.resize(done);
  return true;
}

bool WriteAll(int file, std::string_view content) noexcept {
  while (!content.empty()) {
    const ssize_t count = write(file, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Gives a file another time of change than the one before has. The system's own stands still for
// milliseconds, and other processes would not notice a change that comes to the same size.
void MakeLater(int file, const RegistryFileState& before) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t time = (std::max)(Nanoseconds(now), before.modified + 1);
  const timespec times[] = {{0, UTIME_OMIT}, {time / 1'000'000'000, time % 1'000'000'000}};
  futimens(file, times);
}

const char* AbsoluteFolder(const char* variable) noexcept {
  const char* value = std::getenv(variable);
  return value != nullptr && *value == '/' ? value : nullptr;
}

}  // namespace

bool FileDescriptor::Close() noexcept {
  const int file = std::exchange(file_, -1);
  return file < 0 || close(file) == 0;
}

std::string FullRegistryPath(const char* path) {
  return *path == 0 ? std::string() : std::filesystem::absolute(path).string();
}

std::string DefaultRegistryPath() {
  if (const char* path = std::getenv("RASTEL_HOST_REGISTRY")) return FullRegistryPath(path);
  if (const char* data = AbsoluteFolder("XDG_DATA_HOME")) {
    return std::string(data) + "/rastelhost/registry";
  }
  if (const char* home = AbsoluteFolder("HOME")) {
    return std::string(home) + "/.local/share/rastelhost/registry";
  }
  return {};
}

LSTATUS LookAtRegistryFile(const std::string& path, RegistryFileState& state) noexcept {
  struct stat status {};
  state = {};
  if (stat(path.c_str(), &status) == 0) {
    state = StateOf(status);
    return ERROR_SUCCESS;
  }
  return errno == ENOENT || errno == ENOTDIR ? ERROR_SUCCESS : ERROR_CANTREAD;
}

LSTATUS ReadRegistryFile(const std::string& path, RegistryFileState& state,
                         RegistryKeyPointer& root) {
  state = {};
  // A pipe in the file's place must not hold the caller up.
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.Get() < 0) {
    if (errno != ENOENT && errno != ENOTDIR) return ERROR_CANTREAD;
    root = std::make_shared<RegistryKey>();
    return ERROR_SUCCESS;
  }
  struct stat status {};
  if (fstat(file.Get(), &status) != 0) return ERROR_CANTREAD;
  state = StateOf(status);
  if (!S_ISREG(status.st_mode) || status.st_size < 0 ||
      static_cast<std::uint64_t>(status.st_size) > kMostRegistryTextBytes) {
    return ERROR_BADDB;
  }
  std::string content;
  if (!ReadAll(file.Get(), static_cast<std::size_t>(status.st_size), content))
    return ERROR_CANTREAD;
  root = ReadRegistryText(content);
  return root != nullptr ? ERROR_SUCCESS : ERROR_BADDB;
}

LSTATUS ReplaceRegistryFile(const std::string& path, const RegistryKey& root,
                            RegistryFileState& state) {
  const std::string content = WriteRegistryText(root);
  if (content.size() > kMostRegistryTextBytes) return ERROR_CANTWRITE;
  // Only the holder of the lock writes, so one name is enough; what lies there is left over.
  const std::string beside = path + ".new";
  const FileDescriptor folder(open(Folder(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  unlink(beside.c_str());
  FileDescriptor file(open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (file.Get() < 0) return ERROR_CANTWRITE;
  const bool isWritten = WriteAll(file.Get(), content);
  MakeLater(file.Get(), state);
  if (!isWritten || fsync(file.Get()) != 0 || !file.Close() ||
      rename(beside.c_str(), path.c_str()) != 0) {
    unlink(beside.c_str());
    return ERROR_CANTWRITE;
  }
  // From here on the new file is what everybody sees, so a failure is none any more.
  if (folder.Get() >= 0) fsync(folder.Get());
  LookAtRegistryFile(path, state);
  return ERROR_SUCCESS;
}

LSTATUS LockRegistryFile(const std::string& path, FileDescriptor& lock) {
  std::error_code ignored;
  std::filesystem::create_directories(Folder(path), ignored);
  const std::string lockPath = path + ".lock";
  lock.Adopt(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  if (lock.Get() < 0) return ERROR_CANTWRITE;
  const auto end = std::chrono::steady_clock::now() + kLongestWait;
  while (flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
    const bool isBusy = errno == EWOULDBLOCK || errno == EINTR;
    if (!isBusy || std::chrono::steady_clock::now() >= end) return ERROR_CANTWRITE;
    std::this_thread::sleep_for(kWaitStep);
  }
  return ERROR_SUCCESS;
}

}  // namespace host
