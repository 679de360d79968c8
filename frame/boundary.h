// The boundary of the module: no exception leaves an interface slot or an export, since no caller
// can catch it. A slot that can raise runs its body through Guarded; a slot that cannot has no
// guard.
#pragma once

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

}  // namespace rastel
