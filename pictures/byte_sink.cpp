// SPDX-License-Identifier: MIT
#include "pictures/byte_sink.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <random>
#include <stdexcept>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace pictures {
namespace {

namespace fs = std::filesystem;

// What ends a process takes the part with it. A program that looks after signals by itself is left
// to do so.
#ifdef _WIN32
volatile LONG isInterrupted = 0;
BOOL WINAPI OnControl(DWORD) {
  InterlockedExchange(&isInterrupted, 1);
  return TRUE;
}
void WatchInterrupts(const fs::path&) { SetConsoleCtrlHandler(&OnControl, TRUE); }
void UnwatchInterrupts() { SetConsoleCtrlHandler(&OnControl, FALSE); }
bool IsInterrupted() { return isInterrupted != 0; }
#else
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
char pendingPart[4096];
void OnSignal(int number) {
  unlink(pendingPart);
  std::signal(number, SIG_DFL);
  raise(number);
}
void WatchInterrupts(const fs::path& part) {
  if (part.native().size() >= sizeof pendingPart) return;
  std::strcpy(pendingPart, part.c_str());
  for (const int number : kSignals) {
    struct sigaction now {};
    if (sigaction(number, nullptr, &now) == 0 && now.sa_handler == SIG_DFL) {
      std::signal(number, &OnSignal);
    }
  }
}
void UnwatchInterrupts() {
  for (const int number : kSignals) {
    struct sigaction now {};
    if (sigaction(number, nullptr, &now) == 0 && now.sa_handler == &OnSignal) {
      std::signal(number, SIG_DFL);
    }
  }
}
bool IsInterrupted() { return false; }
#endif

std::FILE* OpenToWrite(const fs::path& path) {
#ifdef _WIN32
  return _wfopen(path.c_str(), L"wb");
#else
  return std::fopen(path.c_str(), "wbe");
#endif
}

// A name beside the file that nobody else has, no longer than need be.
fs::path NameBeside(const fs::path& path) {
  static constexpr char kLetters[] = "0123456789abcdefghijklmnopqrstuv";
  std::random_device random;
  std::string name;
  for (int i = 0; i < 20; ++i) name += kLetters[random() % 32];
  return path.parent_path() / (name + ".part");
}

// Hands the file's bytes to the device, so that a crash of the system finds them there.
bool Settle(std::FILE* file) {
#ifdef _WIN32
  return _commit(_fileno(file)) == 0;
#else
  return fsync(fileno(file)) == 0;
#endif
}

}  // namespace

void MemorySink::Write(const void* bytes, std::size_t count) {
  const auto at = static_cast<std::size_t>(position_);
  if (at + count > bytes_.size()) bytes_.resize(at + count);
  if (count > 0) std::memcpy(bytes_.data() + at, bytes, count);
  position_ += count;
}

OutputFile::OutputFile(const fs::path& path) : target_(path) {
  const std::u8string name = path.u8string();
  name_ = path == "-" ? "standard output" : std::string(name.begin(), name.end());
  if (path == "-") return;
  std::error_code ignored;
  const fs::file_status old = fs::status(path, ignored);
  if (fs::is_directory(old)) throw std::runtime_error(name_ + ": is a folder");
  if (fs::exists(old) && !fs::is_regular_file(old)) return;
  if (fs::is_symlink(fs::symlink_status(path, ignored))) target_ = fs::weakly_canonical(path);
  part_ = NameBeside(target_);
  WatchInterrupts(part_);
  file_.reset(OpenToWrite(part_));
  if (!file_) {
    UnwatchInterrupts();
    Fail();
  }
  // Rows of an AOI come one by one.
  constexpr std::size_t kBufferBytes = std::size_t{1} << 18;
  std::setvbuf(file_.get(), nullptr, _IOFBF, kBufferBytes);
}

OutputFile::~OutputFile() { Discard(); }

void OutputFile::Discard() noexcept {
  if (!file_) return;
  file_.reset();
  std::error_code ignored;
  // It may have the permissions of a file that cannot be removed.
  fs::permissions(part_, fs::perms::owner_write, fs::perm_options::add, ignored);
  fs::remove(part_, ignored);
  UnwatchInterrupts();
}

void OutputFile::Fail() const {
  const int reason = errno;
  throw std::runtime_error(name_ + ": cannot be written" +
                           (reason ? std::string(": ") + std::strerror(reason) : ""));
}

void OutputFile::Write(const void* bytes, std::size_t count) {
  if (IsInterrupted()) throw std::runtime_error("interrupted");
  if (!file_) return memory_.Write(bytes, count);
  errno = 0;
  if (std::fwrite(bytes, 1, count, file_.get()) != count) Fail();
  position_ += count;
}

void OutputFile::Seek(std::uint64_t position) {
  if (position == this->position()) return;
  if (!file_) return memory_.Seek(position);
  errno = 0;
#ifdef _WIN32
  const int result = _fseeki64(file_.get(), static_cast<std::int64_t>(position), SEEK_SET);
#else
  const int result = fseeko(file_.get(), static_cast<off_t>(position), SEEK_SET);
#endif
  if (result != 0) Fail();
  position_ = position;
}

std::uint64_t OutputFile::position() const { return file_ ? position_ : memory_.position(); }

void OutputFile::Flush() {
  errno = 0;
  if (file_ && std::fflush(file_.get()) != 0) Fail();
}

void OutputFile::Commit() {
  errno = 0;
  if (!file_) {
    std::FILE* const open = target_ == "-" ? stdout : OpenToWrite(target_);
    if (!open) Fail();
#ifdef _WIN32
    if (open == stdout) _setmode(_fileno(stdout), _O_BINARY);
#endif
    const std::string& all = memory_.bytes();
    bool isWritten = std::fwrite(all.data(), 1, all.size(), open) == all.size();
    isWritten = std::fflush(open) == 0 && isWritten;
    if (open != stdout && std::fclose(open) != 0) isWritten = false;
    if (!isWritten) Fail();
    return;
  }
  std::error_code error;
  const fs::file_status old = fs::status(target_, error);
  error.clear();
  Flush();
  // Only where there is something to lose: a new file that a crash cuts was never there.
  if (fs::exists(old)) {
    if (!Settle(file_.get())) Fail();
    fs::permissions(part_, old.permissions(), error);
  }
  file_.reset();
  if (!error) fs::rename(part_, target_, error);
  if (error) {
    std::error_code ignored;
    fs::permissions(part_, fs::perms::owner_write, fs::perm_options::add, ignored);
    fs::remove(part_, ignored);
  }
  UnwatchInterrupts();
  if (error) throw std::runtime_error(name_ + ": cannot be written: " + error.message());
}

}  // namespace pictures
