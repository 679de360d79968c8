// SPDX-License-Identifier: MIT
// Error reports: the one way in which a failure becomes a result code and an error object on the
// calling thread. Numbered messages stand in the module's string table and carry their number in
// the result code, so they are stable. Nothing is kept between calls; any thread may call, also
// while it holds a lock.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace rastel {

// The numbered messages that the module raises. Their texts are in the string table.
enum class Message : std::uint16_t {
  NegativeMargin = 1106,
  NegativeCoordinate = 1113,
  NoBuffer = 1114,
  AoiNotCreated = 1115,
  CloneNotCreated = 1117,
  TilesImpossible = 1118,
  TileEmpty = 1119,
  AoiNotLoaded = 1120,
  BadVectorElement = 1121,
  VectorNotCloned = 1122,
  BadVectorVersion = 1123,
  PlaneOutside = 1129,
  VectorNotCreated = 1130,
};

// The result of a numbered report: severity error, the interface facility, the number.
constexpr HRESULT MessageResult(std::uint16_t number) noexcept {
  return platform::ResultCode(0x80040000u | number);
}
constexpr HRESULT MessageResult(Message message) noexcept {
  return MessageResult(static_cast<std::uint16_t>(message));
}

// Makes a report under a class and gives the result code that the caller returns to its client.
//   message  a value below 65536 is a number in the string table of `module`, any other the address
//            of the text itself
// The error object has GUID_NULL, the text, and the class's ProgID as source where the class is
// registered. The result is 0x80040000 plus the number, or DISP_E_EXCEPTION for a text. A number
// that is not in the table reads "Unknown Error". E_OUTOFMEMORY, and no error object, if the text
// of a number cannot be had. A host that makes no error object changes nothing about the result.
HRESULT ReportError(REFCLSID classId, LPCOLESTR message, HINSTANCE module) noexcept;

// Reports a narrow text in the thread's code page. Null: E_POINTER.
HRESULT ReportErrorText(REFCLSID classId, const char* text) noexcept;

// Reports a numbered message of this module.
HRESULT Report(REFCLSID classId, Message message) noexcept;

// The module whose string table Report reads; set when the module is attached.
void SetReportModule(HINSTANCE module) noexcept;

}  // namespace rastel
