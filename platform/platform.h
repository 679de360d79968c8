// SPDX-License-Identifier: MIT
// The seam: the one header through which the module and its clients see a host. On Windows it is
// the system's own component platform, elsewhere the embedded host under the same names. Code above
// this line is written once, against the platform's names.
#pragma once

#ifdef _WIN32
#include <windows.h>
// The order matters: the basic headers come first.
#include <objbase.h>
#include <ocidl.h>
#include <ole2.h>
#include <oleauto.h>
#else
#include "host/host.h"
#endif

#include <cstdint>

namespace platform {

// A result code written as its 32 bits, 0x8004045A for instance. Such a constant does not convert
// to the signed HRESULT by itself.
constexpr HRESULT ResultCode(std::uint32_t bits) noexcept { return static_cast<HRESULT>(bits); }

}  // namespace platform

// What crosses an interface has the same shape on both hosts.
static_assert(sizeof(OLECHAR) == 2 && sizeof(LONG) == 4 && sizeof(HRESULT) == 4);
static_assert(sizeof(VARIANT) == 24 && sizeof(GUID) == 16 && sizeof(VARIANT_BOOL) == 2);
static_assert(sizeof(EXCEPINFO) == 64 && sizeof(DISPPARAMS) == 24 && sizeof(FILETIME) == 8);
static_assert(sizeof(CRITICAL_SECTION) == 40);
static_assert(sizeof(DECIMAL) == 16 && sizeof(STATSTG) == 80 && sizeof(SAFEARRAY) == 32);
