// SPDX-License-Identifier: MIT
// Words for result codes. docs/errors.md tells the same of the reports, and a test compares them.
#pragma once

#include <iterator>

#include "platform/platform.h"

namespace rastelklp::detail {

struct CodeWords {
  std::uint32_t code;
  const char* words;
};

// What the module's numbered reports mean, whose own texts are German.
inline constexpr CodeWords kReportHints[] = {
    {1106, "a margin below 0"},
    {1113, "a coordinate or size below 0"},
    {1114, "the AOI has no buffer yet"},
    {1115, "a width or height of 0"},
    {1117, "a tile or half cannot be made"},
    {1118, "counts below 1, or more than 100 tiles"},
    {1119, "a tile would have no pixel"},
    {1120, "a stream version that is unknown"},
    {1121, "an index outside 0 .. Count - 1"},
    {1122, "the vector cannot be cloned"},
    {1123, "a stream version that is unknown"},
    {1129, "a plane outside 0 .. PlaneCount - 1"},
    {1130, "a new vector cannot be made"},
};

// Codes that come without words of their own.
inline constexpr CodeWords kPlainCodes[] = {
    {0x80004001, "E_NOTIMPL: not implemented"},
    {0x80004002, "E_NOINTERFACE: the object is of another kind"},
    {0x80004003, "E_POINTER: a pointer is null, or there are no pixels"},
    {0x80004004, "E_ABORT: there is something already"},
    {0x80004005, "E_FAIL: the operation failed"},
    {0x8000FFFF, "E_UNEXPECTED: unexpected here"},
    {0x8000000A, "E_PENDING: not ready yet"},
    {0x80070005, "E_ACCESSDENIED: no right to, or objects that are nested too deep"},
    {0x80070006, "E_HANDLE: not a handle"},
    {0x8007000E, "E_OUTOFMEMORY: not enough memory"},
    {0x80070057, "E_INVALIDARG: an argument is out of range"},
    {0x80070002, "ERROR_FILE_NOT_FOUND: there is no such file"},
    {0x80070003, "ERROR_PATH_NOT_FOUND: there is no such folder"},
    {0x80070004, "ERROR_TOO_MANY_OPEN_FILES: too many files are open"},
    {0x80070020, "ERROR_SHARING_VIOLATION: the file is in use"},
    {0x80070070, "ERROR_DISK_FULL: the disk is full"},
    {0x80020003, "DISP_E_MEMBERNOTFOUND: there is no such member"},
    {0x80020004, "DISP_E_PARAMNOTFOUND: a parameter is missing"},
    {0x80020005, "DISP_E_TYPEMISMATCH: a value of another type"},
    {0x80020006, "DISP_E_UNKNOWNNAME: there is no member of this name"},
    {0x80020008, "DISP_E_BADVARTYPE: a VARIANT of a type that cannot be copied"},
    {0x80020009, "DISP_E_EXCEPTION: the object refused"},
    {0x8002000A, "DISP_E_OVERFLOW: the value does not fit"},
    {0x8002000B, "DISP_E_BADINDEX: an index out of range"},
    {0x8002000D, "DISP_E_ARRAYISLOCKED: the array is locked"},
    {0x8002000E, "DISP_E_BADPARAMCOUNT: another number of parameters is wanted"},
    {0x8002801D, "TYPE_E_LIBNOTREGISTERED: the type library is not registered (rastel register)"},
    {0x80029C4A, "TYPE_E_CANTLOADLIBRARY: the type library cannot be loaded"},
    {0x80030001, "STG_E_INVALIDFUNCTION: the stream cannot do this"},
    {0x80030002, "STG_E_FILENOTFOUND: there is no such file"},
    {0x80030005, "STG_E_ACCESSDENIED: the stream is for the other direction"},
    {0x80030009, "STG_E_INVALIDPOINTER: a pointer is null"},
    {0x80030019, "STG_E_SEEKERROR: no such place in the stream"},
    {0x8003001D, "STG_E_WRITEFAULT: the stream took less than it was given"},
    {0x8003001E, "STG_E_READFAULT: the stream ends before the object does"},
    {0x80030070, "STG_E_MEDIUMFULL: the disk is full"},
    {0x80040110, "CLASS_E_NOAGGREGATION: the class cannot be a part of another object"},
    {0x80040111, "CLASS_E_CLASSNOTAVAILABLE: the module does not have the class"},
    {0x80040154, "REGDB_E_CLASSNOTREG: the class is not registered (rastel register)"},
    {0x80040155, "REGDB_E_IIDNOTREG: the interface is not registered (rastel register)"},
    {0x800401F0, "CO_E_NOTINITIALIZED: there is no Session in this process"},
    {0x800401F3, "CO_E_CLASSSTRING: there is no class of this name (rastel register)"},
    {0x800401F8, "CO_E_DLLNOTFOUND: the file of the module is missing (rastel register)"},
    {0x800401F9, "CO_E_ERRORINDLL: the file of the module cannot be used"},
    {0x80010106, "RPC_E_CHANGED_MODE: the thread has started with other rules"},
    {0x8001010E, "RPC_E_WRONG_THREAD: the object belongs to another thread"},
};

template <std::size_t N>
constexpr const char* FindWords(const CodeWords (&rows)[N], std::uint32_t code) noexcept {
  for (const CodeWords& row : rows) {
    if (row.code == code) return row.words;
  }
  return "";
}

}  // namespace rastelklp::detail
