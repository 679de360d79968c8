// SPDX-License-Identifier: MIT
#include "tools/file_answers.h"

#include <cstdio>
#include <optional>

#include "tools/attribute_answers.h"
#include "tools/element_types.h"
#include "tools/loaded_aoi.h"
#include "tools/loaded_file.h"
#include "tools/loaded_map.h"
#include "tools/loaded_vector.h"
#include "tools/statistics.h"

namespace tools {
namespace {

void AddHead(Bytes file, const FileFindings& found, Answers& answers) {
  const KnownClass* const known = found.known;
  answers.Add("class", ClassText(found.classId), "class",
              known ? Json(known->name) : Json(nullptr));
  answers.AddMember("classId", IdentifierText(found.classId));
  const bool isTooShort = found.hasClassId && file.size() < sizeof(CLSID);
  answers.Add("file",
              SizeText(file.size()) + (isTooShort         ? ", too short for a class identifier"
                                       : found.hasClassId ? ", class identifier in front"
                                                          : ", without class identifier"),
              "bytes", file.size());
  answers.AddMember("hasClassId", found.hasClassId);
  if (!found.vector && !found.aoi && !found.map) return;
  const std::string version = VersionText(found);
  const bool isNewest = version == NewestVersionText(found);
  answers.Add("version", version + (isNewest ? ", the newest" : ", old"), "version",
              found.map   ? Json(found.map->version)
              : found.aoi ? Json(found.aoi->version)
                          : Json(found.vector->version));
  answers.AddMember("isNewest", isNewest);
}

void AddNested(const Findings& found, Answers& answers) {
  std::uint64_t count = 0;
  Json classes = Json::array();
  for (const auto& [name, objects] : found.nestedClasses) {
    count += objects;
    // Without the identifier behind the name of a known class, and without a remark.
    classes.push_back({{"class", name.substr(0, name.find_first_of(" ,"))}, {"count", objects}});
  }
  answers.AddMember("nestedObjects",
                    {{"count", count}, {"deepestLevel", found.deepestLevel}, {"classes", classes}});
  if (count == 0) return answers.AddLine("nested objects", "none");
  answers.AddLine("nested objects",
                  NumberText(count) + ", down to level " + NumberText(found.deepestLevel));
  constexpr std::size_t kMostNames = 16;
  std::size_t names = 0;
  for (const auto& [name, objects] : found.nestedClasses) {
    if (++names > kMostNames) return answers.AddLine("", "...");
    answers.AddLine("", NumberText(objects) + " x " + name);
  }
}

void AddState(const FileFindings& found, Answers& answers) {
  answers.AddMember("isWhole", found.IsWhole());
  answers.AddMember("problemCount", found.problemCount);
  answers.AddMember("problems", ProblemsJson(found));
  answers.AddLine("state", StateText(found));
}

// As many digits as there are to tell.
std::string ShortText(double number) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.6g", number);
  return text;
}

void AddStatistics(Bytes file, const FileFindings& found, Answers& answers) {
  Json rows = Json::array();
  std::size_t plane = 0;
  for (const Block& block : found.blocks) {
    if (block.level != 1) continue;
    const Statistics statistics = StatisticsOf(file, block);
    const auto json = [](double number) { return JsonOf(Number{NumberText(number)}); };
    rows.push_back({{"minimum", json(statistics.lowest)},
                    {"maximum", json(statistics.highest)},
                    {"mean", json(statistics.mean)},
                    {"count", statistics.count},
                    {"nanCount", statistics.nanCount}});
    const std::string label = found.aoi ? "plane " + NumberText(plane++) : "numbers";
    if (statistics.count == 0) {
      answers.AddLine(label, "no numbers, " + NumberText(statistics.nanCount) + " x NaN");
      continue;
    }
    answers.AddLine(label, "minimum " + NumberText(statistics.lowest) + ", maximum " +
                               NumberText(statistics.highest) + ", mean " +
                               ShortText(statistics.mean) + ", " + NumberText(statistics.nanCount) +
                               " x NaN");
  }
  answers.AddMember("statistics", std::move(rows));
}

void AddObject(const LoadedObject& object, const FileFindings& found, const FieldTree& tree,
               Answers& answers) {
  if (found.vector) AddVectorAnswers(object, answers);
  if (found.aoi) {
    AddAoiAnswers(object, answers);
    AddTag(tree.root(), answers);
  }
  if (found.map) AddMapAnswers(object, answers);
  AddAttributes(tree.root(), answers);
  if (tree.IsCut()) answers.AddMember("isCut", true);
}

}  // namespace

void AddFileAnswers(Bytes file, const FileFindings& found, const FieldTree& tree,
                    bool hasStatistics, Answers& answers) {
  if (found.isForeign) throw std::runtime_error(found.problems.front().text);
  AddHead(file, found, answers);
  std::optional<LoadedObject> object;
  try {
    object.emplace(Load(file, found, false));
    AddObject(*object, found, tree, answers);
  } catch (const std::runtime_error&) {
    if (found.vector) {
      answers.Add("elements", NumberText(found.vector->count) + ", as stated", "statedElementCount",
                  found.vector->count);
    }
    if (found.IsFormatKnown()) AddState(found, answers);
    throw;
  }
  AddNested(found, answers);
  if (HasHiddenTags(found)) {
    answers.Add("old tags",
                NumberText(*found.vector->tagCount) + ", there once tags are switched on",
                "hiddenTagCount", *found.vector->tagCount);
  }
  if (found.lostPointers > 0) {
    answers.Add("lost", CountText(found.lostPointers, "element") + " held pointers", "lostPointers",
                found.lostPointers);
  }
  if (hasStatistics) AddStatistics(file, found, answers);
  if (found.IsWhole()) {
    // What AOIs and maps say of their size beforehand is an estimate.
    const bool isWhole = found.aoi && MakeAoiWhole(*object, *found.aoi);
    const std::uint64_t bytes = found.vector ? object->StatedBytes() : object->SavedBytes();
    answers.Add("saved anew",
                CountText(bytes, "byte") + " without class identifier" +
                    (isWhole ? ", as the whole buffer" : ""),
                "savedBytes", bytes);
    answers.AddMember("isSavedAsBuffer", isWhole);
  }
  AddState(found, answers);
}

}  // namespace tools
