// SPDX-License-Identifier: MIT
// For builds without the picture library.
#include <stdexcept>

#include "tools/commands/commands.h"

namespace tools {
namespace {

void AddRefusal(CLI::App& app, const char* name, Action& action) {
  CLI::App* const command = app.add_subcommand(name, "Not there in this build");
  command->allow_extras();
  command->callback([&action] {
    action = []() -> ExitCode {
      throw std::runtime_error(
          "report, import and export need the picture library stb, which was not there "
          "when this program was built");
    };
  });
}

}  // namespace

void AddImport(CLI::App& app, Action& action) { AddRefusal(app, "import", action); }
void AddExport(CLI::App& app, Action& action) { AddRefusal(app, "export", action); }
void AddReport(CLI::App& app, Action& action) { AddRefusal(app, "report", action); }

}  // namespace tools
