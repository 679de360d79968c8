// SPDX-License-Identifier: MIT
// Runs programs as children of a test. Paths and arguments are UTF-8.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace tests {

struct ChildResult {
  // The child had to be ended because its time was over.
  bool hasTimedOut = false;
  // Not 0 either where the child could not be started, or did not end by itself.
  int exitCode = -1;
  // Standard output and standard error together.
  std::string output;
};

// Starts a program with arguments, without the program's own name, and waits for its end. Standard
// input is a file, or nothing.
ChildResult RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                       std::chrono::seconds limit = std::chrono::seconds(20),
                       const std::string& input = "");

// The path of the program that is running.
std::string ThisProgram();

}  // namespace tests
