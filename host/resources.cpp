#include "host/resources.h"

#include <cstring>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <span>
#include <unordered_map>

#include "host/unicode.h"

namespace {

constexpr HRESULT kNoRows = HRESULT_FROM_WIN32(ERROR_RESOURCE_DATA_NOT_FOUND);
constexpr HRESULT kNoType = HRESULT_FROM_WIN32(ERROR_RESOURCE_TYPE_NOT_FOUND);
constexpr HRESULT kNoNumber = HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);

struct Table {
  std::shared_mutex mutex;
  std::unordered_map<HINSTANCE, std::span<const HostResource>> modules;
};

// Never destroyed: modules take their rows back while the process ends.
Table& TheTable() noexcept {
  alignas(Table) static BYTE memory[sizeof(Table)];
  static Table* const table = new (memory) Table;
  return *table;
}

bool IsOfType(const HostResource& row, LPCOLESTR type, UINT typeNumber) noexcept {
  if (row.type == nullptr || type == nullptr) {
    return row.type == type && row.typeNumber == typeNumber;
  }
  LPCOLESTR mine = row.type;
  while (*mine != 0 && host::FoldCase(*mine) == host::FoldCase(*type)) {
    ++mine;
    ++type;
  }
  return host::FoldCase(*mine) == host::FoldCase(*type);
}

// The caller holds the table's lock.
HRESULT Find(const Table& table, HINSTANCE module, LPCOLESTR type, UINT typeNumber, UINT number,
             const HostResource*& found) noexcept {
  const auto rows = table.modules.find(module);
  if (rows == table.modules.end()) return kNoRows;
  HRESULT hr = kNoType;
  for (const HostResource& row : rows->second) {
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

HRESULT HostAddResources(HINSTANCE module, const HostResource* rows, SIZE_T count) noexcept {
  if (module == nullptr || rows == nullptr || count == 0) return E_INVALIDARG;
  Table& table = TheTable();
  try {
    std::unique_lock lock(table.mutex);
    const bool isNew = table.modules.emplace(module, std::span(rows, count)).second;
    return isNew ? S_OK : E_INVALIDARG;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT HostRemoveResources(HINSTANCE module) noexcept {
  Table& table = TheTable();
  std::unique_lock lock(table.mutex);
  return table.modules.erase(module) != 0 ? S_OK : S_FALSE;
}

HRESULT HostFindResource(HINSTANCE module, LPCOLESTR type, UINT typeNumber, UINT number,
                         HostResource* out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = {};
  Table& table = TheTable();
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
  Table& table = TheTable();
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
