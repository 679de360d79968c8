// SPDX-License-Identifier: MIT
#include "tools/report/stream_bar.h"

#include <algorithm>

#include "tools/report/html.h"

namespace tools::report {
namespace {

struct Part {
  std::uint64_t offset;
  std::uint64_t bytes;
  std::string name;
  // Names its colour.
  const char* kind;
};

const char* KindOf(const FieldNode& field) {
  static constexpr struct {
    const char* name;
    const char* kind;
  } kKinds[] = {{"class", "class"},   {"name", "name"},         {"tag", "tag"},
                {"tags", "tag"},      {"attribute map", "map"}, {"attributes", "map"},
                {"pixels", "pixels"}, {"elements", "pixels"},   {"bytes", "behind"}};
  for (const auto& row : kKinds) {
    if (field.name == row.name) return row.kind;
  }
  return "head";
}

// Each part goes up to the next one, whatever stands in it. Heads are one, planes are many.
std::vector<Part> PartsOf(const FieldNode& root, std::uint64_t end) {
  constexpr std::size_t kMostParts = 64;
  std::vector<Part> parts;
  const auto add = [&](const FieldNode& field, const char* kind) {
    const bool goesOn = !parts.empty() && parts.back().kind == kind &&
                        (std::string_view(kind) == "head" || std::string_view(kind) == "behind" ||
                         parts.size() >= kMostParts);
    if (goesOn) return;
    parts.push_back(
        {field.offset, 0, std::string_view(kind) == "head" ? "head" : field.name, kind});
  };
  for (const FieldNode& field : root.fields) {
    const char* const kind = KindOf(field);
    if (field.name != "pixels") {
      add(field, kind);
      continue;
    }
    for (const FieldNode& plane : field.fields) add(plane, kind);
  }
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const std::uint64_t next = i + 1 < parts.size() ? parts[i + 1].offset : end;
    parts[i].bytes = next - std::min(next, parts[i].offset);
  }
  std::erase_if(parts, [](const Part& part) { return part.bytes == 0; });
  return parts;
}

// A part in the bar, as wide as it has bytes.
std::string Segment(const Part& part) {
  return "<i class=\"" + std::string(part.kind) + "\" style=\"flex-grow:" + NumberText(part.bytes) +
         "\" title=\"" + Escaped(part.name) + ", " + CountText(part.bytes, "byte") + "\"></i>";
}

std::string Row(const Part& part) {
  return "<tr><td><i class=\"" + std::string(part.kind) + "\"></i></td><td><code>" +
         OffsetText(part.offset) + "</code></td><td class=\"number\">" + NumberText(part.bytes) +
         "</td><td>" + Escaped(part.name) + "</td></tr>";
}

// Rows of bytes from a little before the place where it breaks.
std::string BytesAround(Bytes file, std::uint64_t offset) {
  constexpr std::uint64_t kPerRow = 8, kRowsBefore = 2, kRows = 5;
  const std::uint64_t row = offset / kPerRow;
  const std::uint64_t first = (row - std::min(row, kRowsBefore)) * kPerRow;
  std::string rows;
  for (std::uint64_t at = first; at < first + kRows * kPerRow && at < file.size(); at += kPerRow) {
    rows += "<b>" + OffsetText(at) + "</b> ";
    for (std::uint64_t i = at; i < std::min<std::uint64_t>(at + kPerRow, file.size()); ++i) {
      const std::string hex = HexBytes(file.subspan(static_cast<std::size_t>(i), 1));
      rows += i == offset ? " <mark>" + hex + "</mark>" : " " + hex;
    }
    rows += '\n';
  }
  if (offset >= file.size()) rows += "<b>" + OffsetText(offset) + "</b>  <mark>end</mark>\n";
  return Element("pre", "bytes", rows);
}

std::string Problems(Bytes file, const Findings& found) {
  std::string rows;
  for (const Problem& problem : found.problems) {
    rows +=
        "<li><code>" + OffsetText(problem.offset) + "</code> " + Escaped(problem.text) + "</li>";
  }
  if (found.problemCount > found.problems.size()) {
    rows += "<li>and " + CountText(found.problemCount - found.problems.size(), "more problem") +
            "</li>";
  }
  return "<div class=\"broken\"><h3>It breaks here</h3><ol class=\"problems\">" + rows + "</ol>" +
         BytesAround(file, found.problems.front().offset) + "</div>";
}

}  // namespace

std::string StreamBar(Bytes file, const FileFindings& found, const FieldTree& tree) {
  const std::uint64_t end = file.size();
  const std::uint64_t breakAt =
      found.IsWhole() ? end : std::min(end, found.problems.front().offset);
  std::string bar, rows;
  bool isBroken = false;
  const auto markBreak = [&] {
    if (found.IsWhole() || isBroken) return;
    isBroken = true;
    bar += "<i class=\"break\" title=\"breaks at " + OffsetText(breakAt) + "\"></i>";
    rows += "<tr class=\"break\"><td>✕</td><td><code>" + OffsetText(breakAt) +
            "</code></td><td></td><td>" + Escaped(found.problems.front().text) + "</td></tr>";
  };
  for (const Part& part : PartsOf(tree.root(), end)) {
    // A part in which it breaks is two.
    Part before = part, behind = part;
    before.bytes = std::min(part.bytes, breakAt - std::min(breakAt, part.offset));
    behind.offset = part.offset + before.bytes;
    behind.bytes = part.bytes - before.bytes;
    if (before.bytes > 0) bar += Segment(before), rows += Row(before);
    if (behind.bytes == 0) continue;
    markBreak();
    if (std::string_view(part.kind) != "behind") {
      behind.name = before.bytes > 0 ? part.name + ", behind the break" : part.name;
    }
    bar += Segment(behind), rows += Row(behind);
  }
  markBreak();
  return "<section id=\"stream\"><h2>Stream</h2><div class=\"bar\">" + bar + "</div>" +
         (found.IsWhole() ? "" : Problems(file, found)) +
         "<div class=\"scroll\"><table class=\"parts\"><thead><tr><th></th><th>offset</th>"
         "<th class=\"number\">bytes</th><th>part</th></tr></thead><tbody>" +
         rows + "</tbody></table></div></section>\n";
}

}  // namespace tools::report
