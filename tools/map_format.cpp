// SPDX-License-Identifier: MIT
#include "tools/map_format.h"

#include <algorithm>
#include <set>

#include "interfaces/identifiers.h"
#include "tools/variant_records.h"

namespace tools {
namespace {

constexpr std::size_t kShortUnits = 60;

// A key as it is listed, and in a form that is the same for keys that a reader takes for one.
struct TakenKey {
  Value value;
  std::string identity;
};

template <class T>
TakenKey TakeNumberKey(StreamWalk& walk) {
  // Without the sign of a zero.
  const T key = walk.TakeNumber<T>("a key") + T{0};
  return {{NumberText(key), Number{NumberText(key)}},
          std::string(reinterpret_cast<const char*>(&key), sizeof(key))};
}

TakenKey TakeTextKey(StreamWalk& walk) {
  const std::uint64_t start = walk.Offset();
  const auto units = walk.TakeNumber<std::uint32_t>("the length of a key");
  const Bytes bytes = walk.Take(std::uint64_t{units} * 2, "a key");
  std::size_t end = 0;
  while (end < bytes.size() && NumberAt<std::uint16_t>(bytes.data() + end) != 0) end += 2;
  const std::string text = QuotedText(bytes, kShortUnits);
  if (end < bytes.size()) walk.Note(start, "readers cut the key " + text + " at its first null");
  return {{QuotedText(bytes, walk.Lines().extent().units), PlainText(bytes)},
          std::string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(end))};
}

constexpr struct {
  const CLSID& classId;
  TakenKey (*take)(StreamWalk& walk);
} kKeys[] = {
    {CLSID_AttributeBstrMapKLP, &TakeTextKey},
    {CLSID_AttributeLongMapKLP, &TakeNumberKey<std::int32_t>},
    {CLSID_AttributeDoubleMapKLP, &TakeNumberKey<double>},
};

void WalkAttributes(StreamWalk& walk, TakenKey (*takeKey)(StreamWalk& walk), std::uint32_t count) {
  Listing& lines = walk.Lines();
  lines.Group(walk.Offset(), "attributes",
              count == 0 ? "none" : NumberText(count) + " x key and tagged record");
  const Listing::Indent indent(lines);
  const auto shown =
      static_cast<std::uint32_t>(std::min<std::uint64_t>(count, lines.extent().records));
  std::set<std::string> seen;
  // An attribute takes bytes, so the stream's end bounds the loop whatever the count says.
  for (std::uint32_t i = 0; i < count; ++i) {
    const Listing::Hidden hidden(lines, i >= shown);
    const std::uint64_t start = walk.Offset();
    const TakenKey key = takeKey(walk);
    lines.Field(start, walk.Offset() - start, "key", key.value);
    if (!seen.insert(key.identity).second) {
      walk.Note(start, "the key " + key.value.text + " is there twice: readers keep the first");
    }
    WalkTaggedRecord(walk, "value");
  }
  if (shown < count) lines.Remark("... " + NumberText(count - shown) + " more");
}

}  // namespace

void WalkMap(StreamWalk& walk, const KnownClass& known) {
  Listing& lines = walk.Lines();
  std::uint64_t start = walk.Offset();
  MapHead head;
  head.version = walk.TakeNumber<std::uint32_t>("the version");
  lines.Field(start, sizeof(head.version), "version",
              {NumberText(head.version), Number{NumberText(head.version)}});
  if (head.version != kMapVersion) {
    throw BrokenStream(start, "no map has the version " + NumberText(head.version));
  }
  start = walk.Offset();
  head.overrideMode = walk.TakeNumber<std::uint8_t>("the override mode");
  lines.Field(start, 1, "override mode",
              {NumberText(int{head.overrideMode}) + (head.overrideMode ? ", on" : ", off"),
               head.overrideMode != 0});
  start = walk.Offset();
  head.count = walk.TakeNumber<std::uint32_t>("the attribute count");
  lines.Field(start, sizeof(head.count), "attribute count",
              {NumberText(head.count), Number{NumberText(head.count)}});
  if (walk.Level() == 1) walk.Found().map = head;
  for (const auto& row : kKeys) {
    if (IsEqualGUID(row.classId, known.classId)) WalkAttributes(walk, row.take, head.count);
  }
}

}  // namespace tools
