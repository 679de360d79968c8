// SPDX-License-Identifier: MIT
// What the operations on the host's services share.
#pragma once

#include "tests/rows/row_call.h"
#include "tests/support/temp_file.h"

namespace tests::facts {

// All operations of the program, to which its files add theirs before main().
Operations& KnownOperations();
struct MoreOperations {
  explicit MoreOperations(Operations more) { KnownOperations().merge(more); }
};
// Runs the operation that the words begin with.
std::string Run(Words& words);

inline constexpr std::string_view kNotAsked = "?";
std::string RunRow(std::string_view row);
// The embedded host's answers by row, where they are its own.
std::map<std::string, std::string> Changes();
void ExpectSection(const std::string& section);

// A file: "name" in a folder of the row's own, or beside"name" of the program.
std::string PathOf(std::string_view word);
struct Path {
  const OLECHAR* text;
};
inline void Read(Words& words, Path& path) {
  const bool isNull = words.Take("null");
  path.text = isNull ? nullptr : words.row.texts.emplace_back(Widen(PathOf(words.Next()))).c_str();
}

// Puts a text into the registry. The key is deleted with all below it at the row's end.
void EnterText(const OleText& key, const OleText& below, const OLECHAR* name, const OleText& text);
void DeleteAtEnd(const OleText& key);

// Lets go of everything that a row has made, but for what its State holds.
void EndRow();
void EndObjects();  // its part of that

}  // namespace tests::facts
