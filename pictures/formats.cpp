// SPDX-License-Identifier: MIT
#include "pictures/formats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace pictures {
namespace {

using Head = std::string_view;

bool IsAnymap(Head head) {
  return head.size() > 2 && head[0] == 'P' && Head("1234567fF").find(head[1]) != head.npos &&
         (std::isspace(static_cast<unsigned char>(head[2])) || head[2] == '#');
}
bool IsTiff(Head head) {
  for (const Head mark : {Head("II*\0", 4), Head("MM\0*", 4), Head("II+\0", 4), Head("MM\0+", 4)}) {
    if (head.starts_with(mark)) return true;
  }
  return false;
}

struct InputFormat {
  const char* name;
  bool (*isIt)(Head head);
  OpenedPicture (*open)(ByteSource& source, const ReadRequest& request);
};

template <OpenedPicture Open(ByteSource&)>
OpenedPicture OpenBy(ByteSource& source, const ReadRequest& request) {
  if (request.page != 1) source.Fail("has one page");
  return Open(source);
}

constexpr InputFormat kInputs[] = {
    {"PNG", [](Head head) { return head.starts_with("\x89PNG\r\n\x1a\n"); }, &OpenBy<OpenPng>},
    {"portable any-map", &IsAnymap, &OpenBy<OpenAnymap>},
    {"NumPy array", [](Head head) { return head.starts_with("\x93NUMPY"); }, &OpenBy<OpenNumpy>},
    {"JPEG", [](Head head) { return head.starts_with("\xFF\xD8\xFF"); }, &OpenBy<OpenByStb>},
    {"HDR", [](Head head) { return head.starts_with("#?RADIANCE") || head.starts_with("#?RGBE"); },
     &OpenBy<OpenByStb>},
    {"BMP", [](Head head) { return head.starts_with("BM"); }, &OpenBy<OpenByStb>},
    {"TIFF", &IsTiff,
     [](ByteSource& source, const ReadRequest& request) { return OpenTiff(source, request.page); }},
};

const InputFormat* Recognise(ByteSource& source) {
  std::array<char, 16> head{};
  source.Seek(0);
  const Head begin(head.data(), source.ReadSome(head.data(), head.size()));
  source.Seek(0);
  for (const InputFormat& format : kInputs) {
    if (format.isIt(begin)) return &format;
  }
  return nullptr;
}

// Of words that each stand behind a blank.
bool Holds(const char* words, std::string_view word) {
  return (words + std::string(" ")).find(" " + std::string(word) + " ") != std::string::npos;
}

PixelType AnyType(PixelType type) { return type; }
PixelType WholeNumbers(PixelType type) {
  return BytesOf(type) == 1 ? PixelType::kByte : PixelType::kWord;
}
PixelType Floats(PixelType) { return PixelType::kFloat; }

}  // namespace

struct OutputFormat::Row {
  const char* extensions;  // each behind a blank
  const char* name;
  PixelType (*typeFor)(PixelType type);
  bool (*holds)(int channels);
  const char* channels;  // what it holds, in words
  const char* kept;      // keys of metadata, each behind a blank
  StartedPicture (*create)(const PictureHeader& header, ByteSink& sink);
};

const OutputFormat::Row OutputFormat::kRows[] = {
    {" .png", "PNG", &WholeNumbers, [](int n) { return n <= 4; },
     "a PNG has 1 (grey), 2 (grey and alpha), 3 (colour) or 4 (colour and alpha)",
     " text exif icc colour png resolution", &CreatePng},
    {" .pgm", "PGM", &WholeNumbers, [](int n) { return n == 1; }, "a PGM has 1", " text pnm",
     &CreateAnymap},
    {" .ppm", "PPM", &WholeNumbers, [](int n) { return n == 3; }, "a PPM has 3", " text pnm",
     &CreateAnymap},
    {" .pnm", "PNM", &WholeNumbers, [](int n) { return n == 1 || n == 3; }, "a PNM has 1 or 3",
     " text pnm", &CreateAnymap},
    {" .pam", "PAM", &WholeNumbers, [](int) { return true; }, "", " text pnm", &CreatePam},
    {" .pfm", "PFM", &Floats, [](int n) { return n == 1 || n == 3; }, "a PFM has 1 or 3", " pfm",
     &CreatePfm},
    {" .tif .tiff", "TIFF", &AnyType, [](int n) { return n <= 0xFFFF; }, "a TIFF has at most 65535",
     " text exif icc colour tiff resolution", &CreateTiff},
    {" .npy", "NumPy array", &AnyType, [](int) { return true; }, "", "", &CreateNumpy},
    {" .raw", "raw samples", &AnyType, [](int) { return true; }, "", "", &CreateRaw},
};

