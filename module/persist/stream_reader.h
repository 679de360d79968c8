// SPDX-License-Identifier: MIT
// The stream of one Load, as long as it lasts. Fields come out of the stream's memory where it
// shows some and has them whole; else they are one Read each. When a window has to be closed is
// told in stream_writer.h.
#pragma once

#include "module/persist/stream_writer.h"

namespace rastel {

class StreamReader {
 public:
  // The stream outlives the reader.
  explicit StreamReader(IStream* stream) noexcept;
  ~StreamReader() { Close(); }
  StreamReader(const StreamReader&) = delete;
  StreamReader& operator=(const StreamReader&) = delete;

  // As IStream::Read.
  HRESULT Read(void* data, ULONG bytes, ULONG* delivered = nullptr) {
    if (bytes - 1 >= left_) return ReadSlowly(data, bytes, delivered);
    std::memcpy(data, Take(bytes), bytes);
    if (delivered) *delivered = bytes;
    return S_OK;
  }
  // Straight into the value.
  template <StreamScalar T>
  HRESULT Get(T& value) {
    return Read(&value, sizeof(T));
  }
  // Raises _com_error.
  template <StreamScalar T>
  void GetOrRaise(T& value) {
    CheckResult(Get(value));
  }

  // The next bytes in the stream's memory, which are still to come; null where it shows fewer.
  const BYTE* Look(ULONG bytes) noexcept { return bytes <= left_ || Open(bytes) ? next_ : nullptr; }
  // Whether so many bytes are still to come in the stream's memory, as it stands now.
  bool Shows(ULONG bytes) noexcept;
  // The scalar at a place in them.
  template <StreamScalar T>
  static T At(const BYTE* place) noexcept {
    T value;
    std::memcpy(&value, place, sizeof(T));
    return value;
  }
  // Moves behind bytes that were looked at.
  const BYTE* Take(ULONG bytes) noexcept {
    left_ -= bytes;
    next_ += bytes;
    return next_ - bytes;
  }

  // The stream behind all that was read, for somebody else to read from.
  IStream* Stream() noexcept {
    Close();
    return stream_;
  }
  void Close() noexcept {
    if (size_ > 0) CloseWindow();
  }

 private:
  bool Open(ULONG bytes) noexcept;
  void CloseWindow() noexcept;
  HRESULT ReadSlowly(void* data, ULONG bytes, ULONG* delivered);

  const BYTE* next_ = nullptr;
  ULONG left_ = 0;  // from there to the end of the window
  ULONG size_ = 0;  // of the window; 0 without one
  ULONG more_ = 0;  // bytes that the stream showed behind it
  IStream* const stream_;
  IStreamWindow* const memory_;
};

}  // namespace rastel
