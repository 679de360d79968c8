// SPDX-License-Identifier: MIT
#include "tools/file_bytes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "tools/class_names.h"
#include "tools/input_file.h"
#include "tools/paths.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tools {
namespace {

namespace fs = std::filesystem;

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

[[noreturn]] void Fail(const std::string& name, const std::string& what) {
  throw std::runtime_error(name + ": " + what);
}
[[noreturn]] void FailBySystem(const std::string& name) {
  Fail(name, std::string("cannot be written: ") + std::strerror(errno));
}

// Hands the file's bytes to the device, so that a crash of the system finds them there.
bool Settle(std::FILE* file) {
#ifdef _WIN32
  return _commit(_fileno(file)) == 0;
#else
  return fsync(fileno(file)) == 0;
#endif
}

File Open(const fs::path& path) {
#ifdef _WIN32
  return File(_wfopen(path.c_str(), L"wb"));
#else
  return File(std::fopen(path.c_str(), "wb"));
#endif
}

// A name beside the file that nobody else has, no longer than need be.
fs::path NameBeside(const fs::path& path) {
  GUID unique{};
  CoCreateGuid(&unique);
  return path.parent_path() / (IdentifierText(unique).substr(1, 36) + ".part");
}

bool Write(std::FILE* file, Bytes content) {
  return std::fwrite(content.data(), 1, content.size(), file) == content.size() &&
         std::fflush(file) == 0;
}

bool WriteNew(const fs::path& path, Bytes content) {
  const File file = Open(path);
  return file && Write(file.get(), content) && Settle(file.get());
}

// Pipes and devices, which take bytes and keep nothing.
void WriteThrough(const std::string& name, const fs::path& path, Bytes content) {
  const File file = Open(path);
  if (!file || !Write(file.get(), content)) FailBySystem(name);
}

void RemovePart(const fs::path& part) {
  std::error_code ignored;
  // It may have the permissions of a file that cannot be removed.
  fs::permissions(part, fs::perms::owner_write, fs::perm_options::add, ignored);
  fs::remove(part, ignored);
}

}  // namespace

std::vector<std::uint8_t> ReadWholeFile(const std::string& name) {
  const InputFile file(name);
  return {file.bytes().begin(), file.bytes().end()};
}

std::FILE* NotesBeside(const std::string& name) { return name == "-" ? stderr : stdout; }

void WriteWholeFile(const std::string& name, Bytes content) {
  if (name == "-") {
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    if (!Write(stdout, content)) FailBySystem("standard output");
    return;
  }
  std::error_code error;
  fs::path target = PathOf(name);
  const fs::file_status old = fs::status(target, error);
  if (fs::is_directory(old)) Fail(name, "is a folder");
  if (fs::exists(old) && !fs::is_regular_file(old)) return WriteThrough(name, target, content);
  // A link keeps leading to the file.
  if (fs::is_symlink(fs::symlink_status(target, error))) target = fs::weakly_canonical(target);
  const fs::path part = NameBeside(target);
  if (!WriteNew(part, content)) {
    const int reason = errno;
    RemovePart(part);
    errno = reason;
    FailBySystem(name);
  }
  error.clear();
  if (fs::exists(old)) fs::permissions(part, old.permissions(), error);
  if (!error) fs::rename(part, target, error);
  if (!error) return;
  RemovePart(part);
  Fail(name, "cannot be written: " + error.message());
}

}  // namespace tools
