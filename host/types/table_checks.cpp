#include "host/types/table_checks.h"

#include <cstring>

#include "host/values/variant_types.h"

namespace host {
namespace {

bool IsName(const char* name) noexcept {
  if (name == nullptr || *name == 0) return false;
  for (int length = 1;; ++length) {
    const auto character = static_cast<unsigned char>(*name++);
    if (character == 0) return true;
    if (character < 0x20 || character > 0x7E || length > 255) return false;
  }
}

const HostType* FindType(const HostTypeLibrary& library, const char* name) noexcept {
  for (DWORD i = 0; i < library.typeCount; ++i) {
    if (std::strcmp(library.types[i].name, name) == 0) return &library.types[i];
  }
  return nullptr;
}

bool IsInterface(const HostType& type) noexcept {
  return type.kind == kHostInterface || type.kind == kHostDualInterface;
}

bool UseHolds(const HostTypeLibrary& library, const HostTypeUse& use) noexcept {
  if (use.pointers > 2) return false;
  if (use.type == VT_USERDEFINED) {
    if (use.isArray || !IsName(use.name)) return false;
    const HostType* type = FindType(library, use.name);
    if (type == nullptr) return false;
    return type->kind == kHostEnumeration || (IsInterface(*type) && use.pointers > 0);
  }
  constexpr std::uint64_t kTypes = TypeRange(VT_I2, VT_DECIMAL) | TypeRange(VT_I1, VT_UINT);
  return use.name == nullptr && IsOneOf(use.type, kTypes) && (!use.isArray || use.pointers < 2);
}

bool MemberHolds(const HostTypeLibrary& library, const HostTypeMember& member) noexcept {
  if (!IsName(member.name) || member.parameterCount > kMostTypeParameters) return false;
  if (member.parameterCount > 0 && member.parameters == nullptr) return false;
  const bool isPut = member.kind == INVOKE_PROPERTYPUT;
  if (member.kind != INVOKE_FUNC && member.kind != INVOKE_PROPERTYGET && !isPut) return false;
  if (isPut && member.parameterCount == 0) return false;
  for (WORD i = 0; i < member.parameterCount; ++i) {
    const HostTypeParameter& parameter = member.parameters[i];
    if (!IsName(parameter.name) || !UseHolds(library, parameter.use)) return false;
    constexpr WORD kBoth = PARAMFLAG_FIN | PARAMFLAG_FOUT;
    if ((parameter.flags & kBoth) == 0 || (parameter.flags & ~(kBoth | PARAMFLAG_FRETVAL)) != 0) {
      return false;
    }
    // What comes out needs a place to come to: an interface, a place for its pointer.
    const bool isPointer =
        parameter.use.type == VT_USERDEFINED && IsInterface(*FindType(library, parameter.use.name));
    const bool isOut = (parameter.flags & PARAMFLAG_FOUT) != 0;
    if (isOut && parameter.use.pointers < (isPointer ? 2 : 1)) return false;
    if ((parameter.flags & PARAMFLAG_FRETVAL) != 0 &&
        (parameter.flags != (PARAMFLAG_FOUT | PARAMFLAG_FRETVAL) || isPut ||
         i + 1 != member.parameterCount)) {
      return false;
    }
  }
  return true;
}

bool TypeHolds(const HostTypeLibrary& library, const HostType& type) noexcept {
  if (FindType(library, type.name) != &type) return false;
  if (type.kind == kHostEnumeration) {
    if (type.constantCount > kMostTypeMembers) return false;
    if (type.constantCount > 0 && type.constants == nullptr) return false;
    for (DWORD i = 0; i < type.constantCount; ++i) {
      if (!IsName(type.constants[i].name)) return false;
    }
    return true;
  }
  if (type.id == nullptr) return false;
  if (type.kind == kHostClass) {
    if (type.interfaceCount > kMostTypeMembers) return false;
    if (type.interfaceCount > 0 && type.interfaces == nullptr) return false;
    for (DWORD i = 0; i < type.interfaceCount; ++i) {
      if (!IsName(type.interfaces[i])) return false;
      const HostType* found = FindType(library, type.interfaces[i]);
      if (found == nullptr || !IsInterface(*found)) return false;
    }
    return true;
  }
  if (!IsInterface(type) || type.memberCount > kMostTypeMembers) return false;
  if (type.memberCount > 0 && type.members == nullptr) return false;
  for (DWORD i = 0; i < type.memberCount; ++i) {
    if (type.members[i].slot != BaseSlots(type.kind) + i) return false;
    if (!MemberHolds(library, type.members[i])) return false;
  }
  return true;
}

}  // namespace

bool TypeTablesHold(const HostTypeLibrary& library) noexcept {
  if (library.structureBytes != sizeof(HostTypeLibrary) || library.id == nullptr) return false;
  if (!IsName(library.name) || (library.text != nullptr && !IsName(library.text))) return false;
  if (library.typeCount > kMostTypes || (library.typeCount > 0 && library.types == nullptr)) {
    return false;
  }
  for (DWORD i = 0; i < library.typeCount; ++i) {
    if (!IsName(library.types[i].name)) return false;
  }
  for (DWORD i = 0; i < library.typeCount; ++i) {
    if (!TypeHolds(library, library.types[i])) return false;
  }
  return true;
}

}  // namespace host
