// SPDX-License-Identifier: MIT
// The records of values as docs/stream_formats.md tells them, written without the code under test.
#pragma once

#include <iterator>
#include <string>

#include "platform/platform.h"

namespace tests {

using Bytes = std::string;

template <class T>
Bytes Raw(const T& value) {
  return Bytes(reinterpret_cast<const char*>(&value), sizeof(value));
}

// A count of bytes, the text, and a terminator that is counted; without one for null.
inline Bytes TextPayload(BSTR text) {
  const ULONG bytes = text ? SysStringByteLen(text) : 0;
  const auto* first = reinterpret_cast<const char*>(text);
  return text ? Raw(bytes + 2) + Bytes(first, bytes) + Bytes(2, '\0') : Raw(bytes);
}

// Of a value that is no object. What has no width is written as its text.
inline Bytes PlainRecord(const VARIANT& value) {
  constexpr UINT kWidths[] = {0, 0, 2, 4, 4, 8, 8, 8, 0, 0, 4, 2,
                              0, 0, 0, 0, 1, 1, 2, 4, 8, 8, 4, 4};
  const UINT width = value.vt < std::size(kWidths) ? kWidths[value.vt] : 0;
  if (width > 0) return Raw(value.vt) + Raw(value.llVal).substr(0, width);
  if (value.vt == VT_BSTR) return Raw(value.vt) + TextPayload(value.bstrVal);
  VARIANT text{};
  VariantChangeType(&text, const_cast<VARIANT*>(&value), 0, VT_BSTR);
  const Bytes record = Raw(value.vt) + TextPayload(text.bstrVal);
  VariantClear(&text);
  return record;
}

// The type stands there twice, and a null text is an empty one.
inline Bytes TaggedRecord(const VARIANT& value) {
  const bool isNullText = value.vt == VT_BSTR && !value.bstrVal;
  return Raw(value.vt) +
         (isNullText ? Raw(value.vt) + Raw(ULONG{2}) + Bytes(2, '\0') : PlainRecord(value));
}

// Of an object by what it writes.
inline Bytes PlainObject(VARTYPE vt, REFCLSID classId, const Bytes& content) {
  return Raw(vt) + Raw(classId) + content;
}
inline Bytes TaggedObject(VARTYPE vt, REFCLSID classId, const Bytes& content) {
  return Raw(vt) + Raw(classId) + Raw(ULONGLONG{content.size()}) + content;
}

}  // namespace tests
