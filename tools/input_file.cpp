// SPDX-License-Identifier: MIT
#include "tools/input_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "tools/paths.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace tools {
namespace {

constexpr std::size_t kChunkBytes = 1 << 20;
constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void Fail(const std::string& name) {
  throw std::runtime_error(name + ": cannot be read: " + std::strerror(errno));
}

std::vector<std::uint8_t> ReadToEnd(std::FILE* file, const std::string& name) {
  std::vector<std::uint8_t> bytes;
  std::size_t count = 0;
  do {
    const std::size_t before = bytes.size();
    bytes.resize(before + kChunkBytes);
    count = std::fread(bytes.data() + before, 1, kChunkBytes, file);
    bytes.resize(before + count);
    if (bytes.size() > kMostBytes) {
      throw std::runtime_error(name + ": is larger than 2 GiB, which only a file on a disk may be");
    }
  } while (count > 0);
  if (std::ferror(file) != 0) Fail(name);
  return bytes;
}

#ifdef _WIN32

Bytes Map(std::FILE* file) {
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  LARGE_INTEGER size{};
  if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileSizeEx(handle, &size)) return {};
  const HANDLE mapping = CreateFileMappingW(handle, nullptr, PAGE_READONLY, 0, 0, nullptr);
  if (!mapping) return {};
  const void* const view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
  CloseHandle(mapping);
  if (!view) return {};
  return {static_cast<const std::uint8_t*>(view), static_cast<std::size_t>(size.QuadPart)};
}

void Unmap(Bytes bytes) { UnmapViewOfFile(bytes.data()); }
void LetGo(Bytes) {}

#else

void EndOfMapping(int) {
  constexpr char kText[] = "rastel: a file became shorter, or its disk failed, while it was read\n";
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, kText, sizeof(kText) - 1);
  _exit(1);
}

Bytes Map(std::FILE* file) {
  struct stat state {};
  if (fstat(fileno(file), &state) != 0 || !S_ISREG(state.st_mode) || state.st_size <= 0) return {};
  const auto size = static_cast<std::size_t>(state.st_size);
  void* const view = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fileno(file), 0);
  if (view == MAP_FAILED) return {};
  signal(SIGBUS, &EndOfMapping);
  return {static_cast<const std::uint8_t*>(view), size};
}

void Unmap(Bytes bytes) { munmap(const_cast<std::uint8_t*>(bytes.data()), bytes.size()); }

// Whole pages alone; looked at again, they come back from the file.
void LetGo(Bytes part) {
  static const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = (reinterpret_cast<std::uintptr_t>(part.data()) + page - 1) / page * page;
  const auto end = reinterpret_cast<std::uintptr_t>(part.data() + part.size()) / page * page;
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
}

#endif

std::FILE* Open(const std::filesystem::path& path) {
#ifdef _WIN32
  return _wfopen(path.c_str(), L"rb");
#else
  return std::fopen(path.c_str(), "rbe");
#endif
}

}  // namespace

InputFile::InputFile(const std::string& name) {
  if (name == "-") {
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    content_ = ReadToEnd(stdin, "standard input");
    bytes_ = content_;
    return;
  }
  const std::filesystem::path path = PathOf(name);
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw std::runtime_error(name + ": is a folder");
  }
  const std::unique_ptr<std::FILE, Close> file(Open(path));
  if (!file) Fail(name);
  bytes_ = Map(file.get());
  isMapped_ = !bytes_.empty();
  if (isMapped_) return;
  content_ = ReadToEnd(file.get(), name);
  bytes_ = content_;
}

InputFile::~InputFile() {
  if (isMapped_) Unmap(bytes_);
}

void InputFile::Release(Bytes part) const {
  if (isMapped_) LetGo(part);
}

}  // namespace tools
