// SPDX-License-Identifier: MIT
#include "pictures/jpeg_tables.h"

#include <algorithm>
#include <array>

namespace pictures {
namespace {

constexpr int kDefineTables = 0xC4, kEnd = 0xD9;

class Cursor {
 public:
  Cursor(ByteSource& source, std::uint64_t position) : source_(source) { source.Seek(position); }

  // -1 at the end.
  int Next() {
    if (at_ == end_) {
      at_ = 0;
      end_ = source_.ReadSome(block_.data(), block_.size());
      if (end_ == 0) return -1;
    }
    return block_[at_++];
  }
  int NextOfTwo() {
    const int high = Next();
    return high << 8 | Next();
  }
  void Skip(int bytes) {
    const auto held = std::min(static_cast<std::size_t>(bytes), end_ - at_);
    at_ += held;
    const std::uint64_t beyond = static_cast<std::size_t>(bytes) - held;
    if (beyond > 0) source_.Seek(source_.position() + std::min(beyond, source_.left()));
  }
  // The next marker, with what is coded passed over: there, 0xFF stands in front of 0 or of the
  // marker of a restart.
  int NextMarker() {
    const auto isCoded = [](int byte) { return byte == 0 || (byte >= 0xD0 && byte <= 0xD7); };
    int byte = 0;
    do {
      while (byte >= 0 && byte != 0xFF) byte = Next();
      while (byte == 0xFF) byte = Next();
    } while (isCoded(byte));
    return byte;
  }

 private:
  ByteSource& source_;
  std::array<std::uint8_t, 1 << 14> block_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
};

}  // namespace

void CheckHuffmanTables(ByteSource& source) {
  constexpr int kLengths = 16;
  constexpr int kMostCodes = 256;
  Cursor cursor(source, 2);
  for (;;) {
    const int marker = cursor.NextMarker();
    if (marker < 0 || marker == kEnd) return;
    int left = cursor.NextOfTwo() - 2;
    if (left < 0) return;
    if (marker != kDefineTables) {
      cursor.Skip(left);
      continue;
    }
    while (left > 0) {
      cursor.Next();
      int codes = 0;
      for (int i = 0; i < kLengths; ++i) codes += std::max(cursor.Next(), 0);
      if (codes > kMostCodes) {
        source.Fail("not a whole picture (a Huffman table of " + std::to_string(codes) + " codes)");
      }
      cursor.Skip(codes);
      left -= 1 + kLengths + codes;
    }
  }
}

}  // namespace pictures
