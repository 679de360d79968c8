// SPDX-License-Identifier: MIT
// Plays the sessions of a folder in tests/data, which show the programs as their users see them.
//
//     PROGRAM --record SESSION
//
// prints a session as it goes now.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>

#include "tests/tools/shell.h"

namespace tests {
namespace {

std::set<std::string> NamesOfSessions() {
  std::set<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(RASTEL_SESSIONS)) {
    if (file.path().extension() == ".txt") names.insert(file.path().stem().string());
  }
  return names;
}

class Sessions : public testing::TestWithParam<std::string> {};

TEST_P(Sessions, GoAsTheyWent) {
  const std::string text = FileContent(RASTEL_SESSIONS "/" + GetParam() + ".txt");
  EXPECT_EQ(Shell().Play(text), text);
}

INSTANTIATE_TEST_SUITE_P(CommandLine, Sessions, testing::ValuesIn(NamesOfSessions()),
                         [](const auto& name) { return name.param; });

}  // namespace
}  // namespace tests

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc != 3 || std::string(argv[1]) != "--record") return RUN_ALL_TESTS();
  const std::string text = tests::FileContent(argv[2]);
  std::fputs(tests::Shell().Play(text).c_str(), stdout);
  return 0;
}
