// SPDX-License-Identifier: MIT
// A bar on the terminal for what takes longer than a second.
#pragma once

#include <chrono>
#include <cstdint>

namespace tools {

enum class ProgressMode {
  kTerminal,  // where standard error is one
  kAlways,    // also where it is not, and from the start
  kNever,
};

class Progress {
 public:
  // Of so many bytes.
  Progress(std::uint64_t total, ProgressMode mode);
  // Takes the bar away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // How many are done. May be called as often as one likes.
  void Done(std::uint64_t bytes);

 private:
  using Clock = std::chrono::steady_clock;

  std::uint64_t total_;
  bool isWanted_;
  bool isDrawn_ = false;
  Clock::time_point next_;
};

}  // namespace tools
