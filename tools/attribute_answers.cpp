// SPDX-License-Identifier: MIT
#include "tools/attribute_answers.h"

#include "tools/text_forms.h"

namespace tools {
namespace {

constexpr std::size_t kMostLines = 200;

// Null where it is not there.
const FieldNode* Find(const std::vector<FieldNode>& fields, std::string_view name) {
  for (const FieldNode& field : fields) {
    if (field.name == name) return &field;
  }
  return nullptr;
}

std::string TextOf(const std::vector<FieldNode>& fields, const char* name) {
  const FieldNode* const field = Find(fields, name);
  return field ? field->value.text : "?";
}

Json AttributesJson(const std::vector<FieldNode>& mapFields) {
  Json attributes = Json::array();
  EachAttribute(mapFields, [&](const FieldNode& key, const FieldNode& value) {
    Json attribute{{"key", JsonOf(key.value)}};
    attribute.update(ValueJson(value));
    attributes.push_back(std::move(attribute));
  });
  return attributes;
}

// What an object is, by the fields that it has.
std::string ObjectText(const std::vector<FieldNode>& fields) {
  if (Find(fields, "attribute count")) {
    const std::string count = TextOf(fields, "attribute count");
    return count + (count == "1" ? " attribute" : " attributes");
  }
  if (Find(fields, "element count")) {
    const std::string count = TextOf(fields, "element count");
    std::string text = count + (count == "1" ? " element" : " elements");
    const FieldNode* const elements = Find(fields, "elements");
    if (!elements || elements->fields.empty()) return text;
    const FieldNode& row = elements->fields.front();
    const std::size_t first = row.value.text.find_first_not_of(' ');
    if (first == std::string::npos) return text;
    std::string numbers;
    for (const char c : row.value.text.substr(first)) {
      if (c != ' ' || numbers.back() != ' ') numbers += c;
    }
    return text + ": " + numbers + (row.bytes < elements->bytes ? " ..." : "");
  }
  if (Find(fields, "pixels")) return TextOf(fields, "pixels");
  return "";
}

// The attributes of a map below each other, those of inner maps indented.
void AddLines(const std::vector<FieldNode>& mapFields, unsigned depth, std::size_t& lines,
              Answers& answers) {
  EachAttribute(mapFields, [&](const FieldNode& key, const FieldNode& value) {
    if (lines++ == kMostLines) answers.AddLine("", "... (--json tells all)");
    if (lines > kMostLines) return;
    answers.AddLine("", std::string(2 * depth, ' ') + key.value.text + " = " + ValueText(value));
    if (!value.fields.empty()) AddLines(ObjectFields(value), depth + 1, lines, answers);
  });
}

}  // namespace

std::string ValueText(const FieldNode& value) {
  const FieldNode* const inside = value.Find("class");
  if (!inside) {
    const std::string& text = value.value.text;
    const std::string& type = value.value.type;
    return text.starts_with(type + "  ") ? text.substr(type.size() + 2) + " (" + type + ")" : text;
  }
  const std::string name = JsonOf(inside->value).is_string()
                               ? JsonOf(inside->value).get<std::string>()
                               : inside->value.text;
  const std::string object = ObjectText(ObjectFields(value));
  return name + (object.empty() ? "" : ", " + object);
}

Json ValueJson(const FieldNode& value) {
  Json json{{"type", value.value.type}};
  const FieldNode* const inside = value.Find("class");
  if (!inside) {
    json["value"] = JsonOf(value.value);
    return json;
  }
  Json object{{"class", JsonOf(inside->value)}};
  const std::vector<FieldNode>& fields = ObjectFields(value);
  if (Find(fields, "attribute count")) object["attributes"] = AttributesJson(fields);
  if (const FieldNode* const count = Find(fields, "element count")) {
    object["elementCount"] = JsonOf(count->value);
  }
  json["object"] = std::move(object);
  return json;
}

void AddTag(const FieldNode& aoi, Answers& answers) {
  const FieldNode* const tag = aoi.Find("tag");
  if (!tag) return;
  answers.Add("tag", tag->value.type == "VT_EMPTY" ? "none" : ValueText(*tag), "tag",
              ValueJson(*tag));
}

void AddAttributes(const FieldNode& owner, Answers& answers) {
  const FieldNode* const map = owner.Find("attribute map");
  const std::vector<FieldNode>& fields = map ? map->fields : owner.fields;
  const FieldNode* const count = Find(fields, "attribute count");
  if (!map && !count) return;
  if (count && map) {
    answers.AddLine("attributes", count->value.text + " in " + Find(fields, "class")->value.text);
  } else if (map) {
    answers.AddLine("attributes", "none");
  }
  std::size_t lines = 0;
  AddLines(fields, 0, lines, answers);
  answers.AddMember("attributes", count ? AttributesJson(fields) : Json(nullptr));
}

}  // namespace tools
