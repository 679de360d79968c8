// SPDX-License-Identifier: MIT
#include "tools/sink_stream.h"

#include <algorithm>

namespace tools {
namespace {

constexpr ULONG kWindowBytes = ULONG{1} << 22;

}  // namespace

STDMETHODIMP SinkStream::Write(const void* data, ULONG bytes, ULONG* written) noexcept {
  ULONG done = 0;
  try {
    while (done < bytes && !thrown_) {
      const ULONG count = std::min(kWindowBytes, bytes - done);
      Put(static_cast<const std::byte*>(data) + done, count);
      done += count;
      Tell();
    }
  } catch (...) {
    thrown_ = std::current_exception();
  }
  if (written) *written = done;
  return done == bytes ? S_OK : STG_E_WRITEFAULT;
}

// Objects may write row by row.
void SinkStream::Tell() {
  if (!written_ || sink_.position() < told_ + kWindowBytes) return;
  told_ = sink_.position();
  written_(told_);
}

STDMETHODIMP SinkStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept {
  if (origin == STREAM_SEEK_END) return E_NOTIMPL;
  const std::uint64_t from = origin == STREAM_SEEK_CUR ? sink_.position() : 0;
  try {
    sink_.Seek(from + static_cast<std::uint64_t>(move.QuadPart));
  } catch (...) {
    thrown_ = std::current_exception();
    return STG_E_SEEKERROR;
  }
  if (reached) reached->QuadPart = sink_.position();
  return S_OK;
}

}  // namespace tools
