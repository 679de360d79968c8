// SPDX-License-Identifier: MIT
#include <cstring>

#include "tests/rows/rows.h"
#include "tests/support/streams.h"

namespace tests::facts {
namespace {

constexpr const char* kTypeNames[] = {"EMPTY",   "NULL",    "I2",      "I4",       "R4",    "R8",
                                      "CY",      "DATE",    "BSTR",    "DISPATCH", "ERROR", "BOOL",
                                      "VARIANT", "UNKNOWN", "DECIMAL", "",         "I1",    "UI1",
                                      "UI2",     "UI4",     "I8",      "UI8",      "INT",   "UINT"};

constexpr std::pair<std::uint32_t, const char*> kCodeNames[] = {
    {0, "S_OK"},
    {1, "S_FALSE"},
    {0x80004001u, "E_NOTIMPL"},
    {0x80004002u, "E_NOINTERFACE"},
    {0x80004003u, "E_POINTER"},
    {0x80004005u, "E_FAIL"},
    {0x8000FFFFu, "E_UNEXPECTED"},
    {0x80070005u, "E_ACCESSDENIED"},
    {0x8007000Eu, "E_OUTOFMEMORY"},
    {0x80070057u, "E_INVALIDARG"},
    {0x80020005u, "DISP_E_TYPEMISMATCH"},
    {0x80020008u, "DISP_E_BADVARTYPE"},
    {0x80020009u, "DISP_E_EXCEPTION"},
    {0x8002000Au, "DISP_E_OVERFLOW"},
    {0x8002000Bu, "DISP_E_BADINDEX"},
    {0x8002000Du, "DISP_E_ARRAYISLOCKED"},
    {0x80030001u, "STG_E_INVALIDFUNCTION"},
    {0x80030009u, "STG_E_INVALIDPOINTER"},
    {0x80030019u, "STG_E_SEEKERROR"},
    {0x80030070u, "STG_E_MEDIUMFULL"},
    {0x80040154u, "REGDB_E_CLASSNOTREG"},
    {0x800401F3u, "CO_E_CLASSSTRING"},
    {0x800401F4u, "CO_E_IIDSTRING"}};

template <class... Values>
std::string Formatted(const char* format, Values... values) {
  char text[100];
  std::snprintf(text, sizeof(text), format, values...);
  return text;
}

template <class Char>
std::string QuotedUnits(std::basic_string_view<Char> text) {
  std::string quoted = "\"";
  for (const Char c : text) {
    const unsigned unit = static_cast<std::make_unsigned_t<Char>>(c);
    if (unit == '"' || unit == '\\') quoted += '\\';
    quoted += unit >= ' ' && unit < 0x7F ? std::string(1, static_cast<char>(unit))
                                         : Formatted(unit < 0x100 ? "\\x%02X" : "\\u%04X", unit);
  }
  return quoted + '"';
}

std::string PrintString(BSTR text) {
  if (!text) return "null";
  const UINT bytes = SysStringByteLen(text);
  if (bytes % 2 == 0) return Quoted(std::basic_string_view<OLECHAR>(text, bytes / 2));
  return "bytes" + Quoted(std::string_view(reinterpret_cast<const char*>(text), bytes));
}

}  // namespace

VARTYPE TypeOf(std::string_view name) {
  if (name.starts_with("BYREF|")) return static_cast<VARTYPE>(VT_BYREF | TypeOf(name.substr(6)));
  if (name.starts_with("ARRAY|")) return static_cast<VARTYPE>(VT_ARRAY | TypeOf(name.substr(6)));
  for (VARTYPE type = 0; type < std::size(kTypeNames); ++type) {
    if (name == kTypeNames[type]) return type;
  }
  return static_cast<VARTYPE>(std::strtoul(std::string(name).c_str(), nullptr, 0));
}

std::string NameOf(VARTYPE type) {
  if (type & VT_BYREF) return "BYREF|" + NameOf(type & ~VT_BYREF);
  if (type & VT_ARRAY) return "ARRAY|" + NameOf(type & ~VT_ARRAY);
  const bool hasName = type < std::size(kTypeNames) && *kTypeNames[type];
  return hasName ? kTypeNames[type] : Formatted("0x%X", unsigned{type});
}

std::string Code(HRESULT result) {
  const auto code = static_cast<std::uint32_t>(result);
  for (const auto& [known, name] : kCodeNames) {
    if (code == known) return name;
  }
  return Formatted("0x%08X", static_cast<unsigned>(code));
}

std::string Print(const GUID& guid) {
  const BYTE* rest = guid.Data4;
  return Formatted("{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                   static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, rest[0], rest[1],
                   rest[2], rest[3], rest[4], rest[5], rest[6], rest[7]);
}

std::string Print(const VARIANT& value) {
  const std::string name = NameOf(value.vt);
  const VARTYPE base = value.vt & VT_TYPEMASK;
  const bool isPointer = (value.vt & (VT_BYREF | VT_ARRAY)) != 0 || base == VT_BSTR ||
                         base == VT_DISPATCH || base == VT_UNKNOWN;
  if (isPointer && !value.byref) return name + (value.vt & VT_BYREF ? ":nothing" : ":null");
  if (value.vt == (VT_BYREF | VT_VARIANT)) return name + ':' + Print(*value.pvarVal);
  if (value.vt & VT_BYREF) {
    VARIANT view{};
    if (base == VT_DECIMAL) {
      view.decVal = *value.pdecVal;
    } else {
      std::memcpy(&view.llVal, value.byref, sizeof(view.llVal));
    }
    view.vt = value.vt & static_cast<VARTYPE>(~VT_BYREF);
    return "BYREF|" + Print(view);
  }
  if (value.vt & VT_ARRAY) {
    return name + ':' + std::to_string(value.parray->rgsabound[0].cElements) +
           (value.parray->cLocks ? ",locked" : "");
  }
  if (base == VT_DISPATCH || base == VT_UNKNOWN) return name + ":object";
  if (base == VT_BSTR) return name + ':' + PrintString(value.bstrVal);
  const std::string shown = Show(value);
  return shown.empty() ? name : name + ':' + shown;
}

std::string Print(SAFEARRAY* array) {
  if (!array) return "null";
  VARTYPE type = VT_EMPTY;
  SafeArrayGetVartype(array, &type);
  std::string shown = NameOf(type) + Formatted(" 0x%04X %u bytes", unsigned{array->fFeatures},
                                               static_cast<unsigned>(array->cbElements));
  ULONG count = 1;
  for (USHORT dimension = array->cDims; dimension-- > 0;) {  // Kept last dimension first.
    const auto [elements, lower] = array->rgsabound[dimension];
    shown += ' ' + std::to_string(elements) + '@' + std::to_string(lower);
    count *= elements;
  }
  if (array->cLocks) shown += " locks " + std::to_string(array->cLocks);
  for (ULONG i = 0; i < count; ++i) {
    VARIANT element = Typed(type);
    const BYTE* data = DataOf<BYTE>(array) + i * array->cbElements;
    std::memcpy(ElementIn(element, type), data, array->cbElements);
    if (type == VT_DECIMAL) element.vt = type;
    shown += (i == 0 ? ": " : " ") + Print(element);
  }
  return shown;
}

std::string PrintAndFree(BSTR text) {
  if (!text) return "null";
  const std::string units = ", units " + std::to_string(SysStringLen(text));
  const auto* first = reinterpret_cast<const BYTE*>(text) - 4;
  const std::string shown = HexOf(first, SysStringByteLen(text) + 6);
  SysFreeString(text);
  return shown + units;
}

std::string Quoted(std::string_view text) { return QuotedUnits(text); }
std::string Quoted(std::basic_string_view<OLECHAR> text) { return QuotedUnits(text); }

}  // namespace tests::facts
