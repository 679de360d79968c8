// SPDX-License-Identifier: MIT
#include "pictures/png_chunks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "pictures/formats.h"
#include "pictures/zlib_bytes.h"

namespace pictures {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::array<std::uint32_t, 256> kCrcTable = [] {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t n = 0; n < 256; ++n) {
    std::uint32_t c = n;
    for (int bit = 0; bit < 8; ++bit) c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[n] = c;
  }
  return table;
}();

std::uint32_t Crc(Bytes bytes) {
  std::uint32_t c = 0xFFFFFFFFu;
  for (const std::uint8_t byte : bytes) c = kCrcTable[(c ^ byte) & 0xFF] ^ (c >> 8);
  return ~c;
}

std::uint32_t U32(Bytes bytes, std::size_t at = 0) {
  std::uint32_t number = 0;
  for (std::size_t i = at; i < at + 4; ++i) number = number << 8 | bytes[i];
  return number;
}
std::uint32_t U16(Bytes bytes, std::size_t at) {
  return std::uint32_t{bytes[at]} << 8 | bytes[at + 1];
}
void AppendU32(Block& to, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8)
    to.push_back(static_cast<std::uint8_t>(number >> shift));
}
void AppendU16(Block& to, std::uint32_t number) {
  to.push_back(static_cast<std::uint8_t>(number >> 8));
  to.push_back(static_cast<std::uint8_t>(number));
}
void AppendText(Block& to, std::string_view text) { to.insert(to.end(), text.begin(), text.end()); }

