// SPDX-License-Identifier: MIT
// IUnknown and IDispatch as types, for the libraries that derive from them.
#pragma once

#include "host/types/descriptions.h"
// Behind the types it uses.
#include "host/types/tables.h"

namespace host {

inline constexpr DWORD kUnknownType = 0;
inline constexpr DWORD kDispatchType = 1;

const HostTypeLibrary& StandardTypes() noexcept;

}  // namespace host
