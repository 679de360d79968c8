// SPDX-License-Identifier: MIT
// --quiet and --progress of commands that may take long.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/progress.h"

namespace tools {

class ProgressOptions {
 public:
  // Must outlive the parsing.
  void AddTo(CLI::App& command) {
    CLI::Option* const quiet = command.add_flag("--quiet", isQuiet_, "No bar on the terminal");
    command.add_flag("--progress", hasProgress_, "A bar also where there is no terminal")
        ->excludes(quiet);
  }
  ProgressMode Mode() const {
    return isQuiet_       ? ProgressMode::kNever
           : hasProgress_ ? ProgressMode::kAlways
                          : ProgressMode::kTerminal;
  }

 private:
  bool isQuiet_ = false;
  bool hasProgress_ = false;
};

}  // namespace tools
