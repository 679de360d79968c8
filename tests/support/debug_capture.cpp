// SPDX-License-Identifier: MIT
#include "tests/support/debug_capture.h"

#include <atomic>

#include "tests/support/fault_stream.h"

namespace tests {

#ifdef _WIN32
namespace {

// What a debugger would see, raised in the thread that writes.
constexpr DWORD kDebugText = 0x40010006;

std::atomic<DebugCapture*> current{nullptr};

LONG CALLBACK Hear(EXCEPTION_POINTERS* raised) {
  const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
  DebugCapture* capture = current.load();
  if (record.ExceptionCode != kDebugText || record.NumberParameters < 2 || capture == nullptr) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  capture->Add(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

DebugCapture::DebugCapture() {
  current.store(this);
  hook_ = AddVectoredExceptionHandler(1, Hear);
}

DebugCapture::~DebugCapture() {
  RemoveVectoredExceptionHandler(hook_);
  current.store(nullptr);
}
#else
DebugCapture::DebugCapture() {
  HostSetDebugSink(
      [](const char* text, void* capture) { static_cast<DebugCapture*>(capture)->Add(text); },
      this);
}

DebugCapture::~DebugCapture() { HostSetDebugSink(nullptr, nullptr); }
#endif

std::vector<std::string> DebugCapture::Texts() const {
  std::lock_guard lock(mutex_);
  return texts_;
}

void DebugCapture::Clear() {
  std::lock_guard lock(mutex_);
  texts_.clear();
}

void DebugCapture::Add(const char* text) try {
  if (FaultStream::IsWindowOpen()) std::abort();
  std::lock_guard lock(mutex_);
  texts_.emplace_back(text);
} catch (const std::bad_alloc&) {
  // Lost, in a test that refuses memory: whoever writes it does not expect that.
}

}  // namespace tests
