// SPDX-License-Identifier: MIT
// Runs the cases of tests/data/objects on the module's objects and compares what they say:
//
//     object_tests --record FILE
//
// prints a file with what is said now. A case is the rows up to the next blank line; it begins with
// nothing, and at its end nothing of what it made may be left.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "tests/objects/session.h"
#include "tests/support/host_kind.h"

namespace tests::objects {
namespace {

using facts::kArrow;
using facts::Line;

constexpr std::string_view kBar = " || ";
// The first row of a case that refuses allocations, which the program can do there alone.
constexpr std::string_view kEmbeddedOnly = "embedded";

std::vector<std::string> Split(std::string_view text, std::string_view by) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t end = text.find(by);
    if (end != 0) parts.emplace_back(text.substr(0, end));
    if (end == text.npos) return parts;
    text.remove_prefix(end + by.size());
  }
}

// The row for one of the values that "for A,B in 1,2 3,4" runs the rows below it with.
std::string With(std::string row, const std::vector<std::string>& names, const std::string& value) {
  const std::vector<std::string> values = Split(value, ",");
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string name = '$' + names[i];
    for (std::size_t at; (at = row.find(name)) != row.npos;)
      row.replace(at, name.size(), values[i]);
  }
  return row;
}

// What each row of a case says; "a || b" where values make a difference.
std::vector<std::string> RunCase(const std::vector<Line>& rows) {
  std::vector<std::string> names, values = {""};
  std::vector<std::string> said(rows.size());
  std::size_t first = rows[0].row == kEmbeddedOnly ? 1 : 0;
  if (rows[first].row.starts_with("for ")) {
    const std::vector<std::string> words = Split(rows[first++].row.substr(4), " ");
    names = Split(words[0], ",");
    values.assign(words.begin() + 2, words.end());
  }
  std::vector<std::vector<std::string>> all(rows.size());
  std::string leftovers;
  for (const std::string& value : values) {
    Session session;
    for (std::size_t i = first; i < rows.size(); ++i) {
      all[i].push_back(session.Run(With(rows[i].row, names, value)));
    }
    leftovers += session.Leftovers();
  }
  for (std::size_t i = first; i < rows.size(); ++i) {
    const bool isOne = std::equal(all[i].begin() + 1, all[i].end(), all[i].begin());
    if (isOne) all[i].resize(1);
    for (const std::string& one : all[i]) {
      said[i] += (&one == &all[i][0] ? std::string_view() : kBar);
      said[i] += one;
    }
  }
  if (!leftovers.empty()) said.back() += " LEFT:" + leftovers;
  return said;
}

// The cases of a file: rows up to the next blank line, comments apart.
std::vector<std::vector<Line>> ReadCases(const std::string& path) {
  std::vector<std::vector<Line>> cases(1);
  for (const Line& line : facts::ReadLines(path)) {
    if (!line.row.empty()) cases.back().push_back(line);
    if (line.text.empty() && !cases.back().empty()) cases.emplace_back();
  }
  if (cases.back().empty()) cases.pop_back();
  EXPECT_FALSE(cases.empty()) << path;
  return cases;
}

// Prints the file, with what its rows say now.
int Record(const char* path) {
  std::vector<Line> lines = facts::ReadLines(path);
  for (const std::vector<Line>& rows : ReadCases(path)) {
    const std::vector<std::string> said = RunCase(rows);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::string& text = lines[static_cast<std::size_t>(rows[i].number - 1)].text;
      text = rows[i].row + (said[i].empty() ? "" : std::string(kArrow) + said[i]);
    }
  }
  for (const Line& line : lines) std::puts(line.text.c_str());
  return 0;
}

std::vector<std::string> Files() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(RASTEL_TEST_DATA "/objects")) {
    names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class Objects : public testing::TestWithParam<std::string> {};

// isRow tells the rows that are to be compared; the others of a case are only run.
template <class IsRow>
void CompareCases(const std::string& file, IsRow isRow) {
  const std::string path = std::string(RASTEL_TEST_DATA "/objects/") + file + ".txt";
  for (const std::vector<Line>& rows : ReadCases(path)) {
    if (rows[0].row == kEmbeddedOnly && !kEmbeddedHost) continue;
    if (std::none_of(rows.begin(), rows.end(), isRow)) continue;
    if (rows[0].row == kEmbeddedOnly && NamedStream::windowBytes > 0) continue;
    const std::vector<std::string> said = RunCase(rows);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (!isRow(rows[i])) continue;
      EXPECT_EQ(said[i], rows[i].said) << path << ':' << rows[i].number << ": " << rows[i].row;
    }
  }
}

TEST_P(Objects, SayWhatTheyAlwaysSaid) {
  CompareCases(GetParam(), [](const Line&) { return true; });
}

// Only calls are fewer, and allocations, which are not refused here.
TEST_P(Objects, SayTheSameWhereStreamsShowTheirMemory) {
  NamedStream::windowBytes = 40;
  CompareCases(GetParam(), [](const Line& line) {
    const auto has = [&](const char* word) { return line.row.find(word) != line.row.npos; };
    return (has("load ") || has("save ")) && !has("calls ");
  });
  NamedStream::windowBytes = 0;
}

INSTANTIATE_TEST_SUITE_P(Module, Objects, testing::ValuesIn(Files()),
                         [](const auto& file) { return file.param; });

}  // namespace
}  // namespace tests::objects

int main(int argc, char** argv) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  testing::InitGoogleTest(&argc, argv);
  const bool isRecording = argc == 3 && std::string_view(argv[1]) == "--record";
  const int result = isRecording ? tests::objects::Record(argv[2]) : RUN_ALL_TESTS();
  CoUninitialize();
  return result;
}
