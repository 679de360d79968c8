// SPDX-License-Identifier: MIT
#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "picture_aoi/picture_aoi.h"
#include "picture_aoi/plane_rows.h"
#include "picture_aoi/sample_conversion.h"

namespace picture_aoi {
namespace {

using pictures::FindAs;
using pictures::Group;
using pictures::OutputFormat;
using pictures::PictureHeader;
using pictures::PixelType;
using rastelklp::AnyAoi;
using rastelklp::check_hresult;

// The pixels that are written.
struct Frame {
  int width = 0;
  int height = 0;
  PixelType type{};
  std::vector<PlaneRows> planes;
};

// The buffer's margin, which no operation tells: how far pixels are there on the left of the first
// one behind it.
template <class T>
int MarginBefore(const rastelklp::Aoi<T>& aoi, const rastelklp::Rect& rectangle) {
  const auto isThere = [&](int margin) {
    double value = 0;
    return SUCCEEDED(aoi->GetPixel(-rectangle.x - margin, 0, &value));
  };
  if (!isThere(0)) throw rastelklp::Error(E_INVALIDARG);
  LONG most = 0;
  check_hresult(aoi->get_BufferWidth(&most));
  int there = 0;
  for (int gone = static_cast<int>(most); gone - there > 1;) {
    const int middle = there + (gone - there) / 2;
    (isThere(middle) ? there : gone) = middle;
  }
  return there;
}

template <class T>
Frame FrameOf(const rastelklp::Aoi<T>& aoi, bool isBuffer) {
  const rastelklp::Rect rectangle = aoi.rectangle();
  const int margin = MarginBefore(aoi, rectangle);
  LONG stride = 0, rows = 0;
  check_hresult(aoi->get_BufferWidth(&stride));
  check_hresult(aoi->get_BufferHeight(&rows));
  // A rectangle may run past the stored pixels.
  if (std::int64_t{rectangle.x} + margin + rectangle.width > stride ||
      std::int64_t{rectangle.y} + margin + rectangle.height > rows) {
    if (!isBuffer) throw std::runtime_error("the rectangle runs past the stored pixels");
  }
  Frame frame{rectangle.width, rectangle.height, pictures::kPixelTypeOf<T>, {}};
  std::ptrdiff_t back = 0;
  if (isBuffer) {
    frame.width = static_cast<int>(stride);
    frame.height = static_cast<int>(rows);
    back = (std::ptrdiff_t{rectangle.y} + margin) * stride + rectangle.x + margin;
  }
  for (const auto& plane : aoi.planes()) {
    frame.planes.push_back({reinterpret_cast<std::byte*>(plane.data() - back),
                            plane.stride() * static_cast<std::ptrdiff_t>(sizeof(T))});
  }
  return frame;
}

// Calls use(samples, rows) for block after block of pixels with their channels side by side.
template <class Use>
void EachBlock(const Frame& frame, const Use& use) {
  const std::size_t sampleBytes = BytesOf(frame.type);
  const std::size_t rowSamples = static_cast<std::size_t>(frame.width) * frame.planes.size();
  const int most = RowsInBlock(rowSamples * sampleBytes);
  std::vector<std::byte> block(rowSamples * sampleBytes *
                               static_cast<std::size_t>(std::min(most, frame.height)));
  for (int y = 0; y < frame.height; y += most) {
    const int count = std::min(most, frame.height - y);
    TakeRows(frame.planes, y, count, frame.width, sampleBytes, block.data());
    use(std::as_const(block).data(), count);
  }
}

std::string NumberText(double number) {
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

// What the picture came with, if its samples are still of that kind: fewer bits than a byte, a
// largest number below that of the type.
void CheckDepth(const Frame& frame, PictureHeader& header) {
  const auto* bits = FindAs<std::int32_t>(header.metadata, "png", "bits");
  const auto* maximum = FindAs<std::int32_t>(header.metadata, "pnm", "maximum");
  if (frame.type != header.type || (frame.type != PixelType::kByte && !maximum)) return;
  bool areBits = bits && (*bits == 1 || *bits == 2 || *bits == 4) && frame.type == PixelType::kByte;
  bool isBelow = maximum != nullptr;
  if (!areBits && !isBelow) return;
  EachBlock(frame, [&](const std::byte* samples, int count) {
    const std::size_t all = header.RowSamples() * static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < all && (areBits || isBelow); ++i) {
      const int sample = frame.type == PixelType::kByte
                             ? std::to_integer<int>(samples[i])
                             : reinterpret_cast<const std::uint16_t*>(samples)[i];
      if (areBits && sample % (255 / ((1 << *bits) - 1)) != 0) areBits = false;
      if (isBelow && sample > *maximum) isBelow = false;
    }
  });
  if (areBits) header.bits = *bits;
  if (maximum && !isBelow) Put(GroupAt(header.metadata, "pnm"), "maximum", std::int32_t{0});
}

// How a file of a format stores what stands elsewhere: nothing that another one could lack.
bool IsOfOneFormat(std::string_view key) {
  return key == "png" || key == "pnm" || key == "pfm" || key == "tiff";
}

PictureHeader HeaderOf(const AnyAoi& aoi, const Frame& frame, const OutputFormat& format,
                       WriteReport& report) {
  PictureHeader header;
  header.width = frame.width;
  header.height = frame.height;
  header.channels = static_cast<int>(frame.planes.size());
  if (const std::string name = aoi.name(); name != "None") header.name = name;
  const auto tag = aoi.tag();
  if (const auto* text = std::get_if<rastelklp::Text>(&tag)) {
    header.resolution = ResolutionOf(text->utf8());
  }
  if (!tag.empty() && !(header.resolution.x > 0 && format.Keeps("resolution"))) {
    report.left.push_back("tag");
  }
  const rastelklp::Map map = aoi.attributes();
  if (!map) return header;
  for (const auto& [key, value] : map.entries()) {
    const auto* text = std::get_if<rastelklp::Text>(&key);
    const std::string words = text ? text->utf8() : "(a number)";
    if (!format.Keeps(words) && !IsOfOneFormat(words)) report.left.push_back(words);
  }
  header.metadata = GroupOf(map);
  return header;
}

[[noreturn]] void RefuseNarrowing(const SampleConversion& conversion, const WriteReport& report) {
  const bool isReal = report.type == PixelType::kFloat;
  throw std::runtime_error(std::to_string(conversion.changed()) + " of " +
                           std::to_string(report.samples) + " samples are not " +
                           RowOf(report.type).name + " values (" +
                           (isReal ? "of 24 bits"
                                   : "whole numbers from " + NumberText(LowestOf(report.type)) +
                                         " to " + NumberText(HighestOf(report.type))) +
                           "): clamp takes the nearest, scale maps the range");
}

// What can be refused is, before anything is written.
class Export {
 public:
  Export(const AnyAoi& aoi, const OutputFormat& format, const WriteOptions& options)
      : format_(format),
        options_(options),
        frame_(aoi.visit([&](const auto& typed) { return FrameOf(typed, options.isBuffer); })),
        conversion_(frame_.type, options.type.value_or(format.TypeFor(frame_.type)),
                    options.narrowing) {
    report_.format = format.name();
    report_.type = options.type.value_or(format.TypeFor(frame_.type));
    if (!format.Has(report_.type)) {
      throw std::runtime_error(std::string(format.name()) + " has no samples of the type " +
                               RowOf(report_.type).name);
    }
    report_.planes = static_cast<int>(frame_.planes.size());
    report_.width = frame_.width;
    report_.height = frame_.height;
    report_.samples = std::uint64_t{1} * static_cast<std::uint64_t>(frame_.width) *
                      static_cast<std::uint64_t>(frame_.height) * frame_.planes.size();
    format.CheckChannels(report_.planes);
    header_ = HeaderOf(aoi, frame_, format, report_);
    header_.type = report_.type;
    if (conversion_.NeedsSurvey()) {
      EachBlock(frame_, [&](const std::byte* samples, int count) {
        conversion_.Survey(samples, header_.RowSamples() * static_cast<std::size_t>(count));
      });
      if (options.narrowing == Narrowing::kRefuse && conversion_.changed() > 0) {
        RefuseNarrowing(conversion_, report_);
      }
    }
    if (conversion_.IsNone()) CheckDepth(frame_, header_);
  }

