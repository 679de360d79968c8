// SPDX-License-Identifier: MIT
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/file_bytes.h"
#include "tools/loaded_file.h"

namespace tools {
namespace {

struct Options : StreamOptions {
  bool isAll = false;
};

ExitCode Dump(const Options& options) {
  const std::vector<std::uint8_t> file = ReadWholeFile(options.file);
  Listing listing(&std::cout, options.isAll ? Listing::Extent::kAll : Listing::Extent::kShort);
  const FileFindings found = WalkFile(file, options.BareClass(), listing);
  std::cout << CountText(file.size(), "byte") << ", " << StateText(found) << '\n';
  return found.IsWhole() ? kWhole : kBroken;
}

}  // namespace

void AddDump(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = AddStreamCommand(app, "dump", "Every field of the stream", *options);
  command->add_flag("--all", options->isAll, "Do not shorten long texts, blocks and lists");
  command->callback([=, &action] { action = [=] { return Dump(*options); }; });
}

}  // namespace tools
