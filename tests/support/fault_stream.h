// SPDX-License-Identifier: MIT
// A stream that passes everything on to another one, counts the calls and goes wrong on command:
// the n-th call of a kind fails with a code, or moves fewer bytes and says S_OK. It may show its
// memory, in windows that see to it that nobody calls while they are open.
//
// It lives where it is declared, usually on the stack: Release does not destroy it, and References
// tells a test whether everybody let go.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/platform.h"
#include "platform/stream_window.h"

namespace tests {

// kEvery counts the calls of all kinds together, those without a name here among them.
enum class StreamCall { kRead, kWrite, kSeek, kEvery };

class FaultStream final : public IStream, public IStreamWindow {
 public:
  explicit FaultStream(IStream* inner) : inner_(inner) {}
  FaultStream(const FaultStream&) = delete;
  FaultStream& operator=(const FaultStream&) = delete;

  // The n-th call of the kind, from 1, fails with the code and does nothing else; for good: and all
  // that follow. A Read or Write is carried out if the code is no failure, and then gives it.
  void FailAt(StreamCall kind, ULONG number, HRESULT code, bool forGood = false) {
    fault_ = {kind, number, forGood ? kNever : number, code};
  }
  // It moves at most so many bytes; the result stays the inner stream's.
  void ShortenAt(StreamCall kind, ULONG number, ULONG bytes, bool forGood = false) {
    fault_ = {kind, number, forGood ? kNever : number, S_OK, bytes};
  }
  // Windows of so many bytes, or more where more are asked for; none while a fault is set. kNever:
  // none can be opened. Nothing is written beyond the limit.
  void ShowMemory(ULONG windowBytes, ULONGLONG limit = kNever) {
    windowBytes_ = windowBytes;
    limit_ = limit;
  }
  // Nobody may be called meanwhile who could know a stream.
  static bool IsWindowOpen() { return openWindows_ > 0; }

  // Takes the fault back and counts from 0 again.
  void Reset() {
    fault_ = {};
    calls_ = {};
  }

  // What the stream does first in each call, for streams that call back.
  std::function<void()> onCall;

  ULONG Calls(StreamCall kind) const { return calls_[static_cast<std::size_t>(kind)]; }
  // References that others hold.
  ULONG References() const { return references_; }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    const bool isKnown = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_ISequentialStream) ||
                         IsEqualIID(iid, IID_IStream);
    *out = isKnown ? static_cast<IStream*>(this) : nullptr;
    if (*out) AddRef();
    const bool isShown = windowBytes_ > 0 && fault_.first == kNever && !onCall;
    if (isShown && IsEqualIID(iid, IID_IStreamWindow)) *out = static_cast<IStreamWindow*>(this);
    return *out ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override { return --references_; }

