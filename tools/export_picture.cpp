// SPDX-License-Identifier: MIT
#include <cstdio>

#include "tools/file_bytes.h"
#include "tools/input_file.h"
#include "tools/loaded_aoi.h"
#include "tools/loaded_object.h"
#include "tools/object_format.h"
#include "tools/paths.h"
#include "tools/pictures.h"

namespace tools {
namespace {

using picture_aoi::Narrowing;
using picture_aoi::WriteReport;

void Say(const ExportOptions& options, const WriteReport& report) {
  std::FILE* const notes = NotesBeside(options.picture);
  const auto say = [&](const std::string& text) { std::fprintf(notes, "  %s\n", text.c_str()); };
  if (options.picture != "-")
    std::printf("%s: %s, %s, %s\n", options.picture.c_str(), report.format,
                PlanesText(report.planes, report.width, report.height).c_str(),
                RowOf(report.type).name);
  const std::string changed =
      NumberText(report.changed) + " of " + CountText(report.samples, "sample") + " changed";
  if (options.writing.narrowing == Narrowing::kScale) {
    char range[80];
    std::snprintf(range, sizeof range, "%g .. %g became 0 .. %g: ", report.lowest, report.highest,
                  picture_aoi::HighestScaled(report.type));
    say(range + changed);
  } else if (report.changed > 0) {
    say(changed);
  }
  std::string left;
  for (const std::string& key : report.left) left += (left.empty() ? "" : ", ") + key;
  if (!left.empty()) say("not in it: " + left);
}

}  // namespace

void ExportPicture(const ExportOptions& options) {
  // Before the file is looked at.
  picture_aoi::FormatOf(PathOf(options.picture), options.writing);
  const InputFile file(options.file);
  SilentListing silent;
  const FileFindings found = WalkFile(file.bytes(), options.BareClass(), silent);
  if (!found.known || found.known->family != Family::kAoi) {
    throw std::runtime_error(options.file + ": " +
                             (found.isForeign ? found.problems.front().text
                                              : "not an AOI but " + ClassText(found.classId)));
  }
  if (found.IsFormatKnown() && !found.IsWhole()) {
    throw std::runtime_error(options.file + ": not exported: " + found.problems.front().text);
  }
  const std::uint64_t fileBytes = file.bytes().size();
  Progress progress(fileBytes, options.progress);
  const std::uint64_t start = found.hasClassId ? sizeof(CLSID) : 0;
  LoadedObject object(*found.known, file.bytes(), start, found.blocks);
  if (!found.IsWhole() || !ShowPixels(object, file.bytes(), found.blocks)) {
    object = LoadedObject(*found.known, file.bytes(), start, {},
                          [&](Bytes part) { file.Release(part); });
  }
  rastelklp::AnyAoi aoi(nullptr);
  aoi.attach(object.As<IAoiKLP>().Detach());
  if (!aoi) throw ComFailure("IAoiKLP", E_NOINTERFACE);
  picture_aoi::WriteOptions writing = options.writing;
  writing.progress = [&](double done) {
    progress.Done(static_cast<std::uint64_t>(done * static_cast<double>(fileBytes)));
    file.Release(file.bytes());
  };
  Say(options, WriteAoi(aoi, PathOf(options.picture), writing));
}

}  // namespace tools
