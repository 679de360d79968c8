// SPDX-License-Identifier: MIT
// No exception leaves an exported operation.
#pragma once

#include <new>
#include <utility>

namespace host {

// Runs an operation's body and turns what it throws into one of two failing results.
template <class Result, class Body>
Result Guarded(Result outOfMemory, Result otherwise, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    return outOfMemory;
  } catch (...) {
    return otherwise;
  }
}

}  // namespace host
