// SPDX-License-Identifier: MIT
// The classes whose objects are found in streams, by name and by class identifier.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "interfaces/enums.h"
#include "platform/platform.h"

namespace tools {

// Objects of a family share a stream format.
enum class Family { kAoi, kVector, kMap, kEntry };

struct KnownClass {
  const CLSID& classId;
  const char* name;
  Family family;
  // Of AOIs and vectors.
  std::optional<ElementTypeKLP> elementType;
};

// All of them, AOIs first.
std::span<const KnownClass> KnownClasses();

// Null when there is none.
const KnownClass* FindClass(REFCLSID classId);
const KnownClass* FindClass(std::string_view name);
const KnownClass* FindClass(Family family, ElementTypeKLP elementType);

// All names, with blanks between them.
std::string ClassNames();

// "{BDE67303-832C-49FF-855C-2B01FFA7925A}".
std::string IdentifierText(REFGUID identifier);
// The class's name, or the identifier of one that is not known.
std::string ClassName(REFCLSID classId);
// The same behind the class's name, if it is known.
std::string ClassText(REFCLSID classId);

}  // namespace tools
