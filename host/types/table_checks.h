// Whether the tables of a type library hold together.
#pragma once

#include "host/types/descriptions.h"
// Behind the types it uses.
#include "host/types/tables.h"

namespace host {

inline constexpr WORD kMostTypeParameters = 32;
inline constexpr DWORD kMostTypes = 0x4000;
inline constexpr DWORD kMostTypeMembers = 0x0FFF;

// The slots of the interface that a kind of interface derives from.
constexpr WORD BaseSlots(DWORD kind) noexcept { return kind == kHostDualInterface ? 7 : 3; }

// Everything that the host later relies on: counts, names, references, slots, and what the kinds
// allow. Pointers are only tested for null.
bool TypeTablesHold(const HostTypeLibrary& library) noexcept;

}  // namespace host
