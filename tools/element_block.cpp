// SPDX-License-Identifier: MIT
#include "tools/element_block.h"

#include <algorithm>

namespace tools {
namespace {

constexpr std::size_t kMostBlocks = 4096;
constexpr std::uint64_t kLargeBytes = 0x10000;

// Numbers in rows, right-aligned under each other.
void ListElements(Listing& lines, const ElementKind& kind, std::uint64_t start, Bytes block) {
  const std::size_t count = block.size() / kind.bytes;
  const auto shown =
      static_cast<std::size_t>(std::min<std::uint64_t>(count, lines.extent().rows * kind.perRow));
  const Listing::Indent indent(lines);
  std::size_t column = 0;
  for (std::size_t i = 0; i < shown; ++i) {
    column = std::max(column, kind.text(block.data() + i * kind.bytes).size());
  }
  for (std::size_t first = 0; first < shown; first += kind.perRow) {
    const std::size_t inRow = std::min(kind.perRow, shown - first);
    std::string row;
    std::vector<Number> numbers;
    for (std::size_t i = first; i < first + inRow; ++i) {
      const std::string number = kind.text(block.data() + i * kind.bytes);
      row.append(column - number.size() + (i > first ? 1 : 0), ' ');
      row += number;
      numbers.push_back({number});
    }
    lines.Field(start + first * kind.bytes, inRow * kind.bytes, IndexText(first),
                {row, std::move(numbers)});
  }
  if (shown < count) lines.Remark("... " + NumberText(count - shown) + " more");
}

}  // namespace

std::string IndexText(std::uint64_t index) {
  std::string text = "[";
  return text.append(NumberText(index)).append("]");
}

void WalkElementBlock(StreamWalk& walk, const ElementKind& kind, const std::string& name,
                      std::uint64_t count, std::int32_t width) {
  Listing& lines = walk.Lines();
  const std::uint64_t start = walk.Offset();
  const std::uint64_t stated = count > UINT64_MAX / kind.bytes ? UINT64_MAX : count * kind.bytes;
  const std::uint64_t there = std::min(stated, walk.Remaining());
  if (lines.IsShown()) {
    lines.Field(start, there, name, count == 0 ? "none" : NumberText(count) + " x " + kind.words);
  }
  Findings& found = walk.Found();
  if (found.blocks.size() < kMostBlocks || there >= kLargeBytes) {
    found.blocks.push_back(
        {start, there - there % kind.bytes, stated, kind.type, walk.Level(), width});
  }
  const Bytes block = walk.Take(there - there % kind.bytes, "the " + name);
  if (lines.IsShown()) ListElements(lines, kind, start, block);
  if (there < stated) {
    walk.Fail("ends inside the " + name + ": " + CountText(stated, "byte") + " stated, " +
              NumberText(there) + " there");
  }
}

}  // namespace tools
