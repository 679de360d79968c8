// SPDX-License-Identifier: MIT
// Modules and their type libraries in the host's registry. Failures raise std::runtime_error, those
// of a call ComFailure.
#pragma once

#include <string>
#include <vector>

#include "tools/class_names.h"

namespace tools {

// From now on this process enters and removes what is for the present user alone. On the embedded
// host that is always so.
void RegisterForUser();

// Enters the type library that lies beside a module or in it, if there is one, and then the
// module's classes and proxies: in this order, as the library would put the proxies of others in
// the place of the module's own. An empty path is the module that was built or installed with this
// program. Tells on standard output what was entered.
void RegisterModule(const std::string& path);

// Writes all that into a registry file for a package instead, anew, with paths relative to the
// file: both may then be moved together. Of the embedded host.
#ifndef _WIN32
void WritePackage(const std::string& path, const std::string& package);
#endif

// Serves this process the classes of the module beside the program. False: there is no such module.
bool ServeOwnModule();

// Removes all that again, the module's part first. What is not there is no failure. Raises
// std::runtime_error where the classes are those of another module, which is there, unless forced.
void UnregisterModule(const std::string& path, bool isForced);

struct RegisteredClass {
  const KnownClass* known;
  // The versioned one.
  std::string progId;
  // Of the module, wherever it lies.
  std::string file;
  bool isFileThere;
};
// The known classes that are registered.
std::vector<RegisteredClass> RegisteredClasses();

}  // namespace tools
