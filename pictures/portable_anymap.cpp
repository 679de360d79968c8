// SPDX-License-Identifier: MIT
// The portable any-maps: PBM, PGM and PPM in both forms, PAM, PFM.
#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstring>
#include <map>
#include <vector>

#include "pictures/formats.h"

namespace pictures {
namespace {

constexpr int kMostMaximum = 0xFFFF;

// The words of a header, and samples that are written as numbers.
class Words {
 public:
  explicit Words(ByteSource& source) : source_(source) {}

  std::string Next() {
    SkipBlanks();
    std::string word;
    for (; !AtEnd() && !IsBlank(now_) && now_ != '#'; Advance()) {
      if (word.size() > 64) source_.Fail("not a whole picture (its header)");
      word += static_cast<char>(now_);
    }
    return word;
  }
  int Number() { return NumberOf(Next()); }
  int NumberOf(const std::string& word) const {
    int number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size() || number < 0) {
      source_.Fail("not a whole picture (its header)");
    }
    return number;
  }
  // Of a PBM: digits may stand without blanks.
  int Digit() {
    SkipBlanks();
    const int digit = now_;
    if (digit != '0' && digit != '1') source_.Fail("not a whole picture");
    Advance();
    return digit - '0';
  }
  // Of a very long one no more than the beginning is kept.
  std::string RestOfLine() {
    constexpr std::size_t kMostKept = 1 << 16;
    std::string line;
    for (; !AtEnd() && now_ != '\n'; Advance()) {
      if (line.size() < kMostKept) line += static_cast<char>(now_);
    }
    return line;
  }
  // What stood behind # marks, line by line.
  const std::string& comment() const { return comment_; }

 private:
  static bool IsBlank(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  bool AtEnd() {
    if (!hasByte_) Advance();
    return now_ < 0;
  }
  void Advance() {
    now_ = source_.Next();
    hasByte_ = true;
  }
  void SkipBlanks() {
    while (!AtEnd() && (IsBlank(now_) || now_ == '#')) {
      if (now_ == '#') {
        Advance();
        if (now_ == ' ') Advance();
        const std::string line = RestOfLine();
        if (!comment_.empty()) comment_ += '\n';
        comment_ += line;
      }
      if (!AtEnd()) Advance();
    }
  }

  ByteSource& source_;
  int now_ = 0;
  // The blank behind a word is taken, and nothing more.
  bool hasByte_ = false;
  std::string comment_;
};

class Reader final : public PictureReader {
 public:
  explicit Reader(ByteSource& source) : source_(source), words_(source) {
    const std::string magic = words_.Next();
    kind_ = magic[1];
    if (kind_ == '7') {
      TakePam();
    } else {
      header_.width = words_.Number();
      header_.height = words_.Number();
      header_.channels = kind_ == '3' || kind_ == '6' || kind_ == 'F' ? 3 : 1;
      if (IsFloat()) {
        TakeScale(words_.Next());
      } else if (!IsBits()) {
        maximum_ = words_.Number();
      }
    }
    if (IsBits()) header_.bits = 1;
    if (!IsFloat()) {
      if (maximum_ < 1 || maximum_ > kMostMaximum) source.Fail("not a whole picture (its header)");
      header_.type = maximum_ < 256 ? PixelType::kByte : PixelType::kWord;
      if (maximum_ != 255 && maximum_ != kMostMaximum) {
        Put(GroupAt(header_.metadata, "pnm"), "maximum", maximum_);
      }
    }
    if (!words_.comment().empty()) {
      Put(GroupAt(header_.metadata, "text"), "Comment", words_.comment());
    }
    // The blank behind the last word is the one byte that belongs to the header.
    start_ = source.position();
    CheckSizes(source, header_, source.left(), 1);
    if (!IsText() && source.left() < FileRowBytes() * static_cast<std::uint64_t>(header_.height)) {
      source.Fail("ends early");
    }
  }

