// SPDX-License-Identifier: MIT
#include "tools/loaded_file.h"

#include "tools/aoi_format.h"
#include "tools/loaded_aoi.h"
#include "tools/loaded_map.h"
#include "tools/loaded_vector.h"
#include "tools/map_format.h"
#include "tools/vector_format.h"

namespace tools {
namespace {

// A class of somebody else's may have taken more or less than its bytes, and all behind it would be
// something else.
bool IsInStep(const LoadedObject& object, const FileFindings& found) {
  if (found.aoi) return IsAoiInStep(object, *found.aoi);
  if (found.map) return IsMapInStep(object, *found.map);
  return IsVectorInStep(object, *found.vector);
}

}  // namespace

std::string StateText(const FileFindings& found) {
  if (found.IsWhole()) return "whole";
  const Problem& first = found.problems.front();
  if (!found.IsFormatKnown()) return first.text;
  return "broken at " + HexText(first.offset, 8) + ": " + first.text +
         (found.problemCount > 1
              ? " (and " + CountText(found.problemCount - 1, "more problem") + ")"
              : "");
}

LoadedObject Load(Bytes file, const FileFindings& found, bool isWithBlocks, BytesTaken taken) {
  if (!found.IsFormatKnown()) throw std::runtime_error(found.problems.front().text);
  // Whether the class would read what its byte count says cannot be checked.
  if (!found.unknownFormat.empty()) throw std::runtime_error("not loaded: " + found.unknownFormat);
  if (found.isMisleading) {
    throw std::runtime_error("not loaded: readers would take its broken values for others");
  }
  LoadedObject object(*found.known, file, found.hasClassId ? sizeof(CLSID) : 0,
                      isWithBlocks ? std::span<const Block>() : found.blocks, std::move(taken));
  if (found.IsWhole() && !IsInStep(object, found)) {
    throw std::runtime_error("Load lost step with the stream");
  }
  return object;
}

bool HasHiddenTags(const Findings& found) {
  return found.vector && !found.vector->flag && found.vector->tagCount.value_or(0) > 0;
}

// AOIs and maps count their versions in decimal.
std::string VersionText(const Findings& found) {
  if (found.map) return NumberText(found.map->version);
  return found.aoi ? NumberText(found.aoi->version) : HexText(found.vector->version, 4);
}
std::string NewestVersionText(const Findings& found) {
  if (found.map) return NumberText(kMapVersion);
  return found.aoi ? NumberText(kNewestAoiVersion) : HexText(kNewestVectorVersion, 4);
}

}  // namespace tools
