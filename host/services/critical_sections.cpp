// SPDX-License-Identifier: MIT
#include "host/services/critical_sections.h"

#include <atomic>
#include <cstddef>
#include <new>

#include "host/base/constants.h"
#include "host/base/single_thread.h"

namespace {

// Who owns a section, 0 for nobody, and whether a thread may sleep until it is left. Entering and
// leaving without others around costs one atomic exchange each, and not even that as long as the
// process has no second thread.
struct Section {
  std::atomic<std::uintptr_t> owner{0};
  std::size_t entriesMore = 0;  // of the owner, who alone looks at them
};
static_assert(sizeof(Section) <= sizeof(CRITICAL_SECTION) &&
              alignof(Section) <= alignof(CRITICAL_SECTION));

// In the owner's word.
constexpr std::uintptr_t kIsAwaited = 1;

Section& SectionIn(LPCRITICAL_SECTION section) noexcept {
  return *std::launder(reinterpret_cast<Section*>(section->opaque));
}

// The address of something that every thread has for itself, beside its other static data.
std::uintptr_t ThisThread() noexcept {
  static constinit thread_local std::uintptr_t place = 0;
  return reinterpret_cast<std::uintptr_t>(&place);
}

bool EnterAtOnce(Section& section, std::uintptr_t thread) noexcept {
  std::uintptr_t owner = section.owner.load(std::memory_order_relaxed);
  if (owner == 0) {
    if (host::IsSingleThreaded()) {
      section.owner.store(thread, std::memory_order_relaxed);
      return true;
    }
    if (section.owner.compare_exchange_strong(owner, thread, std::memory_order_acquire)) {
      return true;
    }
  }
  if ((owner & ~kIsAwaited) != thread) return false;
  ++section.entriesMore;
  return true;
}

// Whoever slept may not be the only one who did, and leaves the mark of that.
[[gnu::noinline]] void EnterLater(Section& section, std::uintptr_t thread) noexcept {
  std::uintptr_t owner = section.owner.load(std::memory_order_relaxed);
  for (;;) {
    if (owner == 0) {
      if (section.owner.compare_exchange_weak(owner, thread | kIsAwaited,
                                              std::memory_order_acquire)) {
        return;
      }
    } else if ((owner & kIsAwaited) != 0 ||
               section.owner.compare_exchange_weak(owner, owner | kIsAwaited,
                                                   std::memory_order_relaxed)) {
      section.owner.wait(owner | kIsAwaited, std::memory_order_relaxed);
      owner = section.owner.load(std::memory_order_relaxed);
    }
  }
}

}  // namespace

BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD) noexcept {
  new (section->opaque) Section;
  return TRUE;
}

void EnterCriticalSection(LPCRITICAL_SECTION section) noexcept {
  const std::uintptr_t thread = ThisThread();
  if (!EnterAtOnce(SectionIn(section), thread)) EnterLater(SectionIn(section), thread);
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section) noexcept {
  return EnterAtOnce(SectionIn(section), ThisThread()) ? TRUE : FALSE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION section) noexcept {
  Section& left = SectionIn(section);
  if ((left.owner.load(std::memory_order_relaxed) & ~kIsAwaited) != ThisThread()) return;
  if (left.entriesMore != 0) {
    --left.entriesMore;
  } else if (host::IsSingleThreaded()) {
    left.owner.store(0, std::memory_order_relaxed);
  } else if ((left.owner.exchange(0, std::memory_order_release) & kIsAwaited) != 0) {
    left.owner.notify_one();
  }
}

void DeleteCriticalSection(LPCRITICAL_SECTION section) noexcept { SectionIn(section).~Section(); }
