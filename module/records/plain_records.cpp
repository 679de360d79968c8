// SPDX-License-Identifier: MIT
#include "module/records/plain_records.h"

#include <cstdint>
#include <cstring>
#include <memory>

#include "module/frame/variants.h"
#include "module/persist/nesting.h"
#include "module/persist/stream_classes.h"
#include "module/persist/streams.h"

namespace rastel {
namespace {

using platform::ComPtr;

constexpr DWORD kCreationContext = 0x415;  // in-process, local and remote servers, no code download

struct FreeText {
  void operator()(OLECHAR* text) const noexcept { SysFreeString(text); }
};
using OwnedText = std::unique_ptr<OLECHAR, FreeText>;

HRESULT SeekBy(IStream* stream, LONGLONG move, DWORD origin, ULONGLONG* position = nullptr) {
  LARGE_INTEGER distance;
  distance.QuadPart = move;
  ULARGE_INTEGER reached{};
  const HRESULT result = stream->Seek(distance, origin, &reached);
  if (position) *position = reached.QuadPart;
  return result;
}

HRESULT WriteText(StreamWriter& writer, BSTR text) {
  const std::uint32_t bytes = text ? SysStringByteLen(text) + kTerminatorBytes : 0;
  const HRESULT result = writer.Put(bytes);
  if (FAILED(result) || bytes == 0) return result;
  return writer.Write(text, bytes);
}

HRESULT WriteObjectData(IStream* stream, IUnknown* object) {
  if (!object) return WriteClassStm(stream, CLSID_NULL);
  const ComPtr<IUnknown> held(object);
  ComPtr<IPersistStream> persist;
  HRESULT result = held->QueryInterface(IID_IPersistStream, persist.PutVoid());
  if (FAILED(result)) {
    // The operations of IPersistStream stand in the same slots.
    result = held->QueryInterface(IID_IPersistStreamInit, persist.PutVoid());
  }
  if (FAILED(result)) return result;
  const NestedLevel level;
  if (FAILED(level.Result())) return level.Result();
  return OleSaveToStream(persist.Get(), stream);
}

// All bytes or a failure.
HRESULT ReadExactly(StreamReader& reader, void* data, ULONG bytes) {
  ULONG count = 0;
  const HRESULT result = reader.Read(data, bytes, &count);
  if (FAILED(result)) return result;
  return count == bytes ? S_OK : E_FAIL;
}

HRESULT ReadTextFields(StreamReader& reader, OwnedText& text) {
  std::uint32_t bytes = 0;
  HRESULT result = ReadExactly(reader, &bytes, sizeof(bytes));
  if (FAILED(result) || bytes == 0) return result;
  if (bytes < kTerminatorBytes) return E_FAIL;
  if (bytes > kMostTextBytes) return E_ACCESSDENIED;

  const std::uint32_t textBytes = bytes - kTerminatorBytes;
  text.reset(SysAllocStringByteLen(nullptr, textBytes));
  if (!text) return E_OUTOFMEMORY;
  std::memset(text.get(), 0, textBytes);
  result = ReadExactly(reader, text.get(), textBytes);
  if (FAILED(result)) return result;
  OLECHAR terminator = 0;
  result = ReadExactly(reader, &terminator, sizeof(terminator));
  if (FAILED(result)) return result;
  return terminator == 0 ? S_OK : E_FAIL;
}

// A failure leaves the stream where it was, if it can tell where that is.
HRESULT ReadText(StreamReader& reader, BSTR* out) {
  ULONGLONG start = 0;
  const bool isStartKnown = SUCCEEDED(SeekBy(reader.Stream(), 0, STREAM_SEEK_CUR, &start));
  OwnedText text;
  const HRESULT result = ReadTextFields(reader, text);
  if (SUCCEEDED(result)) {
    *out = text.release();
  } else if (isStartKnown) {
    SeekBy(reader.Stream(), static_cast<LONGLONG>(start), STREAM_SEEK_SET);
  }
  return result;
}

// Null where it fails, and with S_OK where the class, or one that its data names, is not
// registered.
HRESULT ReadObjectData(IStream* stream, VARTYPE vt, IUnknown** out) {
  CLSID classId{};
  ComPtr<IUnknown> object;
  ComPtr<IPersistStream> persist;
  HRESULT result = ReadClassStm(stream, &classId);
  if (SUCCEEDED(result)) {
    result = CreateFromStream(classId, kCreationContext,
                              vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, object.PutVoid());
  }
  if (SUCCEEDED(result)) {
    result = object ? object->QueryInterface(IID_IPersistStream, persist.PutVoid()) : E_NOINTERFACE;
  }
  if (SUCCEEDED(result)) {
    const NestedLevel level;
    result = FAILED(level.Result()) ? level.Result() : persist->Load(stream);
  }
  if (FAILED(result)) return result == REGDB_E_CLASSNOTREG ? S_OK : result;
  *out = object.Detach();
  return result;
}

// Fills an empty value, which is valid whatever fails.
HRESULT ReadPayload(StreamReader& reader, VARTYPE vt, VARIANT& value) {
  if (const ULONG bytes = FixedPayloadBytes(vt)) {
    value.vt = vt;
    const HRESULT result = reader.Read(&value.llVal, bytes);
    return result == S_FALSE ? E_FAIL : result;
  }
  if (IsObjectType(vt)) {
    value.vt = vt;
    return ReadObjectData(reader.Stream(), vt, &value.punkVal);
  }
  BSTR text = nullptr;
  const HRESULT result = ReadText(reader, &text);
  if (FAILED(result)) {
    SeekBy(reader.Stream(), -static_cast<LONGLONG>(sizeof(vt)), STREAM_SEEK_CUR);
    return result;
  }
  value.vt = VT_BSTR;
  value.bstrVal = text;
  if (vt == VT_BSTR) return S_OK;
  if ((vt & VT_ARRAY) != 0) return DISP_E_TYPEMISMATCH;
  reader.Close();
  return VariantChangeType(&value, &value, 0, vt);
}

}  // namespace

HRESULT WritePlainVariant(const VARIANT& variant, IStream* stream) {
  if (!stream) return E_INVALIDARG;
  StreamWriter writer(stream);
  return WritePlainVariant(variant, writer);
}

HRESULT WritePlainVariant(const VARIANT& variant, StreamWriter& writer) {
  const VARTYPE vt = variant.vt;
  HRESULT result = writer.Put(vt);
  if (FAILED(result)) return result;
  if (const ULONG bytes = FixedPayloadBytes(vt)) return writer.Write(&variant.llVal, bytes);
  if (IsObjectType(vt)) return WriteObjectData(writer.Stream(), variant.punkVal);
  if (vt == VT_BSTR) return WriteText(writer, variant.bstrVal);
  if ((vt & VT_ARRAY) != 0) return DISP_E_TYPEMISMATCH;
  CComVariant text;
  // An object behind a reference is asked for its value. The platform does not say const; it reads
  // the source only.
  writer.Close();
  result = VariantChangeType(&text, const_cast<VARIANT*>(&variant), VARIANT_NOVALUEPROP, VT_BSTR);
  if (FAILED(result)) return result;
  return WriteText(writer, text.bstrVal);
}

HRESULT ReadPlainVariant(VARIANT& variant, IStream* stream) {
  if (!stream) return E_INVALIDARG;
  StreamReader reader(stream);
  return ReadPlainVariant(variant, reader);
}

HRESULT ReadPlainVariant(VARIANT& variant, StreamReader& reader, bool* hasDelivered) {
  VARIANT empty{};
  reader.Close();
  HRESULT result = MoveVariantTo(&variant, empty);
  if (FAILED(result)) return result;
  VARTYPE vt = VT_EMPTY;
  ULONG count = 0;
  result = reader.Read(&vt, sizeof(vt), &count);
  if (hasDelivered && count > 0) *hasDelivered = true;
  if (FAILED(result)) return result;
  if (result == S_FALSE || (result == S_OK && count != sizeof(vt))) return E_FAIL;

  CComVariant value;
  result = ReadPayload(reader, vt, value);
  reader.Close();
  const HRESULT moved = MoveVariantTo(&variant, value);
  return FAILED(moved) ? moved : result;
}

}  // namespace rastel
