// SPDX-License-Identifier: MIT
// FUNCDESC and VARDESC of rows of a type table, each in one block of memory.
#pragma once

#include <functional>

#include "host/types/descriptions.h"
// Behind the types it uses.
#include "host/types/tables.h"

namespace host {

// asDispatch: as a member of a dispatch interface, which returns its last out argument.
// referenceOf gives the reference for a type's name. Null when memory cannot be had.
FUNCDESC* NewFunctionDescription(const HostTypeMember& member, bool asDispatch,
                                 const std::function<HREFTYPE(const char*)>& referenceOf) noexcept;
void DeleteFunctionDescription(FUNCDESC* description) noexcept;

VARDESC* NewConstantDescription(MEMBERID id, LONG value) noexcept;
void DeleteConstantDescription(VARDESC* description) noexcept;

}  // namespace host
