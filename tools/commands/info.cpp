// SPDX-License-Identifier: MIT
#include <cstdio>
#include <memory>
#include <optional>

#include "tools/commands/commands.h"
#include "tools/element_types.h"
#include "tools/file_bytes.h"
#include "tools/loaded_aoi.h"
#include "tools/loaded_file.h"
#include "tools/loaded_map.h"
#include "tools/loaded_vector.h"

namespace tools {
namespace {

void Say(const char* what, const std::string& text) {
  std::printf("  %-16s %s\n", what, text.c_str());
}

void SayNested(const Findings& found) {
  if (found.nestedClasses.empty()) return Say("nested objects", "none");
  std::uint64_t count = 0;
  for (const auto& [name, objects] : found.nestedClasses) count += objects;
  Say("nested objects", NumberText(count) + ", down to level " + NumberText(found.deepestLevel));
  constexpr std::size_t kMostNames = 16;
  std::size_t names = 0;
  for (const auto& [name, objects] : found.nestedClasses) {
    if (++names > kMostNames) return Say("", "...");
    Say("", NumberText(objects) + " x " + name);
  }
}

void SayVector(const VectorAnswers& answers) {
  const ElementKind* kind = FindElementKind(answers.type);
  Say("element type", kind ? std::string(kind->name) + ", " + kind->words
                           : "code " + NumberText(static_cast<std::int32_t>(answers.type)));
  Say("elements", NumberText(std::int32_t{answers.count}));
  std::string tags = "off";
  if (answers.hasTags == VARIANT_TRUE) {
    tags = "on, " + NumberText(std::int32_t{answers.tagCount});
  } else if (answers.hasTags != 0) {
    tags += ", the flag is " + HexText(static_cast<std::uint16_t>(answers.hasTags), 4);
  }
  Say("tags", tags);
}

ExitCode Info(const StreamOptions& options) {
  const std::vector<std::uint8_t> file = ReadWholeFile(options.file);
  Listing silent(nullptr, Listing::Extent::kShort);
  const FileFindings found = WalkFile(file, options.BareClass(), silent);
  std::printf("%s\n", options.file.c_str());
  Say("class", ClassText(found.classId));
  Say("file", CountText(file.size(), "byte") + (found.hasClassId ? ", class identifier in front"
                                                                 : ", without class identifier"));
  if (found.vector || found.aoi || found.map) {
    const std::string version = VersionText(found);
    Say("version", version + (version == NewestVersionText(found) ? ", the newest" : ", old"));
  }
  std::optional<LoadedObject> object;
  try {
    object.emplace(Load(file, found));
    if (found.vector) SayVector(AskVector(*object));
    if (found.aoi) {
      for (const auto& [what, text] : AoiAnswers(*object)) Say(what, text);
    }
    if (found.map) {
      for (const auto& [what, text] : MapAnswers(*object)) Say(what, text);
    }
  } catch (const std::runtime_error&) {
    if (found.vector) Say("elements", NumberText(found.vector->count) + ", as stated");
    if (found.IsFormatKnown()) Say("state", StateText(found));
    throw;
  }
  SayNested(found);
  if (HasHiddenTags(found)) {
    Say("old tags", NumberText(*found.vector->tagCount) + ", there once tags are switched on");
  }
  if (found.lostPointers > 0) {
    Say("lost", CountText(found.lostPointers, "element") + " held pointers");
  }
  if (found.IsWhole()) {
    // What AOIs and maps say of their size beforehand is an estimate.
    const bool isWhole = found.aoi && MakeAoiWhole(*object, *found.aoi);
    const std::uint64_t bytes = found.vector ? object->SavedBytes() : object->Saved(false).size();
    Say("saved anew", CountText(bytes, "byte") + " without class identifier" +
                          (isWhole ? ", as the whole buffer" : ""));
  }
  Say("state", StateText(found));
  return found.IsWhole() ? kWhole : kBroken;
}

}  // namespace

void AddInfo(CLI::App& app, Action& action) {
  const auto options = std::make_shared<StreamOptions>();
  AddStreamCommand(app, "info", "What the loaded object says of itself", *options)
      ->callback([=, &action] { action = [=] { return Info(*options); }; });
}

}  // namespace tools
