// SPDX-License-Identifier: MIT
// One type of a loaded type library. A dual interface has two views: by default the dispatch
// interface, whose members return their last out argument and which lists the members of IDispatch
// too; behind it, as implemented type -1, the interface with its slots.
#pragma once

#include "host/types/library.h"

namespace host {

// The ids of an enumeration's constants.
inline constexpr MEMBERID kFirstConstantId = 0x40000000;

// The caller owns one reference, which keeps the library. Throws std::bad_alloc.
ITypeInfo* NewTypeInfo(TypeLibrary& library, DWORD index, bool asInterface);

}  // namespace host
