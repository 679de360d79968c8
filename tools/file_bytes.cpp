// SPDX-License-Identifier: MIT
#include "tools/file_bytes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "tools/class_names.h"
#include "tools/paths.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tools {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kChunkBytes = 1 << 20;
constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

[[noreturn]] void Fail(const std::string& name, const std::string& what) {
  throw std::runtime_error(name + ": " + what);
}
[[noreturn]] void FailBySystem(const std::string& name, const char* what) {
  Fail(name, std::string(what) + ": " + std::strerror(errno));
}

// Hands the file's bytes to the device, so that a crash of the system finds them there.
bool Settle(std::FILE* file) {
  if (std::fflush(file) != 0) return false;
#ifdef _WIN32
  return _commit(_fileno(file)) == 0;
#else
  return fsync(fileno(file)) == 0;
#endif
}

File Open(const fs::path& path, bool isToRead) {
#ifdef _WIN32
  return File(_wfopen(path.c_str(), isToRead ? L"rb" : L"wb"));
#else
  return File(std::fopen(path.c_str(), isToRead ? "rb" : "wb"));
#endif
}

// A name beside the file that nobody else has, no longer than need be.
fs::path NameBeside(const fs::path& path) {
  GUID unique{};
  CoCreateGuid(&unique);
  return path.parent_path() / (IdentifierText(unique).substr(1, 36) + ".part");
}

bool WriteNew(const fs::path& path, Bytes content) {
  const File file = Open(path, false);
  return file && std::fwrite(content.data(), 1, content.size(), file.get()) == content.size() &&
         Settle(file.get());
}

void RemovePart(const fs::path& part) {
  std::error_code ignored;
  // It may have the permissions of a file that cannot be removed.
  fs::permissions(part, fs::perms::owner_write, fs::perm_options::add, ignored);
  fs::remove(part, ignored);
}

}  // namespace

std::vector<std::uint8_t> ReadWholeFile(const std::string& name) {
  const fs::path path = PathOf(name);
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) Fail(name, "is a folder");
  const File file = Open(path, true);
  if (!file) FailBySystem(name, "cannot be read");
  std::vector<std::uint8_t> bytes;
  std::size_t count = 0;
  do {
    const std::size_t before = bytes.size();
    bytes.resize(before + kChunkBytes);
    count = std::fread(bytes.data() + before, 1, kChunkBytes, file.get());
    bytes.resize(before + count);
    if (bytes.size() > kMostBytes) Fail(name, "is larger than 2 GiB");
  } while (count > 0);
  if (std::ferror(file.get()) != 0) FailBySystem(name, "cannot be read");
  return bytes;
}

void WriteWholeFile(const std::string& name, Bytes content) {
  std::error_code error;
  fs::path target = PathOf(name);
  // A link keeps leading to the file.
  if (fs::is_symlink(fs::symlink_status(target, error))) target = fs::weakly_canonical(target);
  const fs::file_status old = fs::status(target, error);
  if (fs::exists(old) && !fs::is_regular_file(old)) Fail(name, "is not a file");
  const fs::path part = NameBeside(target);
  if (!WriteNew(part, content)) {
    const int reason = errno;
    RemovePart(part);
    errno = reason;
    FailBySystem(name, "cannot be written");
  }
  error.clear();
  if (fs::exists(old)) fs::permissions(part, old.permissions(), error);
  if (!error) fs::rename(part, target, error);
  if (!error) return;
  RemovePart(part);
  Fail(name, "cannot be written: " + error.message());
}

}  // namespace tools
