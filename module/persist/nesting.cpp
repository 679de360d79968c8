// SPDX-License-Identifier: MIT
#include "module/persist/nesting.h"

#include "platform/thread_word.h"

namespace rastel {
namespace {

// The lowest bit tells that the limit was hit, the others are the number of open levels.
using ThreadNesting = platform::ThreadWord<NestingLevel>;
constexpr std::uintptr_t kHasHitLimit = 1;
constexpr std::uintptr_t kOneLevel = 2;

}  // namespace

NestingLevel::NestingLevel(Kind kind) noexcept {
  std::uintptr_t word = ThreadNesting::Get();
  const bool isNestedCall = kind == Kind::kNestedCall;
  if (isNestedCall && word >= kMostNestingLevels * kOneLevel) {
    word |= kHasHitLimit;
    ThreadNesting::Set(word);
  }
  if ((word & kHasHitLimit) != 0) {
    result_ = E_ACCESSDENIED;
  } else if (word == 0 || isNestedCall) {
    isOpen_ = ThreadNesting::Set(word + kOneLevel);
    if (!isOpen_) result_ = E_OUTOFMEMORY;
  }
}

NestingLevel::~NestingLevel() {
  if (!isOpen_) return;
  const std::uintptr_t word = ThreadNesting::Get() - kOneLevel;
  ThreadNesting::Set(word < kOneLevel ? 0 : word);
}

}  // namespace rastel
