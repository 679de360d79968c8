// SPDX-License-Identifier: MIT
#include "tools/progress.h"

#include <cstdio>
#include <string>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tools {
namespace {

bool IsTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

constexpr int kWidth = 40;

}  // namespace

Progress::Progress(std::uint64_t total, ProgressMode mode)
    : total_(total),
      isWanted_(total > 0 && mode != ProgressMode::kNever &&
                (mode == ProgressMode::kAlways || IsTerminal())),
      next_(Clock::now()) {
  if (mode == ProgressMode::kTerminal) next_ += std::chrono::seconds(1);
}

Progress::~Progress() {
  if (isDrawn_) std::fprintf(stderr, "\r%*s\r", kWidth + 8, "");
}

void Progress::Done(std::uint64_t bytes) {
  if (!isWanted_ || Clock::now() < next_) return;
  const double part = static_cast<double>(bytes) / static_cast<double>(total_);
  const int filled = static_cast<int>(part * kWidth);
  std::string bar(static_cast<std::size_t>(filled), '#');
  bar.resize(kWidth, '-');
  std::fprintf(stderr, "\r[%s] %3d %%", bar.c_str(), static_cast<int>(part * 100));
  std::fflush(stderr);
  isDrawn_ = true;
  next_ = Clock::now() + std::chrono::milliseconds(100);
}

}  // namespace tools
