#include "tools/file_bytes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "tools/class_names.h"

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

[[noreturn]] void Fail(const std::string& path, const std::string& what) {
  throw std::runtime_error(path + ": " + what);
}
[[noreturn]] void FailBySystem(const std::string& path, const char* what) {
  Fail(path, std::string(what) + ": " + std::strerror(errno));
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

// A name beside the file that nobody else has.
fs::path NameBeside(const fs::path& path) {
  GUID unique{};
  CoCreateGuid(&unique);
  fs::path name = path;
  name += ".";
  name += IdentifierText(unique).substr(1, 36);
  return name += ".part";
}

void WriteNew(const std::string& path, Bytes content) {
  const File file(std::fopen(path.c_str(), "wb"));
  if (!file) FailBySystem(path, "cannot be written");
  if (std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
      !Settle(file.get())) {
    FailBySystem(path, "cannot be written");
  }
}

}  // namespace

std::vector<std::uint8_t> ReadWholeFile(const std::string& path) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) Fail(path, "is a folder");
  const File file(std::fopen(path.c_str(), "rb"));
  if (!file) FailBySystem(path, "cannot be read");
  std::vector<std::uint8_t> bytes;
  std::size_t count = 0;
  do {
    const std::size_t before = bytes.size();
    bytes.resize(before + kChunkBytes);
    count = std::fread(bytes.data() + before, 1, kChunkBytes, file.get());
    bytes.resize(before + count);
    if (bytes.size() > kMostBytes) Fail(path, "is larger than 2 GiB");
  } while (count > 0);
  if (std::ferror(file.get()) != 0) FailBySystem(path, "cannot be read");
  return bytes;
}

void WriteWholeFile(const std::string& path, Bytes content) {
  // A link keeps leading to the file.
  const fs::path target = fs::weakly_canonical(path);
  const fs::file_status old = fs::status(target);
  if (fs::exists(old) && !fs::is_regular_file(old)) Fail(path, "is not a file");
  const fs::path part = NameBeside(target);
  try {
    WriteNew(part.string(), content);
    if (fs::exists(old)) fs::permissions(part, old.permissions());
    fs::rename(part, target);
  } catch (...) {
    std::error_code ignored;
    fs::remove(part, ignored);
    throw;
  }
}

}  // namespace tools
