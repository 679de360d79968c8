// SPDX-License-Identifier: MIT
#include "module/frame/exceptions.h"

#include <atomic>
#include <new>

#include "platform/last_error.h"

namespace rastel {
namespace {

[[noreturn]] void ThrowComError(HRESULT result) { throw _com_error(result); }

std::atomic<ComErrorHandler> comErrorHandler{ThrowComError};

}  // namespace

ComErrorHandler SetComErrorHandler(ComErrorHandler handler) noexcept {
  return comErrorHandler.exchange(handler != nullptr ? handler : ThrowComError);
}

void _com_issue_error(HRESULT result) {
  comErrorHandler.load()(result);
  ThrowComError(result);
}

void RaiseLastError() { _com_issue_error(platform::ResultOfLastError()); }

void AtlThrow(HRESULT result) { throw CAtlException(result); }

void RaiseBadAllocation() { throw std::bad_alloc(); }

}  // namespace rastel
