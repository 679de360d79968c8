// SPDX-License-Identifier: MIT
#include "module/records/class_holder.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include "module/frame/debug_texts.h"
#include "module/frame/exceptions.h"

namespace rastel {
namespace {

// Of the first holder that was filled.
std::atomic<const void*> slotTable = nullptr;

const void* SlotTableOf(const IUnknown* object) noexcept {
  const void* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(object), sizeof(table));
  return table;
}

}  // namespace

CInternalClassHolder* CInternalClassHolder::Behind(IUnknown* object) noexcept {
  const void* const own = slotTable.load(std::memory_order_relaxed);
  const bool isHolder = object != nullptr && own != nullptr && SlotTableOf(object) == own;
  return isHolder ? static_cast<CInternalClassHolder*>(static_cast<IPersistStream*>(object))
                  : nullptr;
}

void CInternalClassHolder::ShareBytes(CInternalClassHolder& other) noexcept {
  m_Owner = other.m_Owner ? other.m_Owner : platform::ComPtr(&other);
  m_ByteCount = other.SavedBytes();
  m_ClassId = other.m_ClassId;
}

HRESULT CInternalClassHolder::GetClassID(CLSID* classId) {
  *classId = m_ClassId;
  return S_OK;
}

HRESULT CInternalClassHolder::IsDirty() { return S_FALSE; }

HRESULT CInternalClassHolder::Load(IStream*) { return E_NOTIMPL; }

HRESULT CInternalClassHolder::Save(IStream* stream, BOOL) {
  if (m_ByteCount == 0) OutputDebugStringA(debug_texts::kHolderEmpty);
  ULONG written = 0;
  return stream->Write(Bytes(), SavedBytes(), &written);
}

HRESULT CInternalClassHolder::GetSizeMax(ULARGE_INTEGER* size) {
  size->QuadPart = m_ByteCount;
  return S_OK;
}

HRESULT CInternalClassHolder::LoadWithSize(IStream* stream, ULONGLONG size, REFCLSID classId) {
  slotTable.store(SlotTableOf(this), std::memory_order_relaxed);
  if (m_ByteCount == 0) {
    auto bytes = AllocateZeroed<BYTE>(size);
    if (!bytes) RaiseBadAllocation();
    m_Bytes = std::move(bytes);
    m_ByteCount = size;
  }
  m_ClassId = classId;
  const ULONG wanted = static_cast<ULONG>(size);
  ULONG count = 0;
  return stream->Read(m_Bytes.get(), static_cast<ULONG>(std::min<ULONGLONG>(wanted, m_ByteCount)),
                      &count);
}

}  // namespace rastel
