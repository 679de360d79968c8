// SPDX-License-Identifier: MIT
// Walks over a stream that lies in memory, field by field, and collects what it finds. Nothing that
// the stream states about itself is trusted: every field is taken through here, and one that is not
// all there raises BrokenStream.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "interfaces/enums.h"
#include "platform/platform.h"
#include "tools/listing.h"
#include "tools/text_forms.h"

namespace tools {

// Objects in objects, the outermost being level 1. No reader goes deeper.
inline constexpr unsigned kMostLevels = 256;

// Why the walk over an object cannot go on, and where.
class BrokenStream : public std::runtime_error {
 public:
  BrokenStream(std::uint64_t offset, const std::string& text)
      : std::runtime_error(text), offset_(offset) {}
  std::uint64_t offset() const noexcept { return offset_; }

 private:
  std::uint64_t offset_;
};

// The head of a vector's stream.
struct VectorHead {
  std::uint16_t version = 0;
  std::int32_t count = 0;
  // Without one in the oldest version.
  std::optional<std::int16_t> flag;
  // Without one where tags are off.
  std::optional<std::int32_t> tagCount;
};

// What the stream of an AOI states, 0 where a version says nothing.
struct AoiHead {
  std::uint16_t version = 0;
  std::int32_t totalWidth = 0, totalHeight = 0;
  std::int32_t x = 0, y = 0, width = 0, height = 0;
  std::int32_t marginX = 0, marginY = 0;
  std::int32_t planes = 0;
  std::int16_t flags = 0;
  std::uint64_t pixels = 0;

  // From 259 on; with bit 0 the whole buffer is there.
  bool IsRectangleForm() const { return version >= 259 && (flags & 1) == 0; }
};

// The head of a map's stream.
struct MapHead {
  std::uint32_t version = 0;
  std::uint8_t overrideMode = 0;
  std::uint32_t count = 0;
};

// Numbers that lie in the stream one behind the other.
struct Block {
  std::uint64_t offset;
  // That are there, whole numbers, and that are stated.
  std::uint64_t bytes;
  std::uint64_t statedBytes;
  ElementTypeKLP type;
  // 1 in the outermost object.
  unsigned level;
  // In a row; 0 where there are no rows.
  std::int32_t width;
};

struct Problem {
  std::uint64_t offset;
  std::string text;
};

struct Findings {
  // Whole when there is none. Only the first few are kept, all are counted.
  std::vector<Problem> problems;
  std::uint64_t problemCount = 0;
  // Objects inside the outermost one, by their class.
  std::map<std::string, std::uint64_t> nestedClasses;
  unsigned deepestLevel = 0;
  // A reader would make room for values that are not there, or pass over a broken record, lose step
  // and take what follows for counts: no object should be given the stream.
  bool isMisleading = false;
  // Why an object inside was not looked into although its class is one of the system's; else empty.
  std::string unknownFormat;
  // Values in an old stream that were pointers when it was written.
  std::uint64_t lostPointers = 0;
  // Of the outermost object, if it is a vector.
  std::optional<VectorHead> vector;
  // The same of an AOI.
  std::optional<AoiHead> aoi;
  std::optional<MapHead> map;
  // The first few thousand, and all large ones.
  std::vector<Block> blocks;
  // Of all AOIs, inner ones too.
  std::uint64_t pixels = 0;

  bool IsWhole() const { return problemCount == 0; }
};

class StreamWalk {
 public:
  // The bytes and the listing must outlive the walk.
  StreamWalk(Bytes stream, Listing& listing)
      : stream_(stream), end_(stream.size()), lines_(listing) {}
  StreamWalk(const StreamWalk&) = delete;
  StreamWalk& operator=(const StreamWalk&) = delete;

  std::uint64_t Offset() const { return offset_; }
  // Up to the end of the stream, or of the innermost part.
  std::uint64_t Remaining() const { return end_ - offset_; }
  unsigned Level() const { return level_; }
  Listing& Lines() { return lines_; }
  Findings& Found() { return findings_; }

  // The next bytes. The field is what a problem says was to be read.
  Bytes Take(std::uint64_t count, std::string_view field);
  template <class T>
  T TakeNumber(std::string_view field) {
    return NumberAt<T>(Take(sizeof(T), field).data());
  }
  CLSID TakeClassId();
  // The bytes that Take gave, listed in rows under one name.
  void ListBytes(std::uint64_t offset, Bytes bytes, std::string_view name);

  // Notes what is wrong; the walk may go on.
  void Note(std::uint64_t offset, const std::string& text);
  [[noreturn]] void Fail(const std::string& text) const { throw BrokenStream(offset_, text); }

  // While it lives, the stream ends behind the next bytes, which must be there. At its end the walk
  // stands behind them, wherever it got to.
  class Part {
   public:
    Part(StreamWalk& walk, std::uint64_t bytes);
    ~Part();
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

   private:
    StreamWalk& walk_;
    std::uint64_t outerEnd_;
  };
  // An object is walked: raises at the level that no reader enters.
  class ObjectLevel {
   public:
    explicit ObjectLevel(StreamWalk& walk);
    ~ObjectLevel() { --walk_.level_; }
    ObjectLevel(const ObjectLevel&) = delete;
    ObjectLevel& operator=(const ObjectLevel&) = delete;

   private:
    StreamWalk& walk_;
  };

 private:
  Bytes stream_;
  std::uint64_t offset_ = 0;
  std::uint64_t end_;
  unsigned level_ = 0;
  Listing& lines_;
  Findings findings_;
};

}  // namespace tools
