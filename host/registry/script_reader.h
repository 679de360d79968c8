// SPDX-License-Identifier: MIT
// Registration scripts as data: what a script says, read as a whole before anything happens. See
// host/registry/script_interface.h for the language. All functions may throw std::bad_alloc.
#pragma once

#include <utility>
#include <vector>

#include "host/registry/tree.h"

namespace host {

struct ScriptValue {
  RegistryText name;
  RegistryValue content;
  // Stays when the script is unregistered and its key stays.
  bool isKept = false;
};

enum class ScriptRule { kPlain, kNoRemove, kForceRemove, kDelete };

struct ScriptKey {
  RegistryText name;
  ScriptRule rule = ScriptRule::kPlain;
  std::vector<ScriptValue> values;
  std::vector<ScriptKey> keys;
};

// Names, compared in any case, and their texts.
using ScriptReplacements = std::vector<std::pair<RegistryText, RegistryText>>;

// The script with its replacements put in. False: one is missing, or a percent sign stands alone.
bool ReplaceInScript(RegistryTextView script, const ScriptReplacements& replacements,
                     RegistryText& replaced);

// The roots of a script with what is to be below them; a root's name is its short one ("HKCR").
// False: the script is not whole, names an unknown root, or nests deeper than the registry does.
bool ReadScript(RegistryTextView script, std::vector<ScriptKey>& roots);

}  // namespace host
