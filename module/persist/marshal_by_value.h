// SPDX-License-Identifier: MIT
// IMarshal by persistence: what crosses a process boundary is the object's own stream, and the
// receiver gets an object of its own. Within a process the object's free-threaded marshaler hands
// over the pointer itself. AOIs and vectors derive from this; IUnknown is left to them.
#pragma once

#include "interfaces/enums.h"
#include "module/frame/agile_object.h"
#include "platform/platform.h"

namespace rastel {

class CMarshalByValue : public IMarshal, protected AgileObject {
 public:
  // Destination context 3 (in-process), and behaviour MarshalByReference everywhere: what the
  // free-threaded marshaler says. Otherwise by value, whatever identifier and flags are given:
  // E_FAIL for an object without IPersistStream, else what GetClassID, GetSizeMax (cut to 32 bits)
  // and Save give.
  STDMETHODIMP GetUnmarshalClass(REFIID iid, void* object, DWORD context, void* contextData,
                                 DWORD flags, CLSID* classId) override;
  STDMETHODIMP GetMarshalSizeMax(REFIID iid, void* object, DWORD context, void* contextData,
                                 DWORD flags, DWORD* bytes) override;
  STDMETHODIMP MarshalInterface(IStream* stream, REFIID iid, void* object, DWORD context,
                                void* contextData, DWORD flags) override;
  // Loads this new object and asks it for the interface. E_FAIL without IPersistStream.
  STDMETHODIMP UnmarshalInterface(IStream* stream, REFIID iid, void** out) override;
  // S_OK: no reference or table entry stands behind the data, so there is nothing to read or end.
  STDMETHODIMP ReleaseMarshalData(IStream* stream) override;
  STDMETHODIMP DisconnectObject(DWORD reserved) override;

  virtual ~CMarshalByValue() = default;

 protected:
  MarshalBehaviourKLP m_MarshalBehaviour = MarshalByValue;
};

}  // namespace rastel
