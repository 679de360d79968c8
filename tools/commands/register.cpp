// SPDX-License-Identifier: MIT
// Registering a module and removing it.
#include "tools/commands/commands.h"
#include "tools/module_registration.h"

namespace tools {

ExitCode Register(const RegisterOptions& options) {
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

ExitCode Unregister(const UnregisterOptions& options) {
  if (options.isForUser) RegisterForUser();
  UnregisterModule(options.module, options.isForced);
  return kWhole;
}

}  // namespace tools
