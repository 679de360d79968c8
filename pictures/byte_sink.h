// SPDX-License-Identifier: MIT
// Bytes of a file on their way out.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace pictures {

class ByteSink {
 public:
  virtual ~ByteSink() = default;
  // Raise std::runtime_error.
  virtual void Write(const void* bytes, std::size_t count) = 0;
  // To any place, also one beyond the end.
  virtual void Seek(std::uint64_t position) = 0;
  virtual std::uint64_t position() const = 0;
};

class MemorySink final : public ByteSink {
 public:
  void Write(const void* bytes, std::size_t count) override;
  void Seek(std::uint64_t position) override { position_ = position; }
  std::uint64_t position() const override { return position_; }
  std::string& bytes() noexcept { return bytes_; }
  const std::string& bytes() const noexcept { return bytes_; }

 private:
  std::string bytes_;
  std::uint64_t position_ = 0;
};

// A file that gets its content as a whole or stays as it was: the bytes go to a new file beside it,
// which takes its place on Commit and goes without one, also where an interrupt, a hang-up or a
// termination ends the process. A link keeps leading to its file; what is no regular file (a
// device, a pipe, "-" for standard output) gets its bytes on Commit. One at a time.
class OutputFile final : public ByteSink {
 public:
  explicit OutputFile(const std::filesystem::path& path);
  ~OutputFile() override;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // The file that is written meanwhile; empty where there is none.
  const std::filesystem::path& part() const noexcept { return part_; }
  // What was written so far, where there is no part.
  std::string_view held() const noexcept { return memory_.bytes(); }
  // Writes everything that was written so far to the part.
  void Flush();
  void Commit();

  void Write(const void* bytes, std::size_t count) override;
  void Seek(std::uint64_t position) override;
  std::uint64_t position() const override;

 private:
  [[noreturn]] void Fail() const;
  void Discard() noexcept;

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::string name_;
  std::filesystem::path target_;
  std::filesystem::path part_;
  std::unique_ptr<std::FILE, Close> file_;
  std::uint64_t position_ = 0;
  // Where there is no part.
  MemorySink memory_;
};

}  // namespace pictures
