// SPDX-License-Identifier: MIT
#include "host/services/resources.h"

#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <span>

#include "host/base/constants.h"
#include "host/base/never_destroyed.h"
#include "host/base/unicode.h"

namespace {

constexpr HRESULT kNoRows = HRESULT_FROM_WIN32(ERROR_RESOURCE_DATA_NOT_FOUND);
constexpr HRESULT kNoType = HRESULT_FROM_WIN32(ERROR_RESOURCE_TYPE_NOT_FOUND);
constexpr HRESULT kNoNumber = HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);

// Never destroyed: modules take their rows back while the process ends.
struct Table {
  std::shared_mutex mutex;
  HostResourceRows* first = nullptr;
};

bool IsOfType(const HostResource& row, LPCOLESTR type, UINT typeNumber) noexcept {
  if (row.type == nullptr || type == nullptr) {
    return row.type == type && row.typeNumber == typeNumber;
  }
  return host::SameFolded(row.type, type);
}

// The rows of a module, null when it has none. The caller holds the table's lock.
const HostResourceRows* RowsOf(const Table& table, HINSTANCE module) noexcept {
  const HostResourceRows* rows = table.first;
  while (rows != nullptr && rows->module != module) rows = rows->next;
  return rows;
}

// The caller holds the table's lock.
HRESULT Find(const Table& table, HINSTANCE module, LPCOLESTR type, UINT typeNumber, UINT number,
             const HostResource*& found) noexcept {
  const HostResourceRows* rows = RowsOf(table, module);
  if (rows == nullptr) return kNoRows;
  HRESULT hr = kNoType;
  for (const HostResource& row : std::span(rows->rows, rows->count)) {
    if (!IsOfType(row, type, typeNumber)) continue;
    if (row.number == number) {
      found = &row;
      return S_OK;
    }
    hr = kNoNumber;
  }
  return hr;
}

}  // namespace

HRESULT HostAddResources(HostResourceRows* rows) noexcept {
  if (rows == nullptr || rows->module == nullptr || rows->rows == nullptr || rows->count == 0) {
    return E_INVALIDARG;
  }
  Table& table = host::TheOnly<Table>();
  std::unique_lock lock(table.mutex);
  if (RowsOf(table, rows->module) != nullptr) return E_INVALIDARG;
  rows->next = table.first;
  table.first = rows;
  return S_OK;
}

HRESULT HostRemoveResources(HostResourceRows* rows) noexcept {
  Table& table = host::TheOnly<Table>();
  std::unique_lock lock(table.mutex);
  HostResourceRows** link = &table.first;
  while (*link != nullptr && *link != rows) link = &(*link)->next;
  if (*link == nullptr) return S_FALSE;
  *link = rows->next;
  return S_OK;
}

HRESULT HostFindResource(HINSTANCE module, LPCOLESTR type, UINT typeNumber, UINT number,
                         HostResource* out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = {};
  Table& table = host::TheOnly<Table>();
  std::shared_lock lock(table.mutex);
  const HostResource* found = nullptr;
  const HRESULT hr = Find(table, module, type, typeNumber, number, found);
  if (SUCCEEDED(hr)) *out = *found;
  return hr;
}

int LoadStringA(HINSTANCE module, UINT number, LPSTR buffer, int room) noexcept {
  if (room == 0) return -1;
  if (buffer == nullptr || room < 0) return 0;
  int written = 0;
  Table& table = host::TheOnly<Table>();
  std::shared_lock lock(table.mutex);
  const HostResource* found = nullptr;
  if (SUCCEEDED(Find(table, module, nullptr, kHostStringResourceType, number, found)) &&
      found->bytes != nullptr) {
    const auto* at = static_cast<const OLECHAR*>(found->bytes);
    const OLECHAR* const end = at + found->size / sizeof(OLECHAR);
    while (at != end) {
      char32_t character = host::TakeUtf16(at, end);
      if (character == host::kIllFormed) character = host::kReplacementCharacter;
      char bytes[4];
      const int count = host::PutUtf8(character, bytes);
      if (count > room - 1 - written) break;
      std::memcpy(buffer + written, bytes, static_cast<std::size_t>(count));
      written += count;
    }
  }
  buffer[written] = 0;
  return written;
}
