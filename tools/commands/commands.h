// SPDX-License-Identifier: MIT
// The commands of the program, one file each. A command adds itself with its options; when it was
// parsed, its action is what the program does.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "tools/stream_options.h"

namespace tools {

enum ExitCode { kWhole = 0, kBroken = 1, kWrongUsage = 2 };

// Failures leave it as std::exception.
using Action = std::function<ExitCode()>;

void AddInfo(CLI::App& app, Action& action);
void AddDump(CLI::App& app, Action& action);
void AddReport(CLI::App& app, Action& action);
void AddSum(CLI::App& app, Action& action);
void AddVerify(CLI::App& app, Action& action);
void AddUpgrade(CLI::App& app, Action& action);
void AddRegister(CLI::App& app, Action& action);
void AddUnregister(CLI::App& app, Action& action);
void AddClasses(CLI::App& app, Action& action);
void AddImport(CLI::App& app, Action& action);
void AddExport(CLI::App& app, Action& action);

// Adds a command that reads a file with a stream, or several.
CLI::App* AddStreamCommand(CLI::App& app, const char* name, const char* what,
                           StreamOptions& options);
CLI::App* AddStreamsCommand(CLI::App& app, const char* name, const char* what,
                            StreamsOptions& options);

// Says on standard error why something failed.
void SayFailure(const std::string& text);

// Does the work for each file, also behind one with which it failed, and gives the worst that came
// of it. What failed is said, and handed on if somebody wants to know.
ExitCode ForEachFile(const std::vector<std::string>& files,
                     const std::function<ExitCode(const std::string& file)>& work,
                     const std::function<void(const std::string& file, const std::string& reason)>&
                         onFailure = nullptr);

}  // namespace tools
