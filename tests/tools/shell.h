// SPDX-License-Identifier: MIT
// A shell for sessions at a command line: texts of what was typed and what the programs said to it,
// which docs/tests.md describes.
#pragma once

#include <filesystem>
#include <string>

#include "tests/support/temp_file.h"

namespace tests {

class Shell {
 public:
  // In a working folder and a registry of its own.
  Shell();
  // Takes the module out of the registry, which programs share on some hosts.
  ~Shell();
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  // Runs the commands of a session, and gives the session as it went now: the same text if the
  // programs say what they said then.
  std::string Play(const std::string& session);
  // One command: what was said, and the exit code if it is not 0.
  std::string Run(const std::string& command);

 private:
  const TempFile work_;
  const TempFile registry_{"registry"};
  const std::filesystem::path oldFolder_ = std::filesystem::current_path();
};

std::string FileContent(const std::filesystem::path& path);

}  // namespace tests
