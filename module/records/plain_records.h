// SPDX-License-Identifier: MIT
// The plain record of a VARIANT: its type, then a payload by type.
//
//   vt       u16
//   payload  1 to 8 bytes  integers, reals, VT_CY, VT_DATE, VT_ERROR, VT_BOOL: the value
//            object        VT_DISPATCH, VT_UNKNOWN: class identifier and the object's own data;
//                          the identifier CLSID_NULL alone for a null pointer
//            text          everything else, converted to text by the platform and back:
//                          n  u32, bytes that follow; 0 for a null VT_BSTR, which has no more
//                          n - 2 bytes of UTF-16, then 00 00
//
// Nothing in a plain record tells how long an object is: a reader that cannot create the class has
// lost the stream. VT_NULL has no text and cannot be stored; nor can VT_ARRAY, in any form.
#pragma once

#include "module/persist/stream_reader.h"
#include "platform/platform.h"

namespace rastel {

constexpr bool IsObjectType(VARTYPE vt) noexcept { return ((vt - VT_DISPATCH) & 0xFFFB) == 0; }

// The width of a number's payload. 0: it is an object or a text.
constexpr ULONG FixedPayloadBytes(VARTYPE vt) noexcept {
  switch (vt) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
      return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
      return 8;
    default:
      return 0;
  }
}

// The most bytes of a text and its terminator that are read.
inline constexpr std::uint32_t kMostTextBytes = 0x100000;
inline constexpr std::uint32_t kTerminatorBytes = sizeof(OLECHAR);

// The VARIANT stays as it is and alive during the call. The first failing result, else the last
// one:
//   E_INVALIDARG         null stream
//   DISP_E_TYPEMISMATCH  VT_ARRAY; the type has been written
//   the platform's code  a type without a text; the type has been written
//   E_ACCESSDENIED       objects nested too deep
//   the object's code    it has neither IPersistStream nor IPersistStreamInit, or fails to save
HRESULT WritePlainVariant(const VARIANT& variant, IStream* stream);
HRESULT WritePlainVariant(const VARIANT& variant, StreamWriter& writer);

// Clears the VARIANT and reads a record into it. Whatever fails, it is valid afterwards.
//   E_INVALIDARG         null stream; the VARIANT is unchanged
//   VariantClear's code  the VARIANT cannot be cleared; nothing is read
//   E_FAIL               the stream ends inside the type or the text; a malformed text. A text that
//                        fails leaves the stream at the type again, if it can seek, and VT_EMPTY
//   E_ACCESSDENIED       a text above 0x100000 bytes; objects nested too deep
//   DISP_E_TYPEMISMATCH  VT_ARRAY; the VARIANT is its text
//   VariantChangeType's code  the VARIANT is the text that could not be converted
// A class that is not registered is no failure: S_OK, a null pointer of the type, and the object's
// data is still to come in the stream.
// hasDelivered, where given, becomes true when a byte came out of the stream.
HRESULT ReadPlainVariant(VARIANT& variant, IStream* stream);
HRESULT ReadPlainVariant(VARIANT& variant, StreamReader& reader, bool* hasDelivered = nullptr);

}  // namespace rastel
