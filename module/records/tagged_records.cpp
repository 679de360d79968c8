// SPDX-License-Identifier: MIT
#include "module/records/tagged_records.h"

#include "module/frame/debug_texts.h"
#include "module/frame/exceptions.h"
#include "module/persist/nesting.h"
#include "module/persist/streams.h"
#include "module/records/class_holder.h"
#include "platform/com_ptr.h"

namespace rastel {
namespace {

using platform::ComPtr;

constexpr DWORD kCreationContext = 0x17;  // in-process server and handler, local and remote server

HRESULT WriteTaggedObject(IStream* stream, IUnknown* object) {
  ComPtr<IPersistStream> persist;
  if (object) persist = PersistenceOf(object);
  if (!persist) {
    OutputDebugStringA(debug_texts::kObjectNotSaved);
    const HRESULT result = WriteClassStm(stream, CLSID_NULL);
    return FAILED(result) ? result : S_OK;
  }
  CLSID classId{};
  persist->GetClassID(&classId);
  HRESULT result = WriteClassStm(stream, classId);
  if (FAILED(result)) return result;
  const NestedLevel level;
  if (FAILED(level.Result())) return level.Result();

  if (CNullDeviceStream* const counter = CNullDeviceStream::Behind(stream)) {
    // The size would be counted by the Save that follows: counting first would double the work at
    // every level of nested objects.
    const ULONGLONG start = counter->Count();
    WriteScalar(counter, ULONGLONG{0});
    result = persist->Save(counter, TRUE);
    if (result != S_OK) counter->SetCount(start);
    return result;
  }
  CNullDeviceStream counter;
  result = persist->Save(&counter, FALSE);
  if (result != S_OK) return result;
  result = WriteScalar(stream, counter.Count());
  if (FAILED(result)) return result;
  return persist->Save(stream, TRUE);
}

void TellMissingClass(REFCLSID classId) noexcept {
  OutputDebugStringA(debug_texts::kObjectNotCreated);
  LPOLESTR text = nullptr;
  if (SUCCEEDED(StringFromCLSID(classId, &text)) && text) {
    char narrow[64];
    if (WideCharToMultiByte(CP_ACP, 0, text, -1, narrow, sizeof(narrow), nullptr, nullptr) > 0) {
      OutputDebugStringA(narrow);
    }
    CoTaskMemFree(text);
  }
  OutputDebugStringA(debug_texts::kUsingGenericClass);
}

HRESULT LoadObject(IStream* stream, IUnknown* object) {
  const ComPtr<IPersistStream> persist = PersistenceOf(object);
  if (!persist) return E_NOINTERFACE;
  const NestedLevel level;
  if (FAILED(level.Result())) return level.Result();
  return persist->Load(stream);
}

HRESULT ReadTaggedObject(IStream* stream, VARIANT& variant) {
  CLSID classId{};
  HRESULT result = ReadClassStm(stream, &classId);
  if (FAILED(result)) return result;
  if (IsEqualGUID(classId, CLSID_NULL)) {
    VARIANT empty{};
    MoveVariantTo(&variant, empty);
    return S_OK;
  }

  ComPtr<IUnknown> object;
  CoCreateInstance(classId, nullptr, kCreationContext, IID_IUnknown, object.PutVoid());
  ComPtr<CInternalClassHolder> holder;
  if (!object) {
    TellMissingClass(classId);
    platform::CComObject<CInternalClassHolder>* made = nullptr;
    platform::CComObject<CInternalClassHolder>::CreateInstance(&made);
    if (!made) RaiseBadAllocation();
    holder = ComPtr<CInternalClassHolder>(made);
  }
  ULONGLONG size = 0;
  result = ReadScalar(stream, size);
  if (FAILED(result)) return result;
  if (object) {
    result = LoadObject(stream, object.Get());
    if (result != S_OK) return result;
  } else {
    holder->LoadWithSize(stream, size, classId);
    holder->QueryInterface(IID_IUnknown, object.PutVoid());
  }

  if (variant.vt == VT_UNKNOWN && variant.punkVal == object.Get()) return S_OK;
  CComVariant value;
  value.vt = VT_UNKNOWN;
  value.punkVal = object.Detach();
  result = MoveVariantTo(&variant, value);
  if (FAILED(result)) AtlThrow(result);
  return S_OK;
}

}  // namespace

HRESULT WriteToStream(IStream* stream, const VARIANT& variant) {
  const VARTYPE vt = variant.vt;
  if (IsObjectType(vt)) {
    const ComPtr<IUnknown> object(variant.punkVal);
    const HRESULT result = WriteScalar(stream, vt);
    return FAILED(result) ? result : WriteTaggedObject(stream, object.Get());
  }
  CComVariant copy;
  const HRESULT copied = ReplaceVariantOrMark(copy, variant);
  HRESULT result = WriteScalar(stream, vt);
  if (FAILED(result)) return result;
  if (FAILED(copied)) AtlThrow(copied);
  result = WritePlainVariant(copy, stream);
  return FAILED(result) ? result : S_OK;
}

HRESULT ReadFromStream(IStream* stream, VARIANT& variant, RecordProgress* progress) {
  RecordProgress ignored;
  RecordProgress& told = progress ? *progress : ignored;
  VARTYPE vt = VT_EMPTY;
  ULONG count = 0;
  HRESULT result = stream->Read(&vt, sizeof(vt), &count);
  // A type proves a byte, whatever the stream says about its count.
  if (count > 0 || vt != VT_EMPTY) told.hasDelivered = true;
  if (FAILED(result)) return result;
  told.hasReadType = true;
  if (IsObjectType(vt)) return ReadTaggedObject(stream, variant);
  result = ReadPlainVariant(variant, stream, &told.hasDelivered);
  return FAILED(result) ? result : S_OK;
}

ULONGLONG GetVariantStreamSize(const VARIANT& variant) {
  CNullDeviceStream counter;
  WriteToStream(&counter, variant);
  return counter.Count();
}

CComVariant GetRealCopyOfVariant(const VARIANT& source) {
  if (!IsObjectType(source.vt)) return CComVariant(source);
  const CComVariant counted(source);
  ULARGE_INTEGER bytes;
  bytes.QuadPart = GetVariantStreamSize(counted);
  ComPtr<IStream> stream;
  if (CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()) != S_OK) {
    OutputDebugStringA(debug_texts::kNoMemoryStream);
    throw TextException("can't create stream on hGlobal");
  }
  if (!stream) _com_issue_error(E_POINTER);
  stream->SetSize(bytes);
  WriteToStream(stream.Get(), counted);
  ULARGE_INTEGER position{};
  stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, &position);
  CComVariant copy;
  ReadFromStream(stream.Get(), copy);
  return copy;
}

}  // namespace rastel
