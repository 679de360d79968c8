// SPDX-License-Identifier: MIT
// Many threads at the host's services: rows of operations on what they share, and what rows cannot
// say.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/stream_window.h"
#include "tests/host/host_operations.h"
#include "tests/support/debug_capture.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"
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

using platform::ComPtr;

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

// Each at numbers of its own, while the block that they share grows, in large pages in the end.
TEST(HostThreads, LookAtTheMemoryOfOneStream) {
  if (!kEmbeddedHost) GTEST_SKIP();
  const auto stream = NewStream();
  OnManyThreads([&](int thread, int round) {
    ComPtr<IStream> clone;
    ASSERT_EQ(stream->Clone(clone.Put()), S_OK);
    IStreamWindow* const window = platform::WindowOf(clone.Get());
    const LONGLONG place = (round % 1000 * kThreads + thread) * LONGLONG{1024};
    const int number = thread * 1000 + round;
    BYTE* room = nullptr;
    const BYTE* shown = nullptr;
    ULONG count = 0;
    SeekTo(clone.Get(), place);
    ASSERT_EQ(window->OpenToWrite(sizeof number, 0, &room, &count), S_OK);
    std::memcpy(room, &number, sizeof number);
    window->CloseWindow(sizeof number);
    SeekTo(clone.Get(), place);
    ASSERT_EQ(window->OpenToRead(&shown, &count), S_OK);
    const bool isThere = count >= sizeof number && !std::memcmp(shown, &number, sizeof number);
    window->CloseWindow(0);
    ASSERT_TRUE(isThere);
  });
}

}  // namespace
}  // namespace tests
