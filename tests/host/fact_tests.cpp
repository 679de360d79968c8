// Compares what the host answers with rows of text that were recorded under Wine:
//
//     host_facts --record FILE
//
// prints the rows of a file with what the host at hand answers. Rows with the result "?" are not
// asked there, where they crash or show what the memory held before. The embedded host's answers to
// them, and those that differ on purpose, stand in changes.txt, with the reason above.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <vector>

#include "tests/rows/rows.h"
#include "tests/support/host_kind.h"

namespace tests::facts {
namespace {

constexpr std::string_view kArrow = " -> ", kNotAsked = "?";

struct Line {
  std::string text, row, result;  // No row: a comment or blank.
};

std::vector<Line> ReadLines(const std::string& path) {
  std::vector<Line> lines;
  std::ifstream file(path);
  for (std::string text; std::getline(file, text);) {
    const std::size_t arrow = text.rfind(kArrow);
    if (text.empty() || text[0] == '#') {
      lines.push_back({text, "", ""});
    } else if (arrow == text.npos) {
      lines.push_back({text, text, ""});
    } else {
      lines.push_back({text, text.substr(0, arrow), text.substr(arrow + kArrow.size())});
    }
  }
  return lines;
}

std::string RunOperation(std::string_view step, State& state) {
  Words words(step, state);
  const std::string name = words.Next();
  for (const Operations* operations : {&kValueOperations, &kSystemOperations}) {
    const auto found = operations->find(name);
    if (found == operations->end()) continue;
    const std::string result = found->second(words);
    return words.HasMore() ? result + ", not read: " + words.Next() : result;
  }
  return "no such operation: " + name;
}

std::string RunRow(std::string_view row) {
  State state;
  std::string results;
  while (!row.empty()) {
    const std::size_t end = Find(row, ';');
    results += (results.empty() ? "" : "; ") + RunOperation(row.substr(0, end), state);
    row.remove_prefix((std::min)(row.size(), end + 1));
  }
  return results;
}

int Record(const char* path) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  for (const Line& line : ReadLines(path)) {
    const bool isAsked = !line.row.empty() && (kEmbeddedHost || line.result != kNotAsked);
    const std::string text =
        isAsked ? line.row + std::string(kArrow) + RunRow(line.row) : line.text;
    std::puts(text.c_str());
    std::fflush(stdout);  // A crash shows which row it was.
  }
  CoUninitialize();
  return 0;
}

std::map<std::string, std::string> Changes() {
  std::map<std::string, std::string> changes;
  for (const Line& line : ReadLines(RASTEL_FACTS "/changes.txt")) {
    if (line.row.empty()) continue;
    EXPECT_TRUE(changes.emplace(line.row, line.result).second) << "twice: " << line.row;
  }
  return changes;
}

constexpr const char* kSections[] = {"strings",    "variants",    "numbers", "to_text", "from_text",
                                     "code_pages", "identifiers", "arrays",  "streams", "registry"};

class Facts : public testing::TestWithParam<const char*> {};

TEST_P(Facts, Hold) {
  const std::string path = std::string(RASTEL_FACTS "/") + GetParam() + ".txt";
  const std::map<std::string, std::string> changes = Changes();
  int number = 0;
  for (const Line& line : ReadLines(path)) {
    ++number;
    if (line.row.empty()) continue;
    const testing::ScopedTrace trace(path.c_str(), number, line.row);
    const auto change = changes.find(line.row);
    const bool isChanged = change != changes.end();
    EXPECT_TRUE(line.result != kNotAsked || isChanged) << "nobody's answer";
    EXPECT_FALSE(isChanged && change->second == line.result) << "no difference any more";
    if (!kEmbeddedHost && line.result == kNotAsked) continue;
    EXPECT_EQ(RunRow(line.row), kEmbeddedHost && isChanged ? change->second : line.result);
  }
  EXPECT_GT(number, 0) << path;
}

INSTANTIATE_TEST_SUITE_P(Host, Facts, testing::ValuesIn(kSections),
                         [](const auto& section) { return std::string(section.param); });

TEST(FactChanges, AreOfRowsThatThereAre) {
  std::set<std::string> rows;
  for (const char* section : kSections) {
    for (const Line& line : ReadLines(std::string(RASTEL_FACTS "/") + section + ".txt")) {
      EXPECT_TRUE(line.row.empty() || rows.insert(line.row).second) << "twice: " << line.row;
    }
  }
  for (const auto& [row, result] : Changes()) EXPECT_TRUE(rows.contains(row)) << row;
}

}  // namespace
}  // namespace tests::facts

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc == 3 && std::string_view(argv[1]) == "--record") return tests::facts::Record(argv[2]);
  return RUN_ALL_TESTS();
}
