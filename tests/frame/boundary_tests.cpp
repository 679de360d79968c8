// What the boundary makes of exceptions and of plain result codes.
#include "module/frame/boundary.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "module/frame/exceptions.h"
#include "tests/support/thread_error.h"

namespace tests {
namespace {

using platform::ResultCode;
using rastel::Guarded;

constexpr CLSID kClass{
    0x1F0A7C52, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x21}};
constexpr LPCOLESTR kBefore = OLESTR("what was there before");

template <class Exception, auto... arguments>
HRESULT Throwing() {
  throw Exception(arguments...);
}
constexpr char kWords[] = "in words";

TEST(Boundary, TurnsWhatIsRaisedIntoResultsAndReports) {
  const struct {
    HRESULT (*body)();
    std::uint32_t result;
    LPCOLESTR description;
  } kRows[] = {
      {[] { return S_FALSE; }, 1, kBefore},
      {[] { return E_FAIL; }, 0x80004005, kBefore},
      {&Throwing<rastel::_com_error, ResultCode(0x80030070)>, 0x80030070, kBefore},
      {&Throwing<rastel::CAtlException, ResultCode(0x80020008)>, 0x80020008, kBefore},
      {&Throwing<std::bad_alloc>, 0x8007000E, kBefore},
      {&Throwing<std::length_error, kWords>, 0x8007000E, kBefore},
      {[]() -> HRESULT { throw rastel::TextException("literal"); }, 0x80020009, OLESTR("literal")},
      {&Throwing<std::invalid_argument, kWords>, 0x80020009, OLESTR("in words")},
      {&Throwing<int, 7>, 0x8000FFFF, kBefore}};
  static_assert(noexcept(Guarded(kClass, kRows[0].body)));
  for (const auto& row : kRows) {
    SCOPED_TRACE(&row - kRows);
    PutErrorText(kBefore);
    EXPECT_EQ(Guarded(kClass, row.body), ResultCode(row.result));
    EXPECT_EQ(TakeErrorText(), row.description);
  }
}

}  // namespace
}  // namespace tests
