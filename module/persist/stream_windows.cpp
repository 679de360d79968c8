// SPDX-License-Identifier: MIT
#include <algorithm>

#include "module/persist/stream_reader.h"
#include "module/persist/streams.h"

namespace rastel {
StreamWriter::StreamWriter(IStream* stream) noexcept
    : stream_(stream),
      counter_(CNullDeviceStream::Behind(stream)),
      memory_(counter_ ? nullptr : platform::WindowOf(stream)) {}

bool StreamWriter::Open(ULONG bytes) noexcept {
  Close();
  if (counter_) {
    size_ = room_ = static_cast<ULONG>(kMostCallBytes);
    return true;
  }
  if (!memory_ || FAILED(memory_->OpenToWrite(bytes, std::exchange(hoped_, 0), &next_, &room_))) {
    room_ = 0;
    return false;
  }
  size_ = room_ = (std::min)(room_, (std::max)(bytes, kWindowBytes));
  return true;
}

void StreamWriter::CloseWindow() noexcept {
  const ULONG moved = std::exchange(size_, 0) - std::exchange(room_, 0);
  next_ = nullptr;
  if (counter_) {
    counter_->SetCount(counter_->Count() + moved);
  } else {
    memory_->CloseWindow(moved);
  }
}

HRESULT StreamWriter::WriteSlowly(const void* data, ULONG bytes, ULONG* written) {
  const bool isField = bytes > 0 && (bytes <= kWindowBytes || counter_);
  if (isField && Open(bytes)) return Write(data, bytes, written);
  Close();
  return stream_->Write(data, bytes, written);
}

void StreamWriter::WriteRows(const std::byte* first, ULONG bytes, std::ptrdiff_t step, LONG rows) {
  while (rows > 0) {
    LONG next = 1;
    const bool isOneRun = counter_ || step == static_cast<std::ptrdiff_t>(bytes);
    if (isOneRun && bytes <= kWindowBytes && HasRoom(bytes)) {
      next = static_cast<LONG>((std::min)(room_ / bytes, static_cast<ULONG>(rows)));
    }
    Write(first, bytes * static_cast<ULONG>(next));
    first += step * next;
    rows -= next;
  }
}

StreamReader::StreamReader(IStream* stream) noexcept
    : stream_(stream), memory_(platform::WindowOf(stream)) {}

bool StreamReader::Open(ULONG bytes) noexcept {
  Close();
  ULONG count = 0;
  if (!memory_ || FAILED(memory_->OpenToRead(&next_, &count))) return false;
  size_ = left_ = (std::min)(count, (std::max)(bytes, kWindowBytes));
  more_ = count - size_;
  if (bytes <= count) return true;
  if (size_ == 0) memory_->CloseWindow(0);
  Close();
  return false;
}

void StreamReader::CloseWindow() noexcept {
  const ULONG moved = std::exchange(size_, 0) - std::exchange(left_, 0);
  memory_->CloseWindow(moved);
}

bool StreamReader::Shows(ULONG bytes) noexcept {
  if (size_ > 0) return bytes <= left_ || bytes - left_ <= more_;
  const BYTE* first = nullptr;
  ULONG count = 0;
  if (!memory_ || FAILED(memory_->OpenToRead(&first, &count))) return false;
  memory_->CloseWindow(0);
  return bytes <= count;
}

HRESULT StreamReader::ReadSlowly(void* data, ULONG bytes, ULONG* delivered) {
  if (bytes > 0 && bytes <= kWindowBytes && Open(bytes)) return Read(data, bytes, delivered);
  Close();
  return stream_->Read(data, bytes, delivered);
}

}  // namespace rastel
