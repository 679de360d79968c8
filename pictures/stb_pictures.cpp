// SPDX-License-Identifier: MIT
// JPEG, BMP and Radiance HDR, which are read alone.
#include <algorithm>
#include <optional>
#include <span>

#include "pictures/formats.h"
#include "pictures/jpeg_tables.h"
#include "pictures/stb_decoder.h"

namespace pictures {
namespace {

using Bytes = std::span<const std::uint8_t>;

std::uint32_t U16(const std::uint8_t* at) { return std::uint32_t{at[0]} << 8 | at[1]; }

bool TakePrefix(Bytes& data, std::string_view prefix) {
  const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
  if (!text.starts_with(prefix)) return false;
  data = data.subspan(prefix.size());
  return true;
}

// What a JPEG says in its segments, up to the pixels.
class Segments {
 public:
  Segments(ByteSource& source, PictureHeader& header) : header_(header) {
    source.Seek(2);
    for (Block data;;) {
      std::uint8_t head[4];
      if (source.ReadSome(head, 2) != 2 || head[0] != 0xFF) break;
      if (head[1] == 0xFF) {
        // A filler.
        source.Seek(source.position() - 1);
        continue;
      }
      constexpr int kStartOfScan = 0xDA, kEnd = 0xD9;
      if (head[1] == kStartOfScan || head[1] == kEnd) break;
      if (source.ReadSome(head + 2, 2) != 2 || U16(head + 2) < 2) break;
      data.resize(U16(head + 2) - 2);
      if (source.ReadSome(data.data(), data.size()) != data.size()) break;
      Take(head[1], data);
    }
    if (!profile_.empty()) Put(GroupAt(header.metadata, "icc"), "profile", profile_);
    source.Seek(0);
  }

 private:
  void Take(int marker, Bytes data) {
    constexpr int kApp0 = 0xE0, kApp1 = 0xE1, kApp2 = 0xE2, kComment = 0xFE;
    Group& all = header_.metadata;
    const auto text = [&] { return std::string(data.begin(), data.end()); };
    if (marker == kApp0 && TakePrefix(data, std::string_view("JFIF\0", 5)) && data.size() >= 7) {
      using Unit = Resolution::Unit;
      header_.resolution = {double{1} * U16(&data[3]), double{1} * U16(&data[5]),
                            data[2] == 1   ? Unit::kInch
                            : data[2] == 2 ? Unit::kCentimetre
                                           : Unit::kNone};
      // A ratio of one says nothing.
      if (data[2] == 0 && header_.resolution.x == header_.resolution.y) header_.resolution = {};
    } else if (marker == kApp1 && TakePrefix(data, std::string_view("Exif\0\0", 6))) {
      Put(all, "exif", Block(data.begin(), data.end()));
    } else if (marker == kApp1 &&
               TakePrefix(data, std::string_view("http://ns.adobe.com/xap/1.0/\0", 29))) {
      Put(GroupAt(all, "text"), "XML:com.adobe.xmp", text());
    } else if (marker == kApp2 && TakePrefix(data, std::string_view("ICC_PROFILE\0", 12)) &&
               data.size() > 2) {
      // In parts, one behind another.
      profile_.insert(profile_.end(), data.begin() + 2, data.end());
    } else if (marker == kComment) {
      Group& texts = GroupAt(all, "text");
      Put(texts, FreeKey(texts, "Comment"), text());
    }
  }

  PictureHeader& header_;
  Block profile_;
};

class Reader final : public PictureReader {
 public:
  explicit Reader(ByteSource& source) : source_(source) {
    const int first = source.Next();
    if (first == 0xFF) CheckHuffmanTables(source);
    ReadStbSizes(source, header_);
    if (first == '#') header_.type = PixelType::kFloat;
    // Entropy coding stands for no more.
    constexpr std::uint64_t kMost = 4096;
    CheckSizes(source, header_, source.size(), kMost);
    if (first == 0xFF) {
      Segments(source, header_);
      CheckEnd();
    }
  }
  void ReadRows(int count, std::byte* samples) override {
    if (!decoded_) decoded_.emplace(source_, header_);
    decoded_->TakeRows(count, samples);
  }

 private:
  // The library fills what is missing with grey. Behind the end mark may stand other things.
  void CheckEnd() {
    constexpr std::uint64_t kMostBehind = 1 << 16;
    std::string tail(static_cast<std::size_t>(std::min(kMostBehind, source_.size())), '\0');
    source_.Seek(source_.size() - tail.size());
    source_.Read(tail.data(), tail.size());
    if (tail.find("\xFF\xD9") == tail.npos) source_.Fail("ends early");
    source_.Seek(0);
  }

  ByteSource& source_;
  std::optional<StbDecoder> decoded_;
};

}  // namespace

OpenedPicture OpenByStb(ByteSource& source) { return std::make_unique<Reader>(source); }

}  // namespace pictures
