// SPDX-License-Identifier: MIT
#include "host/classes/persistence.h"

#include "host/base/references.h"
#include "host/classes/creation.h"

HRESULT STDAPICALLTYPE WriteClassStm(IStream* stream, REFCLSID classId) {
  if (!stream) return E_INVALIDARG;
  return stream->Write(&classId, sizeof(CLSID), nullptr);
}

HRESULT STDAPICALLTYPE ReadClassStm(IStream* stream, CLSID* classId) {
  if (!stream || !classId) return E_INVALIDARG;
  *classId = CLSID_NULL;
  CLSID found{};
  ULONG count = 0;
  const HRESULT result = stream->Read(&found, sizeof(found), &count);
  if (FAILED(result)) return result;
  if (count != sizeof(found)) return STG_E_READFAULT;
  *classId = found;
  return S_OK;
}

HRESULT STDAPICALLTYPE OleSaveToStream(IPersistStream* object, IStream* stream) {
  if (!object || !stream) return E_INVALIDARG;
  CLSID classId{};
  HRESULT result = object->GetClassID(&classId);
  if (FAILED(result)) return result;
  result = WriteClassStm(stream, classId);
  if (FAILED(result)) return result;
  return object->Save(stream, TRUE);
}

HRESULT STDAPICALLTYPE OleLoadFromStream(IStream* stream, REFIID iid, void** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (!stream) return E_INVALIDARG;
  CLSID classId{};
  HRESULT result = ReadClassStm(stream, &classId);
  if (FAILED(result)) return result;

  host::Reference<IUnknown> object;
  void* made = nullptr;
  result = CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &made);
  if (FAILED(result)) return result;
  if (!made) return E_NOINTERFACE;
  object.Adopt(static_cast<IUnknown*>(made));

  host::Reference<IPersistStream> persist;
  result = host::AskFor(object.Get(), IID_IPersistStream, persist);
  if (FAILED(result)) return result;
  const HRESULT loaded = persist->Load(stream);
  if (FAILED(loaded)) return loaded;

  host::Reference<IUnknown> wanted;
  result = host::AskFor(object.Get(), iid, wanted);
  if (FAILED(result)) return result;
  *out = wanted.Detach();
  return loaded;
}
