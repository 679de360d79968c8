// SPDX-License-Identifier: MIT
// NumPy's .npy: rows and columns, or rows, columns and channels.
#include <algorithm>
#include <charconv>
#include <cstring>

#include "pictures/formats.h"

namespace pictures {
namespace {

// Letter and digit of a type behind the mark of its byte order.
constexpr struct {
  PixelType type;
  std::string_view code;
} kCodes[] = {
    {PixelType::kByte, "u1"},
    {PixelType::kChar, "i1"},
    {PixelType::kWord, "u2"},
    {PixelType::kShort, "i2"},
    {PixelType::kDWord, "u4"},
    {PixelType::kLong, "i4"},
    {PixelType::kFloat, "f4"},
    {PixelType::kDouble, "f8"},
    // Truth values are bytes of 0 and 1. Only read.
    {PixelType::kByte, "b1"},
};
constexpr std::string_view kMark("\x93NUMPY");

// What stands behind a key of the header's dictionary, blanks skipped.
std::string_view Behind(std::string_view text, std::string_view key) {
  for (const char quote : {'\'', '"'}) {
    const std::string quoted = quote + std::string(key) + quote;
    const std::size_t at = text.find(quoted);
    if (at == text.npos) continue;
    const std::size_t value = text.find_first_not_of(" :", at + quoted.size());
    if (value != text.npos) return text.substr(value);
  }
  return {};
}

class Reader final : public PictureReader {
 public:
  explicit Reader(ByteSource& source) : source_(source) {
    unsigned char head[12] = {};
    source.Read(head, 8);
    const std::size_t lengthBytes = head[6] == 1 ? 2 : 4;
    source.Read(head + 8, lengthBytes);
    std::size_t length = 0;
    for (std::size_t i = lengthBytes; i > 0; --i) length = length << 8 | head[7 + i];
    constexpr std::size_t kMostHeader = 1 << 16;
    if (length > kMostHeader) source.Fail("not a whole array (its header)");
    std::string text(length, '\0');
    source.Read(text.data(), length);
    TakeType(Behind(text, "descr"));
    if (!Behind(text, "fortran_order").starts_with("False")) {
      source.Fail("an array in Fortran order (np.ascontiguousarray brings it to rows)");
    }
    TakeShape(Behind(text, "shape"));
    CheckSizes(source, header_, source.left(), 1);
    if (source.left() < header_.Bytes()) source.Fail("ends early");
  }

  void ReadRows(int count, std::byte* samples) override {
    const std::size_t all = header_.RowSamples() * static_cast<std::size_t>(count);
    source_.Read(samples, all * BytesOf(header_.type));
    if (isSwapped_) SwapSamples(samples, all, BytesOf(header_.type));
  }

 private:
  void TakeType(std::string_view text) {
    const std::string_view code = text.substr(0, text.find(text.empty() ? ' ' : text[0], 1));
    for (const auto& row : kCodes) {
      if (code.size() == 4 && code.substr(2) == row.code) {
        header_.type = row.type;
        isSwapped_ = code[1] == '>';
        return;
      }
    }
    source_.Fail("an array of " + std::string(code.empty() ? "?" : code.substr(1)) +
                 ", which no pixels are");
  }

  void TakeShape(std::string_view text) {
    int shape[3] = {1, 1, 1};
    int count = 0;
    const char* at = text.data() + (text.starts_with('(') ? 1 : 0);
    const char* const end = text.data() + std::min(text.find(')'), text.size());
    while (at < end && count < 4) {
      int number = 0;
      const auto [next, error] = std::from_chars(at, end, number);
      if (error != std::errc()) break;
      if (count < 3) shape[count] = number;
      ++count;
      at = next + std::strspn(next, ", ");
    }
    if (count < 2 || count > 3) {
      source_.Fail("not an array of rows and columns, or rows, columns and channels");
    }
    header_.height = shape[0];
    header_.width = shape[1];
    header_.channels = shape[2];
  }

  ByteSource& source_;
  bool isSwapped_ = false;
};

}  // namespace

OpenedPicture OpenNumpy(ByteSource& source) { return std::make_unique<Reader>(source); }

StartedPicture CreateNumpy(const PictureHeader& header, ByteSink& sink) {
  const auto& row = kCodes[static_cast<std::size_t>(header.type)];
  std::string text = "{'descr': '" + std::string(BytesOf(row.type) == 1 ? "|" : "<") +
                     std::string(row.code) + "', 'fortran_order': False, 'shape': (" +
                     std::to_string(header.height) + ", " + std::to_string(header.width) +
                     (header.channels > 1 ? ", " + std::to_string(header.channels) : "") + "), }";
  // The samples begin at a multiple of 64.
  constexpr std::size_t kAlignment = 64, kFixed = 10;
  text.append(kAlignment - 1 - (kFixed + text.size()) % kAlignment, ' ');
  text += '\n';
  const char length[] = {1, 0, static_cast<char>(text.size() & 0xFF),
                         static_cast<char>(text.size() >> 8)};
  sink.Write(kMark.data(), kMark.size());
  sink.Write(length, sizeof length);
  sink.Write(text.data(), text.size());
  return CreateRaw(header, sink);
}

}  // namespace pictures
