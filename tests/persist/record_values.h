// VARIANTs of every type with the bytes of their plain records.
#pragma once

#include <functional>
#include <string>

#include "module/frame/variants.h"
#include "platform/platform.h"

namespace tests {

struct RecordRow {
  VARTYPE vt;
  // Of the value field.
  ULONGLONG bits;
  // The type and the payload.
  const char* plain;
};

inline constexpr RecordRow kFixedRecords[] = {
    {VT_I2, 0x8001, "02 00 01 80"},
    {VT_I4, 5, "03 00 05 00 00 00"},
    {VT_R4, 0x3FC00000, "04 00 00 00 C0 3F"},
    {VT_R8, 0xBFF8000000000000, "05 00 00 00 00 00 00 00 F8 BF"},
    {VT_CY, 0xFFFFFFFFFFFFFFFE, "06 00 FE FF FF FF FF FF FF FF"},
    {VT_DATE, 0x40E1D5A000000001, "07 00 01 00 00 00 A0 D5 E1 40"},
    {VT_ERROR, 0x80070057, "0A 00 57 00 07 80"},
    {VT_BOOL, 0xFFFF, "0B 00 FF FF"},
    {VT_I1, 0x80, "10 00 80"},
    {VT_UI1, 0xFE, "11 00 FE"},
    {VT_UI2, 0x0102, "12 00 02 01"},
    {VT_UI4, 0x01020304, "13 00 04 03 02 01"},
    {VT_I8, 0x0102030405060708, "14 00 08 07 06 05 04 03 02 01"},
    {VT_UI8, 0xFFFFFFFFFFFFFFFF, "15 00 FF FF FF FF FF FF FF FF"},
    {VT_INT, 0xFFFFFFFF, "16 00 FF FF FF FF"},
    {VT_UINT, 7, "17 00 07 00 00 00"}};

inline VARIANT FixedValue(const RecordRow& row) {
  VARIANT value{};
  value.vt = row.vt;
  value.ullVal = row.bits;
  return value;
}

inline rastel::CComVariant TextValue(const OLECHAR* text, UINT chars) {
  rastel::CComVariant value;
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocStringLen(text, chars);
  return value;
}

}  // namespace tests
