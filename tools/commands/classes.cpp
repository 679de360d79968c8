// SPDX-License-Identifier: MIT
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/json.h"
#include "tools/module_registration.h"

namespace tools {
namespace {

void PrintJson(const std::vector<RegisteredClass>& classes) {
  Json rows = Json::array();
  for (const RegisteredClass& each : classes) {
    rows.push_back({{"progId", each.progId},
                    {"class", each.known->name},
                    {"classId", IdentifierText(each.known->classId)},
                    {"file", each.file},
                    {"isFileThere", each.isFileThere}});
  }
  std::printf("%s\n", JsonText(rows, 1).c_str());
}

}  // namespace

ExitCode Classes(const ClassesOptions& options) {
  const std::vector<RegisteredClass> classes = RegisteredClasses();
  if (options.isJson) {
    PrintJson(classes);
  } else {
    for (const RegisteredClass& each : classes) {
      std::printf("%-34s %-21s %s%s\n", each.progId.c_str(), each.known->name, each.file.c_str(),
                  each.isFileThere ? "" : " (missing)");
    }
    std::printf("%zu of %zu classes are registered\n", classes.size(), KnownClasses().size());
  }
  return classes.empty() ? kBroken : kWhole;
}

}  // namespace tools