  STDMETHODIMP Read(void* data, ULONG bytes, ULONG* bytesRead) override {
    if (bytesRead) *bytesRead = 0;
    const HRESULT result = Enter(StreamCall::kRead, &bytes);
    if (FAILED(result)) return result;
    const HRESULT done = inner_->Read(data, bytes, bytesRead);
    return result == S_OK ? done : result;
  }
  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* bytesWritten) override {
    if (bytesWritten) *bytesWritten = 0;
    const HRESULT result = Enter(StreamCall::kWrite, &bytes);
    if (FAILED(result)) return result;
    if (limit_ != kNever && Position() + bytes > limit_) return E_OUTOFMEMORY;
    const HRESULT done = inner_->Write(data, bytes, bytesWritten);
    return result == S_OK ? done : result;
  }
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override {
    const HRESULT result = Enter(StreamCall::kSeek);
    return FAILED(result) ? result : inner_->Seek(move, origin, newPosition);
  }
  STDMETHODIMP SetSize(ULARGE_INTEGER newSize) override { return Pass(&IStream::SetSize, newSize); }
  STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* bytesRead,
                      ULARGE_INTEGER* bytesWritten) override {
    return Pass(&IStream::CopyTo, target, bytes, bytesRead, bytesWritten);
  }
  STDMETHODIMP Commit(DWORD flags) override { return Pass(&IStream::Commit, flags); }
  STDMETHODIMP Revert() override { return Pass(&IStream::Revert); }
  STDMETHODIMP LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override {
    return Pass(&IStream::LockRegion, offset, bytes, type);
  }
  STDMETHODIMP UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override {
    return Pass(&IStream::UnlockRegion, offset, bytes, type);
  }
  STDMETHODIMP Stat(STATSTG* stat, DWORD flags) override {
    return Pass(&IStream::Stat, stat, flags);
  }
  STDMETHODIMP Clone(IStream** out) override {
    if (out) *out = nullptr;
    return Pass(&IStream::Clone, out);
  }

  STDMETHODIMP OpenToWrite(ULONG least, ULONGLONG, BYTE** bytes, ULONG* count) override {
    Enter(StreamCall::kEvery);
    if (windowBytes_ == kNever) return E_FAIL;
    if (limit_ != kNever && Position() + least > limit_) return E_OUTOFMEMORY;
    const ULONGLONG most = limit_ == kNever ? kNever : limit_ - Position();
    const auto size = (std::min<ULONGLONG>)((std::max)(least, windowBytes_), most);
    window_.assign(static_cast<std::size_t>(size), 0xEE);
    return Open(bytes, count, true);
  }
  STDMETHODIMP OpenToRead(const BYTE** bytes, ULONG* count) override {
    Enter(StreamCall::kEvery);
    if (windowBytes_ == kNever) return E_FAIL;
    window_.resize(windowBytes_);
    const ULONGLONG position = Position();
    ULONG delivered = 0;
    inner_->Read(window_.data(), windowBytes_, &delivered);
    Move(position);
    window_.resize(delivered);
    return Open(bytes, count, false);
  }
  STDMETHODIMP_(void) CloseWindow(ULONG moved) override {
    if (moved > window_.size()) std::abort();
    --openWindows_;
    if (isWriting_) inner_->Write(window_.data(), moved, nullptr);
    if (!isWriting_) Move(Position() + moved);
    // Whoever still looks is seen by a sanitizer.
    window_ = {};
  }

 private:
  static constexpr ULONG kNever = 0xFFFFFFFF;

  struct Fault {
    StreamCall kind = StreamCall::kEvery;
    ULONG first = kNever;
    ULONG last = kNever;
    HRESULT code = S_OK;
    ULONG mostBytes = kNever;
  };

  template <class Byte>
  HRESULT Open(Byte** bytes, ULONG* count, bool isWriting) {
    *bytes = window_.data();
    *count = static_cast<ULONG>(window_.size());
    isWriting_ = isWriting;
    ++openWindows_;
    return S_OK;
  }
  ULONGLONG Position() {
    ULARGE_INTEGER position{};
    inner_->Seek({}, STREAM_SEEK_CUR, &position);
    return position.QuadPart;
  }
  void Move(ULONGLONG position) {
    LARGE_INTEGER distance;
    distance.QuadPart = static_cast<LONGLONG>(position);
    inner_->Seek(distance, STREAM_SEEK_SET, nullptr);
  }

  HRESULT Enter(StreamCall kind, ULONG* bytes = nullptr) {
    if (IsWindowOpen()) std::abort();
    if (onCall) onCall();
    ++calls_[static_cast<std::size_t>(StreamCall::kEvery)];
    if (kind != StreamCall::kEvery) ++calls_[static_cast<std::size_t>(kind)];
    const bool isMeant = fault_.kind == kind || fault_.kind == StreamCall::kEvery;
    const ULONG number = Calls(fault_.kind);
    if (!isMeant || number < fault_.first || number > fault_.last) return S_OK;
    if (bytes) *bytes = (std::min)(*bytes, fault_.mostBytes);
    return fault_.code;
  }
  template <class Member, class... Arguments>
  HRESULT Pass(Member member, Arguments... arguments) {
    const HRESULT result = Enter(StreamCall::kEvery);
    return FAILED(result) ? result : (inner_.Get()->*member)(arguments...);
  }

  platform::ComPtr<IStream> inner_;
  Fault fault_;
  std::array<ULONG, 4> calls_{};
  std::atomic<ULONG> references_{0};
  ULONG windowBytes_ = 0;  // 0: no memory is shown
  ULONGLONG limit_ = kNever;
  std::vector<BYTE> window_;
  bool isWriting_ = false;
  static inline thread_local int openWindows_ = 0;
};

}  // namespace tests