  void ReadRows(int count, std::byte* samples) override {
    const std::size_t all = header_.RowSamples() * static_cast<std::size_t>(count);
    if (IsText()) {
      ReadNumbers(all, samples);
    } else if (IsBits()) {
      for (; count > 0; --count, samples += header_.width) ReadBits(samples);
      return;
    } else if (IsFloat()) {
      // From the bottom to the top.
      for (int i = 0; i < count; ++i) {
        ++row_;
        source_.Seek(start_ + FileRowBytes() * static_cast<std::uint64_t>(header_.height - row_));
        source_.Read(samples + static_cast<std::size_t>(i) * header_.RowBytes(), FileRowBytes());
      }
      if (isBigEndian_) SwapSamples(samples, all, sizeof(float));
    } else {
      source_.Read(samples, all * BytesOf(header_.type));
      if (header_.type == PixelType::kWord) SwapSamples(samples, all, 2);
    }
  }

 private:
  bool IsText() const { return kind_ >= '1' && kind_ <= '3'; }
  bool IsBits() const { return kind_ == '1' || kind_ == '4'; }
  bool IsFloat() const { return kind_ == 'f' || kind_ == 'F'; }
  std::size_t FileRowBytes() const {
    return IsBits() ? (static_cast<std::size_t>(header_.width) + 7) / 8 : header_.RowBytes();
  }

  void TakePam() {
    std::string kinds;
    for (std::string word = words_.Next(); word != "ENDHDR"; word = words_.Next()) {
      if (word == "WIDTH") {
        header_.width = words_.Number();
      } else if (word == "HEIGHT") {
        header_.height = words_.Number();
      } else if (word == "DEPTH") {
        header_.channels = words_.Number();
      } else if (word == "MAXVAL") {
        maximum_ = words_.Number();
      } else if (word == "TUPLTYPE") {
        kinds += (kinds.empty() ? "" : " ") + words_.Next();
      } else {
        source_.Fail("not a whole picture (its header)");
      }
    }
    static constexpr std::string_view kUsual[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB",
                                                  "RGB_ALPHA"};
    if (!kinds.empty() &&
        std::find(std::begin(kUsual), std::end(kUsual), kinds) == std::end(kUsual)) {
      Put(GroupAt(header_.metadata, "pnm"), "tuple type", kinds);
    }
  }

  void TakeScale(const std::string& word) {
    header_.type = PixelType::kFloat;
    double scale = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), scale);
    if (error != std::errc() || scale == 0) source_.Fail("not a whole picture (its header)");
    isBigEndian_ = scale > 0;
    scale = scale > 0 ? scale : -scale;
    if (scale != 1) Put(GroupAt(header_.metadata, "pfm"), "scale", scale);
  }

  void ReadNumbers(std::size_t count, std::byte* samples) {
    for (std::size_t i = 0; i < count; ++i) {
      const int number = IsBits() ? 255 * (1 - words_.Digit()) : words_.Number();
      if (!IsBits() && number > maximum_) source_.Fail("not a whole picture (a sample)");
      if (header_.type == PixelType::kByte) {
        samples[i] = static_cast<std::byte>(number);
      } else {
        const auto sample = static_cast<std::uint16_t>(number);
        std::memcpy(samples + 2 * i, &sample, 2);
      }
    }
  }

  // 1 is black.
  void ReadBits(std::byte* samples) {
    bits_.resize(FileRowBytes());
    source_.Read(bits_.data(), bits_.size());
    for (int x = 0; x < header_.width; ++x) {
      const bool isBlack = (bits_[static_cast<std::size_t>(x / 8)] >> (7 - x % 8) & 1) != 0;
      samples[x] = isBlack ? std::byte{0} : std::byte{255};
    }
  }

  ByteSource& source_;
  Words words_;
  char kind_ = 0;
  int maximum_ = 255;
  bool isBigEndian_ = false;
  std::uint64_t start_ = 0;
  int row_ = 0;
  std::vector<unsigned char> bits_;
};

class Writer final : public PictureWriter {
 public:
  Writer(const PictureHeader& header, ByteSink& sink) : header_(header), sink_(sink) {}
  void WriteRows(int count, const std::byte* samples) override {
    const std::size_t all = header_.RowSamples() * static_cast<std::size_t>(count);
    if (header_.type == PixelType::kByte) return sink_.Write(samples, all);
    swapped_.assign(samples, samples + 2 * all);
    SwapSamples(swapped_.data(), all, 2);
    sink_.Write(swapped_.data(), swapped_.size());
  }
  void Finish() override {}

