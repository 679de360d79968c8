// SPDX-License-Identifier: MIT
#include "module/attribute/keys.h"

#include <cstring>

#include "module/persist/streams.h"

namespace rastel {

template <class Number>
bool KeyKind<Number>::IsSame(Number a, Number b) noexcept {
  return std::memcmp(&a, &b, sizeof(Number)) == 0;
}

template <class Number>
Number KeyKind<Number>::FromVariant(const VARIANT& key) noexcept {
  Number number{};
  std::memcpy(&number, &key.llVal, sizeof(number));
  return number;
}

template <class Number>
VARIANT KeyKind<Number>::ToVariant(Number stored) noexcept {
  VARIANT key{};
  key.vt = Row::kGivenType;
  std::memcpy(&key.llVal, &stored, sizeof(stored));
  return key;
}

template <class Number>
void KeyKind<Number>::Write(IStream* stream, Number stored) {
  ULONG written = 0;
  stream->Write(&stored, sizeof(stored), &written);
  if (written != sizeof(stored)) throw TextException("can't write the key!!");
}

template <class Number>
Number KeyKind<Number>::Read(IStream* stream) {
  Number key{};
  ULONG delivered = 0;
  stream->Read(&key, sizeof(key), &delivered);
  if (delivered != sizeof(key)) throw TextException("can't write the key!!");
  return key;
}

template struct KeyKind<LONG>;
template struct KeyKind<DOUBLE>;

BSTR KeyKind<BSTR>::ToElement(const _bstr_t& stored) {
  const BSTR text = SysAllocString(stored.Wide());
  if (!text && stored.Wide()) _com_issue_error(E_OUTOFMEMORY);
  return text;
}

void KeyKind<BSTR>::Write(IStream* stream, const _bstr_t& stored) { WriteBstr(stream, stored); }

auto KeyKind<BSTR>::Read(IStream* stream) -> Stored {
  _bstr_t key;
  ReadBstr(stream, key);
  return key;
}

ULONGLONG KeyKind<BSTR>::CountedBytes(const _bstr_t& stored) {
  const char* const narrow = stored.Narrow();
  return 4 + 4 * ULONGLONG{narrow ? std::strlen(narrow) : 0};
}

}  // namespace rastel
