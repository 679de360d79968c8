// SPDX-License-Identifier: MIT
#include "tools/stream_walk.h"

#include <algorithm>

namespace tools {
namespace {

constexpr std::size_t kMostProblems = 16;
constexpr std::size_t kBytesPerRow = 16;

}  // namespace

Bytes StreamWalk::Take(std::uint64_t count, std::string_view field) {
  if (count > Remaining()) {
    Fail("ends inside " + std::string(field) + ": " + CountText(count, "byte") + " stated, " +
         NumberText(Remaining()) + " there");
  }
  const Bytes taken =
      stream_.subspan(static_cast<std::size_t>(offset_), static_cast<std::size_t>(count));
  offset_ += count;
  return taken;
}

CLSID StreamWalk::TakeClassId() {
  return NumberAt<CLSID>(Take(sizeof(CLSID), "the class identifier").data());
}

void StreamWalk::ListBytes(std::uint64_t offset, Bytes bytes, std::string_view name) {
  if (!lines_.IsShown()) return;
  if (bytes.empty()) lines_.Field(offset, 0, name, "none");
  const auto shown = static_cast<std::size_t>(
      std::min<std::uint64_t>(bytes.size(), lines_.extent().rows * kBytesPerRow));
  for (std::size_t at = 0; at < shown; at += kBytesPerRow) {
    const Bytes row = bytes.subspan(at, std::min(kBytesPerRow, shown - at));
    lines_.Field(offset + at, row.size(), at == 0 ? name : "", HexBytes(row));
  }
  if (shown < bytes.size()) {
    lines_.Remark("... " + NumberText(bytes.size() - shown) + " more bytes");
  }
}

void StreamWalk::Note(std::uint64_t offset, const std::string& text) {
  if (++findings_.problemCount > kMostProblems) return;
  findings_.problems.push_back({offset, text});
  lines_.Problem(offset, text);
}

StreamWalk::Part::Part(StreamWalk& walk, std::uint64_t bytes) : walk_(walk), outerEnd_(walk.end_) {
  walk_.end_ = walk_.offset_ + bytes;
}

StreamWalk::Part::~Part() {
  walk_.offset_ = walk_.end_;
  walk_.end_ = outerEnd_;
}

StreamWalk::ObjectLevel::ObjectLevel(StreamWalk& walk) : walk_(walk) {
  if (walk_.level_ == kMostLevels) {
    walk_.Fail("objects are nested deeper than " + NumberText(kMostLevels) + " levels");
  }
  ++walk_.level_;
  walk_.findings_.deepestLevel = std::max(walk_.findings_.deepestLevel, walk_.level_);
}

}  // namespace tools
