// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>
#include <new>

#include "picture_aoi/picture_aoi.h"
#include "tools/file_bytes.h"
#include "tools/loaded_object.h"
#include "tools/paths.h"
#include "tools/pictures.h"

#ifndef _WIN32
#include <sys/mman.h>
#endif

namespace tools {
namespace {

using rastelklp::AnyAoi;
using rastelklp::check_hresult;

void Save(const AnyAoi& aoi, MarshalFlagsKLP flags, const platform::ComPtr<SinkStream>& stream) {
  check_hresult(aoi->put_MarshalFlags(flags));
  LoadedObject(aoi.as<IPersistStream>().get()).SaveTo(stream, true);
}

// Addresses for so many bytes, with no memory behind them as long as nobody writes.
class Addresses {
 public:
  explicit Addresses(std::size_t bytes) : bytes_(bytes) {
#ifdef _WIN32
    first_ = VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READONLY);
#else
    first_ = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (first_ == MAP_FAILED) first_ = nullptr;
#endif
    if (!first_) throw std::bad_alloc();
  }
  ~Addresses() {
#ifdef _WIN32
    VirtualFree(first_, 0, MEM_RELEASE);
#else
    munmap(first_, bytes_);
#endif
  }
  Addresses(const Addresses&) = delete;
  Addresses& operator=(const Addresses&) = delete;

  std::byte* first() const { return static_cast<std::byte*>(first_); }
  bool Hold(const std::byte* address) const {
    return address >= first() && address < first() + bytes_;
  }

 private:
  std::size_t bytes_;
  void* first_;
};

// Takes the stream of an AOI whose pixels are addresses alone: where it writes the first of them,
// all of them go from the picture to their places in the file.
class PixelsOfPicture final : public SinkStream {
 public:
  PixelsOfPicture(pictures::ByteSink& sink, const Addresses& addresses,
                  pictures::PictureReader& reader, picture_aoi::Progress progress)
      : SinkStream(sink), addresses_(addresses), reader_(reader), progress_(std::move(progress)) {}

 private:
  void Put(const std::byte* data, std::size_t bytes) override {
    if (!addresses_.Hold(data)) return SinkStream::Put(data, bytes);
    const auto offset = static_cast<std::uint64_t>(data - addresses_.first());
    if (offset == 0) BringAll();
    sink().Seek(start_ + offset + bytes);
  }
  void BringAll() {
    start_ = sink().position();
    const pictures::PictureHeader& header = reader_.header();
    const std::uint64_t rowBytes = static_cast<std::uint64_t>(header.width) * BytesOf(header.type);
    const auto height = static_cast<std::uint64_t>(header.height);
    picture_aoi::ReadPlanes(
        reader_,
        [&](int plane, int row, int count, const std::byte* samples) {
          sink().Seek(start_ + (static_cast<std::uint64_t>(plane) * height +
                                static_cast<std::uint64_t>(row)) *
                                   rowBytes);
          sink().Write(samples, static_cast<std::size_t>(rowBytes) * static_cast<unsigned>(count));
        },
        progress_);
  }

  const Addresses& addresses_;
  pictures::PictureReader& reader_;
  picture_aoi::Progress progress_;
  std::uint64_t start_ = 0;
};

}  // namespace

std::string PlanesText(int planes, int width, int height) {
  return CountText(static_cast<std::uint64_t>(planes), "plane") + " of " + NumberText(width) +
         " x " + NumberText(height);
}

void ImportPicture(const ImportOptions& options) {
  pictures::ByteSource source(PathOf(options.picture));
  if (!options.reading.request.raw && RecognisePicture(source).empty()) {
    source.Fail("no picture of a known format; samples alone need --size and --type");
  }
  const auto reader = OpenPicture(source, options.reading.request);
  const auto type = static_cast<ElementTypeKLP>(reader->header().type);
  const KnownClass* known = FindClass(Family::kAoi, type);
  // Serves the classes where none are registered.
  const LoadedObject served(*known);
  const pictures::PictureHeader& header = reader->header();
  const int margin = options.reading.margin;
  if (margin > std::min(header.width, header.height)) {
    throw std::runtime_error("the margin is larger than the picture");
  }
  Progress progress(header.Bytes(), options.progress);
  const auto show = [&](double done) {
    progress.Done(static_cast<std::uint64_t>(done * static_cast<double>(header.Bytes())));
  };
  pictures::OutputFile file(PathOf(options.out));
  if (options.isBuffer && margin > 0) {
    picture_aoi::ReadOptions reading = options.reading;
    reading.progress = show;
    const AnyAoi aoi = ReadAoi(*reader, reading);
    Save(aoi, MarshalBuffer, platform::ComPtr(new SinkStream(file)));
  } else {
    const Addresses addresses(static_cast<std::size_t>(header.Bytes()));
    Save(picture_aoi::AoiOver(addresses.first(), header),
         options.isBuffer ? MarshalBuffer : MarshalRectangle,
         platform::ComPtr<SinkStream>(new PixelsOfPicture(file, addresses, *reader, show)));
  }
  const std::uint64_t bytes = file.position();
  file.Commit();
  std::FILE* const notes = NotesBeside(options.out);
  if (options.out != "-")
    std::printf("%s: %s, %s, %s\n", options.out.c_str(), known->name,
                PlanesText(header.channels, header.width, header.height).c_str(),
                CountText(bytes, "byte").c_str());
  if (options.reading.margin > 0 && !options.isBuffer) {
    std::fprintf(notes, "  the margin is not in the file: --buffer saves it\n");
  }
}

}  // namespace tools
