// SPDX-License-Identifier: MIT
#include "tools/byte_streams.h"

#include <algorithm>
#include <cstring>

namespace tools {
namespace {

// False: nobody can stand before the beginning.
bool Move(std::uint64_t& position, std::uint64_t end, LONGLONG move, DWORD origin) {
  const std::uint64_t from = origin == STREAM_SEEK_CUR   ? position
                             : origin == STREAM_SEEK_END ? end
                                                         : 0;
  const auto moved = static_cast<std::uint64_t>(move);
  if (move < 0 && std::uint64_t{0} - moved > from) return false;
  position = from + moved;
  return true;
}

}  // namespace

std::uint64_t ByteStream::BytesLeft() const {
  return bytes_.size() - std::min<std::uint64_t>(position_, bytes_.size());
}

STDMETHODIMP ByteStream::Read(void* data, ULONG wanted, ULONG* got) noexcept {
  const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, BytesLeft()));
  // The first block that ends behind the position.
  const auto block = std::upper_bound(steppedOver_.begin(), steppedOver_.end(), position_,
                                      [](std::uint64_t position, const Block& each) {
                                        return position < each.offset + each.bytes;
                                      });
  const bool isSteppedOver = block != steppedOver_.end() && position_ >= block->offset &&
                             position_ + count <= block->offset + block->bytes;
  constexpr std::size_t kWindowBytes = std::size_t{1} << 22;
  for (std::size_t done = 0; !isSteppedOver && done < count;) {
    const Bytes part = bytes_.subspan(static_cast<std::size_t>(position_) + done,
                                      std::min(kWindowBytes, count - done));
    std::memcpy(static_cast<std::uint8_t*>(data) + done, part.data(), part.size());
    done += part.size();
    if (taken_ && count >= kWindowBytes) taken_(part);
  }
  position_ += count;
  if (got) *got = static_cast<ULONG>(count);
  return count == wanted ? S_OK : S_FALSE;
}

STDMETHODIMP ByteStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept {
  if (!Move(position_, bytes_.size(), move.QuadPart, origin)) return STG_E_SEEKERROR;
  if (reached) reached->QuadPart = position_;
  return S_OK;
}

STDMETHODIMP ByteStream::Stat(STATSTG* stat, DWORD) noexcept {
  if (!stat) return STG_E_INVALIDPOINTER;
  *stat = {};
  stat->type = STGTY_STREAM;
  stat->cbSize.QuadPart = bytes_.size();
  return S_OK;
}

STDMETHODIMP CountingStream::Write(const void*, ULONG bytes, ULONG* written) noexcept {
  position_ += bytes;
  count_ = std::max(count_, position_);
  if (written) *written = bytes;
  return S_OK;
}

STDMETHODIMP CountingStream::Seek(LARGE_INTEGER move, DWORD origin,
                                  ULARGE_INTEGER* reached) noexcept {
  if (!Move(position_, count_, move.QuadPart, origin)) return STG_E_SEEKERROR;
  if (reached) reached->QuadPart = position_;
  return S_OK;
}

}  // namespace tools
