// SPDX-License-Identifier: MIT
#include "module/persist/marshal_by_value.h"

#include "platform/com_ptr.h"

namespace rastel {
namespace {

using platform::ComPtr;

// The marshaler to forward to, or null when the object goes by value.
ComPtr<IMarshal> ForwardTarget(IUnknown* marshaler, DWORD context, MarshalBehaviourKLP behaviour) {
  if (!marshaler || (context != MSHCTX_INPROC && behaviour != MarshalByReference)) return nullptr;
  return ComPtr<IUnknown>(marshaler).As<IMarshal>();
}

// Null whatever keeps the object from answering.
ComPtr<IPersistStream> OwnPersistence(IMarshal* object) {
  return ComPtr<IMarshal>(object).As<IPersistStream>();
}

}  // namespace

HRESULT CMarshalByValue::GetUnmarshalClass(REFIID iid, void* object, DWORD context,
                                           void* contextData, DWORD flags, CLSID* classId) {
  if (const auto target = ForwardTarget(m_pFreeThreadedMarshaler, context, m_MarshalBehaviour)) {
    return target->GetUnmarshalClass(iid, object, context, contextData, flags, classId);
  }
  const auto persist = OwnPersistence(this);
  return persist ? persist->GetClassID(classId) : E_FAIL;
}

HRESULT CMarshalByValue::GetMarshalSizeMax(REFIID iid, void* object, DWORD context,
                                           void* contextData, DWORD flags, DWORD* bytes) {
  if (const auto target = ForwardTarget(m_pFreeThreadedMarshaler, context, m_MarshalBehaviour)) {
    return target->GetMarshalSizeMax(iid, object, context, contextData, flags, bytes);
  }
  const auto persist = OwnPersistence(this);
  if (!persist) return E_FAIL;
  ULARGE_INTEGER size{};
  const HRESULT result = persist->GetSizeMax(&size);
  if (SUCCEEDED(result)) *bytes = size.LowPart;
  return result;
}

HRESULT CMarshalByValue::MarshalInterface(IStream* stream, REFIID iid, void* object, DWORD context,
                                          void* contextData, DWORD flags) {
  if (const auto target = ForwardTarget(m_pFreeThreadedMarshaler, context, m_MarshalBehaviour)) {
    return target->MarshalInterface(stream, iid, object, context, contextData, flags);
  }
  const auto persist = OwnPersistence(this);
  return persist ? persist->Save(stream, FALSE) : E_FAIL;
}

HRESULT CMarshalByValue::UnmarshalInterface(IStream* stream, REFIID iid, void** out) {
  const auto persist = OwnPersistence(this);
  if (!persist) return E_FAIL;
  const HRESULT loaded = persist->Load(stream);
  if (FAILED(loaded)) return loaded;
  return persist->QueryInterface(iid, out);
}

HRESULT CMarshalByValue::ReleaseMarshalData(IStream*) { return S_OK; }

HRESULT CMarshalByValue::DisconnectObject(DWORD) { return S_OK; }

}  // namespace rastel
