// SPDX-License-Identifier: MIT
// The commands of the program, one file each: what they are told, and what they do. Failures leave
// them as std::exception. Import and export are told as tools/pictures.h says.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/progress.h"
#include "tools/stream_options.h"

namespace tools {

enum ExitCode { kWhole = 0, kBroken = 1, kWrongUsage = 2 };

struct InfoOptions : StreamsOptions {
  bool isJson = false;
  bool hasStatistics = false;
};
ExitCode Info(const InfoOptions& options);

struct DumpOptions : StreamsOptions {
  bool isAll = false;
  bool isJson = false;
};
ExitCode Dump(const DumpOptions& options);

struct ReportOptions : StreamOptions {
  std::string page;
};
ExitCode Report(const ReportOptions& options);

struct SumOptions {
  std::vector<std::string> files;
  ProgressMode progress = ProgressMode::kTerminal;
};
ExitCode Sum(const SumOptions& options);

struct VerifyOptions : SumOptions {
  std::string with;  // empty: beside each file
};
ExitCode Verify(const VerifyOptions& options);

struct UpgradeOptions : StreamOptions {
  std::string newFile;
  ProgressMode progress = ProgressMode::kTerminal;
};
ExitCode Upgrade(const UpgradeOptions& options);

struct ModuleOptions {
  std::string module;  // empty: the one of this program
  bool isForUser = false;
};
struct RegisterOptions : ModuleOptions {
  std::string package;  // not on Windows
};
ExitCode Register(const RegisterOptions& options);
struct UnregisterOptions : ModuleOptions {
  bool isForced = false;
};
ExitCode Unregister(const UnregisterOptions& options);

struct ClassesOptions {
  bool isJson = false;
};
ExitCode Classes(const ClassesOptions& options);

// Says on standard error why something failed.
void SayFailure(const std::string& text);

// Does the work for each file, also behind one with which it failed, and gives the worst that came
// of it. What failed is said, and handed on if somebody wants to know.
ExitCode ForEachFile(const std::vector<std::string>& files,
                     const std::function<ExitCode(const std::string& file)>& work,
                     const std::function<void(const std::string& file, const std::string& reason)>&
                         onFailure = nullptr);

}  // namespace tools
