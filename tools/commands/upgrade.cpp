// SPDX-License-Identifier: MIT
#include <cstdio>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/file_bytes.h"
#include "tools/loaded_aoi.h"
#include "tools/loaded_file.h"
#include "tools/loaded_vector.h"

namespace tools {
namespace {

struct Options : StreamOptions {
  std::string newFile;
};

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

ExitCode Upgrade(const Options& options) {
  const std::vector<std::uint8_t> file = ReadWholeFile(options.file);
  SilentListing silent;
  const FileFindings found = WalkFile(file, options.BareClass(), silent);
  const LoadedObject object = Load(file, found, true);
  // Vectors load with success what they could read of a broken stream; the rest would be gone.
  if (!found.IsWhole()) throw std::runtime_error("not upgraded: " + StateText(found));
  if (HasHiddenTags(found)) ShowHiddenTags(object);
  const bool isMadeWhole = found.aoi && MakeAoiWhole(object, *found.aoi);
  const std::vector<std::uint8_t> saved = object.Saved(found.hasClassId);
  if (!HoldsAll(found, WalkFile(saved, options.BareClass(), silent))) {
    throw std::runtime_error("not upgraded: it holds what the newest version cannot store");
  }
  WriteWholeFile(options.newFile, saved);
  std::FILE* const notes = NotesBeside(options.newFile);
  if (options.newFile != "-") {
    std::printf("%s: version %s, %s\n", options.newFile.c_str(), NewestVersionText(found).c_str(),
                CountText(saved.size(), "byte").c_str());
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

}  // namespace

void AddUpgrade(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      AddStreamCommand(app, "upgrade", "Writes the object's newest version", *options);
  command
      ->add_option("OUT", options->newFile, "File to write, in the same form; - is standard output")
      ->required();
  command->callback([=, &action] { action = [=] { return Upgrade(*options); }; });
}

}  // namespace tools
