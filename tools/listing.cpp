// SPDX-License-Identifier: MIT
#include "tools/listing.h"

#include <algorithm>

#include "tools/text_forms.h"

namespace tools {
namespace {

constexpr std::uint64_t kMostLines = 2000;
constexpr std::size_t kWidthColumn = 8;
constexpr std::size_t kNameColumn = 24;
// Objects can be nested far deeper than a line is wide.
constexpr unsigned kMostIndents = 20;

void AppendLeft(std::string& line, std::string_view text, std::size_t column) {
  line += text;
  if (text.size() < column) line.append(column - text.size(), ' ');
}

}  // namespace

void Listing::Heads() {
  if (IsShown()) Line("offset", "bytes", "field", "value");
}

void Listing::Field(std::uint64_t offset, std::uint64_t width, std::string_view name,
                    std::string_view value) {
  if (IsShown()) Line(HexText(offset, 8).substr(2), NumberText(width), name, value);
}

void Listing::Group(std::uint64_t offset, std::string_view name, std::string_view value) {
  if (IsShown()) Line(HexText(offset, 8).substr(2), "", name, value);
}

void Listing::Remark(std::string_view text) {
  if (IsShown()) Line("", "", text, "");
}

void Listing::Problem(std::uint64_t offset, std::string_view text) {
  if (out_) *out_ << HexText(offset, 8).substr(2) << "       !  " << text << '\n';
}

void Listing::Line(std::string_view offset, std::string_view width, std::string_view name,
                   std::string_view value) {
  if (extent_ == Extent::kShort && lines_ >= kMostLines) {
    if (lines_++ == kMostLines) {
      *out_ << "... more than " << kMostLines << " lines: --all lists everything\n";
    }
    return;
  }
  ++lines_;
  std::string line;
  AppendLeft(line, offset, 8);
  line.append(kWidthColumn - std::min(kWidthColumn, width.size()), ' ');
  line += width;
  line += "  ";
  std::string indented(2 * std::min(depth_, kMostIndents), ' ');
  indented += name;
  AppendLeft(line, indented, kNameColumn);
  line += "  ";
  line += value;
  line.erase(line.find_last_not_of(' ') + 1);
  *out_ << line << '\n';
}

}  // namespace tools
