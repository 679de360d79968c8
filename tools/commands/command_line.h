// SPDX-License-Identifier: MIT
// How the commands and their options are written.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/commands/commands.h"

namespace tools {

struct CommandLine {
  // What is asked for. Empty where all is said already: help, or how to write it.
  std::function<ExitCode()> command;
  ExitCode code = kWhole;
};

// The words as main() gets them, the program's own name first.
CommandLine ParseCommandLine(std::vector<std::string> words);

}  // namespace tools