std::string Utf8OfLatin1(Bytes bytes) {
  std::string text;
  for (const std::uint8_t c : bytes) {
    if (c < 0x80) {
      text += static_cast<char>(c);
    } else {
      text += static_cast<char>(0xC0 | c >> 6);
      text += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return text;
}
// False where the text has other letters.
bool Latin1OfUtf8(std::string_view text, std::string& latin1) {
  latin1.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<std::uint8_t>(text[i]);
    if (c < 0x80) {
      latin1 += text[i];
    } else if ((c == 0xC2 || c == 0xC3) && i + 1 < text.size()) {
      latin1 += static_cast<char>((c & 3) << 6 | (text[++i] & 0x3F));
    } else {
      return false;
    }
  }
  return true;
}

Bytes TakeToNull(Bytes& rest) {
  const auto end = std::find(rest.begin(), rest.end(), std::uint8_t{0});
  const Bytes taken(rest.begin(), end);
  rest = end == rest.end() ? Bytes() : rest.subspan(taken.size() + 1);
  return taken;
}
std::string TextOf(Bytes bytes) { return {bytes.begin(), bytes.end()}; }

// What chunks mean, one after another.
class ChunkReader {
 public:
  ChunkReader(PictureHeader& header, const PngPixels& pixels) : header_(header), pixels_(pixels) {}

  // False where the content is not what the name promises.
  bool Take(const std::string& name, Bytes data) {
    Group& all = header_.metadata;
    if (name == "tEXt" || name == "zTXt" || name == "iTXt") return TakeText(name, data);
    if (name == "PLTE") {
      palette_.assign(data.begin(), data.end());
    } else if (name == "tRNS") {
      if (pixels_.colour % 2 == 0 || pixels_.colour == 3) ++header_.channels;
    } else if (name == "pHYs") {
      if (data.size() != 9) return false;
      header_.resolution = {double{1} * U32(data), double{1} * U32(data, 4),
                            data[8] == 1 ? Resolution::Unit::kMetre : Resolution::Unit::kNone};
    } else if (name == "gAMA") {
      if (data.size() != 4) return false;
      Put(GroupAt(all, "colour"), "gamma", U32(data) / 1e5);
    } else if (name == "cHRM") {
      if (data.size() != 32) return false;
      std::vector<double> numbers;
      for (std::size_t at = 0; at < 32; at += 4) numbers.push_back(U32(data, at) / 1e5);
      Put(GroupAt(all, "colour"), "chromaticities", numbers);
    } else if (name == "sRGB") {
      if (data.size() != 1) return false;
      Put(GroupAt(all, "colour"), "rendering intent", std::int32_t{data[0]});
    } else if (name == "iCCP") {
      const Bytes profileName = TakeToNull(data);
      auto profile = data.empty() ? std::nullopt : Inflate(data.subspan(1));
      if (!profile) return false;
      Put(GroupAt(all, "icc"), "name", Utf8OfLatin1(profileName));
      Put(GroupAt(all, "icc"), "profile", std::move(*profile));
    } else if (name == "eXIf") {
      Put(all, "exif", Block(data.begin(), data.end()));
    } else if (name == "tIME") {
      if (data.size() != 7) return false;
      char text[64];
      std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u", U16(data, 0), data[2],
                    data[3], data[4], data[5], data[6]);
      Put(GroupAt(all, "png"), "modified", std::string(text));
    } else if (name == "bKGD") {
      return TakeBackground(data);
    } else if (name == "sBIT") {
      Put(GroupAt(all, "png"), "significant bits", Block(data.begin(), data.end()));
    } else if (IsKept(name)) {
      Group& chunks = GroupAt(GroupAt(all, "png"), "chunks");
      Put(chunks, FreeKey(chunks, name), Block(data.begin(), data.end()));
    }
    return true;
  }

 private:
  // What a program may copy that does not know it, and some that stay true whatever the pixels are.
  static bool IsKept(const std::string& name) {
    const bool isSafe = name[0] >= 'a' && name[3] >= 'a';
    return isSafe || name == "sPLT" || name == "pCAL" || name == "sCAL";
  }

  bool TakeText(const std::string& name, Bytes rest) {
    const std::string keyword = Utf8OfLatin1(TakeToNull(rest));
    std::string text;
    Group how;
    if (keyword.empty()) return false;
    if (name == "tEXt") {
      text = Utf8OfLatin1(rest);
    } else if (name == "zTXt") {
      const auto inflated = rest.empty() ? std::nullopt : Inflate(rest.subspan(1));
      if (!inflated) return false;
      text = Utf8OfLatin1(*inflated);
      Put(how, "chunk", name);
    } else {
      if (rest.size() < 2) return false;
      const bool isCompressed = rest[0] == 1;
      rest = rest.subspan(2);
      Put(how, "chunk", name);
      if (isCompressed) Put(how, "compressed", std::int32_t{1});
      const std::string language = TextOf(TakeToNull(rest)), translated = TextOf(TakeToNull(rest));
      if (!language.empty()) Put(how, "language", language);
      if (!translated.empty()) Put(how, "keyword in it", translated);
      if (isCompressed) {
        const auto inflated = Inflate(rest);
        if (!inflated) return false;
        text = TextOf(*inflated);
      } else {
        text = TextOf(rest);
      }
    }
    Group& texts = GroupAt(header_.metadata, "text");
    const std::string key = FreeKey(texts, keyword);
    if (key != keyword) Put(how, "keyword", keyword);
    if (key == "Title") header_.name = text;
    Put(texts, key, std::move(text));
    if (!how.empty()) Put(GroupAt(GroupAt(header_.metadata, "png"), "text"), key, std::move(how));
    return true;
  }

  // In the samples that are read.
  bool TakeBackground(Bytes data) {
    std::vector<double> samples;
    if (pixels_.colour == 3) {
      const std::size_t at = data.empty() ? palette_.size() : std::size_t{3} * data[0];
      if (at + 3 > palette_.size()) return false;
      samples.assign(palette_.begin() + static_cast<std::ptrdiff_t>(at),
                     palette_.begin() + static_cast<std::ptrdiff_t>(at) + 3);
    } else {
      const double scale = pixels_.bits < 8 ? 255.0 / ((1 << pixels_.bits) - 1) : 1;
      for (std::size_t at = 0; at + 1 < data.size(); at += 2) {
        samples.push_back(U16(data, at) * scale);
      }
    }
    Put(GroupAt(header_.metadata, "png"), "background", samples);
    return true;
  }

  PictureHeader& header_;
  const PngPixels& pixels_;
  Block palette_;
};

// A number with five digits behind the point, as the format has it.
bool AppendFixed(Block& to, double number) {
  const double fixed = std::round(number * 1e5);
  if (!(fixed >= 0 && fixed <= 0x7FFFFFFF)) return false;
  AppendU32(to, static_cast<std::uint32_t>(fixed));
  return true;
}

// A text that clients may have made; a keyword the format would not have goes out cut.
Block TextChunk(const std::string& key, const std::string& text, const Group* how,
                std::string& name) {
  const auto word = [&](const char* what) {
    const auto* found = how ? FindAs<std::string>(*how, what) : nullptr;
    return found ? *found : std::string();
  };
  constexpr std::size_t kMostKeyword = 79;
  std::string keyword, latin1;
  if (!Latin1OfUtf8(word("keyword").empty() ? key : word("keyword"), keyword)) keyword = "Comment";
  keyword.resize(std::min(keyword.size(), kMostKeyword));
  const bool isLatin1 = Latin1OfUtf8(text, latin1);
  name = word("chunk");
  if (!isLatin1) name = "iTXt";
  if (name != "zTXt" && name != "iTXt") name = "tEXt";
  Block data;
  AppendText(data, keyword);
  data.push_back(0);
  const auto deflated = [](const std::string& of) {
    return Deflate(Bytes(reinterpret_cast<const std::uint8_t*>(of.data()), of.size()));
  };
  if (name == "tEXt") {
    AppendText(data, latin1);
  } else if (name == "zTXt") {
    data.push_back(0);
    const Block body = deflated(latin1);
    data.insert(data.end(), body.begin(), body.end());
  } else {
    const bool isCompressed = how && FindAs<std::int32_t>(*how, "compressed");
    data.push_back(isCompressed ? 1 : 0);
    data.push_back(0);
    for (const char* what : {"language", "keyword in it"}) {
      AppendText(data, word(what));
      data.push_back(0);
    }
    const Block body = isCompressed ? deflated(text) : Block(text.begin(), text.end());
    data.insert(data.end(), body.begin(), body.end());
  }
  return data;
}