const OutputFormat::Row& OutputFormat::RowFor(const std::string& extension) {
  std::string lower;
  for (const char c : extension) {
    lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  std::string known;
  for (const Row& row : kRows) {
    known += row.extensions;
    if (lower.size() > 1 && Holds(row.extensions, lower)) return row;
  }
  throw std::runtime_error((extension.empty()
                                ? std::string("no extension")
                                : "no picture format has the extension " + extension) +
                           "; there are" + known);
}

OutputFormat::OutputFormat(const std::filesystem::path& path) : row_(nullptr) {
  const std::u8string extension = path.extension().u8string();
  try {
    row_ = &RowFor({extension.begin(), extension.end()});
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(NameOf(path) + ": " + error.what());
  }
}

OutputFormat OutputFormat::Of(const std::string& extension) {
  return OutputFormat(RowFor(extension));
}

const char* OutputFormat::name() const { return row_->name; }

bool OutputFormat::Keeps(std::string_view key) const { return Holds(row_->kept, key); }

PixelType OutputFormat::TypeFor(PixelType type) const { return row_->typeFor(type); }

void OutputFormat::CheckChannels(int channels) const {
  if (channels >= 1 && row_->holds(channels)) return;
  throw std::runtime_error(std::to_string(channels) + " planes; " + row_->channels);
}

std::unique_ptr<PictureWriter> OutputFormat::Create(const PictureHeader& header,
                                                    ByteSink& sink) const {
  CheckChannels(header.channels);
  return row_->create(header, sink);
}

std::string RecognisePicture(ByteSource& source) {
  const InputFormat* format = Recognise(source);
  return format ? format->name : "";
}

std::unique_ptr<PictureReader> OpenPicture(ByteSource& source, const ReadRequest& request) {
  if (request.raw) return OpenRaw(source, *request.raw);
  const InputFormat* format = Recognise(source);
  if (format) return format->open(source, request);
  std::string known;
  for (const InputFormat& row : kInputs) known += std::string(known.empty() ? "" : ", ") + row.name;
  source.Fail("not a picture that can be read: " + known);
}

void CheckSizes(const ByteSource& source, const PictureHeader& header, std::uint64_t bytes,
                std::uint64_t most) {
  constexpr int kMostChannels = 0xFFFF;
  if (header.width < 1 || header.height < 1 || header.channels < 1 ||
      header.channels > kMostChannels) {
    source.Fail("not a whole picture (its sizes are none)");
  }
  // Without a product that could wrap.
  const double needed =
      static_cast<double>(header.width) * header.height * header.channels *
      (header.bits ? header.bits / 8.0 : static_cast<double>(BytesOf(header.type)));
  if (needed / 2 > static_cast<double>(bytes) * static_cast<double>(most)) {
    source.Fail("not a whole picture: it states " + std::to_string(header.width) + " x " +
                std::to_string(header.height) + ", which so few bytes cannot hold");
  }
}

void SwapSamples(std::byte* samples, std::size_t count, std::size_t bytesEach) {
  if (bytesEach == 2) {
    // By itself, so that it becomes wide code.
    for (std::size_t i = 0; i < count; ++i) std::swap(samples[2 * i], samples[2 * i + 1]);
    return;
  }
  for (; count > 0; --count, samples += bytesEach) std::reverse(samples, samples + bytesEach);
}

}  // namespace pictures
