// SPDX-License-Identifier: MIT
// How an object crosses the boundary of a process. Vectors answer this interface, AOIs do not.
#pragma once

#include "interfaces/enums.h"
#include "interfaces/identifiers.h"
#include "platform/interface_id.h"

struct IMarshalBehaviourKLP : IDispatch {
  static constexpr int kSlotCount = 9;

  // out: the present behaviour, MarshalByValue in a new object. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_MarshalBehaviour(MarshalBehaviourKLP* behaviour) = 0;
  // Takes MarshalByReference and MarshalByValue. Anything else is reported with 0x80020009 and
  // changes nothing.
  virtual HRESULT STDMETHODCALLTYPE put_MarshalBehaviour(MarshalBehaviourKLP behaviour) = 0;
};
RASTEL_INTERFACE_ID(IMarshalBehaviourKLP);
