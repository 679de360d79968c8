// SPDX-License-Identifier: MIT
// Many threads at the host's services: rows of operations on what they share, and what rows cannot
// say.
#include <gtest/gtest.h>

#include "tests/host/host_operations.h"
#include "tests/support/debug_capture.h"
#include "tests/support/host_kind.h"
#include "tests/threads/many_threads.h"

namespace tests {

// Sets another one when it goes.
class LastError final : public Double<IErrorInfo> {
 public:
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (next) SetErrorInfo(0, next);
    return left;
  }
  STDMETHODIMP GetGUID(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetSource(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetDescription(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetHelpContext(DWORD*) override { return E_NOTIMPL; }

  IErrorInfo* next = nullptr;
};

namespace {

TEST(HostThreads, DoAsRowsSay) { facts::ExpectSection("threads"); }

TEST(HostThreads, LetTheirErrorObjectsGoAtTheEnd) {
  LastError shared, last;
  if (kEmbeddedHost) shared.next = &last;
  OnManyThreads([&](int, int) { EXPECT_EQ(SetErrorInfo(0, &shared), S_OK); },
                std::chrono::milliseconds(1));
  EXPECT_EQ(shared.references, 0);
  EXPECT_EQ(last.references, 0);
}

TEST(HostThreads, WriteDebugTextsWhileTheSinkChanges) {
  // On the platform a debugger does not go away while others write.
  if (!kEmbeddedHost) GTEST_SKIP();
  OnManyThreads([](int thread, int) {
    if (thread > 0) return OutputDebugStringA("text");
    const DebugCapture capture;
    for (const std::string& text : capture.Texts()) EXPECT_EQ(text, "text");
  });
}

}  // namespace
}  // namespace tests
