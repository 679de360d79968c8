// SPDX-License-Identifier: MIT
// The free-threaded marshaler: lets an object be handed to every thread of the process as it is.
//
// In context MSHCTX_INPROC it writes 28 bytes: the marshal flags (4), the name of an entry in the
// process's table of live references (8), and the process's identifier (16).
// Normal and table-strong data hold one reference on the object, table-weak data none: who writes
// such data keeps the object alive while it may be read, and the data dies with the marshaler.
// Normal data can be read once, the others until ReleaseMarshalData or the marshaler's end. Reading
// data of another process, damaged data or data that was given up is RPC_E_INVALID_OBJREF. There
// are no proxies on this host, so in every other context MarshalInterface is E_NOINTERFACE.
#pragma once

#include "host/base/interfaces.h"

namespace host {

// The class that object references of the marshaler name; known to the host without registration.
inline constexpr CLSID kFreeThreadedMarshalerClass{
    0x0000033A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// The class that GetUnmarshalClass gives in the other contexts.
inline constexpr CLSID kStandardMarshalerClass{0x00000017, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

}  // namespace host

// Makes a marshaler for an outer object, which aggregates it and is not counted; null makes one
// that stands alone. The caller owns one reference on the inner unknown, whose IMarshal counts on
// the outer. One allocation. E_INVALIDARG: null out; E_OUTOFMEMORY.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CoCreateFreeThreadedMarshaler(IUnknown* outer,
                                                                     IUnknown** out);

// Room for a marshaler inside the object that it serves; opaque.
struct HostMarshalerRoom {
  alignas(8) BYTE opaque[48];
};

// The same without an allocation, and so without a failure. The room must last until the reference
// on the inner unknown is released, and nobody but the outer object may have that unknown.
RASTEL_HOST_API IUnknown* HostPlaceFreeThreadedMarshaler(HostMarshalerRoom* room,
                                                         IUnknown* outer) noexcept;
