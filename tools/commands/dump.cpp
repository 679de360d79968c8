// SPDX-License-Identifier: MIT
#include <iostream>
#include <memory>

#include "tools/answers.h"
#include "tools/commands/commands.h"
#include "tools/input_file.h"
#include "tools/json_listing.h"
#include "tools/loaded_file.h"

namespace tools {
namespace {

struct Options : StreamsOptions {
  bool isAll = false;
  bool isJson = false;

  const Extent& HowMuch() const { return isAll ? kAll : kShort; }
};

FileFindings DumpText(Bytes file, const Options& options) {
  TextListing listing(std::cout, options.HowMuch());
  FileFindings found = WalkFile(file, options.BareClass(), listing);
  std::cout << CountText(file.size(), "byte") << ", " << StateText(found) << '\n';
  return found;
}

FileFindings DumpJson(Bytes file, const std::string& name, const Options& options) {
  std::cout << "{\"file\":" << JsonText(name) << ",\"bytes\":" << file.size() << ",\"fields\":";
  JsonListing listing(std::cout, options.HowMuch());
  FileFindings found = WalkFile(file, options.BareClass(), listing);
  listing.End();
  std::cout << ",\"isWhole\":" << (found.IsWhole() ? "true" : "false")
            << ",\"problemCount\":" << found.problemCount
            << ",\"problems\":" << JsonText(ProblemsJson(found)) << '}';
  return found;
}

ExitCode Dump(const Options& options) {
  bool isFirst = true;
  const auto separate = [&] {
    if (options.isJson) std::cout << (isFirst ? "[" : ",\n");
    isFirst = false;
  };
  const ExitCode code = ForEachFile(
      options.files,
      [&](const std::string& name) {
        const InputFile file(name);
        separate();
        if (!options.isJson && options.files.size() > 1) std::cout << name << ":\n";
        const FileFindings found = options.isJson ? DumpJson(file.bytes(), name, options)
                                                  : DumpText(file.bytes(), options);
        return found.IsWhole() ? kWhole : kBroken;
      },
      [&](const std::string& name, const std::string& reason) {
        separate();
        if (options.isJson) std::cout << JsonText({{"file", name}, {"error", reason}});
      });
  if (options.isJson) std::cout << "]\n";
  return code;
}

}  // namespace

void AddDump(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = AddStreamsCommand(app, "dump", "Every field of the stream", *options);
  command->add_flag("--all", options->isAll, "Do not shorten long texts, blocks and lists");
  command->add_flag("--json", options->isJson, "For programs");
  command->callback([=, &action] { action = [=] { return Dump(*options); }; });
}

}  // namespace tools
