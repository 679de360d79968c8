// SPDX-License-Identifier: MIT
// Calls of the system about files that fail as a row says. They stand in front of the system's own,
// for the host's library too.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "tests/host/host_operations.h"

namespace {

struct {
  std::string call;
  int error = 0;
  long long times = 0;
} fault;

long Do(const char* call, long number, auto... arguments) {
  if (fault.times > 0 && fault.call == call) {
    --fault.times;
    errno = fault.error;
    return -1;
  }
  return syscall(number, arguments...);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {
int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(more, int) : 0;
  va_end(more);
  return static_cast<int>(Do("open", SYS_open, path, flags, mode));
}
int stat(const char* path, struct stat* status) noexcept {
  return static_cast<int>(Do("stat", SYS_stat, path, status));
}
int fstat(int file, struct stat* status) noexcept {
  return static_cast<int>(Do("fstat", SYS_fstat, file, status));
}
ssize_t read(int file, void* data, std::size_t bytes) {
  return Do("read", SYS_read, file, data, bytes);
}
ssize_t write(int file, const void* data, std::size_t bytes) {
  return Do("write", SYS_write, file, data, bytes);
}
int fsync(int file) { return static_cast<int>(Do("fsync", SYS_fsync, file)); }
int close(int file) { return static_cast<int>(Do("close", SYS_close, file)); }
int rename(const char* from, const char* to) noexcept {
  return static_cast<int>(Do("rename", SYS_rename, from, to));
}
int flock(int file, int operation) noexcept {
  return static_cast<int>(Do("flock", SYS_flock, file, operation));
}
}
#pragma GCC visibility pop

namespace tests::facts {
namespace {

// The next calls of one kind fail, so often, with an error of the system.
const MoreOperations kOperations(Operations{{"SystemFails", [](Words& words) {
                                               fault.call = words.Next();
                                               fault.error = static_cast<int>(words.Number());
                                               fault.times = words.Number();
                                               return std::string("so");
                                             }}});

}  // namespace
}  // namespace tests::facts
