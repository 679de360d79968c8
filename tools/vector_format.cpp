// SPDX-License-Identifier: MIT
#include "tools/vector_format.h"

#include <algorithm>

#include "tools/element_block.h"
#include "tools/element_types.h"
#include "tools/variant_records.h"

namespace tools {
namespace {

struct RecordForm {
  const char* words;
  void (*walk)(StreamWalk& walk, std::string_view name);
  // Whether readers go on behind a record that they cannot read.
  bool isPassedOver;
};
constexpr RecordForm kPlain{"plain record", &WalkPlainRecord, false};
constexpr RecordForm kTagged{"tagged record", &WalkTaggedRecord, true};
constexpr RecordForm kImages{"VARIANT image", &WalkVariantImage, false};

// How the versions differ. Numeric elements lie as one block in each.
struct Version {
  std::uint16_t number;
  // Without a flag there are always tags, which readers keep out of sight.
  bool hasFlag;
  RecordForm variantElements;
  RecordForm tags;
};
constexpr Version kVersions[] = {
    {0x0100, false, kPlain, kPlain},
    {0x0101, true, kImages, kPlain},
    {0x0102, true, kTagged, kPlain},
    {0x0103, true, kTagged, kTagged},
};

constexpr std::int16_t kTagsOn = -1;

const Version* FindVersion(std::uint16_t number) {
  for (const Version& version : kVersions) {
    if (version.number == number) return &version;
  }
  return nullptr;
}

std::int32_t TakeCount(StreamWalk& walk, const char* name) {
  const std::uint64_t start = walk.Offset();
  const auto count = walk.TakeNumber<std::int32_t>("the " + std::string(name));
  walk.Lines().Field(start, sizeof(count), name, {NumberText(count), Number{NumberText(count)}});
  if (count < 0) throw BrokenStream(start, "the " + std::string(name) + " is negative");
  return count;
}

std::int16_t TakeFlag(StreamWalk& walk) {
  const std::uint64_t start = walk.Offset();
  const auto flag = walk.TakeNumber<std::int16_t>("the tag flag");
  walk.Lines().Field(start, sizeof(flag), "tag flag",
                     {HexText(static_cast<std::uint16_t>(flag), 4) +
                          (flag == kTagsOn ? ", tags on" : ", tags off"),
                      flag == kTagsOn});
  return flag;
}

void WalkRecords(StreamWalk& walk, const char* name, std::int32_t count, const RecordForm& form) {
  Listing& lines = walk.Lines();
  lines.Group(walk.Offset(), name,
              count == 0 ? "none" : CountText(static_cast<std::uint64_t>(count), form.words));
  const Listing::Indent indent(lines);
  Findings& found = walk.Found();
  if (static_cast<std::uint64_t>(count) > walk.Remaining()) found.isMisleading = true;
  const std::uint64_t problemsBefore = found.problemCount;
  const auto shown = static_cast<std::int32_t>(
      std::min(static_cast<std::uint64_t>(count), lines.extent().records));
  try {
    // A record takes bytes, so the stream's end bounds the loop whatever the count says.
    for (std::int32_t i = 0; i < count; ++i) {
      const Listing::Hidden hidden(lines, i >= shown);
      form.walk(walk, lines.IsShown() ? IndexText(static_cast<std::uint64_t>(i)) : std::string());
    }
  } catch (const BrokenStream&) {
    if (form.isPassedOver) found.isMisleading = true;
    throw;
  }
  if (form.isPassedOver && found.problemCount > problemsBefore) found.isMisleading = true;
  if (shown < count) lines.Remark("... " + NumberText(count - shown) + " more");
}

}  // namespace

bool IsVectorVersion(std::uint16_t version) { return FindVersion(version) != nullptr; }

void WalkVector(StreamWalk& walk, const KnownClass& known) {
  const ElementKind& kind = *FindElementKind(*known.elementType);
  const std::uint64_t start = walk.Offset();
  VectorHead head;
  head.version = walk.TakeNumber<std::uint16_t>("the version");
  walk.Lines().Field(start, sizeof(head.version), "version",
                     {HexText(head.version, 4), Number{NumberText(head.version)}});
  const Version* version = FindVersion(head.version);
  if (!version) throw BrokenStream(start, "no vector has the version " + HexText(head.version, 4));
  head.count = TakeCount(walk, "element count");
  if (version->hasFlag) head.flag = TakeFlag(walk);
  // What is known of the outermost vector stays known where the rest is broken.
  if (walk.Level() == 1) walk.Found().vector = head;

  if (kind.text) {
    WalkElementBlock(walk, kind, "elements", static_cast<std::uint64_t>(head.count));
  } else {
    WalkRecords(walk, "elements", head.count, version->variantElements);
  }
  if (head.flag.value_or(kTagsOn) != kTagsOn) return;
  head.tagCount = TakeCount(walk, "tag count");
  if (walk.Level() == 1) walk.Found().vector = head;
  WalkRecords(walk, "tags", *head.tagCount, version->tags);
}

}  // namespace tools
