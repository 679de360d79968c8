// IUnknown and IDispatch as types, for the libraries that derive from them.
#pragma once

#include "host/types/table_checks.h"

namespace host {

inline constexpr DWORD kUnknownType = 0;
inline constexpr DWORD kDispatchType = 1;

const HostTypeLibrary& StandardTypes() noexcept;

}  // namespace host
