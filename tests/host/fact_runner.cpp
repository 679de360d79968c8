// SPDX-License-Identifier: MIT
// Runs rows of operations, and compares what comes of them with what is written behind.
#include <gtest/gtest.h>

#include "tests/host/host_operations.h"
#include "tests/support/host_kind.h"

namespace tests::facts {

Operations& KnownOperations() {
  static Operations operations;
  return operations;
}

std::string Run(Words& words) {
  const std::string name = words.Next();
  const auto found = KnownOperations().find(name);
  return found == KnownOperations().end() ? "no such operation: " + name : found->second(words);
}

std::string RunRow(std::string_view row) {
  std::string results;
  {
    State state;
    state.named = [&](const std::string& name) {
      return platform::ComPtr(state.objects[name]).Detach();
    };
    while (!row.empty()) {
      const std::size_t end = Find(row, ';');
      Words words(row.substr(0, end), state);
      results += (results.empty() ? "" : "; ") + Run(words);
      if (words.HasMore()) results += ", not read: " + words.Next();
      row.remove_prefix((std::min)(row.size(), end + 1));
    }
  }
  EndRow();
  return results;
}

std::map<std::string, std::string> Changes() {
  std::map<std::string, std::string> changes;
  for (const Line& line : ReadLines(RASTEL_FACTS "/changes.txt")) {
    if (line.row.empty()) continue;
    EXPECT_TRUE(changes.emplace(line.row, line.said).second) << "twice: " << line.row;
  }
  return changes;
}

void ExpectSection(const std::string& section) {
  const std::string path = std::string(RASTEL_FACTS "/") + section + ".txt";
  const std::map<std::string, std::string> changes = Changes();
  const std::vector<Line> lines = ReadLines(path);
  EXPECT_FALSE(lines.empty()) << path;
  for (const Line& line : lines) {
    if (line.row.empty()) continue;
    const testing::ScopedTrace trace(path.c_str(), line.number, line.row);
    const auto change = changes.find(line.row);
    const bool isChanged = change != changes.end();
    EXPECT_TRUE(line.said != kNotAsked || isChanged) << "nobody's answer";
    EXPECT_FALSE(isChanged && change->second == line.said) << "no difference any more";
    if (!kEmbeddedHost && line.said == kNotAsked) continue;
    EXPECT_EQ(RunRow(line.row), kEmbeddedHost && isChanged ? change->second : line.said);
  }
}

}  // namespace tests::facts
