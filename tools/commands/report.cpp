// SPDX-License-Identifier: MIT
#include "tools/commands/commands.h"
#include "tools/file_answers.h"
#include "tools/file_bytes.h"
#include "tools/input_file.h"
#include "tools/report/page.h"

namespace tools {

ExitCode Report(const ReportOptions& options) {
  const InputFile file(options.file);
  FieldTree tree;
  const FileFindings found = WalkFile(file.bytes(), options.BareClass(), tree);
  if (found.isForeign) {
    throw std::runtime_error(options.file + ": " + found.problems.front().text);
  }
  Answers answers;
  std::string failure;
  try {
    AddFileAnswers(file.bytes(), found, tree, false, answers);
  } catch (const std::runtime_error& error) {
    // What the walk found can be shown all the same.
    failure = error.what();
  }
  const std::string page =
      report::Page({options.file, file.bytes(), found, tree, answers, failure});
  WriteWholeFile(options.page,
                 Bytes(reinterpret_cast<const std::uint8_t*>(page.data()), page.size()));
  if (options.page != "-") {
    std::printf("%s: %s\n", options.page.c_str(), SizeText(page.size()).c_str());
  }
  return found.IsWhole() ? kWhole : kBroken;
}

}  // namespace tools
