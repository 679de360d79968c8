// SPDX-License-Identifier: MIT
#include "module/records/class_holder.h"

#include <algorithm>
#include <utility>

#include "module/frame/debug_texts.h"
#include "module/frame/exceptions.h"

namespace rastel {

HRESULT CInternalClassHolder::GetClassID(CLSID* classId) {
  *classId = m_ClassId;
  return S_OK;
}

HRESULT CInternalClassHolder::IsDirty() { return S_FALSE; }

HRESULT CInternalClassHolder::Load(IStream*) { return E_NOTIMPL; }

HRESULT CInternalClassHolder::Save(IStream* stream, BOOL) {
  if (m_ByteCount == 0) OutputDebugStringA(debug_texts::kHolderEmpty);
  ULONG written = 0;
  return stream->Write(m_Bytes.get(), static_cast<ULONG>(m_ByteCount), &written);
}

HRESULT CInternalClassHolder::GetSizeMax(ULARGE_INTEGER* size) {
  size->QuadPart = m_ByteCount;
  return S_OK;
}

HRESULT CInternalClassHolder::LoadWithSize(IStream* stream, ULONGLONG size, REFCLSID classId) {
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
