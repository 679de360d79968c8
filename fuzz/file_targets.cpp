// SPDX-License-Identifier: MIT
// Files that the tool is given: those that it dumps, and pictures that it imports.
#include <sstream>
#include <stdexcept>
#include <string>

#include "fuzz/module_inside.h"
#include "picture_aoi/picture_aoi.h"
#include "tests/support/streams.h"
#include "tests/support/temp_file.h"
#include "tools/json_listing.h"
#include "tools/object_format.h"

namespace fuzz {
namespace {

std::string Listed(Bytes file) {
  std::ostringstream out;
  tools::JsonListing listing(out, tools::kAll);
  tools::WalkFile(file, nullptr, listing);
  listing.End();
  return out.str();
}

rastelklp::AnyAoi ReadPage(const tests::TempFile& file, int page) {
  picture_aoi::ReadOptions options;
  options.request.page = page;
  return picture_aoi::ReadAoi(file.path(), options);
}

std::string Written(const rastelklp::AnyAoi& aoi, const char* extension) {
  picture_aoi::WriteOptions options;
  options.narrowing = picture_aoi::Narrowing::kClamp;
  options.extension = extension;
  pictures::MemorySink file;
  picture_aoi::WriteAoi(aoi, file, options);
  return std::move(file.bytes());
}

// What a picture says besides its pixels is written into files of its own kind and of others.
void WriteAndReadAgain(const rastelklp::AnyAoi& aoi) {
  static const tests::TempFile file;
  const std::string samples = Written(aoi, ".npy");
  file.Write(Written(aoi, ".tif"));
  Require(Written(ReadPage(file, 1), ".npy") == samples, "a TIFF holds what was written");
  const int planes = aoi.plane_count();
  file.Write(Written(aoi, planes == 1 || planes == 3 ? ".pnm" : ".pam"));
  ReadPage(file, 1);
  if (planes > 4) return;
  file.Write(Written(aoi, ".png"));
  ReadPage(file, 1);
}

}  // namespace

void RunDump(Bytes input) {
  std::ostringstream out;
  tools::TextListing listing(out, tools::kShort);
  const tools::FileFindings found = tools::WalkFile(input, nullptr, listing);
  Require(Listed(input).size() <= 4096 + 512 * input.size(),
          "a listing is no longer than its file");
  if (!found.IsWhole() || !found.unknownFormat.empty()) return;
  // The name of an AOI states twice how long it is, and memory is asked for by the larger number.
  for (const auto& [name, count] : found.nestedClasses) {
    if (name.find("AOIKLP") != name.npos) return;
  }
  const auto object = Create<IPersistStream>(found.classId);
  const auto stream = StreamOf(input.subspan(sizeof(CLSID)));
  const HRESULT result = object->Load(stream.Get());
  if (result == E_OUTOFMEMORY && found.aoi) return;
  Require(result == S_OK, "what the walk finds whole is loaded");
  Require(tests::PositionOf(stream.Get()) == input.size() - sizeof(CLSID), "to its end");
}

void RunPicture(Bytes input) {
  static const tests::TempFile file;
  file.Write({reinterpret_cast<const char*>(input.data()), input.size()});
  for (const int page : {1, 2}) {
    try {
      const rastelklp::AnyAoi aoi = ReadPage(file, page);
      // No failure is left that is the file's own.
      try {
        WriteAndReadAgain(aoi);
      } catch (const std::exception& failure) {
        Require(false, failure.what());
      }
    } catch (const std::runtime_error&) {
    }
  }
}

}  // namespace fuzz
