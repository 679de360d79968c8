// SPDX-License-Identifier: MIT
#include "tools/listing.h"

#include <algorithm>

#include "tools/text_forms.h"

namespace tools {
namespace {

constexpr std::size_t kWidthColumn = 8;
constexpr std::size_t kNameColumn = 24;
// Objects can be nested far deeper than a line is wide.
constexpr unsigned kMostIndents = 20;

void AppendLeft(std::string& line, std::string_view text, std::size_t column) {
  line += text;
  if (text.size() < column) line.append(column - text.size(), ' ');
}

void WriteColumns(std::ostream& out, std::string_view offset, std::string_view width,
                  const std::string& name, std::string_view value) {
  std::string line;
  AppendLeft(line, offset, 8);
  line.append(kWidthColumn - std::min(kWidthColumn, width.size()), ' ');
  line += width;
  line += "  ";
  AppendLeft(line, name, kNameColumn);
  line += "  ";
  line += value;
  line.erase(line.find_last_not_of(' ') + 1);
  if (!(out << line << '\n')) throw OutputFailure();
}

std::string OffsetText(std::uint64_t offset) { return HexText(offset, 8).substr(2); }

}  // namespace

void Listing::Put(const Line& line) {
  if (!IsShown()) return;
  if (lines_ >= extent_.lines) {
    if (lines_++ == extent_.lines) TakeEnd();
    return;
  }
  ++lines_;
  Take(line);
}

TextListing::TextListing(std::ostream& out, const Extent& extent) : Listing(extent), out_(out) {
  WriteColumns(out_, "offset", "bytes", "field", "value");
}

void TextListing::Take(const Line& line) {
  std::string name(2 * std::min(line.depth, kMostIndents), ' ');
  name += line.name;
  WriteColumns(out_, line.offset ? OffsetText(*line.offset) : "",
               line.bytes ? NumberText(*line.bytes) : "", name, line.value.text);
}

void TextListing::TakeEnd() {
  out_ << "... more than " << extent().lines << " lines: --all lists everything\n";
}

void TextListing::Problem(std::uint64_t offset, std::string_view text) {
  out_ << OffsetText(offset) << "       !  " << text << '\n';
}

}  // namespace tools