void AddColour(std::vector<PngChunk>& chunks, const Group& all) {
  if (const auto* profile = FindAs<Block>(all, "icc", "profile"); profile && !profile->empty()) {
    const auto* own = FindAs<std::string>(all, "icc", "name");
    std::string name;
    if (!own || !Latin1OfUtf8(*own, name) || name.empty()) name = "profile";
    name.resize(std::min<std::size_t>(name.size(), 79));
    Block data(name.begin(), name.end());
    data.insert(data.end(), {0, 0});
    const Block body = Deflate(*profile);
    data.insert(data.end(), body.begin(), body.end());
    chunks.push_back({"iCCP", std::move(data)});
  }
  Block gamma, points;
  if (const auto* number = FindAs<double>(all, "colour", "gamma");
      number && AppendFixed(gamma, *number)) {
    chunks.push_back({"gAMA", gamma});
  }
  if (const auto* numbers = FindAs<std::vector<double>>(all, "colour", "chromaticities");
      numbers && numbers->size() == 8 &&
      std::all_of(numbers->begin(), numbers->end(),
                  [&](double number) { return AppendFixed(points, number); })) {
    chunks.push_back({"cHRM", points});
  }
  if (const auto* intent = FindAs<std::int32_t>(all, "colour", "rendering intent");
      intent && *intent >= 0 && *intent <= 3) {
    chunks.push_back({"sRGB", {static_cast<std::uint8_t>(*intent)}});
  }
}

void AddResolution(std::vector<PngChunk>& chunks, const Resolution& resolution) {
  using Unit = Resolution::Unit;
  const double scale = resolution.unit == Unit::kInch         ? 1 / 0.0254
                       : resolution.unit == Unit::kCentimetre ? 100
                                                              : 1;
  const double x = std::round(resolution.x * scale), y = std::round(resolution.y * scale);
  if (!(x >= 1 && y >= 1 && x <= 0x7FFFFFFF && y <= 0x7FFFFFFF)) return;
  Block data;
  AppendU32(data, static_cast<std::uint32_t>(x));
  AppendU32(data, static_cast<std::uint32_t>(y));
  data.push_back(resolution.unit == Unit::kNone ? 0 : 1);
  chunks.push_back({"pHYs", data});
}

void AddPixelNotes(std::vector<PngChunk>& chunks, const PictureHeader& header, int bits) {
  const auto colours = static_cast<std::size_t>(header.channels >= 3 ? 3 : 1);
  if (const auto* significant = FindAs<Block>(header.metadata, "png", "significant bits");
      significant &&
      (significant->size() == colours ||
       significant->size() == static_cast<std::size_t>(header.channels)) &&
      std::all_of(significant->begin(), significant->end(),
                  [&](int n) { return n >= 1 && n <= bits; })) {
    Block data = *significant;
    // Of a picture whose transparent colour has become alpha.
    data.resize(static_cast<std::size_t>(header.channels), static_cast<std::uint8_t>(bits));
    chunks.push_back({"sBIT", data});
  }
  if (const auto* samples = FindAs<std::vector<double>>(header.metadata, "png", "background");
      samples && samples->size() == colours) {
    Block data;
    const double scale = bits < 8 ? ((1 << bits) - 1) / 255.0 : 1;
    for (const double sample : *samples) {
      AppendU16(data, static_cast<std::uint32_t>(
                          std::clamp(std::isnan(sample) ? 0 : std::round(sample * scale), 0.0,
                                     static_cast<double>((1 << bits) - 1))));
    }
    chunks.push_back({"bKGD", data});
  }
}

void AddTime(std::vector<PngChunk>& chunks, const Group& all) {
  const auto* text = FindAs<std::string>(all, "png", "modified");
  unsigned year = 0, part[5] = {};
  if (!text || std::sscanf(text->c_str(), "%4u-%2u-%2uT%2u:%2u:%2u", &year, &part[0], &part[1],
                           &part[2], &part[3], &part[4]) != 6) {
    return;
  }
  Block data;
  AppendU16(data, year);
  for (const unsigned number : part) data.push_back(static_cast<std::uint8_t>(number));
  chunks.push_back({"tIME", data});
}

