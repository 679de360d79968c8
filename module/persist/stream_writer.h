// SPDX-License-Identifier: MIT
// The stream of one Save, as long as it lasts. Fields go into the stream's memory where it shows
// some, are counted where it is the counting stream, and are one Write each for any other stream.
//
// A window on the memory locks the stream: Stream() and Close() close it, and have to be called
// before anything that may be foreign runs: before a nested object is saved or counted, released or
// asked for an interface, before a report and a debug text.
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "module/frame/exceptions.h"
#include "platform/platform.h"
#include "platform/stream_window.h"

namespace rastel {

static_assert(std::endian::native == std::endian::little);

class CNullDeviceStream;

// Single values of a fixed width, by one call of that width.
template <class T>
concept StreamScalar = std::is_trivially_copyable_v<T> && !std::is_pointer_v<T> &&
                       (sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);

// The most that one window moves, but for a field that is longer: others wait meanwhile.
inline constexpr ULONG kWindowBytes = 0x10000;

class StreamWriter {
 public:
  // The stream outlives the writer.
  explicit StreamWriter(IStream* stream) noexcept;
  ~StreamWriter() { Close(); }
  StreamWriter(const StreamWriter&) = delete;
  StreamWriter& operator=(const StreamWriter&) = delete;

  // As IStream::Write.
  HRESULT Write(const void* data, ULONG bytes, ULONG* written = nullptr) {
    if (bytes - 1 >= room_) return WriteSlowly(data, bytes, written);
    if (BYTE* const place = Take(bytes)) std::memcpy(place, data, bytes);
    if (written) *written = bytes;
    return S_OK;
  }
  template <StreamScalar T>
  HRESULT Put(const T& value) {
    return Write(&value, sizeof(T));
  }
  // Puts a value at a place that was taken; gives the place behind it.
  template <StreamScalar T>
  static BYTE* PutAt(BYTE* place, T value) noexcept {
    std::memcpy(place, &value, sizeof(T));
    return place + sizeof(T);
  }
  // The same for bytes, which are mostly few: a call takes longer than moving a key.
  static BYTE* PutAt(BYTE* place, const void* data, ULONG bytes) noexcept {
    constexpr ULONG kStep = 16;
    if (bytes < kStep || bytes > 4 * kStep) {
      if (bytes > 0) std::memcpy(place, data, bytes);
      return place + bytes;
    }
    const auto* const from = static_cast<const BYTE*>(data);
    for (ULONG i = 0; i + kStep < bytes; i += kStep) std::memcpy(place + i, from + i, kStep);
    std::memcpy(place + bytes - kStep, from + bytes - kStep, kStep);
    return place + bytes;
  }
  // Raises _com_error.
  template <StreamScalar T>
  void PutOrRaise(const T& value) {
    CheckResult(Put(value));
  }
  // Each by one Write of its width; behind the first one that fails nothing is written.
  template <StreamScalar... Fields>
  HRESULT PutEach(const Fields&... fields) {
    constexpr ULONG kBytes = (sizeof(Fields) + ...);
    HRESULT result = S_OK;
    if (!HasRoom(kBytes)) {
      (void)(SUCCEEDED(result = Put(fields)) && ...);
    } else if (BYTE* place = Take(kBytes)) {
      ((place = PutAt(place, fields)), ...);
    }
    return result;
  }
  // Rows of so many bytes, `step` bytes apart, by one Write each. Failures are passed over.
  void WriteRows(const std::byte* first, ULONG bytes, std::ptrdiff_t step, LONG rows);

  // Whether so many bytes can be written that are no call of their own. They cannot fail.
  bool HasRoom(ULONG bytes) noexcept { return bytes <= room_ || Open(bytes); }
  // So many of them, to be filled in before anything else is called; null where they only count.
  BYTE* Take(ULONG bytes) noexcept {
    BYTE* const place = next_;
    if (place) next_ += bytes;
    room_ -= bytes;
    return place;
  }
  // So many bytes are still to come: memory that is had for the next of them may be had for all.
  void Expect(ULONGLONG bytes) noexcept { hoped_ = bytes; }

  // Whether what is written goes to memory or is counted, and nobody can act meanwhile.
  bool CallsNobody() const noexcept { return counter_ || memory_; }
  // The stream behind all that was written, for somebody else to write to.
  IStream* Stream() noexcept {
    Close();
    return stream_;
  }
  // The same where it is the counting stream, else null.
  CNullDeviceStream* Counter() noexcept {
    Close();
    return counter_;
  }
  void Close() noexcept {
    if (size_ > 0) CloseWindow();
  }

 private:
  bool Open(ULONG bytes) noexcept;
  void CloseWindow() noexcept;
  HRESULT WriteSlowly(const void* data, ULONG bytes, ULONG* written);

  BYTE* next_ = nullptr;  // null while nothing but the number of bytes counts
  ULONG room_ = 0;        // from there to the end of the window
  ULONG size_ = 0;        // of the window; 0 without one
  ULONGLONG hoped_ = 0;
  IStream* const stream_;
  CNullDeviceStream* const counter_;
  IStreamWindow* const memory_;
};

}  // namespace rastel
