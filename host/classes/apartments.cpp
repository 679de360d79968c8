// SPDX-License-Identifier: MIT
#include "host/classes/apartments.h"

namespace host {
namespace {

constexpr DWORD kApartmentFlag = COINIT_APARTMENTTHREADED;
constexpr DWORD kIgnoredApartmentFlags = 0x4 | 0x8;

struct Apartment {
  std::size_t entries = 0;
  DWORD kind = 0;
};
constinit thread_local Apartment apartment;

}  // namespace

const void* OwnApartment() noexcept {
  return apartment.entries > 0 && apartment.kind == kApartmentFlag ? &apartment : nullptr;
}

}  // namespace host

using namespace host;

HRESULT CoInitialize(LPVOID reserved) noexcept {
  return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
}

HRESULT CoInitializeEx(LPVOID reserved, DWORD flags) noexcept {
  if (reserved != nullptr || (flags & ~(kApartmentFlag | kIgnoredApartmentFlags)) != 0) {
    return E_INVALIDARG;
  }
  const DWORD kind = flags & kApartmentFlag;
  if (apartment.entries > 0 && apartment.kind != kind) return RPC_E_CHANGED_MODE;
  apartment.kind = kind;
  return ++apartment.entries == 1 ? S_OK : S_FALSE;
}

void CoUninitialize() noexcept {
  if (apartment.entries > 0) --apartment.entries;
}
