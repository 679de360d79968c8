// SPDX-License-Identifier: MIT
// What routines raise inside an object, each by value. At an interface slot the boundary turns it
// into a result code; no exception leaves the module.
#pragma once

#include <cstddef>
#include <exception>

#include "platform/com_ptr.h"
#include "platform/platform.h"

namespace rastel {

// A failed operation on a string, a variant or a stream. Not a std::exception: handlers of those
// let it pass.
class _com_error {
 public:
  // Takes a reference of its own on info, which may be null.
  explicit _com_error(HRESULT result, IErrorInfo* info = nullptr) noexcept
      : result_(result), info_(info) {}

  HRESULT Error() const noexcept { return result_; }
  // Not counted for the caller. The module neither raises nor asks for one; it is kept for handlers
  // that know such errors to carry it.
  IErrorInfo* ErrorInfo() const noexcept { return info_.Get(); }
  // Null: such an error has no description of its own.
  const char* Message() const noexcept { return message_; }

 private:
  HRESULT result_;
  platform::ComPtr<IErrorInfo> info_;
  const char* message_ = nullptr;
};

// A failed copy of a VARIANT inside a CComVariant or an array. Not a std::exception either.
class CAtlException {
 public:
  explicit CAtlException(HRESULT result) noexcept : result_(result) {}
  HRESULT Error() const noexcept { return result_; }
  operator HRESULT() const noexcept { return result_; }

 private:
  HRESULT result_;
};

// A failure that clients are told in words. It takes a literal, so that raising it allocates no
// text.
class TextException final : public std::exception {
 public:
  template <std::size_t n>
  explicit TextException(const char (&literal)[n]) noexcept : text_(literal) {}
  const char* what() const noexcept override { return text_; }

 private:
  const char* text_;
};

// Called with the code of a failure, in order to throw.
using ComErrorHandler = void (*)(HRESULT result);

// Replaces the handler behind _com_issue_error for the whole module and gives the one before. Null
// brings back the default, which throws _com_error. For whoever links the code into a program of
// his own: the module leaves it alone.
ComErrorHandler SetComErrorHandler(ComErrorHandler handler) noexcept;

// Raises a failure through the handler. If that returns, _com_error is thrown all the same.
[[noreturn]] void _com_issue_error(HRESULT result);

// Raises the failure that the thread's last error tells: see ResultOfLastError.
[[noreturn]] void RaiseLastError();

// Raises result only if it is negative.
inline void CheckResult(HRESULT result) {
  if (result < 0) _com_issue_error(result);
}

[[noreturn]] void AtlThrow(HRESULT result);

// Raises std::bad_alloc, which reports call "bad allocation".
[[noreturn]] void RaiseBadAllocation();

}  // namespace rastel
