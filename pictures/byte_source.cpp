// SPDX-License-Identifier: MIT
#include "pictures/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace pictures {
namespace {

std::string ReadToEnd(std::FILE* file) {
  std::string all;
  constexpr std::size_t kChunk = 1 << 16;
  for (std::size_t count = kChunk; count == kChunk;) {
    const std::size_t before = all.size();
    all.resize(before + kChunk);
    count = std::fread(all.data() + before, 1, kChunk, file);
    all.resize(before + count);
  }
  return all;
}

bool SeekTo(std::FILE* file, std::int64_t position, int origin) {
#ifdef _WIN32
  return _fseeki64(file, position, origin) == 0;
#else
  return fseeko(file, position, origin) == 0;
#endif
}

std::int64_t Tell(std::FILE* file) {
#ifdef _WIN32
  return _ftelli64(file);
#else
  return ftello(file);
#endif
}

}  // namespace

std::string NameOf(const std::filesystem::path& path) {
  const std::u8string name = path.u8string();
  return name == u8"-" ? "standard input" : std::string(name.begin(), name.end());
}

ByteSource::ByteSource(const std::filesystem::path& path) : name_(NameOf(path)) {
  if (path == "-") {
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    bytes_ = ReadToEnd(stdin);
    if (std::ferror(stdin)) Fail("cannot be read");
    size_ = bytes_.size();
    return;
  }
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) Fail("is a folder");
#ifdef _WIN32
  file_.reset(_wfopen(path.c_str(), L"rb"));
#else
  file_.reset(std::fopen(path.c_str(), "rbe"));
#endif
  if (!file_) {
    Fail(errno == ENOENT ? "no such file" : std::string("cannot be read: ") + std::strerror(errno));
  }
  if (std::filesystem::is_regular_file(path, ignored) && SeekTo(file_.get(), 0, SEEK_END)) {
    size_ = static_cast<std::uint64_t>(Tell(file_.get()));
    SeekTo(file_.get(), 0, SEEK_SET);
  } else {
    bytes_ = ReadToEnd(file_.get());
    size_ = bytes_.size();
    file_.reset();
  }
}

void ByteSource::Seek(std::uint64_t position) {
  if (position == position_) return;
  if (position > size_) Fail("ends early");
  if (file_ && !SeekTo(file_.get(), static_cast<std::int64_t>(position), SEEK_SET)) {
    Fail("cannot be read");
  }
  position_ = position;
}

std::size_t ByteSource::ReadSome(void* to, std::size_t bytes) {
  std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, left()));
  if (count == 0) return 0;
  if (file_) {
    count = std::fread(to, 1, count, file_.get());
    if (std::ferror(file_.get())) Fail("cannot be read");
  } else {
    std::memcpy(to, bytes_.data() + position_, count);
  }
  position_ += count;
  return count;
}

void ByteSource::Read(void* to, std::size_t bytes) {
  if (ReadSome(to, bytes) != bytes) Fail("ends early");
}

int ByteSource::Next() {
  unsigned char byte = 0;
  return ReadSome(&byte, 1) == 1 ? byte : -1;
}

void ByteSource::Fail(const std::string& what) const {
  throw std::runtime_error(name_ + ": " + what);
}

}  // namespace pictures
