// SPDX-License-Identifier: MIT
// rastel: the program for files that hold the stream of an object. See docs/rastel_tool.md.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>

#include "rastelklp_version.h"
#include "tools/commands/commands.h"
#include "tools/loaded_object.h"
#include "tools/nearest_word.h"
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

// A command that is not there, else empty.
std::string MistypedCommand(const CLI::App& app, const std::vector<std::string>& words) {
  if (words.size() < 2 || words[1].starts_with('-')) return "";
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  if (std::find(names.begin(), names.end(), words[1]) != names.end()) return "";
  std::string text = "there is no command " + words[1];
  const std::string nearest = NearestWord(words[1], names);
  if (!nearest.empty()) return text + ": is " + nearest + " meant?";
  text += "; there are";
  for (const std::string& name : names) text += ' ' + name;
  return text;
}

ExitCode Run(std::vector<std::string> words) {
  CLI::App app(
      "Tells what is in the streams of objects, shows and checks them, turns pictures into AOIs "
      "and "
      "back, and registers the module.",
      "rastel");
  // A path may start with a slash on either host.
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.set_version_flag("--version", "rastel " RASTELKLP_VERSION);
  app.footer(
      "Exit code: 0 done, the file is whole; 1 it is broken, or something could not be read or "
      "written; 2 wrong usage.");
  Action action;
  for (const auto add : {AddInfo, AddDump, AddReport, AddSum, AddVerify, AddUpgrade, AddImport,
                         AddExport, AddRegister, AddUnregister, AddClasses}) {
    add(app, action);
  }
  const std::string mistyped = MistypedCommand(app, words);
  if (!mistyped.empty()) {
    SayFailure(mistyped);
    return kWrongUsage;
  }
  try {
    // The library takes them from the end.
    std::reverse(words.begin(), words.end());
    words.pop_back();
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kWhole : kWrongUsage;
  }
  try {
    const ComRuntime runtime;
    return action();
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
