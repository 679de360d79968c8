#include "attribute/keys.h"

#include <cstring>

#include "persist/streams.h"

namespace rastel {

template <class Number>
bool NumberKeys<Number>::IsSame(Number stored, Number sought) noexcept {
  return std::memcmp(&stored, &sought, sizeof(Number)) == 0;
}

template <class Number>
void NumberKeys<Number>::Write(IStream* stream, Number stored) {
  ULONG written = 0;
  stream->Write(&stored, sizeof(stored), &written);
  if (written != sizeof(stored)) throw TextException("can't write the key!!");
}

template <class Number>
Number NumberKeys<Number>::Read(IStream* stream) {
  Number key{};
  ULONG delivered = 0;
  stream->Read(&key, sizeof(key), &delivered);
  if (delivered != sizeof(key)) throw TextException("can't write the key!!");
  return key;
}

template struct NumberKeys<LONG>;
template struct NumberKeys<DOUBLE>;

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
