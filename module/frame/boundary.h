// SPDX-License-Identifier: MIT
// The boundary of the module: no exception leaves an interface slot or an export, since no caller
// can catch it. A slot that can raise runs its body through Guarded; a slot that cannot has no
// guard.
#pragma once

#include <exception>
#include <utility>

#include "platform/platform.h"

namespace rastel {

// Turns the exception that is being handled into a result code; only inside a catch block.
//   _com_error, CAtlException          the code that they carry
//   std::bad_alloc, std::length_error  E_OUTOFMEMORY
//   any other std::exception           a report of its text under the class
//   anything else                      E_UNEXPECTED
// Kept out of line, so that slots stay small.
HRESULT ResultOfException(REFCLSID classId) noexcept;

template <class Body>
HRESULT Guarded(REFCLSID classId, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return ResultOfException(classId);
  }
}

// Reports the text of an exception under a class, with the same texts on every host, and gives the
// report's result.
HRESULT ReportText(REFCLSID classId, const std::exception& error) noexcept;

// Runs a body and reports the std::exception that it raises; all else passes.
template <class Body>
HRESULT ReportTexts(REFCLSID classId, Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& error) {
    return ReportText(classId, error);
  }
}

}  // namespace rastel
