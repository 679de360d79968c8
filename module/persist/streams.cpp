// SPDX-License-Identifier: MIT
#include "module/persist/streams.h"

#include <cstring>
#include <utility>

#include "module/persist/nesting.h"
#include "module/persist/stream_classes.h"

namespace rastel {
namespace {

using platform::ComPtr;

const void* SlotTableOf(IStream* stream) noexcept {
  const void* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(stream), sizeof(table));
  return table;
}

// Whatever keeps an object from answering.
ComPtr<IPersistStream> PersistenceOrRaise(const ComPtr<IUnknown>& object) {
  auto persist = object.As<IPersistStream>();
  if (!persist) _com_issue_error(E_NOINTERFACE);
  return persist;
}

}  // namespace

CNullDeviceStream* CNullDeviceStream::Behind(IStream* stream) noexcept {
  CNullDeviceStream own;
  const bool isCounting = stream != nullptr && SlotTableOf(stream) == SlotTableOf(&own);
  return isCounting ? static_cast<CNullDeviceStream*>(stream) : nullptr;
}

HRESULT CNullDeviceStream::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_ISequentialStream) &&
      !IsEqualIID(iid, IID_IStream)) {
    return E_NOINTERFACE;
  }
  *out = static_cast<IStream*>(this);
  AddRef();
  return S_OK;
}

ULONG CNullDeviceStream::AddRef() { return m_RefCount++; }
ULONG CNullDeviceStream::Release() { return --m_RefCount; }

HRESULT CNullDeviceStream::Write(const void*, ULONG bytes, ULONG* bytesWritten) {
  if (bytesWritten) *bytesWritten = bytes;
  m_Bytes += bytes;
  return S_OK;
}

HRESULT CNullDeviceStream::Read(void*, ULONG, ULONG*) { return E_NOTIMPL; }
HRESULT CNullDeviceStream::Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) { return E_NOTIMPL; }
HRESULT CNullDeviceStream::SetSize(ULARGE_INTEGER) { return E_NOTIMPL; }
HRESULT CNullDeviceStream::CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) {
  return E_NOTIMPL;
}
HRESULT CNullDeviceStream::Commit(DWORD) { return E_NOTIMPL; }
HRESULT CNullDeviceStream::Revert() { return E_NOTIMPL; }
HRESULT CNullDeviceStream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_NOTIMPL; }
HRESULT CNullDeviceStream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_NOTIMPL; }
HRESULT CNullDeviceStream::Stat(STATSTG*, DWORD) { return E_NOTIMPL; }
HRESULT CNullDeviceStream::Clone(IStream**) { return E_NOTIMPL; }

ComPtr<IPersistStream> PersistenceOf(IUnknown* object) {
  ComPtr<IPersistStream> persist;
  const HRESULT result = object->QueryInterface(IID_IPersistStream, persist.PutVoid());
  if (result != E_NOINTERFACE) CheckResult(result);
  return persist;
}

HRESULT WriteWideString(StreamWriter& writer, const OLECHAR* text) {
  std::uint64_t chars = 0;
  while (text[chars] != 0) ++chars;
  const std::uint64_t bytes = chars * sizeof(OLECHAR);
  if (bytes > kMostCallBytes) return E_OUTOFMEMORY;
  const HRESULT result = writer.Put(static_cast<std::uint32_t>(chars));
  if (FAILED(result)) return result;
  return writer.Write(text, static_cast<ULONG>(bytes));
}

HRESULT ReadWideChars(StreamReader& reader, OLECHAR* destination, std::uint64_t capacityChars) {
  std::uint32_t chars = 0;
  const HRESULT result = reader.Get(chars);
  if (FAILED(result)) return result;
  if (chars > capacityChars) return E_FAIL;
  const std::uint64_t bytes = std::uint64_t{chars} * sizeof(OLECHAR);
  if (bytes > kMostCallBytes) return E_OUTOFMEMORY;
  return reader.Read(destination, static_cast<ULONG>(bytes));
}

_bstr_t TextAt(const BYTE* text, std::uint32_t chars) {
  std::uint32_t end = 0;
  while (end < chars && StreamReader::At<OLECHAR>(text + end * sizeof(OLECHAR)) != 0) ++end;
  // The platform declares its source as narrow text and copies the bytes as they are.
  const BSTR copy = SysAllocStringByteLen(reinterpret_cast<const char*>(text),
                                          static_cast<UINT>(end * sizeof(OLECHAR)));
  if (!copy) _com_issue_error(E_OUTOFMEMORY);
  return _bstr_t::Attach(copy);
}

void WriteObject(StreamWriter& writer, IUnknown* object) {
  if (!object) return writer.PutOrRaise(BYTE{0});
  writer.Close();
  const ComPtr<IUnknown> held(object);
  writer.PutOrRaise(BYTE{1});
  IStream* const stream = writer.Stream();
  const ComPtr<IPersistStream> persist = PersistenceOrRaise(held);
  const NestedLevel level;
  CheckResult(level.Result());
  CheckResult(OleSaveToStream(persist.Get(), stream));
}

void ReadObject(StreamReader& reader, ComPtr<IDispatch>& pointer) {
  BYTE mark = 0;
  reader.GetOrRaise(mark);
  if (mark == 0 && !pointer) return;
  IStream* const stream = reader.Stream();
  // Released last: that may call back to whoever owns the pointer.
  const ComPtr<IDispatch> displaced(std::move(pointer));
  if (mark == 0) return;
  const NestedLevel level;
  CheckResult(level.Result());
  ComPtr<IDispatch> object;
  CheckResult(LoadFromStream(stream, IID_IDispatch, object.PutVoid()));
  pointer = std::move(object);
}

void AddObjectSize(ULONGLONG& totalBytes, IUnknown* object) {
  totalBytes += 1;
  if (!object) return;
  const ComPtr<IUnknown> held(object);
  const ComPtr<IPersistStream> persist = PersistenceOrRaise(held);
  const NestedLevel level;
  CheckResult(level.Result());
  ULARGE_INTEGER size{};
  CheckResult(persist->GetSizeMax(&size));
  totalBytes += size.QuadPart + sizeof(CLSID);
}

}  // namespace rastel
