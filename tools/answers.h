// SPDX-License-Identifier: MIT
// What there is to say of a file, once for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "tools/json.h"
#include "tools/stream_walk.h"

namespace tools {

class Answers {
 public:
  // A line for people, and a member for programs.
  void Add(const std::string& label, const std::string& text, const char* name, Json value) {
    AddLine(label, text);
    AddMember(name, std::move(value));
  }
  void AddLine(const std::string& label, const std::string& text) {
    lines_.emplace_back(label, text);
  }
  void AddMember(const char* name, Json value) { members_[name] = std::move(value); }

  // Labels and texts.
  const std::vector<std::pair<std::string, std::string>>& lines() const { return lines_; }
  const Json& members() const { return members_; }

 private:
  std::vector<std::pair<std::string, std::string>> lines_;
  Json members_ = Json::object();
};

// [{"offset": 24, "text": "..."}]
inline Json ProblemsJson(const Findings& found) {
  Json problems = Json::array();
  for (const Problem& problem : found.problems) {
    problems.push_back({{"offset", problem.offset}, {"text", problem.text}});
  }
  return problems;
}

}  // namespace tools
