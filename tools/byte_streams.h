// SPDX-License-Identifier: MIT
// Streams for objects that are loaded from bytes in memory, and saved only to know how many there
// are.
#pragma once

#include <functional>
#include <span>

#include "rastelklp/stream_objects.h"
#include "tools/stream_walk.h"

namespace tools {

using BytesTaken = std::function<void(Bytes part)>;

// Reads bytes, which must outlive it. Over blocks that nobody looks at it steps: what is read of
// them is as it was where it should go, and a mapped file's pages stay on the disk.
class ByteStream final : public rastelklp::detail::StreamObject<ByteStream> {
 public:
  // The blocks are in the order of their offsets. What was read of long blocks is told, part by
  // part; taken raises nothing.
  ByteStream(Bytes bytes, std::uint64_t start, std::span<const Block> steppedOver,
             BytesTaken taken = nullptr)
      : bytes_(bytes), position_(start), steppedOver_(steppedOver), taken_(std::move(taken)) {}

  std::uint64_t BytesLeft() const;

  STDMETHODIMP Read(void* data, ULONG wanted, ULONG* got) noexcept override;
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept override;
  STDMETHODIMP Stat(STATSTG* stat, DWORD flags) noexcept override;

 private:
  Bytes bytes_;
  std::uint64_t position_;
  std::span<const Block> steppedOver_;
  BytesTaken taken_;
};

// Takes bytes and keeps their count alone.
class CountingStream final : public rastelklp::detail::StreamObject<CountingStream> {
 public:
  std::uint64_t Count() const { return count_; }

  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* written) noexcept override;
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept override;

 private:
  std::uint64_t position_ = 0;
  std::uint64_t count_ = 0;
};

}  // namespace tools
