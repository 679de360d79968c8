// SPDX-License-Identifier: MIT
// Compares what the host answers with rows of text that were recorded under Wine:
//
//     host_facts --record FILE
//
// prints the rows of a file with what the host at hand answers. Rows with the result "?" are not
// asked there, where they crash or show what the memory held before. The embedded host's answers to
// them, and those that differ on purpose, stand in changes.txt, with the reason above.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>

#include "tests/host/host_operations.h"
#include "tests/support/host_kind.h"

namespace tests::facts {
namespace {

int Record(const char* path) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  for (const Line& line : ReadLines(path)) {
    const bool isAsked = !line.row.empty() && (kEmbeddedHost || line.said != kNotAsked);
    const std::string text =
        isAsked ? line.row + std::string(kArrow) + RunRow(line.row) : line.text;
    std::puts(text.c_str());
    std::fflush(stdout);  // A crash shows which row it was.
  }
  CoUninitialize();
  return 0;
}

std::vector<const char*> Sections() {
  std::vector<const char*> sections = {"strings",     "variants",    "numbers",     "to_text",
                                       "from_text",   "code_pages",  "identifiers", "arrays",
                                       "streams",     "registry",    "errors",      "classes",
                                       "persistence", "marshalling", "scripts",     "calls"};
  // What only the embedded host has.
  for (const char* own :
       {"faults", "resources", "registry_files", "packages", "unicode", "hostile"}) {
    if (kEmbeddedHost) sections.push_back(own);
  }
  return sections;
}

class Facts : public testing::TestWithParam<const char*> {};

TEST_P(Facts, Hold) { ExpectSection(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Host, Facts, testing::ValuesIn(Sections()),
                         [](const auto& section) { return std::string(section.param); });

TEST(FactChanges, AreOfRowsThatThereAre) {
  std::set<std::string> rows;
  std::vector<const char*> sections = Sections();
  sections.push_back("threads");  // of another program
  for (const char* section : sections) {
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
