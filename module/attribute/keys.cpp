// SPDX-License-Identifier: MIT
#include "module/attribute/keys.h"

#include <algorithm>
#include <cstring>

#include "module/persist/streams.h"

namespace rastel {

template <class Number>
Number KeyKind<Number>::FromVariant(const VARIANT& key) noexcept {
  Number number{};
  std::memcpy(&number, &key.llVal, sizeof(number));
  return number;
}

template <class Number>
VARIANT KeyKind<Number>::ToVariant(Number key) noexcept {
  VARIANT variant{};
  variant.vt = Row::kGivenType;
  std::memcpy(&variant.llVal, &key, sizeof(key));
  return variant;
}

template <class Number>
void KeyKind<Number>::Write(StreamWriter& writer, Number key) {
  ULONG written = 0;
  writer.Write(&key, sizeof(key), &written);
  if (written != sizeof(key)) throw TextException("can't write the key!!");
}

template <class Number>
Number KeyKind<Number>::Read(StreamReader& reader) {
  Number key{};
  ULONG delivered = 0;
  reader.Read(&key, sizeof(key), &delivered);
  if (delivered != sizeof(key)) throw TextException("can't write the key!!");
  return key;
}

template struct KeyKind<LONG>;
template struct KeyKind<DOUBLE>;

ReadText::ReadText(std::size_t length) {
  if (length < kShort) {
    std::fill_n(stack_, length + 1, OLECHAR{0});
    return;
  }
  heap_ = AllocateZeroed<OLECHAR>(length + 1);
  if (!heap_) _com_issue_error(E_OUTOFMEMORY);
}

VARIANT KeyKind<BSTR>::ToVariant(KeyText key) {
  VARIANT variant{};
  variant.bstrVal = ToElement(key);
  variant.vt = kGivenType;
  return variant;
}

BSTR KeyKind<BSTR>::ToElement(KeyText key) {
  const BSTR text = SysAllocStringLen(key.units, static_cast<UINT>(key.length));
  if (!text) _com_issue_error(E_OUTOFMEMORY);
  return text;
}

void KeyKind<BSTR>::WriteByCalls(StreamWriter& writer, KeyText key) {
  writer.PutOrRaise(static_cast<std::uint32_t>(key.length));
  if (key.length == 0) return;
  CheckResult(writer.Write(key.units, static_cast<ULONG>(BytesBehind(key))));
}

ReadText KeyKind<BSTR>::Read(StreamReader& reader) {
  std::uint32_t length = 0;
  reader.GetOrRaise(length);
  if (length > kMostUnits) _com_issue_error(E_OUTOFMEMORY);
  const auto bytes = static_cast<ULONG>(length * sizeof(OLECHAR));
  if (length < ReadText::kShort) {
    if (reader.Look(bytes)) return {reader.Take(bytes), length};
  }
  ReadText text(length);
  if (length == 0) return text;
  CheckResult(reader.Read(text.Units(), bytes));
  return text;
}

ULONGLONG KeyKind<BSTR>::CountedBytes(KeyText key) {
  // Of ASCII every code page makes one byte per character.
  std::size_t bytes = key.length;
  if (std::any_of(key.units, key.units + key.length, [](OLECHAR unit) { return unit > 0x7F; })) {
    const int narrow = WideCharToMultiByte(CP_ACP, 0, key.units, static_cast<int>(key.length),
                                           nullptr, 0, nullptr, nullptr);
    if (narrow <= 0) RaiseLastError();
    bytes = static_cast<std::size_t>(narrow);
  }
  return 4 + 4 * ULONGLONG{bytes};
}

}  // namespace rastel
