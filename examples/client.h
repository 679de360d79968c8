// What the example clients share: reports on the console, results checked with their words, and
// owners for the platform's texts and values.
#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

#include "platform/com_ptr.h"

namespace examples {

// One aligned line of a report.
template <class... Values>
void Say(const char* what, const char* format, Values... values) {
  std::printf("  %-22s ", what);
  // A format without values is a text.
  if constexpr (sizeof...(values) > 0) {
    std::printf(format, values...);
  } else {
    std::fputs(format, stdout);
  }
  std::printf("\n");
}

// A text as UTF-8; a null text is empty.
inline std::string Utf8(const OLECHAR* text) {
  if (!text) return {};
  const int room = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(room > 0 ? room - 1 : 0), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), room, nullptr, nullptr);
  return narrow;
}

// A result code with the words of the thread's error object, if there is one.
inline std::string Reason(HRESULT result) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
  std::string text = code;
  platform::ComPtr<IErrorInfo> error;
  BSTR description = nullptr;
  if (GetErrorInfo(0, error.Put()) == S_OK && SUCCEEDED(error->GetDescription(&description))) {
    text.append(1, ' ').append(Utf8(description));
    SysFreeString(description);
  }
  return text;
}

inline void Check(HRESULT result, const char* step) {
  if (FAILED(result)) throw std::runtime_error(std::string(step) + ": " + Reason(result));
}

// Owns a BSTR.
class Text {
 public:
  Text() = default;
  explicit Text(const OLECHAR* text) : text_(SysAllocString(text)) {
    if (!text_) throw std::bad_alloc();
  }
  explicit Text(const std::string& utf8) {
    const int units =
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    text_ = SysAllocStringLen(nullptr, static_cast<UINT>(units));
    if (!text_) throw std::bad_alloc();
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), text_, units);
  }
  ~Text() { SysFreeString(text_); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;

  BSTR Get() const { return text_; }
  // For an operation that hands out a text.
  BSTR* Put() {
    SysFreeString(text_);
    text_ = nullptr;
    return &text_;
  }

 private:
  BSTR text_ = nullptr;
};

// Owns a VARIANT.
class Value {
 public:
  Value() { VariantInit(&value_); }
  explicit Value(const std::string& utf8) : Value() {
    value_.bstrVal = SysAllocString(Text(utf8).Get());
    value_.vt = VT_BSTR;
  }
  explicit Value(double number) : Value() {
    value_.vt = VT_R8;
    value_.dblVal = number;
  }
  explicit Value(IDispatch* object) : Value() {
    value_.vt = VT_DISPATCH;
    value_.pdispVal = object;
    if (object) object->AddRef();
  }
  ~Value() { VariantClear(&value_); }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  // Borrowed, as by-value arguments take it.
  const VARIANT& Get() const { return value_; }
  // For an operation that hands out a value.
  VARIANT* Put() {
    VariantClear(&value_);
    return &value_;
  }

 private:
  VARIANT value_;
};

// A new object by its class identifier.
template <class Interface>
platform::ComPtr<Interface> Create(REFCLSID classId) {
  platform::ComPtr<Interface> object;
  Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, platform::kIidOf<Interface>,
                         object.PutVoid()),
        "CoCreateInstance");
  return object;
}

}  // namespace examples
