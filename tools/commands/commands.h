// SPDX-License-Identifier: MIT
// The commands of the program, one file each. A command adds itself with its options; when it was
// parsed, its action is what the program does.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "tools/stream_options.h"

namespace tools {

enum ExitCode { kWhole = 0, kBroken = 1, kWrongUsage = 2 };

// Failures leave it as std::exception.
using Action = std::function<ExitCode()>;

void AddInfo(CLI::App& app, Action& action);
void AddDump(CLI::App& app, Action& action);
void AddUpgrade(CLI::App& app, Action& action);
void AddRegister(CLI::App& app, Action& action);
void AddUnregister(CLI::App& app, Action& action);
void AddClasses(CLI::App& app, Action& action);
void AddImport(CLI::App& app, Action& action);
void AddExport(CLI::App& app, Action& action);

// Adds a command that reads a file with a stream.
CLI::App* AddStreamCommand(CLI::App& app, const char* name, const char* what,
                           StreamOptions& options);

}  // namespace tools
