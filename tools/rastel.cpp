// SPDX-License-Identifier: MIT
// rastel: the program for files that hold the stream of an object. See docs/rastel_tool.md.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>

#include "tools/commands/command_line.h"
#include "tools/loaded_object.h"
#include "tools/paths.h"

namespace {

using namespace tools;

// The console shows UTF-8 while the program runs; files and pipes get it anyway.
class Utf8Console {
 public:
#ifdef _WIN32
  Utf8Console() : old_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
  ~Utf8Console() { SetConsoleOutputCP(old_); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;

 private:
  UINT old_;
#else
  Utf8Console() {}
#endif
};

class ComRuntime {
 public:
  ComRuntime() { Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "CoInitializeEx"); }
  ~ComRuntime() { CoUninitialize(); }
  ComRuntime(const ComRuntime&) = delete;
  ComRuntime& operator=(const ComRuntime&) = delete;
};

ExitCode Run(std::vector<std::string> words) {
  const CommandLine line = ParseCommandLine(std::move(words));
  if (!line.command) return line.code;
  try {
    const ComRuntime runtime;
    return line.command();
  } catch (const OutputFailure&) {
    // What is wrong is said at the end.
    return kBroken;
  } catch (const std::exception& error) {
    SayFailure(error.what());
    return kBroken;
  }
}

// Whether everything that was said arrived: a disk may be full, and a reader may have gone.
bool HasArrived() {
  errno = 0;
  std::cout.flush();
  std::fflush(stdout);
  const int reason = errno;
  if (std::ferror(stdout) == 0 && std::cout.good()) return true;
  SayFailure(std::string("standard output: cannot be written") +
             (reason == 0 ? "" : std::string(": ") + std::strerror(reason)));
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const Utf8Console console;
#ifndef _WIN32
  // A closed pipe is a failing write.
  std::signal(SIGPIPE, SIG_IGN);
#endif
  const ExitCode code = Run(Utf8Arguments(argc, argv));
  return HasArrived() || code == kWrongUsage ? code : kBroken;
}
