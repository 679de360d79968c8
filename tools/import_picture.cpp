// SPDX-License-Identifier: MIT
#include <cstdio>

#include "picture_aoi/picture_aoi.h"
#include "tools/file_bytes.h"
#include "tools/loaded_object.h"
#include "tools/paths.h"
#include "tools/pictures.h"

namespace tools {
namespace {

using rastelklp::AnyAoi;
using rastelklp::check_hresult;

std::string Shape(const AnyAoi& aoi) {
  const rastelklp::Size size = aoi.size();
  return PlanesText(aoi.plane_count(), size.width, size.height);
}

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
  // In, and out again.
  const std::uint64_t pixelBytes = reader->header().Bytes();
  Progress progress(2 * pixelBytes, options.progress);
  picture_aoi::ReadOptions reading = options.reading;
  reading.progress = [&](double done) {
    progress.Done(static_cast<std::uint64_t>(done * static_cast<double>(pixelBytes)));
  };
  const AnyAoi aoi = ReadAoi(*reader, reading);
  check_hresult(aoi->put_MarshalFlags(options.isBuffer ? MarshalBuffer : MarshalRectangle));
  pictures::OutputFile file(PathOf(options.out));
  LoadedObject(aoi.as<IPersistStream>().get()).SaveTo(file, true, [&](std::uint64_t bytes) {
    progress.Done(pixelBytes + bytes);
  });
  const std::uint64_t bytes = file.position();
  file.Commit();
  std::FILE* const notes = NotesBeside(options.out);
  if (options.out != "-")
    std::printf("%s: %s, %s, %s\n", options.out.c_str(), known->name, Shape(aoi).c_str(),
                CountText(bytes, "byte").c_str());
  if (options.reading.margin > 0 && !options.isBuffer) {
    std::fprintf(notes, "  the margin is not in the file: --buffer saves it\n");
  }
}

}  // namespace tools
