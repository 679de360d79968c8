// SPDX-License-Identifier: MIT
#include "tools/object_format.h"

#include "tools/aoi_format.h"
#include "tools/file_kinds.h"
#include "tools/map_format.h"
#include "tools/vector_format.h"

namespace tools {
namespace {

struct Format {
  Family family;
  void (*walk)(StreamWalk& walk, const KnownClass& known);
};

// Only entries are not here: they have no stream.
constexpr Format kFormats[] = {
    {Family::kAoi, &WalkAoi},
    {Family::kVector, &WalkVector},
    {Family::kMap, &WalkMap},
};

const Format* FindFormat(Family family) {
  for (const Format& format : kFormats) {
    if (format.family == family) return &format;
  }
  return nullptr;
}

// What the user may have meant.
std::string HintAbout(Bytes file, const KnownClass* bareClass) {
  if (bareClass) {
    const KnownClass* inFront =
        file.size() >= sizeof(CLSID) ? FindClass(NumberAt<CLSID>(file.data())) : nullptr;
    if (!inFront) return "";
    return "; the file begins with the class identifier of " + std::string(inFront->name) +
           ": try without --class";
  }
  const auto version = file.size() < 2 ? std::uint16_t{0} : NumberAt<std::uint16_t>(file.data());
  if (!IsVectorVersion(version) && !IsAoiVersion(version)) return "";
  return "; the file begins like a vector or an AOI without class identifier: try --class NAME";
}

}  // namespace

bool IsFormatKnown(const KnownClass& known) { return FindFormat(known.family) != nullptr; }

std::string UnknownFormatText(REFCLSID classId) {
  const KnownClass* known = FindClass(classId);
  if (!known) return "the class " + IdentifierText(classId) + " is not known to this version";
  return "attribute entries have no stream";
}

void WalkObject(StreamWalk& walk, const KnownClass& known) {
  const StreamWalk::ObjectLevel level(walk);
  FindFormat(known.family)->walk(walk, known);
}

FileFindings WalkFile(Bytes file, const KnownClass* bareClass, Listing& listing) {
  FileFindings found;
  found.hasClassId = !bareClass;
  StreamWalk walk(file, listing);
  try {
    const std::string foreign = bareClass ? "" : ForeignKind(file);
    found.isForeign = !foreign.empty();
    if (bareClass) {
      found.classId = bareClass->classId;
      listing.Group(0, "class",
                    {std::string(bareClass->name) + ", as stated", ClassName(found.classId)});
    } else if (!found.isForeign) {
      found.classId = walk.TakeClassId();
      listing.Field(0, sizeof(CLSID), "class",
                    {ClassText(found.classId), ClassName(found.classId)});
    }
    found.known = FindClass(found.classId);
    if (found.IsFormatKnown()) {
      WalkObject(walk, *found.known);
      if (walk.Remaining() > 0) {
        walk.Note(walk.Offset(), CountText(walk.Remaining(), "byte") + " behind the object");
      }
    } else {
      walk.Note(walk.Offset(), found.isForeign ? "not the stream of an object but " + foreign
                                               : UnknownFormatText(found.classId));
    }
    const std::uint64_t rest = walk.Offset();
    if (walk.Remaining() > 0) walk.ListBytes(rest, walk.Take(walk.Remaining(), "bytes"), "bytes");
  } catch (const BrokenStream& broken) {
    walk.Note(broken.offset(), broken.what());
  }
  static_cast<Findings&>(found) = std::move(walk.Found());
  const bool isHeadRead = found.vector || found.aoi || found.map;
  if (!found.IsWhole() && !isHeadRead && !found.problems.empty()) {
    found.problems.front().text += HintAbout(file, bareClass);
  }
  return found;
}

}  // namespace tools
