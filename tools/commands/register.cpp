// SPDX-License-Identifier: MIT
// Registering a module and removing it.
#include <memory>

#include "tools/commands/commands.h"
#include "tools/module_registration.h"

namespace tools {
namespace {

struct Options {
  std::string module;
  std::string package;
  bool isForUser = false;
  bool isForced = false;
};

CLI::App* AddModuleCommand(CLI::App& app, const char* name, const char* what, Options& options) {
  CLI::App* const command = app.add_subcommand(name, what);
  command->add_option("MODULE", options.module,
                      "The module's file; without it the one of this program");
  command->add_flag("--user", options.isForUser,
                    "For the present user alone, without an administrator");
  return command;
}

ExitCode Register(const Options& options) {
#ifndef _WIN32
  if (!options.package.empty()) {
    WritePackage(options.module, options.package);
    return kWhole;
  }
#endif
  if (options.isForUser) RegisterForUser();
  RegisterModule(options.module);
  return kWhole;
}

ExitCode Unregister(const Options& options) {
  if (options.isForUser) RegisterForUser();
  UnregisterModule(options.module, options.isForced);
  return kWhole;
}

}  // namespace

void AddRegister(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      AddModuleCommand(app, "register", "Enters a module and its type library", *options);
#ifndef _WIN32
  command->add_option("--package", options->package,
                      "Write a package's registry file instead, which finds the module relative to "
                      "itself");
#endif
  command->callback([=, &action] { action = [=] { return Register(*options); }; });
}

void AddUnregister(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      AddModuleCommand(app, "unregister", "Removes a module and its type library", *options);
  command->add_flag("--force", options->isForced, "Also where another module is registered");
  command->callback([=, &action] { action = [=] { return Unregister(*options); }; });
}

}  // namespace tools
