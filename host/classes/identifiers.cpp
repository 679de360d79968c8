// SPDX-License-Identifier: MIT
#include "host/classes/identifiers.h"

#include <unistd.h>

#include "host/base/digits.h"
#include "host/classes/creation.h"
#include "host/services/task_memory.h"

namespace host {
namespace {

constexpr int kTextUnits = 38;

// Which byte of the identifier, in memory order, each pair of digits stands for; -1 is a hyphen.
constexpr int kByteOfPair[] = {3,  2, 1, 0,  -1, 5,  4,  -1, 7,  6,
                               -1, 8, 9, -1, 10, 11, 12, 13, 14, 15};

void WriteText(REFGUID guid, OLECHAR* text) noexcept {
  constexpr char kDigits[] = "0123456789ABCDEF";
  BYTE bytes[sizeof(GUID)];
  std::memcpy(bytes, &guid, sizeof(bytes));
  *text++ = '{';
  for (const int index : kByteOfPair) {
    if (index < 0) {
      *text++ = '-';
      continue;
    }
    *text++ = static_cast<OLECHAR>(kDigits[bytes[index] >> 4]);
    *text++ = static_cast<OLECHAR>(kDigits[bytes[index] & 15]);
  }
  *text++ = '}';
  *text = 0;
}

// Stops at the first unit out of place, so a shorter text is not read beyond its terminator.
bool ReadText(const OLECHAR* text, GUID& guid) noexcept {
  BYTE bytes[sizeof(GUID)];
  if (*text++ != '{') return false;
  for (const int index : kByteOfPair) {
    if (index < 0) {
      if (*text++ != '-') return false;
      continue;
    }
    const unsigned high = DigitValue(*text++, 16);
    if (high == 16) return false;
    const unsigned low = DigitValue(*text++, 16);
    if (low == 16) return false;
    bytes[index] = static_cast<BYTE>(high * 16 + low);
  }
  if (*text++ != '}' || *text != 0) return false;
  std::memcpy(&guid, bytes, sizeof(bytes));
  return true;
}

bool HasTextLength(const OLECHAR* text) noexcept {
  for (int i = 0; i < kTextUnits; ++i) {
    if (text[i] == 0) return false;
  }
  return text[kTextUnits] == 0;
}

}  // namespace
}  // namespace host

HRESULT STDAPICALLTYPE CoCreateGuid(GUID* guid) {
  if (!guid) return E_INVALIDARG;
  GUID made{};
  if (getentropy(&made, sizeof(made)) != 0) return E_FAIL;
  // The marks of a random identifier: version 4, variant 10.
  made.Data3 = static_cast<std::uint16_t>((made.Data3 & 0x0FFFu) | 0x4000u);
  made.Data4[0] = static_cast<BYTE>((made.Data4[0] & 0x3Fu) | 0x80u);
  *guid = made;
  return S_OK;
}

int STDAPICALLTYPE StringFromGUID2(REFGUID guid, LPOLESTR text, int roomUnits) {
  if (!text || roomUnits < host::kTextUnits + 1) return 0;
  host::WriteText(guid, text);
  return host::kTextUnits + 1;
}

HRESULT STDAPICALLTYPE StringFromCLSID(REFCLSID classId, LPOLESTR* text) {
  if (!text) return E_INVALIDARG;
  *text = static_cast<LPOLESTR>(CoTaskMemAlloc((host::kTextUnits + 1) * sizeof(OLECHAR)));
  if (!*text) return E_OUTOFMEMORY;
  host::WriteText(classId, *text);
  return S_OK;
}

HRESULT STDAPICALLTYPE StringFromIID(REFIID iid, LPOLESTR* text) {
  return StringFromCLSID(iid, text);
}

HRESULT STDAPICALLTYPE CLSIDFromString(LPCOLESTR text, CLSID* classId) {
  if (!classId) return E_INVALIDARG;
  *classId = CLSID_NULL;
  if (!text || host::ReadText(text, *classId)) return S_OK;
  return CLSIDFromProgID(text, classId);
}

HRESULT STDAPICALLTYPE IIDFromString(LPCOLESTR text, IID* iid) {
  if (!iid) return E_INVALIDARG;
  *iid = IID_NULL;
  if (!text) return S_OK;
  if (!host::HasTextLength(text)) return E_INVALIDARG;
  return host::ReadText(text, *iid) ? S_OK : CO_E_IIDSTRING;
}
