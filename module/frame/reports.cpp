// SPDX-License-Identifier: MIT
#include "module/frame/reports.h"

#include <atomic>
#include <cstring>

#include "module/frame/stack_buffer.h"
#include "platform/com_ptr.h"

namespace rastel {
namespace {

// A report may be made deep in a call chain, so little stack is taken.
constexpr std::size_t kStackUnits = 1024 / sizeof(OLECHAR);
constexpr int kNarrowRoom = 1024;

std::atomic<HINSTANCE> reportModule{nullptr};

using WideText = StackBuffer<OLECHAR, kStackUnits>;

// Converts a narrow text of `length` characters; false when there is no room or no conversion.
bool Widen(WideText& wide, const char* narrow, std::size_t length) noexcept {
  if (!wide.Get() || length >= 0x7FFFFFFF) return false;
  const int room = static_cast<int>(length) + 1;
  return MultiByteToWideChar(CP_THREAD_ACP, 0, narrow, -1, wide.Get(), room) > 0;
}

// Puts an error object with the text on the thread. Failures leave the thread's object as it was.
void SetThreadError(REFCLSID classId, LPCOLESTR text) noexcept {
  platform::ComPtr<ICreateErrorInfo> error;
  if (FAILED(CreateErrorInfo(error.Put()))) return;
  error->SetGUID(GUID_NULL);
  LPOLESTR source = nullptr;
  if (SUCCEEDED(ProgIDFromCLSID(classId, &source)) && source) {
    error->SetSource(source);
    CoTaskMemFree(source);
  }
  error->SetDescription(const_cast<LPOLESTR>(text));
  platform::ComPtr<IErrorInfo> info = error.As<IErrorInfo>();
  if (info) SetErrorInfo(0, info.Get());
}

HRESULT ReportNumber(REFCLSID classId, std::uint16_t number, HINSTANCE module) noexcept {
  char narrow[kNarrowRoom];
  if (LoadStringA(module, number, narrow, kNarrowRoom) == 0) {
    std::strcpy(narrow, "Unknown Error");
  }
  const std::size_t length = std::strlen(narrow);
  WideText wide(length + 1);
  if (!Widen(wide, narrow, length)) return E_OUTOFMEMORY;
  SetThreadError(classId, wide.Get());
  return MessageResult(number);
}

}  // namespace

HRESULT ReportError(REFCLSID classId, LPCOLESTR message, HINSTANCE module) noexcept {
  const auto number = reinterpret_cast<std::uintptr_t>(message);
  if (number < 0x10000) return ReportNumber(classId, static_cast<std::uint16_t>(number), module);
  SetThreadError(classId, message);
  return DISP_E_EXCEPTION;
}

HRESULT ReportErrorText(REFCLSID classId, const char* text) noexcept {
  if (!text) return E_POINTER;
  const std::size_t length = std::strlen(text);
  WideText wide(length + 1);
  if (!Widen(wide, text, length)) return E_OUTOFMEMORY;
  return ReportError(classId, wide.Get(), nullptr);
}

HRESULT Report(REFCLSID classId, Message message) noexcept {
  return ReportNumber(classId, static_cast<std::uint16_t>(message), reportModule);
}

void SetReportModule(HINSTANCE module) noexcept { reportModule = module; }

}  // namespace rastel