void AddTexts(std::vector<PngChunk>& chunks, const PictureHeader& header) {
  Group texts;
  if (const auto* own = FindAs<Group>(header.metadata, "text")) texts = *own;
  if (!header.name.empty()) Put(texts, "Title", header.name);
  const auto* hows = FindAs<Group>(header.metadata, "png", "text");
  for (const Entry& entry : texts) {
    const auto* text = std::get_if<std::string>(&entry.value);
    if (!text || entry.key.empty()) continue;
    const auto* how = hows ? FindAs<Group>(*hows, entry.key) : nullptr;
    std::string name;
    Block data = TextChunk(entry.key, *text, how, name);
    chunks.push_back({name, std::move(data)});
  }
}

}  // namespace

PngPixels ReadPngChunks(ByteSource& source, PictureHeader& header) {
  constexpr std::size_t kSignature = 8, kHeader = 13;
  constexpr std::uint32_t kMostLength = 0x7FFFFFFF;
  PngPixels pixels;
  ChunkReader reader(header, pixels);
  std::uint64_t deflated = 0;
  source.Seek(kSignature);
  std::string name;
  for (Block chunk; name != "IEND";) {
    std::uint8_t head[8];
    source.Read(head, sizeof head);
    const std::uint32_t length = U32(head);
    name.assign(head + 4, head + 8);
    const bool isHeader = name == "IHDR";
    if (length > kMostLength || isHeader != (header.width == 0) ||
        (isHeader && length != kHeader)) {
      source.Fail("not a whole picture (its chunks)");
    }
    if (source.left() < length + std::uint64_t{4}) source.Fail("ends early");
    if (name == "IDAT") {
      deflated += length;
      source.Seek(source.position() + length + 4);
      continue;
    }
    chunk.resize(length + std::size_t{8});
    std::copy_n(head + 4, 4, chunk.begin());
    source.Read(chunk.data() + 4, length + std::size_t{4});
    const Bytes all(chunk);
    const Bytes data = all.subspan(4, length);
    if (Crc(all.first(length + std::size_t{4})) != U32(all, length + std::size_t{4})) {
      source.Fail("damaged in the chunk " + name);
    }
    if (isHeader) {
      if (U32(data) > kMostLength || U32(data, 4) > kMostLength) source.Fail("not a whole picture");
      header.width = static_cast<int>(U32(data));
      header.height = static_cast<int>(U32(data, 4));
      pixels = {data[8], data[9], data[12] != 0};
      static constexpr int kChannels[] = {1, 0, 3, 3, 2, 0, 4};
      header.channels = pixels.colour <= 6 ? kChannels[pixels.colour] : 0;
      header.type = pixels.bits == 16 ? PixelType::kWord : PixelType::kByte;
      if (pixels.colour == 0 && pixels.bits < 8) header.bits = pixels.bits;
    } else if (!reader.Take(name, data)) {
      source.Fail("damaged in the chunk " + name);
    }
  }
  PictureHeader stored = header;
  if (pixels.colour == 3) stored.channels = 1, stored.bits = pixels.bits;
  CheckSizes(source, stored, deflated, kMostDeflated);
  // Alpha has no fewer bits than 8.
  if (header.channels != 1) header.bits = 0;
  if (header.bits) Put(GroupAt(header.metadata, "png"), "bits", std::int32_t{header.bits});
  source.Seek(0);
  return pixels;
}

std::vector<PngChunk> MakePngChunks(const PictureHeader& header, int bits) {
  std::vector<PngChunk> chunks;
  const Group& all = header.metadata;
  AddColour(chunks, all);
  AddPixelNotes(chunks, header, bits);
  AddResolution(chunks, header.resolution);
  AddTime(chunks, all);
  if (const auto* exif = FindAs<Block>(all, "exif"); exif && !exif->empty()) {
    chunks.push_back({"eXIf", *exif});
  }
  AddTexts(chunks, header);
  if (const auto* others = FindAs<Group>(all, "png", "chunks")) {
    for (const Entry& entry : *others) {
      // Behind a name of four letters may stand a number.
      const auto* data = std::get_if<Block>(&entry.value);
      const std::string name = entry.key.substr(0, 4);
      const bool isName = name.size() == 4 && std::all_of(name.begin(), name.end(), [](char c) {
                            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
                          });
      if (data && isName && name[0] >= 'a') chunks.push_back({name, *data});
    }
  }
  return chunks;
}

Block ChunkBytes(const std::string& name, Bytes data) {
  Block chunk;
  chunk.reserve(data.size() + 12);
  AppendU32(chunk, static_cast<std::uint32_t>(data.size()));
  AppendText(chunk, name);
  chunk.insert(chunk.end(), data.begin(), data.end());
  AppendU32(chunk, Crc(Bytes(chunk).subspan(4)));
  return chunk;
}

}  // namespace pictures
