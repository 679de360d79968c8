// SPDX-License-Identifier: MIT
// The object that stands in for one whose class cannot be created: it keeps the bytes that the
// object wrote and writes them again under the same class identifier, so that a value of a class
// that is not installed survives loading and saving unchanged.
#pragma once

#include "module/persist/zeroed_memory.h"
#include "platform/class_factory.h"
#include "platform/com_ptr.h"
#include "platform/platform.h"

namespace rastel {

// Reaches no stream and no registry.
inline constexpr CLSID CLSID_InternalClassHolder{
    0x42134C43, 0x8618, 0x4E45, {0xBF, 0x71, 0x58, 0x8C, 0xA4, 0xAA, 0xC6, 0xC7}};

// Made by the variant records only. Once filled it is only read, so any thread may call.
class CInternalClassHolder
    : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
      public platform::CComCoClass<CInternalClassHolder, &CLSID_InternalClassHolder>,
      public IPersistStream {
 public:
  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<CInternalClassHolder, IPersistStream>()};
    return kRows;
  }

  // The identifier of the absent class.
  STDMETHODIMP GetClassID(CLSID* classId) override;
  // S_FALSE.
  STDMETHODIMP IsDirty() override;
  // E_NOTIMPL: without a size there is no telling where the data ends.
  STDMETHODIMP Load(IStream* stream) override;
  // The result of one Write of all bytes.
  STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override;
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override;

  // The holder that a pointer leads to, told by its slot table and without a call; null for any
  // other object.
  static CInternalClassHolder* Behind(IUnknown* object) noexcept;

  REFCLSID ClassId() const noexcept { return m_ClassId; }
  // As many as a Save writes.
  ULONG SavedBytes() const noexcept { return static_cast<ULONG>(m_ByteCount); }
  // Becomes, from a new holder, a copy of what the other one saves. The bytes are the other one's,
  // so that those that a stream stated and did not bring are not touched.
  void ShareBytes(CInternalClassHolder& other) noexcept;

  // Takes the next bytes of the stream, as many as size says cut to 32 bits, and gives the result
  // of that one Read; what it does not deliver is zero. Raises std::bad_alloc, and reads nothing,
  // if there is no room for size bytes. A holder that has bytes keeps their number and is filled
  // with no more than that.
  HRESULT LoadWithSize(IStream* stream, ULONGLONG size, REFCLSID classId);

 protected:
  ~CInternalClassHolder() = default;

 private:
  const BYTE* Bytes() const noexcept { return m_Owner ? m_Owner->Bytes() : m_Bytes.get(); }

  ZeroedMemory<BYTE> m_Bytes;
  platform::ComPtr<CInternalClassHolder> m_Owner;  // of the bytes, where it is another one
  ULONGLONG m_ByteCount = 0;
  CLSID m_ClassId{};
};

}  // namespace rastel
