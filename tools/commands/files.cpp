// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/listing.h"

namespace tools {

void SayFailure(const std::string& text) {
  std::fflush(stdout);
  std::fprintf(stderr, "rastel: %s\n", text.c_str());
}

ExitCode ForEachFile(
    const std::vector<std::string>& files,
    const std::function<ExitCode(const std::string& file)>& work,
    const std::function<void(const std::string& file, const std::string& reason)>& onFailure) {
  ExitCode worst = kWhole;
  for (const std::string& file : files) {
    try {
      worst = std::max(worst, work(file));
    } catch (const OutputFailure&) {
      throw;
    } catch (const std::exception& error) {
      const std::string reason = error.what();
      const bool isNamed = files.size() == 1 || reason.starts_with(file + ": ");
      SayFailure(isNamed ? reason : file + ": " + reason);
      if (onFailure) onFailure(file, reason);
      worst = kBroken;
    }
  }
  return worst;
}

}  // namespace tools