 private:
  PictureHeader header_;
  ByteSink& sink_;
  std::vector<std::byte> swapped_;
};

class FloatWriter final : public PictureWriter {
 public:
  FloatWriter(const PictureHeader& header, ByteSink& sink)
      : rowBytes_(header.RowBytes()),
        rowsLeft_(static_cast<std::uint64_t>(header.height)),
        start_(sink.position()),
        sink_(sink) {}
  void WriteRows(int count, const std::byte* samples) override {
    for (; count > 0; --count, samples += rowBytes_) {
      sink_.Seek(start_ + --rowsLeft_ * rowBytes_);
      sink_.Write(samples, rowBytes_);
    }
  }
  void Finish() override {}

 private:
  std::size_t rowBytes_;
  std::uint64_t rowsLeft_;
  std::uint64_t start_;
  ByteSink& sink_;
};

std::string SizeText(const PictureHeader& header) {
  return std::to_string(header.width) + ' ' + std::to_string(header.height) + '\n';
}

void WriteText(ByteSink& sink, const std::string& text) { sink.Write(text.data(), text.size()); }

// Each line behind a mark, where there is a comment.
std::string CommentText(const PictureHeader& header) {
  const auto* comment = FindAs<std::string>(header.metadata, "text", "Comment");
  if (!comment) return "";
  std::string lines = "# ";
  for (const char c : *comment) {
    lines += c == '\r' ? ' ' : c;
    if (c == '\n') lines += "# ";
  }
  return lines + '\n';
}

// As the picture came, if no sample of the type can be above it.
int Maximum(const PictureHeader& header) {
  const int whole = header.type == PixelType::kByte ? 255 : kMostMaximum;
  const auto* maximum = FindAs<std::int32_t>(header.metadata, "pnm", "maximum");
  const bool fits = maximum && *maximum >= 1 && *maximum <= whole &&
                    (*maximum < 256) == (header.type == PixelType::kByte);
  return fits ? *maximum : whole;
}

}  // namespace

OpenedPicture OpenAnymap(ByteSource& source) { return std::make_unique<Reader>(source); }

StartedPicture CreateAnymap(const PictureHeader& header, ByteSink& sink) {
  WriteText(sink, (header.channels == 1 ? "P5\n" : "P6\n") + CommentText(header) +
                      SizeText(header) + std::to_string(Maximum(header)) + '\n');
  return std::make_unique<Writer>(header, sink);
}

StartedPicture CreatePam(const PictureHeader& header, ByteSink& sink) {
  static constexpr const char* kKinds[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};
  std::string kind = header.channels <= 4 ? kKinds[header.channels - 1] : "";
  if (const auto* own = FindAs<std::string>(header.metadata, "pnm", "tuple type")) kind = *own;
  WriteText(sink, "P7\n" + CommentText(header) + "WIDTH " + std::to_string(header.width) +
                      "\nHEIGHT " + std::to_string(header.height) + "\nDEPTH " +
                      std::to_string(header.channels) + "\nMAXVAL " +
                      std::to_string(Maximum(header)) + (kind.empty() ? "" : "\nTUPLTYPE " + kind) +
                      "\nENDHDR\n");
  return std::make_unique<Writer>(header, sink);
}

StartedPicture CreatePfm(const PictureHeader& header, ByteSink& sink) {
  static_assert(std::endian::native == std::endian::little);
  const auto* scale = FindAs<double>(header.metadata, "pfm", "scale");
  char number[32] = "1.0";
  if (scale && *scale > 0) *std::to_chars(number, number + 31, *scale).ptr = '\0';
  WriteText(sink,
            (header.channels == 1 ? "Pf\n" : "PF\n") + SizeText(header) + '-' + number + '\n');
  return std::make_unique<FloatWriter>(header, sink);
}

}  // namespace pictures