  WriteReport Write(pictures::ByteSink& sink) {
    const auto writer = format_.Create(header_, sink);
    conversion_.StartOver();
    std::vector<std::byte> converted;
    int done = 0;
    EachBlock(frame_, [&](const std::byte* samples, int count) {
      if (!conversion_.IsNone()) {
        converted.resize(header_.RowBytes() * static_cast<std::size_t>(count));
        conversion_.Convert(samples, header_.RowSamples() * static_cast<std::size_t>(count),
                            converted.data());
        samples = converted.data();
      }
      writer->WriteRows(count, samples);
      done += count;
      if (options_.progress) options_.progress(double{1} * done / frame_.height);
    });
    writer->Finish();
    report_.changed = conversion_.changed();
    report_.lowest = conversion_.lowest();
    report_.highest = conversion_.highest();
    return report_;
  }

 private:
  const OutputFormat& format_;
  const WriteOptions& options_;
  Frame frame_;
  SampleConversion conversion_;
  WriteReport report_;
  PictureHeader header_;
};

}  // namespace

OutputFormat FormatOf(const std::filesystem::path& path, const WriteOptions& options) {
  return options.extension.empty() ? OutputFormat(path) : OutputFormat::Of(options.extension);
}

WriteReport WriteAoi(const AnyAoi& aoi, const std::filesystem::path& path,
                     const WriteOptions& options) {
  const OutputFormat format = FormatOf(path, options);
  Export writing(aoi, format, options);
  pictures::OutputFile file(path);
  const WriteReport report = writing.Write(file);
  file.Commit();
  return report;
}

WriteReport WriteAoi(const AnyAoi& aoi, pictures::ByteSink& sink, const WriteOptions& options) {
  const OutputFormat format = OutputFormat::Of(options.extension);
  return Export(aoi, format, options).Write(sink);
}

std::string EncodePng(const AnyAoi& aoi, WriteOptions options, WriteReport* report) {
  options.extension = ".png";
  pictures::MemorySink memory;
  const WriteReport made = WriteAoi(aoi, memory, options);
  if (report) *report = made;
  return std::move(memory.bytes());
}

}  // namespace picture_aoi
