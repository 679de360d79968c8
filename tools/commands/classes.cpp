// SPDX-License-Identifier: MIT
#include "tools/commands/commands.h"
#include "tools/module_registration.h"

namespace tools {

void AddClasses(CLI::App& app, Action& action) {
  app.add_subcommand("classes", "The classes that are registered")->callback([&action] {
    action = [] { return ListClasses() ? kWhole : kBroken; };
  });
}

}  // namespace tools
