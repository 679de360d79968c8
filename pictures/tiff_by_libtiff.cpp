// SPDX-License-Identifier: MIT
// TIFF by libtiff: strips or tiles, channels side by side or plane by plane, every pixel type.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "pictures/exif_directories.h"
#include "pictures/formats.h"

namespace pictures {
namespace {

constexpr std::size_t kMostBuffer = std::size_t{1} << 30;

// Texts of a file and their keys.
constexpr struct {
  ttag_t tag;
  const char* key;
} kTexts[] = {
    {TIFFTAG_DOCUMENTNAME, "Title"},
    {TIFFTAG_IMAGEDESCRIPTION, "Description"},
    {TIFFTAG_ARTIST, "Author"},
    {TIFFTAG_COPYRIGHT, "Copyright"},
    {TIFFTAG_SOFTWARE, "Software"},
    {TIFFTAG_DATETIME, "DateTime"},
    {TIFFTAG_HOSTCOMPUTER, "HostComputer"},
    {TIFFTAG_MAKE, "Make"},
    {TIFFTAG_MODEL, "Model"},
    {TIFFTAG_PAGENAME, "PageName"},
};
constexpr const char* kXmp = "XML:com.adobe.xmp";

// The library's file, on a source or a sink. Nothing is thrown through the library.
class File {
 public:
  explicit File(ByteSource& source) : source_(&source), size_(source.size()) {
    // No directories in a ring, no mapping.
    Open(source.name(), "rm");
  }
  File(ByteSink& sink, bool isBig) : sink_(&sink), start_(sink.position()), isBig_(isBig) {
    Open("TIFF", isBig ? "w8" : "w");
  }
  ~File() {
    if (tiff_) TIFFClose(tiff_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  TIFF* get() const noexcept { return tiff_; }
  bool IsBig() const noexcept { return isBig_; }
  // Where the next bytes will stand.
  std::uint64_t size() const noexcept { return size_; }
  // Bytes that the library knows nothing of, behind what was written so far.
  void Append(const Block& bytes) {
    sink_->Seek(start_ + size_);
    sink_->Write(bytes.data(), bytes.size());
    size_ += bytes.size();
  }

  // Raises the stream's failure, else the library's words.
  void Check(bool isDone) {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    if (isDone) return;
    const std::string words = words_[0] ? words_ : "unknown";
    if (source_) source_->Fail("not a whole picture (" + words + ")");
    throw std::runtime_error(words);
  }
  // Writes what the library still holds.
  void Close() {
    const bool isDone = TIFFFlush(tiff_) == 1;
    TIFFClose(std::exchange(tiff_, nullptr));
    Check(isDone);
  }

  template <class T>
  T Field(ttag_t tag, T otherwise) const {
    T value{};
    return TIFFGetFieldDefaulted(tiff_, tag, &value) == 1 ? value : otherwise;
  }

 private:
  void Open(const std::string& name, const char* mode) {
    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, &OnError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(
        options, [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kMostBuffer));
    tiff_ = TIFFClientOpenExt(name.c_str(), mode, this, &OnRead, &OnWrite, &OnSeek, &OnClose,
                              &OnSize, nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    Check(tiff_ != nullptr);
  }

  static int OnError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto* self = static_cast<File*>(user);
    if (self->words_[0] == 0) std::vsnprintf(self->words_, sizeof words_, format, arguments);
    return 1;
  }
  template <class Use>
  static tmsize_t Carry(thandle_t user, Use use) noexcept {
    auto* self = static_cast<File*>(user);
    try {
      if (!self->thrown_) return use(*self);
    } catch (...) {
      self->thrown_ = std::current_exception();
    }
    return -1;
  }
  static tmsize_t OnRead(thandle_t user, void* to, tmsize_t bytes) {
    return Carry(user, [&](File& self) -> tmsize_t {
      if (!self.source_ || self.position_ > self.size_) return 0;
      self.source_->Seek(self.position_);
      const std::size_t count = self.source_->ReadSome(to, static_cast<std::size_t>(bytes));
      self.position_ += count;
      return static_cast<tmsize_t>(count);
    });
  }
  static tmsize_t OnWrite(thandle_t user, void* from, tmsize_t bytes) {
    return Carry(user, [&](File& self) -> tmsize_t {
      if (!self.sink_) return -1;
      self.sink_->Seek(self.start_ + self.position_);
      self.sink_->Write(from, static_cast<std::size_t>(bytes));
      self.position_ += static_cast<std::uint64_t>(bytes);
      self.size_ = std::max(self.size_, self.position_);
      return bytes;
    });
  }
  static toff_t OnSeek(thandle_t user, toff_t to, int origin) {
    auto* self = static_cast<File*>(user);
    self->position_ = to + (origin == SEEK_CUR   ? self->position_
                            : origin == SEEK_END ? self->size_
                                                 : 0);
    return self->position_;
  }
  static int OnClose(thandle_t) { return 0; }
  static toff_t OnSize(thandle_t user) { return static_cast<File*>(user)->size_; }

  ByteSource* source_ = nullptr;
  ByteSink* sink_ = nullptr;
  std::uint64_t start_ = 0;
  bool isBig_ = false;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  TIFF* tiff_ = nullptr;
  char words_[160] = {};
  std::exception_ptr thrown_;
};

std::optional<PixelType> TypeOf(int format, int bits) {
  const bool isSigned = format == SAMPLEFORMAT_INT;
  if (format == SAMPLEFORMAT_IEEEFP) {
    if (bits == 32) return PixelType::kFloat;
    if (bits == 64) return PixelType::kDouble;
    return std::nullopt;
  }
  if (!isSigned && format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID) return std::nullopt;
  if (bits == 8) return isSigned ? PixelType::kChar : PixelType::kByte;
  if (bits == 16) return isSigned ? PixelType::kShort : PixelType::kWord;
  if (bits == 32) return isSigned ? PixelType::kLong : PixelType::kDWord;
  if (!isSigned && (bits == 1 || bits == 2 || bits == 4)) return PixelType::kByte;
  return std::nullopt;
}

class Reader final : public PictureReader {
 public:
  Reader(ByteSource& source, int page) : source_(source), file_(source) {
    const auto pages = static_cast<int>(TIFFNumberOfDirectories(file_.get()));
    if (page < 1 || page > pages || page > 0xFFFF) {
      source.Fail("has " + std::to_string(pages) + (pages == 1 ? " page" : " pages"));
    }
    file_.Check(TIFFSetDirectory(file_.get(), static_cast<tdir_t>(page - 1)) == 1);
    TakeLayout();
    TakeMetadata();
    if (pages > 1) {
      Put(GroupAt(header_.metadata, "tiff"), "page", std::int32_t{page});
      Put(GroupAt(header_.metadata, "tiff"), "pages", std::int32_t{pages});
    }
  }

  void ReadRows(int count, std::byte* samples) override {
    for (; count > 0; --count, ++row_, samples += header_.RowBytes()) {
      std::byte* const stored = IsAsStored() ? samples : line_.data();
      if (tileHeight_ > 0) {
        ReadTiledRow(stored);
      } else {
        file_.Check(TIFFReadScanline(file_.get(), stored, RowInPlane(), Plane()) == 1);
      }
      if (!IsAsStored()) Unpack(samples);
      if (isWhiteZero_) Invert(samples);
    }
  }

 private:
  std::uint32_t RowInPlane() const { return row_ % static_cast<std::uint32_t>(header_.height); }
  std::uint16_t Plane() const {
    return static_cast<std::uint16_t>(row_ / static_cast<std::uint32_t>(header_.height));
  }
  bool IsAsStored() const { return bits_ >= 8 && palette_.empty(); }

  void TakeLayout() {
    TIFF* const tiff = file_.get();
    const auto width = file_.Field<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
    const auto height = file_.Field<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
    constexpr std::uint32_t kMostSide = 0x7FFFFFFF;
    if (width > kMostSide || height > kMostSide) source_.Fail("not a whole picture (its sizes)");
    header_.width = static_cast<int>(width);
    header_.height = static_cast<int>(height);
    header_.channels = file_.Field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
    bits_ = file_.Field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
    const auto format = file_.Field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    const auto compression = file_.Field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    const auto photometric =
        file_.Field<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    const auto type = TypeOf(format, bits_);
    if (!type || (bits_ < 8 && header_.channels != 1)) {
      source_.Fail("has samples of " + std::to_string(bits_) + " bits, which no pixels are");
    }
    header_.type = *type;
    header_.isPlanar = header_.channels > 1 &&
                       file_.Field<std::uint16_t>(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) ==
                           PLANARCONFIG_SEPARATE;
    if (photometric == PHOTOMETRIC_YCBCR) {
      if (compression != COMPRESSION_JPEG) source_.Fail("stores brightness and colour apart");
      TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    } else if (photometric == PHOTOMETRIC_PALETTE && bits_ <= 16 && header_.channels == 1) {
      TakePalette();
    } else if (photometric != PHOTOMETRIC_MINISBLACK && photometric != PHOTOMETRIC_MINISWHITE &&
               photometric != PHOTOMETRIC_RGB) {
      Put(GroupAt(header_.metadata, "tiff"), "photometric", std::int32_t{photometric});
    }
    isWhiteZero_ = photometric == PHOTOMETRIC_MINISWHITE && header_.type != PixelType::kFloat &&
                   header_.type != PixelType::kDouble;
    if (bits_ < 8 && palette_.empty()) header_.bits = bits_;
    // Uncompressed samples stand in the file; others come or fail row by row.
    CheckSizes(source_, header_, source_.size(), compression == COMPRESSION_NONE ? 32 : 1u << 30);
    const auto lineBytes = static_cast<std::size_t>(TIFFScanlineSize64(tiff));
    const std::size_t least =
        IsAsStored()
            ? header_.RowBytes()
            : (header_.RowSamples() / (palette_.empty() ? 1 : 3) * static_cast<std::size_t>(bits_) +
               7) /
                  8;
    if (lineBytes < least || lineBytes > kMostBuffer ||
        (IsAsStored() && lineBytes != header_.RowBytes())) {
      source_.Fail("not a whole picture (its rows)");
    }
    if (TIFFIsTiled(tiff)) {
      TakeTiles(lineBytes);
    }
    if (!IsAsStored()) line_.resize(lineBytes);
  }

  void TakeTiles(std::size_t lineBytes) {
    tileWidth_ = file_.Field<std::uint32_t>(TIFFTAG_TILEWIDTH, 0);
    tileHeight_ = file_.Field<std::uint32_t>(TIFFTAG_TILELENGTH, 0);
    const auto tileBytes = static_cast<std::size_t>(TIFFTileSize64(file_.get()));
    tileRowBytes_ = static_cast<std::size_t>(TIFFTileRowSize64(file_.get()));
    if (tileWidth_ == 0 || tileHeight_ == 0 || tileBytes > kMostBuffer || tileRowBytes_ == 0 ||
        tileBytes < tileRowBytes_ * tileHeight_ || lineBytes * tileHeight_ > kMostBuffer) {
      source_.Fail("not a whole picture (its tiles)");
    }
    tile_.resize(tileBytes);
    lineBytes_ = lineBytes;
    tileLine_.resize(lineBytes * tileHeight_);
  }

  // The tiles beside each other, decoded once for all of their rows.
  void ReadTiledRow(std::byte* stored) {
    const std::uint32_t y = RowInPlane();
    if (y % tileHeight_ == 0) {
      std::size_t at = 0;
      for (std::uint32_t x = 0; x < static_cast<std::uint32_t>(header_.width); x += tileWidth_) {
        file_.Check(TIFFReadTile(file_.get(), tile_.data(), x, y, 0, Plane()) >= 0);
        const std::size_t bytes = std::min(tileRowBytes_, lineBytes_ - at);
        for (std::size_t row = 0; row < tileHeight_; ++row) {
          std::memcpy(tileLine_.data() + row * lineBytes_ + at, tile_.data() + row * tileRowBytes_,
                      bytes);
        }
        at += bytes;
      }
    }
    std::memcpy(stored, tileLine_.data() + y % tileHeight_ * lineBytes_, lineBytes_);
  }

  // Colours of 16 bits; of 8, where nothing is lost by that.
  void TakePalette() {
    std::uint16_t* map[3] = {};
    file_.Check(TIFFGetField(file_.get(), TIFFTAG_COLORMAP, &map[0], &map[1], &map[2]) == 1);
    const std::size_t count = std::size_t{1} << bits_;
    bool isByte = true;
    for (std::size_t i = 0; i < count; ++i) {
      for (const auto* colours : map) {
        palette_.push_back(colours[i]);
        isByte = isByte && (colours[i] % 257 == 0 || (colours[i] & 0xFF) == 0);
      }
    }
    header_.type = isByte ? PixelType::kByte : PixelType::kWord;
    header_.channels = 3;
    header_.isPlanar = false;
  }

  std::uint32_t StoredSample(std::size_t x) const {
    if (bits_ == 16) {
      std::uint16_t sample;
      std::memcpy(&sample, line_.data() + 2 * x, 2);
      return sample;
    }
    const std::size_t bit = x * static_cast<std::size_t>(bits_);
    const int shift = 8 - bits_ - static_cast<int>(bit % 8);
    return std::to_integer<std::uint32_t>(line_[bit / 8]) >> shift & ((1u << bits_) - 1);
  }
  void Unpack(std::byte* samples) const {
    for (std::size_t x = 0; x < static_cast<std::size_t>(header_.width); ++x) {
      const std::uint32_t sample = StoredSample(x);
      if (palette_.empty()) {
        samples[x] = static_cast<std::byte>(sample * 255 / ((1u << bits_) - 1));
        continue;
      }
      for (std::size_t c = 0; c < 3; ++c) {
        const std::uint16_t colour = palette_[3 * sample + c];
        if (header_.type == PixelType::kByte) {
          samples[3 * x + c] = static_cast<std::byte>(colour >> 8);
        } else {
          std::memcpy(samples + 2 * (3 * x + c), &colour, 2);
        }
      }
    }
  }
  // White is the least number there. Turned round, each byte of a sample is.
  void Invert(std::byte* samples) const {
    std::transform(samples, samples + header_.RowBytes(), samples,
                   [](std::byte byte) { return ~byte; });
  }

  Block BlockOf(ttag_t tag) const {
    std::uint32_t count = 0;
    const std::uint8_t* bytes = nullptr;
    Block block;
    if (TIFFGetField(file_.get(), tag, &count, &bytes) == 1 && bytes && count > 0) {
      block.resize(count);
      std::memcpy(block.data(), bytes, count);
    }
    return block;
  }

  void TakeMetadata() {
    TIFF* const tiff = file_.get();
    Group& all = header_.metadata;
    for (const auto& [tag, key] : kTexts) {
      char* text = nullptr;
      if (TIFFGetField(tiff, tag, &text) == 1 && text && *text) {
        Put(GroupAt(all, "text"), key, std::string(text));
        if (tag == TIFFTAG_DOCUMENTNAME) header_.name = text;
      }
    }
    if (Block profile = BlockOf(TIFFTAG_ICCPROFILE); !profile.empty()) {
      Put(GroupAt(all, "icc"), "profile", std::move(profile));
    }
    if (const Block xmp = BlockOf(TIFFTAG_XMLPACKET); !xmp.empty()) {
      Put(GroupAt(all, "text"), kXmp, std::string(xmp.begin(), xmp.end()));
    }
    if (Block resources = BlockOf(TIFFTAG_PHOTOSHOP); !resources.empty()) {
      Put(GroupAt(all, "tiff"), "image resources", std::move(resources));
    }
    ExifPlaces places;
    TIFFGetField(tiff, TIFFTAG_EXIFIFD, &places.exif);
    TIFFGetField(tiff, TIFFTAG_GPSIFD, &places.gps);
    if (Block exif = GatherExif(source_, places); !exif.empty()) Put(all, "exif", std::move(exif));
    float* numbers = nullptr;
    std::vector<double> points;
    if (TIFFGetField(tiff, TIFFTAG_WHITEPOINT, &numbers) == 1) points = {numbers[0], numbers[1]};
    if (points.size() == 2 && TIFFGetField(tiff, TIFFTAG_PRIMARYCHROMATICITIES, &numbers) == 1) {
      points.insert(points.end(), numbers, numbers + 6);
      Put(GroupAt(all, "colour"), "chromaticities", points);
    }
    const int orientation = file_.Field<std::uint16_t>(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    if (orientation != ORIENTATION_TOPLEFT) {
      Put(GroupAt(all, "tiff"), "orientation", std::int32_t{orientation});
    }
    using Unit = Resolution::Unit;
    const int unit = file_.Field<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    header_.resolution = {double{file_.Field<float>(TIFFTAG_XRESOLUTION, 0)},
                          double{file_.Field<float>(TIFFTAG_YRESOLUTION, 0)},
                          unit == RESUNIT_INCH         ? Unit::kInch
                          : unit == RESUNIT_CENTIMETER ? Unit::kCentimetre
                                                       : Unit::kNone};
  }

  ByteSource& source_;
  File file_;
  int bits_ = 8;
  bool isWhiteZero_ = false;
  std::uint32_t row_ = 0;
  std::vector<std::uint16_t> palette_;
  std::vector<std::byte> line_;
  std::uint32_t tileWidth_ = 0, tileHeight_ = 0;
  std::size_t tileRowBytes_ = 0, lineBytes_ = 0;
  std::vector<std::byte> tile_, tileLine_;
};

class Writer final : public PictureWriter {
 public:
  Writer(const PictureHeader& header, ByteSink& sink)
      : rowBytes_(header.RowBytes()), file_(sink, header.Bytes() >> 32 > 0) {
    PutLayout(header);
    PutMetadata(header);
  }

  void WriteRows(int count, const std::byte* samples) override {
    for (; count > 0; --count, samples += rowBytes_) {
      file_.Check(TIFFWriteScanline(file_.get(), const_cast<std::byte*>(samples), row_++, 0) == 1);
    }
  }
  void Finish() override { file_.Close(); }

 private:
  template <class... Values>
  void Set(ttag_t tag, Values... values) {
    file_.Check(TIFFSetField(file_.get(), tag, values...) == 1);
  }

  void PutLayout(const PictureHeader& header) {
    const int format = header.type == PixelType::kFloat || header.type == PixelType::kDouble
                           ? SAMPLEFORMAT_IEEEFP
                       : static_cast<int>(header.type) % 2 == 1 ? SAMPLEFORMAT_INT
                                                                : SAMPLEFORMAT_UINT;
    const bool isColour = header.channels == 3 || header.channels == 4;
    const auto* own = FindAs<std::int32_t>(header.metadata, "tiff", "photometric");
    const int photometric = own ? *own : isColour ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    const int colours = own ? header.channels : isColour ? 3 : 1;
    Set(TIFFTAG_IMAGEWIDTH, header.width);
    Set(TIFFTAG_IMAGELENGTH, header.height);
    Set(TIFFTAG_SAMPLESPERPIXEL, header.channels);
    Set(TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * BytesOf(header.type)));
    Set(TIFFTAG_SAMPLEFORMAT, format);
    Set(TIFFTAG_PHOTOMETRIC, photometric);
    Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    Set(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (header.channels > colours) {
      std::vector<std::uint16_t> extra(static_cast<std::size_t>(header.channels - colours),
                                       EXTRASAMPLE_UNSPECIFIED);
      if (header.channels <= 4) extra[0] = EXTRASAMPLE_UNASSALPHA;
      Set(TIFFTAG_EXTRASAMPLES, static_cast<int>(extra.size()), extra.data());
    }
    constexpr std::size_t kStripBytes = std::size_t{1} << 18;
    Set(TIFFTAG_ROWSPERSTRIP,
        static_cast<std::uint32_t>(std::max<std::size_t>(1, kStripBytes / header.RowBytes())));
  }

  void PutExif(const Block& exif) {
    Block bytes;
    const ExifPlaces places = PlaceExif(exif, file_.IsBig(), file_.size(), bytes);
    file_.Append(bytes);
    if (places.exif != 0) Set(TIFFTAG_EXIFIFD, places.exif);
    if (places.gps != 0) Set(TIFFTAG_GPSIFD, places.gps);
  }

  void PutMetadata(const PictureHeader& header) {
    const Group& all = header.metadata;
    const auto* exif = FindAs<Block>(all, "exif");
    for (const auto& [tag, key] : kTexts) {
      const auto* text = FindAs<std::string>(all, "text", key);
      std::string value = text ? *text : "";
      if (value.empty() && exif) value = ExifText(*exif, static_cast<std::uint16_t>(tag));
      if (tag == TIFFTAG_DOCUMENTNAME && !header.name.empty()) value = header.name;
      if (!value.empty()) Set(tag, value.c_str());
    }
    const auto put = [&](ttag_t tag, const auto* bytes) {
      if (bytes && !bytes->empty()) {
        Set(tag, static_cast<std::uint32_t>(bytes->size()), bytes->data());
      }
    };
    put(TIFFTAG_ICCPROFILE, FindAs<Block>(all, "icc", "profile"));
    put(TIFFTAG_XMLPACKET, FindAs<std::string>(all, "text", kXmp));
    if (exif) PutExif(*exif);
    put(TIFFTAG_PHOTOSHOP, FindAs<Block>(all, "tiff", "image resources"));
    if (const auto* points = FindAs<std::vector<double>>(all, "colour", "chromaticities");
        points && points->size() == 8) {
      float numbers[8];
      std::transform(points->begin(), points->end(), numbers,
                     [](double number) { return static_cast<float>(number); });
      Set(TIFFTAG_WHITEPOINT, &numbers[0]);
      Set(TIFFTAG_PRIMARYCHROMATICITIES, &numbers[2]);
    }
    if (const auto* orientation = FindAs<std::int32_t>(all, "tiff", "orientation");
        orientation && *orientation >= ORIENTATION_TOPLEFT && *orientation <= ORIENTATION_LEFTBOT) {
      Set(TIFFTAG_ORIENTATION, *orientation);
    }
    if (header.resolution.x > 0 && header.resolution.y > 0) {
      using Unit = Resolution::Unit;
      const double scale = header.resolution.unit == Unit::kMetre ? 0.01 : 1;
      Set(TIFFTAG_XRESOLUTION, header.resolution.x * scale);
      Set(TIFFTAG_YRESOLUTION, header.resolution.y * scale);
      Set(TIFFTAG_RESOLUTIONUNIT, header.resolution.unit == Unit::kInch   ? RESUNIT_INCH
                                  : header.resolution.unit == Unit::kNone ? RESUNIT_NONE
                                                                          : RESUNIT_CENTIMETER);
    }
  }

  std::size_t rowBytes_;
  File file_;
  std::uint32_t row_ = 0;
};

}  // namespace

OpenedPicture OpenTiff(ByteSource& source, int page) {
  return std::make_unique<Reader>(source, page);
}
StartedPicture CreateTiff(const PictureHeader& header, ByteSink& sink) {
  return std::make_unique<Writer>(header, sink);
}

}  // namespace pictures
