// SPDX-License-Identifier: MIT
#include <iostream>

#include "tools/commands/commands.h"
#include "tools/file_answers.h"
#include "tools/input_file.h"

namespace tools {
namespace {

void Print(const std::string& file, const Answers& answers) {
  constexpr std::size_t kLabelColumn = 16;
  std::cout << file << '\n';
  for (const auto& [label, text] : answers.lines()) {
    const std::size_t blanks = kLabelColumn - std::min(kLabelColumn, label.size());
    std::cout << "  " << label << std::string(blanks + 1, ' ') << text << '\n';
  }
}

// What a program reads: the same members in the same order, or why there are none.
void PrintJson(const std::string& file, const Answers& answers, const std::string& failure,
               bool isFirst) {
  Json json{{"file", file}};
  json.update(answers.members());
  if (!failure.empty()) json["error"] = failure;
  std::cout << (isFirst ? "[\n" : ",\n") << JsonText(json);
}

}  // namespace

ExitCode Info(const InfoOptions& options) {
  bool isFirst = true;
  const auto print = [&](const std::string& file, const Answers& answers,
                         const std::string& failure) {
    if (options.isJson) {
      PrintJson(file, answers, failure, isFirst);
    } else if (!answers.lines().empty()) {
      Print(file, answers);
    }
    isFirst = false;
  };
  const ExitCode code = ForEachFile(options.files, [&](const std::string& file) {
    Answers answers;
    try {
      const InputFile input(file);
      FieldTree tree;
      const FileFindings found = WalkFile(input.bytes(), options.BareClass(), tree);
      AddFileAnswers(input.bytes(), found, tree, options.hasStatistics, answers);
      print(file, answers, "");
      return found.IsWhole() ? kWhole : kBroken;
    } catch (const std::exception& error) {
      print(file, answers, error.what());
      // Without a heading above it the reason has to name the file.
      if (!answers.lines().empty()) throw;
      const std::string reason = error.what();
      throw std::runtime_error(reason.starts_with(file + ": ") ? reason : file + ": " + reason);
    }
  });
  if (options.isJson) std::cout << "\n]\n";
  return code;
}

}  // namespace tools
