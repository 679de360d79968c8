// SPDX-License-Identifier: MIT
#include "tools/report/page.h"

#include <algorithm>

#include "rastelklp_version.h"
#include "tools/loaded_file.h"
#include "tools/report/attribute_tree.h"
#include "tools/report/html.h"
#include "tools/report/plane_picture.h"
#include "tools/report/plots.h"
#include "tools/report/stream_bar.h"
#include "tools/report/style.h"

namespace tools::report {
namespace {

constexpr std::size_t kMostPlanes = 16;
constexpr std::size_t kMostFields = 1000;

std::string Head(const Subject& subject) {
  const bool isWhole = subject.found.IsWhole();
  return "<header><h1>" + Escaped(subject.name) + "</h1><span class=\"state" +
         (isWhole ? "\">whole" : " bad\">broken") + "</span><p>" +
         Escaped(ClassName(subject.found.classId)) + ", " + SizeText(subject.file.size()) +
         "</p></header>\n";
}

// What info says, but for what has a place of its own.
std::string Summary(const Subject& subject) {
  std::string rows;
  for (const auto& [label, text] : subject.answers.lines()) {
    if (label.empty() || label == "attributes" || label == "state") continue;
    // The identifier is long and seldom wanted.
    const std::size_t identifier = label == "class" ? text.find(" {") : text.npos;
    rows += "<div><dt>" + Escaped(label) + "</dt><dd>" + Escaped(text.substr(0, identifier)) +
            (identifier == text.npos
                 ? ""
                 : Element("small", "identifier", Escaped(text.substr(identifier + 1)))) +
            "</dd></div>";
  }
  if (!subject.failure.empty()) {
    rows += "<div><dt>object</dt><dd>" + Escaped(subject.failure) + "</dd></div>";
  }
  return "<section id=\"summary\"><h2>What it is</h2><dl>" + rows + "</dl></section>\n";
}

// In pixels of what is stored.
struct Frame {
  double x, y, width, height;
};

std::string RectangleSvg(const char* styleClass, const Frame& frame) {
  return std::string("<rect class=\"") + styleClass + "\" x=\"" + Coordinate(frame.x) + "\" y=\"" +
         Coordinate(frame.y) + "\" width=\"" + Coordinate(std::max(0.0, frame.width)) +
         "\" height=\"" + Coordinate(std::max(0.0, frame.height)) + "\"/>";
}

std::string PathOf(const Frame& frame) {
  return "M" + Coordinate(frame.x) + " " + Coordinate(frame.y) + "h" + Coordinate(frame.width) +
         "v" + Coordinate(frame.height) + "h" + Coordinate(-frame.width) + "z";
}

class Planes {
 public:
  explicit Planes(const Subject& subject) : subject_(subject), head_(*subject.found.aoi) {
    for (const Block& block : subject.found.blocks) {
      if (block.level != 1 || block.width <= 0 || planes_.size() == kMostPlanes) continue;
      if (ElementCount(block) < static_cast<std::uint64_t>(block.width)) continue;
      planes_.push_back(block);
      statistics_.push_back(StatisticsOf(subject.file, block));
    }
  }

  std::string Section() const {
    if (planes_.empty()) return "";
    std::string figures;
    const bool areColours = planes_.size() == 3 && planes_[0].bytes == planes_[1].bytes &&
                            planes_[0].bytes == planes_[2].bytes && planes_[0].bytes > 0;
    if (areColours) {
      figures += Figure(planes_, statistics_, "<strong>As colours</strong>: red, green, blue");
    }
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      figures += Figure({planes_[i]}, {statistics_[i]}, Caption(i),
                        HistogramOf(subject_.file, planes_[i], statistics_[i]));
    }
    const auto pair = [](std::int32_t x, std::int32_t y) {
      return NumberText(x) + ", " + NumberText(y);
    };
    return "<section id=\"planes\"><h2>Planes</h2><div class=\"planes\">" + figures +
           "</div><p class=\"legend\"><span>rectangle, " + NumberText(head_.width) + " x " +
           NumberText(head_.height) + " at " + pair(head_.x, head_.y) +
           "</span><span class=\"dashed\">margins, " + pair(head_.marginX, head_.marginY) +
           "</span></p></section>\n";
  }

 private:
  std::string Caption(std::size_t i) const {
    const Statistics& all = statistics_[i];
    return "<strong>Plane " + NumberText(i) + "</strong>: " +
           (all.count == 0 ? "no numbers"
                           : ShortText(all.lowest) + " … " + ShortText(all.highest) + ", mean " +
                                 ShortText(all.mean)) +
           (all.nanCount > 0 ? ", " + NumberText(all.nanCount) + " x NaN" : "");
  }

  static double Rows(const Block& plane, std::uint64_t bytes) {
    const std::uint64_t pixels = plane.bytes == 0 ? 0 : bytes / (plane.bytes / ElementCount(plane));
    return static_cast<double>(pixels / static_cast<std::uint64_t>(plane.width));
  }

  // Where the rectangle stands among the pixels that are stored.
  Frame Rectangle() const {
    const double width = head_.width, height = head_.height;
    if (head_.IsRectangleForm()) {
      return {double(head_.marginX), double(head_.marginY), width, height};
    }
    return {double(head_.x), double(head_.y), width, height};
  }

