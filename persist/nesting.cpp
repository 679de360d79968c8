#include "persist/nesting.h"

namespace rastel {
namespace {

struct ThreadNesting {
  unsigned levels;
  bool hasHitLimit;
};

// Trivial, so that a thread's end has nothing to undo.
constinit thread_local ThreadNesting nesting{};

}  // namespace

NestingLevel::NestingLevel(Kind kind) noexcept {
  ThreadNesting& thread = nesting;
  if (thread.levels >= kMostNestingLevels && kind == Kind::kNestedCall) thread.hasHitLimit = true;
  if (thread.hasHitLimit) {
    result_ = E_ACCESSDENIED;
  } else if (thread.levels == 0 || kind == Kind::kNestedCall) {
    ++thread.levels;
    isOpen_ = true;
  }
}

NestingLevel::~NestingLevel() {
  if (!isOpen_) return;
  ThreadNesting& thread = nesting;
  if (--thread.levels == 0) thread.hasHitLimit = false;
}

}  // namespace rastel
