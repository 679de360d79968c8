// SPDX-License-Identifier: MIT
// The identifier of an interface as a compile-time property of its type, the same on both hosts.
#pragma once

#include "platform/platform.h"

// Specialised for each interface by RASTEL_INTERFACE_ID, at global scope.
template <class Interface>
struct InterfaceId;

// Ties IID_<Interface> to the type. The constant must be declared before.
#define RASTEL_INTERFACE_ID(Interface)                    \
  template <>                                             \
  struct InterfaceId<Interface> {                         \
    static constexpr const IID* value = &IID_##Interface; \
  }

RASTEL_INTERFACE_ID(IUnknown);
RASTEL_INTERFACE_ID(IClassFactory);
RASTEL_INTERFACE_ID(ISequentialStream);
RASTEL_INTERFACE_ID(IStream);
RASTEL_INTERFACE_ID(IPersist);
RASTEL_INTERFACE_ID(IPersistStream);
RASTEL_INTERFACE_ID(IPersistStreamInit);
RASTEL_INTERFACE_ID(IPersistPropertyBag);
RASTEL_INTERFACE_ID(IMarshal);
RASTEL_INTERFACE_ID(IDispatch);
RASTEL_INTERFACE_ID(IEnumVARIANT);
RASTEL_INTERFACE_ID(IErrorInfo);
RASTEL_INTERFACE_ID(ICreateErrorInfo);
RASTEL_INTERFACE_ID(ISupportErrorInfo);

namespace platform {

template <class Interface>
inline constexpr const IID& kIidOf = *InterfaceId<Interface>::value;

}  // namespace platform