  std::string Figure(const std::vector<Block>& planes, const std::vector<Statistics>& statistics,
                     const std::string& caption, const std::string& below = "") const {
    const PlanePicture picture = PictureOf(subject_.file, planes, statistics);
    const auto width = static_cast<double>(planes.front().width);
    const double there = Rows(planes.front(), planes.front().bytes);
    // What is missing is shown, but not so that nothing else can be seen.
    const double height = std::min(Rows(planes.front(), planes.front().statedBytes), 2 * there + 8);
    const Frame rectangle = Rectangle();
    const Frame margins{rectangle.x - head_.marginX, rectangle.y - head_.marginY,
                        rectangle.width + 2.0 * head_.marginX,
                        rectangle.height + 2.0 * head_.marginY};
    std::string svg = "<svg class=\"plane\" viewBox=\"0 0 " + Coordinate(width) + " " +
                      Coordinate(height) + "\" role=\"img\" aria-label=\"plane\"><image width=\"" +
                      Coordinate(width) + "\" height=\"" + Coordinate(there) +
                      "\" preserveAspectRatio=\"none\"";
    // Few pixels are seen one by one.
    if (std::max(width, height) < 320) svg += " style=\"image-rendering:pixelated\"";
    svg += " href=\"data:image/png;base64," + Base64(picture.png) + "\"/>";
    if (height > there) svg += RectangleSvg("missing", {0, there, width, height - there});
    const bool isAll = rectangle.x <= 0 && rectangle.y <= 0 && rectangle.width >= width &&
                       rectangle.height >= height;
    if (!isAll) {
      svg += "<path class=\"outside\" fill-rule=\"evenodd\" d=\"" + PathOf({0, 0, width, height}) +
             PathOf(rectangle) + "\"/>";
    }
    if (head_.marginX != 0 || head_.marginY != 0) svg += RectangleSvg("margin", margins);
    svg += RectangleSvg("rectangle", rectangle) + "</svg>";
    return "<figure>" + svg + "<div>" + below + "<figcaption>" + caption +
           (picture.isReduced ? " (drawn smaller)" : "") + "</figcaption></div></figure>\n";
  }

  const Subject& subject_;
  const AoiHead& head_;
  std::vector<Block> planes_;
  std::vector<Statistics> statistics_;
};

std::string Numbers(const Subject& subject) {
  const auto& blocks = subject.found.blocks;
  if (!subject.found.vector || blocks.empty() || blocks.front().level != 1) return "";
  const Block& block = blocks.front();
  const Statistics statistics = StatisticsOf(subject.file, block);
  const std::string curve = CurveOf(subject.file, block, statistics);
  if (curve.empty()) return "";
  return "<section id=\"numbers\"><h2>Elements</h2>" + curve +
         "<h3 style=\"margin-top:1.2rem\">How often each value is there</h3>" +
         HistogramOf(subject.file, block, statistics) + "<p class=\"legend\">mean " +
         ShortText(statistics.mean) +
         (statistics.nanCount > 0 ? ", " + NumberText(statistics.nanCount) + " x NaN" : "") +
         "</p></section>\n";
}

void AddFields(const std::vector<FieldNode>& fields, unsigned depth, std::size_t& count,
               std::string& rows) {
  constexpr unsigned kMostIndents = 8;
  for (const FieldNode& field : fields) {
    if (++count > kMostFields) return;
    rows += "<tr><td><code>" + OffsetText(field.offset) + "</code></td><td class=\"number\">" +
            (field.bytes > 0 ? NumberText(field.bytes) : "") +
            "</td><td style=\"padding-left:" + NumberText(std::min(depth, kMostIndents)) + "em\">" +
            Escaped(field.name) + "</td><td>" + Escaped(field.value.text) + "</td></tr>";
    AddFields(field.fields, depth + 1, count, rows);
  }
}

std::string Fields(const Subject& subject) {
  std::string rows;
  std::size_t count = 0;
  AddFields(subject.tree.root().fields, 0, count, rows);
  return "<section id=\"fields\"><details><summary><h2>All fields</h2></summary><div "
         "class=\"scroll\"><table><thead><tr><th>offset</th><th class=\"number\">bytes</th>"
         "<th>field</th><th>value</th></tr></thead><tbody>" +
         rows + "</tbody></table></div>" +
         (count > kMostFields ? "<p>… and more, which rastel dump lists</p>" : "") +
         "</details></section>\n";
}

}  // namespace

std::string Page(const Subject& subject) {
  std::string page =
      "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><meta name=\"viewport\" "
      "content=\"width=device-width,initial-scale=1\"><meta http-equiv=\"Content-Security-Policy\" "
      "content=\"default-src 'none';img-src data:;style-src 'unsafe-inline'\"><link rel=\"icon\" "
      "href=\"data:,\"><title>" +
      Escaped(subject.name) + "</title><style>" + kStyle + "</style></head><body><main>\n";
  page += Head(subject);
  page += Summary(subject);
  page += StreamBar(subject.file, subject.found, subject.tree);
  if (subject.found.aoi) page += Planes(subject).Section();
  page += Numbers(subject);
  page += AttributeTree(subject.file, subject.found, subject.tree);
  page += Fields(subject);
  return page + "<footer>rastel " RASTELKLP_VERSION "</footer></main></body></html>\n";
}

}  // namespace tools::report
