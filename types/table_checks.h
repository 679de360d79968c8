// SPDX-License-Identifier: MIT
// What a host relies on in the tables of a type library, to be tested when they are compiled: names
// that lead somewhere, and parameters of a form that a late-bound call can fill. What the rows are
// made of already sees to slots, ids and the types of values.
#pragma once

#include <string_view>

#include "platform/platform.h"
// Behind the platform's headers.
#include "host/types/tables.h"

namespace rastel::types {

constexpr const HostType* FindType(const HostTypeLibrary& library, std::string_view name) noexcept {
  for (DWORD i = 0; i < library.typeCount; ++i) {
    if (library.types[i].name == name) return &library.types[i];
  }
  return nullptr;
}

constexpr bool IsInterface(const HostType* type) noexcept {
  return type != nullptr && (type->kind == kHostInterface || type->kind == kHostDualInterface);
}

constexpr bool ParameterHolds(const HostTypeLibrary& library, const HostTypeParameter& parameter,
                              bool isLast) noexcept {
  const auto& [type, isArray, pointers, name] = parameter.use;
  const HostType* named = type == VT_USERDEFINED ? FindType(library, name) : nullptr;
  // What comes out needs a place to come to: an interface, a place for its pointer.
  const int leastPointers = ((parameter.flags & PARAMFLAG_FOUT) != 0) + IsInterface(named);
  const bool isReturned = (parameter.flags & PARAMFLAG_FRETVAL) != 0;
  return *parameter.name != 0 && pointers >= leastPointers && pointers <= (isArray ? 1 : 2) &&
         (type != VT_USERDEFINED || (!isArray && named != nullptr && named->kind != kHostClass)) &&
         (!isReturned || (isLast && parameter.flags == (PARAMFLAG_FOUT | PARAMFLAG_FRETVAL)));
}

constexpr bool TypeHolds(const HostTypeLibrary& library, const HostType& type) noexcept {
  if (FindType(library, type.name) != &type) return false;
  for (DWORD i = 0; i < type.interfaceCount; ++i) {
    if (!IsInterface(FindType(library, type.interfaces[i]))) return false;
  }
  for (DWORD i = 0; i < type.memberCount; ++i) {
    const HostTypeMember& member = type.members[i];
    if (member.parameterCount > kHostMostParameters) return false;
    for (WORD p = 0; p < member.parameterCount; ++p) {
      if (!ParameterHolds(library, member.parameters[p], p + 1 == member.parameterCount)) {
        return false;
      }
    }
  }
  return true;
}

constexpr bool TablesHold(const HostTypeLibrary& library) noexcept {
  for (DWORD i = 0; i < library.typeCount; ++i) {
    if (!TypeHolds(library, library.types[i])) return false;
  }
  return true;
}

}  // namespace rastel::types
