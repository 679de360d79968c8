#include "frame/exceptions.h"

#include <atomic>
#include <new>

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

void RaiseLastError() {
  const DWORD error = GetLastError();
  _com_issue_error(HRESULT_FROM_WIN32(error));
}

void AtlThrow(HRESULT result) { throw CAtlException(result); }

void RaiseBadAllocation() { throw std::bad_alloc(); }

}  // namespace rastel
