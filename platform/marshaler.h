// SPDX-License-Identifier: MIT
// The free-threaded marshaler of an object, which every object has and hardly any uses: on the
// embedded host it lies inside the object.
#pragma once

#include "platform/platform.h"

namespace platform {

#ifdef _WIN32
struct MarshalerRoom {};

// out: the marshaler's inner unknown, with a reference; what CoCreateFreeThreadedMarshaler gives.
inline HRESULT PlaceMarshaler(MarshalerRoom&, IUnknown* controlling, IUnknown** out) noexcept {
  return CoCreateFreeThreadedMarshaler(controlling, out);
}
#else
using MarshalerRoom = HostMarshalerRoom;

inline HRESULT PlaceMarshaler(MarshalerRoom& room, IUnknown* controlling, IUnknown** out) noexcept {
  *out = HostPlaceFreeThreadedMarshaler(&room, controlling);
  return S_OK;
}
#endif

}  // namespace platform
