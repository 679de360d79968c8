// SPDX-License-Identifier: MIT
// rastel: tells what is in a file that holds the stream of an object, brings it to the newest
// version of its format, and turns pictures into AOIs and back. See docs/rastel_tool.md.
#include <algorithm>
#include <cstdio>
#include <exception>

#include "rastelklp_version.h"
#include "tools/commands/commands.h"
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

int Run(std::vector<std::string> words) {
  CLI::App app(
      "Registers the module, tells what is in the streams of its objects, and turns pictures into "
      "AOIs and back.",
      "rastel");
  // A path may start with a slash on either host.
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.set_version_flag("--version", "rastel " RASTELKLP_VERSION);
  app.footer(
      "Exit code: 0 done, the file is whole; 1 it is broken, cannot be read or cannot be "
      "written; 2 wrong usage.");
  Action action;
  for (const auto add : {AddInfo, AddDump, AddUpgrade, AddRegister, AddUnregister, AddClasses,
                         AddImport, AddExport}) {
    add(app, action);
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
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "rastel: %s\n", error.what());
    return kBroken;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Utf8Console console;
  return Run(Utf8Arguments(argc, argv));
}
