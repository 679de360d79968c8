// SPDX-License-Identifier: MIT
// Bytes of a picture file on their way in.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace pictures {

// The path "-" stands for standard input, which is read to its end first, as is everything else
// that has no size. Failures raise std::runtime_error that begins with the name.
class ByteSource {
 public:
  explicit ByteSource(const std::filesystem::path& path);
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  const std::string& name() const noexcept { return name_; }
  std::uint64_t size() const noexcept { return size_; }
  std::uint64_t position() const noexcept { return position_; }
  std::uint64_t left() const noexcept { return size_ - position_; }
  // To 0 .. size().
  void Seek(std::uint64_t position);
  // How many bytes came: fewer than asked for at the end alone.
  std::size_t ReadSome(void* to, std::size_t bytes);
  // Raises "ends early" where there are fewer.
  void Read(void* to, std::size_t bytes);
  // The next byte, or -1 at the end.
  int Next();

  [[noreturn]] void Fail(const std::string& what) const;

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::string name_;
  std::unique_ptr<std::FILE, Close> file_;
  // Where there is no file.
  std::string bytes_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
};

// UTF-8, "standard input" for "-".
std::string NameOf(const std::filesystem::path& path);

}  // namespace pictures
