// SPDX-License-Identifier: MIT
// Collects the debug texts of the process while it is alive. One at a time; any thread may write.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace tests {

class DebugCapture {
 public:
  DebugCapture();
  ~DebugCapture();
  DebugCapture(const DebugCapture&) = delete;
  DebugCapture& operator=(const DebugCapture&) = delete;

  // The texts so far, one for each call of OutputDebugStringA.
  std::vector<std::string> Texts() const;
  void Clear();

  // For the host's hook.
  void Add(const char* text);

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> texts_;
  [[maybe_unused]] void* hook_ = nullptr;  // of the platform
};

}  // namespace tests
