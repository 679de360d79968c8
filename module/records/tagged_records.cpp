// SPDX-License-Identifier: MIT
#include "module/records/tagged_records.h"

#include "module/frame/debug_texts.h"
#include "module/frame/exceptions.h"
#include "module/persist/nesting.h"
#include "module/persist/stream_classes.h"
#include "module/persist/streams.h"
#include "module/records/class_holder.h"
#include "platform/com_ptr.h"

namespace rastel {
namespace {

using platform::ComPtr;

constexpr DWORD kCreationContext = 0x17;  // in-process server and handler, local and remote server

// Both write a record that is no call of its own, and without a copy, since nobody can change the
// value meanwhile. False: it has to be written by calls.

// Of so many bytes.
bool WriteNumberInPlace(StreamWriter& writer, const VARIANT& variant, ULONG bytes) {
  if (!writer.HasRoom(2 * sizeof(VARTYPE) + bytes)) return false;
  BYTE* place = writer.Take(2 * sizeof(VARTYPE) + bytes);
  if (!place) return true;
  place = writer.PutAt(writer.PutAt(place, variant.vt), variant.vt);
  switch (bytes) {
    case 1:
      writer.PutAt(place, variant.bVal);
      break;
    case 2:
      writer.PutAt(place, variant.iVal);
      break;
    case 4:
      writer.PutAt(place, variant.lVal);
      break;
    default:
      writer.PutAt(place, variant.llVal);
  }
  return true;
}

// A null text is an empty one.
bool WriteTextInPlace(StreamWriter& writer, VARTYPE vt, BSTR text) {
  constexpr ULONG kFrame = 2 * sizeof(VARTYPE) + sizeof(std::uint32_t) + kTerminatorBytes;
  const UINT bytes = SysStringByteLen(text);
  if (bytes > kWindowBytes - kFrame || !writer.HasRoom(kFrame + bytes)) return false;
  BYTE* place = writer.Take(kFrame + bytes);
  if (!place) return true;
  place = writer.PutAt(writer.PutAt(place, vt), vt);
  place = writer.PutAt(place, static_cast<std::uint32_t>(bytes + kTerminatorBytes));
  writer.PutAt(writer.PutAt(place, text, bytes), OLECHAR{0});
  return true;
}

HRESULT WriteTaggedObject(StreamWriter& writer, const VARIANT& variant) {
  writer.Close();
  const ComPtr<IUnknown> object(variant.punkVal);
  HRESULT result = writer.Put(variant.vt);
  if (FAILED(result)) return result;
  IStream* const stream = writer.Stream();
  ComPtr<IPersistStream> persist;
  if (object) persist = PersistenceOf(object.Get());
  if (!persist) {
    OutputDebugStringA(debug_texts::kObjectNotSaved);
    result = WriteClassStm(stream, CLSID_NULL);
    return FAILED(result) ? result : S_OK;
  }
  CLSID classId{};
  persist->GetClassID(&classId);
  result = WriteClassStm(stream, classId);
  if (FAILED(result)) return result;
  const NestedLevel level;
  if (FAILED(level.Result())) return level.Result();

  if (CNullDeviceStream* const counter = writer.Counter()) {
    // The size would be counted by the Save that follows: counting first would double the work at
    // every level of nested objects.
    const ULONGLONG start = counter->Count();
    counter->SetCount(start + sizeof(ULONGLONG));
    result = persist->Save(counter, TRUE);
    if (result != S_OK) counter->SetCount(start);
    return result;
  }
  CNullDeviceStream counter;
  result = persist->Save(&counter, FALSE);
  if (result != S_OK) return result;
  const ULONGLONG size = counter.Count();
  result = writer.Put(size);
  if (FAILED(result)) return result;
  return persist->Save(writer.Stream(), TRUE);
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

// Whether releasing a value calls nobody.
constexpr bool IsOwnedAlone(VARTYPE vt) noexcept {
  constexpr VARTYPE kReference = VT_BYREF | VT_VARIANT;
  return vt == VT_EMPTY || vt == VT_BSTR || vt == kReference || FixedPayloadBytes(vt) != 0;
}

// A whole record of a number or text in the stream's memory. False: it is to be read by calls,
// which tell what is amiss; nothing has changed.
bool ReadInPlace(StreamReader& reader, VARIANT& variant) {
  constexpr ULONG kTypes = 2 * sizeof(VARTYPE);
  const BYTE* record = reader.Look(kTypes);
  if (!record || IsObjectType(reader.At<VARTYPE>(record)) || !IsOwnedAlone(variant.vt)) {
    return false;
  }
  VARIANT value{};
  value.vt = reader.At<VARTYPE>(record + sizeof(VARTYPE));
  ULONG bytes = FixedPayloadBytes(value.vt);
  if (bytes > 0) {
    record = reader.Look(kTypes + bytes);
    if (!record) return false;
    std::memcpy(&value.llVal, record + kTypes, bytes);
    reader.Take(kTypes + bytes);
  } else if (value.vt == VT_BSTR || value.vt == VT_EMPTY) {
    constexpr ULONG kHead = kTypes + sizeof(std::uint32_t);
    record = reader.Look(kHead);
    if (!record) return false;
    bytes = reader.At<std::uint32_t>(record + kTypes);
    if (bytes < kTerminatorBytes || bytes > kMostTextBytes) return false;
    const ULONG textBytes = bytes - kTerminatorBytes;
    // Text of another type is converted.
    if (value.vt == VT_EMPTY && textBytes > 0) return false;
    record = reader.Look(kHead + bytes);
    if (!record || reader.At<OLECHAR>(record + kHead + textBytes) != 0) return false;
    if (value.vt == VT_BSTR) {
      const auto* const text = reinterpret_cast<const char*>(record + kHead);
      value.bstrVal = SysAllocStringByteLen(text, textBytes);
      if (!value.bstrVal) return false;
    }
    reader.Take(kHead + bytes);
  } else {
    return false;
  }
  if (variant.vt == VT_EMPTY) {
    variant = value;
  } else {
    MoveVariantTo(&variant, value);
  }
  return true;
}

HRESULT LoadObject(IStream* stream, IUnknown* object) {
  const ComPtr<IPersistStream> persist = PersistenceOf(object);
  if (!persist) return E_NOINTERFACE;
  const NestedLevel level;
  if (FAILED(level.Result())) return level.Result();
  return persist->Load(stream);
}

// Null for a class that nobody has.
ComPtr<IUnknown> MakeObject(REFCLSID classId) {
  ComPtr<IUnknown> object;
  CreateFromStream(classId, kCreationContext, IID_IUnknown, object.PutVoid());
  return object;
}

// What stands in for an object of such a class.
ComPtr<CInternalClassHolder> MakeHolder(REFCLSID classId) {
  TellMissingClass(classId);
  platform::CComObject<CInternalClassHolder>* made = nullptr;
  platform::CComObject<CInternalClassHolder>::CreateInstance(&made);
  if (!made) RaiseBadAllocation();
  return ComPtr<CInternalClassHolder>(made);
}

HRESULT ReadTaggedObject(StreamReader& reader, VARIANT& variant) {
  IStream* const stream = reader.Stream();
  CLSID classId{};
  HRESULT result = ReadClassStm(stream, &classId);
  if (FAILED(result)) return result;
  if (IsEqualGUID(classId, CLSID_NULL)) {
    VARIANT empty{};
    MoveVariantTo(&variant, empty);
    return S_OK;
  }

  ComPtr<IUnknown> object = MakeObject(classId);
  ComPtr<CInternalClassHolder> holder;
  if (!object) holder = MakeHolder(classId);
  ULONGLONG size = 0;
  result = reader.Get(size);
  if (FAILED(result)) return result;
  reader.Close();
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
  StreamWriter writer(stream);
  return WriteToStream(writer, variant);
}

HRESULT WriteToStream(StreamWriter& writer, const VARIANT& variant) {
  const VARTYPE vt = variant.vt;
  const ULONG bytes = FixedPayloadBytes(vt);
  if (bytes > 0 && WriteNumberInPlace(writer, variant, bytes)) return S_OK;
  if (IsObjectType(vt)) return WriteTaggedObject(writer, variant);
  if (vt == VT_BSTR && WriteTextInPlace(writer, vt, variant.bstrVal)) return S_OK;
  if (vt == VT_EMPTY && WriteTextInPlace(writer, vt, nullptr)) return S_OK;
  writer.Close();
  CComVariant copy;
  const HRESULT copied = ReplaceVariantOrMark(copy, variant);
  HRESULT result = writer.Put(vt);
  if (FAILED(result)) return result;
  if (FAILED(copied)) AtlThrow(copied);
  result = WritePlainVariant(copy, writer);
  writer.Close();
  return FAILED(result) ? result : S_OK;
}

HRESULT ReadFromStream(IStream* stream, VARIANT& variant) {
  StreamReader reader(stream);
  return ReadFromStream(reader, variant);
}

HRESULT ReadFromStream(StreamReader& reader, VARIANT& variant, RecordProgress* progress) {
  RecordProgress ignored;
  RecordProgress& told = progress ? *progress : ignored;
  if (ReadInPlace(reader, variant)) {
    told = {true, true};
    return S_OK;
  }
  VARTYPE vt = VT_EMPTY;
  ULONG count = 0;
  HRESULT result = reader.Read(&vt, sizeof(vt), &count);
  // A type proves a byte, whatever the stream says about its count.
  if (count > 0 || vt != VT_EMPTY) told.hasDelivered = true;
  if (FAILED(result)) return result;
  told.hasReadType = true;
  if (IsObjectType(vt)) return ReadTaggedObject(reader, variant);
  result = ReadPlainVariant(variant, reader, &told.hasDelivered);
  return FAILED(result) ? result : S_OK;
}

ULONGLONG GetVariantStreamSize(const VARIANT& variant) {
  CNullDeviceStream counter;
  WriteToStream(&counter, variant);
  return counter.Count();
}

namespace {

// Of a value that is an object, in a memory stream.
ComPtr<IStream> TaggedRecordOf(const VARIANT& counted) {
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
  return stream;
}

// As reading its record would be: the object, if its class is there by now.
CComVariant CopyOfHolder(CInternalClassHolder& holder, const VARIANT& counted) {
  ComPtr<IUnknown> object = MakeObject(holder.ClassId());
  if (object) {
    const ComPtr<IStream> stream = TaggedRecordOf(counted);
    LARGE_INTEGER head{};
    head.QuadPart = sizeof(VARTYPE) + sizeof(CLSID) + sizeof(ULONGLONG);
    stream->Seek(head, STREAM_SEEK_SET, nullptr);
    if (LoadObject(stream.Get(), object.Get()) != S_OK) return {};
  } else {
    const ComPtr<CInternalClassHolder> copy = MakeHolder(holder.ClassId());
    copy->ShareBytes(holder);
    copy->QueryInterface(IID_IUnknown, object.PutVoid());
  }
  CComVariant value;
  value.vt = VT_UNKNOWN;
  value.punkVal = object.Detach();
  return value;
}

}  // namespace

CComVariant GetRealCopyOfVariant(const VARIANT& source) {
  if (!IsObjectType(source.vt)) return CComVariant(source);
  const CComVariant counted(source);
  CInternalClassHolder* const holder = CInternalClassHolder::Behind(counted.punkVal);
  if (holder && holder->SavedBytes() > 0 && SUCCEEDED(NestedLevel().Result())) {
    return CopyOfHolder(*holder, counted);
  }
  CComVariant copy;
  ReadFromStream(TaggedRecordOf(counted).Get(), copy);
  return copy;
}

}  // namespace rastel
