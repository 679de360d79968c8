// SPDX-License-Identifier: MIT
#include "tools/aoi_format.h"

#include <algorithm>

#include "tools/element_block.h"
#include "tools/object_format.h"
#include "tools/variant_records.h"

namespace tools {
namespace {

enum class Width { kNone, k16, k32 };

// How the versions differ; 256 has an order of its own.
struct Version {
  std::uint16_t number;
  Width rectangle;
  // Margins and planes.
  Width rest;
  bool hasFlags;
  bool hasName;
  void (*walkTag)(StreamWalk& walk, std::string_view name);
  bool hasMap;
};
constexpr Version kVersions[] = {
    {256, Width::kNone, Width::kNone, false, false, nullptr, false},
    {257, Width::k16, Width::k16, false, false, nullptr, false},
    {258, Width::k32, Width::k16, false, false, nullptr, false},
    {259, Width::k32, Width::k16, true, false, nullptr, false},
    {512, Width::k32, Width::k32, true, true, nullptr, false},
    {513, Width::k32, Width::k32, true, true, &WalkPlainRecord, false},
    {514, Width::k32, Width::k32, true, true, &WalkTaggedRecord, true},
};

const Version* FindVersion(std::uint16_t number) {
  for (const Version& version : kVersions) {
    if (version.number == number) return &version;
  }
  return nullptr;
}

template <class T>
T TakeField(StreamWalk& walk, const char* name) {
  const std::uint64_t start = walk.Offset();
  const auto value = walk.TakeNumber<T>("the " + std::string(name));
  walk.Lines().Field(start, sizeof(T), name, {NumberText(value), Number{NumberText(value)}});
  return value;
}

std::int32_t TakeSigned(StreamWalk& walk, Width width, const char* name) {
  return width == Width::k16 ? TakeField<std::int16_t>(walk, name)
                             : TakeField<std::int32_t>(walk, name);
}

// A size or count, with which nothing can be read if it is negative.
std::int32_t TakeSize(StreamWalk& walk, Width width, const char* name) {
  const std::uint64_t start = walk.Offset();
  const std::int32_t value = TakeSigned(walk, width, name);
  if (value < 0) throw BrokenStream(start, "the " + std::string(name) + " is negative");
  return value;
}

void TakeRectangle(StreamWalk& walk, Width rectangle, Width margins, AoiHead& head) {
  head.x = TakeSigned(walk, rectangle, "x");
  head.y = TakeSigned(walk, rectangle, "y");
  head.width = TakeSigned(walk, rectangle, "width");
  head.height = TakeSigned(walk, rectangle, "height");
  head.marginX = TakeSigned(walk, margins, "margin x");
  head.marginY = TakeSigned(walk, margins, "margin y");
}

void WalkName(StreamWalk& walk) {
  const auto units = TakeField<std::uint32_t>(walk, "name length");
  const std::uint64_t again = walk.Offset();
  const auto unitsThere = TakeField<std::uint32_t>(walk, "name length again");
  if (unitsThere > units) throw BrokenStream(again, "the name is longer than its first length");
  const std::uint64_t start = walk.Offset();
  const Bytes text = walk.Take(std::uint64_t{unitsThere} * 2, "the name");
  Listing& lines = walk.Lines();
  lines.Field(start, text.size(), "name",
              {QuotedText(text, lines.extent().units), PlainText(text)});
}

void WalkMap(StreamWalk& walk) {
  Listing& lines = walk.Lines();
  const std::uint64_t start = walk.Offset();
  const bool isThere = walk.TakeNumber<std::uint8_t>("the mark of the attribute map") != 0;
  lines.Field(start, 1, "attribute map", {isThere ? "there" : "none", isThere});
  if (!isThere) return;
  const Listing::Indent indent(lines);
  const std::uint64_t classStart = walk.Offset();
  const CLSID classId = walk.TakeClassId();
  lines.Field(classStart, sizeof(classId), "class",
              {ClassText(classId) + ", level " + NumberText(walk.Level() + 1), ClassName(classId)});
  const KnownClass* known = FindClass(classId);
  if (!known || !IsFormatKnown(*known)) {
    walk.Fail(UnknownFormatText(classId) +
              ", and its data has no byte count: what follows is lost");
  }
  ++walk.Found().nestedClasses[ClassText(classId)];
  WalkObject(walk, *known);
}

void WalkPlanes(StreamWalk& walk, const ElementKind& kind, std::int32_t planes, std::int32_t width,
                std::int32_t height, AoiHead& head) {
  Listing& lines = walk.Lines();
  lines.Group(walk.Offset(), "pixels",
              CountText(static_cast<std::uint64_t>(planes), "plane") + " of " + NumberText(width) +
                  " x " + NumberText(height));
  const Listing::Indent indent(lines);
  const std::uint64_t count =
      static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  if (count == 0) return;
  // What a reader would make room for.
  if (count > walk.Remaining() || static_cast<std::uint64_t>(planes) > walk.Remaining() / count) {
    walk.Found().isMisleading = true;
  }
  for (std::int32_t plane = 0; plane < planes; ++plane) {
    WalkElementBlock(walk, kind, "plane " + NumberText(plane), count, width);
    head.pixels += count;
    walk.Found().pixels += count;
  }
}

// Pixels stand in the middle.
void WalkOldest(StreamWalk& walk, const ElementKind& kind, AoiHead& head) {
  head.totalWidth = TakeSize(walk, Width::k16, "image width");
  head.totalHeight = TakeSize(walk, Width::k16, "image height");
  head.planes = 1;
  WalkPlanes(walk, kind, 1, head.totalWidth, head.totalHeight, head);
  TakeRectangle(walk, Width::k16, Width::k16, head);
}

void WalkNewer(StreamWalk& walk, const ElementKind& kind, const Version& version, AoiHead& head) {
  Listing& lines = walk.Lines();
  head.totalWidth = TakeSigned(walk, Width::k32, "total width");
  head.totalHeight = TakeSigned(walk, Width::k32, "total height");
  TakeRectangle(walk, version.rectangle, version.rest, head);
  const std::uint64_t planesStart = walk.Offset();
  head.planes = TakeSigned(walk, version.rest, "planes");
  if (version.hasFlags) {
    const std::uint64_t start = walk.Offset();
    head.flags = walk.TakeNumber<std::int16_t>("the flags");
    lines.Field(start, sizeof(head.flags), "flags",
                {HexText(static_cast<std::uint16_t>(head.flags), 4) +
                     ((head.flags & 1) != 0 ? ", the whole buffer" : ", the rectangle"),
                 Number{NumberText(head.flags)}});
  }
  if (version.hasName) {
    const std::uint64_t start = walk.Offset();
    const auto code = walk.TakeNumber<std::int32_t>("the element type");
    const ElementKind* stated = FindElementKind(code);
    lines.Field(start, sizeof(code), "element type",
                {NumberText(code) + (stated ? std::string(", ") + stated->name : ""),
                 Number{NumberText(code)}});
    WalkName(walk);
  }
  if (version.walkTag) {
    try {
      version.walkTag(walk, "tag");
      if (version.hasMap) WalkMap(walk);
    } catch (const BrokenStream&) {
      // Readers go on where the record failed.
      walk.Found().isMisleading = true;
      throw;
    }
  }
  if ((head.flags & 1) != 0) {
    const Width planesWidth = version.rest;
    const std::int32_t planes = TakeSize(walk, planesWidth, "buffer planes");
    const std::int32_t width = TakeSize(walk, Width::k32, "buffer width");
    const std::int32_t height = TakeSize(walk, Width::k32, "buffer height");
    WalkPlanes(walk, kind, planes, width, height, head);
  } else {
    if (std::min({head.planes, head.totalWidth, head.totalHeight}) < 0) {
      throw BrokenStream(planesStart, "a negative size of the pixels");
    }
    WalkPlanes(walk, kind, head.planes, head.totalWidth, head.totalHeight, head);
  }
}

}  // namespace

bool IsAoiVersion(std::uint16_t version) { return FindVersion(version) != nullptr; }

void WalkAoi(StreamWalk& walk, const KnownClass& known) {
  const ElementKind& kind = *FindElementKind(*known.elementType);
  const std::uint64_t start = walk.Offset();
  AoiHead head;
  head.version = TakeField<std::uint16_t>(walk, "version");
  const Version* version = FindVersion(head.version);
  if (!version) throw BrokenStream(start, "no AOI has the version " + NumberText(head.version));
  const auto publish = [&] {
    if (walk.Level() == 1) walk.Found().aoi = head;
  };
  try {
    if (version->rectangle == Width::kNone) {
      WalkOldest(walk, kind, head);
    } else {
      WalkNewer(walk, kind, *version, head);
    }
  } catch (const BrokenStream&) {
    // What is known stays known where the rest is broken.
    publish();
    throw;
  }
  publish();
}

}  // namespace tools
