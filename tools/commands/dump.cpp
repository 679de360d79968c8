// SPDX-License-Identifier: MIT
#include <iostream>

#include "tools/answers.h"
#include "tools/commands/commands.h"
#include "tools/input_file.h"
#include "tools/json_listing.h"
#include "tools/loaded_file.h"

namespace tools {
namespace {

const Extent& HowMuch(const DumpOptions& options) { return options.isAll ? kAll : kShort; }

FileFindings DumpText(Bytes file, const DumpOptions& options) {
  TextListing listing(std::cout, HowMuch(options));
  FileFindings found = WalkFile(file, options.BareClass(), listing);
  std::cout << CountText(file.size(), "byte") << ", " << StateText(found) << '\n';
  return found;
}

FileFindings DumpJson(Bytes file, const std::string& name, const DumpOptions& options) {
  std::cout << "{\"file\":" << JsonText(name) << ",\"bytes\":" << file.size() << ",\"fields\":";
  JsonListing listing(std::cout, HowMuch(options));
  FileFindings found = WalkFile(file, options.BareClass(), listing);
  listing.End();
  std::cout << ",\"isWhole\":" << (found.IsWhole() ? "true" : "false")
            << ",\"problemCount\":" << found.problemCount
            << ",\"problems\":" << JsonText(ProblemsJson(found)) << '}';
  return found;
}

}  // namespace

ExitCode Dump(const DumpOptions& options) {
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

}  // namespace tools
