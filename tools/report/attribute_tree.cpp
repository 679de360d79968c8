// SPDX-License-Identifier: MIT
#include "tools/report/attribute_tree.h"

#include <algorithm>

#include "tools/attribute_answers.h"
#include "tools/report/html.h"
#include "tools/report/plots.h"

namespace tools::report {
namespace {

constexpr std::size_t kMostEntries = 2000;

class Tree {
 public:
  Tree(Bytes file, const Findings& found) : file_(file), found_(found) {}

  // Inside is what the map has, or the tags and elements of a vector.
  std::string Fields(const std::vector<FieldNode>& fields) {
    std::string inside;
    EachAttribute(fields, [&](const FieldNode& key, const FieldNode& value) {
      inside += Entry(key.value.text, value);
    });
    for (const FieldNode& field : fields) {
      if (field.name == "elements") inside += Elements(field);
      if (field.name == "tag" && field.value.type != "VT_EMPTY") inside += Entry("tag", field);
      if (field.name == "tags") inside += Group("tags", field);
      if (field.name == "attribute map" && !field.fields.empty()) {
        inside += Folded("attributes", ValueText(field), Fields(field.fields), true);
      }
    }
    return inside;
  }

 private:
  static std::string Folded(const std::string& key, const std::string& value,
                            const std::string& inside, bool isOpen) {
    return std::string("<li><details") + (isOpen ? " open" : "") + "><summary>" +
           Element("span", "key", Escaped(key)) + " " + Element("span", "value", Escaped(value)) +
           "</summary><ul>" + inside + "</ul></details></li>";
  }

  std::string Entry(const std::string& key, const FieldNode& value) {
    if (++entries_ > kMostEntries) {
      return entries_ == kMostEntries + 1 ? "<li>… and more, which rastel dump lists</li>" : "";
    }
    const std::string inside = value.fields.empty() ? "" : Fields(ObjectFields(value));
    if (!inside.empty()) return Folded(key, ValueText(value), inside, false);
    return "<li>" + Element("span", "key", Escaped(key)) + " " +
           Element("span", "value", Escaped(ValueText(value))) + "</li>";
  }

  std::string Group(const std::string& key, const FieldNode& group) {
    std::string inside;
    for (const FieldNode& field : group.fields) inside += Entry(field.name, field);
    return inside.empty() ? "" : Folded(key, group.value.text, inside, true);
  }

  // Numbers are drawn, records are listed.
  std::string Elements(const FieldNode& elements) {
    const auto block =
        std::find_if(found_.blocks.begin(), found_.blocks.end(),
                     [&](const Block& each) { return each.offset == elements.offset; });
    if (block == found_.blocks.end()) return Group("elements", elements);
    // The outermost numbers have a place of their own.
    if (block->level == 1 || block->bytes == 0) return "";
    return "<li class=\"plot\">" + CurveOf(file_, *block, StatisticsOf(file_, *block)) + "</li>";
  }

  Bytes file_;
  const Findings& found_;
  std::size_t entries_ = 0;
};

}  // namespace

std::string AttributeTree(Bytes file, const FileFindings& found, const FieldTree& tree) {
  const std::string inside = Tree(file, found).Fields(tree.root().fields);
  if (inside.empty()) return "";
  return "<section id=\"attributes\"><h2>" +
         std::string(found.vector ? "Elements and tags" : "Attributes") +
         "</h2><ul class=\"tree\">" + inside + "</ul></section>\n";
}

}  // namespace tools::report
