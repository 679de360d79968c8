// SPDX-License-Identifier: MIT
#include <cstdio>
#include <optional>

#include "tools/commands/commands.h"
#include "tools/file_bytes.h"
#include "tools/input_file.h"
#include "tools/loaded_aoi.h"
#include "tools/loaded_file.h"
#include "tools/loaded_vector.h"
#include "tools/paths.h"

namespace tools {
namespace {

// Whether nothing is missing in the new stream of an object: elements that no record can hold are
// left out by Save without a failure.
bool HoldsAll(const FileFindings& old, const FileFindings& saved) {
  if (!saved.IsWhole() || old.nestedClasses != saved.nestedClasses || saved.pixels < old.pixels) {
    return false;
  }
  if (old.aoi) return saved.aoi.has_value();
  if (old.map) return saved.map && saved.map->count == old.map->count;
  return old.vector && saved.vector && old.vector->count == saved.vector->count &&
         saved.vector->tagCount.value_or(0) >= old.vector->tagCount.value_or(0);
}

// What is in a file that is not committed yet.
FileFindings WalkWritten(pictures::OutputFile& out, const KnownClass* bareClass) {
  SilentListing silent;
  if (out.part().empty()) {
    const std::string_view held = out.held();
    return WalkFile({reinterpret_cast<const std::uint8_t*>(held.data()), held.size()}, bareClass,
                    silent);
  }
  out.Flush();
  const InputFile part(Utf8(out.part()));
  return WalkFile(part.bytes(), bareClass, silent);
}

}  // namespace

ExitCode Upgrade(const UpgradeOptions& options) {
  std::optional<InputFile> file(std::in_place, options.file);
  SilentListing silent;
  const FileFindings found = WalkFile(file->bytes(), options.BareClass(), silent);
  Progress progress(file->bytes().size(), options.progress);
  const auto load = [&] {
    if (found.aoi && found.IsWhole()) {
      LoadedObject seen = Load(file->bytes(), found, false);
      if (ShowPixels(seen, file->bytes(), found.blocks)) return seen;
    }
    return Load(file->bytes(), found, true, [&](Bytes part) { file->Release(part); });
  };
  std::optional<LoadedObject> object(load());
  // Vectors load with success what they could read of a broken stream; the rest would be gone.
  if (!found.IsWhole()) throw std::runtime_error("not upgraded: " + StateText(found));
  if (HasHiddenTags(found)) ShowHiddenTags(*object);
  const bool isMadeWhole = found.aoi && MakeAoiWhole(*object, *found.aoi);
  pictures::OutputFile out(PathOf(options.newFile));
  object->SaveTo(out, found.hasClassId, [&](std::uint64_t bytes) {
    progress.Done(bytes);
    file->Release(file->bytes());
  });
  const std::uint64_t savedBytes = out.position();
  if (!HoldsAll(found, WalkWritten(out, options.BareClass()))) {
    throw std::runtime_error("not upgraded: it holds what the newest version cannot store");
  }
  // It may be the file itself, and on Windows a mapped one cannot be replaced. The object may look
  // at its pixels there.
  object.reset();
  file.reset();
  out.Commit();
  std::FILE* const notes = NotesBeside(options.newFile);
  if (options.newFile != "-") {
    std::printf("%s: version %s, %s\n", options.newFile.c_str(), NewestVersionText(found).c_str(),
                CountText(savedBytes, "byte").c_str());
  }
  if (isMadeWhole) {
    std::fprintf(notes, "  the whole buffer is in it: there are pixels outside the margins\n");
  }
  if (HasHiddenTags(found)) std::fprintf(notes, "  tags are on: the old version did not tell\n");
  if (found.lostPointers > 0) {
    std::fprintf(notes, "  %s held pointers in the old version and are empty now\n",
                 CountText(found.lostPointers, "element").c_str());
  }
  return kWhole;
}

}  // namespace tools
