// SPDX-License-Identifier: MIT
#include "host/classes/marshalling.h"

#include <algorithm>

#include "host/base/references.h"
#include "host/classes/creation.h"
#include "host/classes/free_threaded_marshaler.h"

namespace host {
namespace {

constexpr ULONG kSignature = 0x574F454D;
constexpr ULONG kCustomForm = 4;

struct ReferenceHeader {
  ULONG signature;
  ULONG form;
  IID iid;
  CLSID classId;
  ULONG extensionBytes;
  ULONG claimedBytes;
};
static_assert(sizeof(ReferenceHeader) == 48 && offsetof(ReferenceHeader, classId) == 24);

HRESULT MarshalerOf(IUnknown* object, Reference<IMarshal>& out) {
  return FAILED(AskFor(object, IID_IMarshal, out)) ? E_NOINTERFACE : S_OK;
}

HRESULT ReadHeader(IStream* stream, ReferenceHeader& header) {
  header = {};
  ULONG count = 0;
  const HRESULT result = stream->Read(&header, sizeof(header), &count);
  if (FAILED(result)) return result;
  if (count != sizeof(header)) return STG_E_READFAULT;
  const bool isKnown = header.signature == kSignature && header.form == kCustomForm;
  return isKnown ? S_OK : RPC_E_INVALID_OBJREF;
}

// Reads the header and makes an object of the class that reads the data behind it.
HRESULT OpenReference(IStream* stream, ReferenceHeader& header, Reference<IMarshal>& reader) {
  HRESULT result = ReadHeader(stream, header);
  if (FAILED(result)) return result;
  void* made = nullptr;
  result = CoCreateInstance(header.classId, nullptr, CLSCTX_INPROC_SERVER, IID_IMarshal, &made);
  if (FAILED(result)) return result;
  if (!made) return E_NOINTERFACE;
  reader.Adopt(static_cast<IMarshal*>(made));
  return S_OK;
}

}  // namespace
}  // namespace host

HRESULT STDAPICALLTYPE CoMarshalInterface(IStream* stream, REFIID iid, IUnknown* object,
                                          DWORD context, void* contextData, DWORD flags) {
  if (!stream || !object) return E_INVALIDARG;
  host::Reference<IMarshal> marshaler;
  HRESULT result = host::MarshalerOf(object, marshaler);
  if (FAILED(result)) return result;
  host::ReferenceHeader header{host::kSignature, host::kCustomForm, iid, CLSID_NULL, 0, 0};
  result = marshaler->GetUnmarshalClass(iid, object, context, contextData, flags, &header.classId);
  if (FAILED(result)) return result;
  DWORD claimed = 0;
  result = marshaler->GetMarshalSizeMax(iid, object, context, contextData, flags, &claimed);
  if (FAILED(result)) return result;
  header.claimedBytes = claimed;
  if (!IsEqualCLSID(header.classId, host::kStandardMarshalerClass)) {
    result = stream->Write(&header, sizeof(header), nullptr);
    if (FAILED(result)) return result;
  }
  return marshaler->MarshalInterface(stream, iid, object, context, contextData, flags);
}

HRESULT STDAPICALLTYPE CoGetMarshalSizeMax(ULONG* bytes, REFIID iid, IUnknown* object,
                                           DWORD context, void* contextData, DWORD flags) {
  if (!bytes || !object) return E_INVALIDARG;
  *bytes = 0;
  host::Reference<IMarshal> marshaler;
  HRESULT result = host::MarshalerOf(object, marshaler);
  if (FAILED(result)) return result;
  DWORD claimed = 0;
  result = marshaler->GetMarshalSizeMax(iid, object, context, contextData, flags, &claimed);
  if (FAILED(result)) return result;
  constexpr ULONG kHeaderBytes = sizeof(host::ReferenceHeader);
  *bytes = std::min<DWORD>(claimed, 0xFFFFFFFFu - kHeaderBytes) + kHeaderBytes;
  return S_OK;
}

HRESULT STDAPICALLTYPE CoUnmarshalInterface(IStream* stream, REFIID iid, void** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (!stream) return E_INVALIDARG;
  host::ReferenceHeader header;
  host::Reference<IMarshal> reader;
  HRESULT result = host::OpenReference(stream, header, reader);
  if (FAILED(result)) return result;

  void* made = nullptr;
  result = reader->UnmarshalInterface(stream, header.iid, &made);
  if (FAILED(result)) return result;
  if (!made) return E_NOINTERFACE;
  host::Reference<IUnknown> object(static_cast<IUnknown*>(made));
  if (IsEqualIID(iid, IID_NULL) || IsEqualIID(iid, header.iid)) {
    *out = object.Detach();
    return result;
  }
  host::Reference<IUnknown> wanted;
  result = host::AskFor(object.Get(), iid, wanted);
  if (FAILED(result)) return result;
  *out = wanted.Detach();
  return result;
}

HRESULT STDAPICALLTYPE CoReleaseMarshalData(IStream* stream) {
  if (!stream) return E_INVALIDARG;
  host::ReferenceHeader header;
  host::Reference<IMarshal> reader;
  const HRESULT result = host::OpenReference(stream, header, reader);
  return FAILED(result) ? result : reader->ReleaseMarshalData(stream);
}
