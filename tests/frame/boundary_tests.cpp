// What the boundary makes of exceptions and of plain result codes.
#include "module/frame/boundary.h"

#include <gtest/gtest.h>

#include <memory>
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

struct NoText final : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

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
      {&Throwing<rastel::_com_error, S_FALSE>, 1, kBefore},
      {&Throwing<rastel::CAtlException, ResultCode(0x80020008)>, 0x80020008, kBefore},
      {&Throwing<std::bad_alloc>, 0x8007000E, kBefore},
      {&Throwing<std::bad_array_new_length>, 0x8007000E, kBefore},
      {&Throwing<std::length_error, kWords>, 0x8007000E, kBefore},
      {[]() -> HRESULT { throw rastel::TextException("literal"); }, 0x80020009, OLESTR("literal")},
      {&Throwing<std::invalid_argument, kWords>, 0x80020009, OLESTR("in words")},
      {&Throwing<NoText>, 0x80004003, kBefore},
      {&Throwing<int, 7>, 0x8000FFFF, kBefore}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(&row - kRows);
    PutErrorText(kBefore);
    EXPECT_EQ(Guarded(kClass, row.body), ResultCode(row.result));
    EXPECT_EQ(TakeErrorText(), row.description);
  }
}

TEST(Boundary, LetsNothingOutAndReleasesWhatTheBodyHeld) {
  const auto held = std::make_shared<int>(1);
  // An operation's own handler stands inside and goes on as it did.
  const auto slot = [&, owned = std::make_unique<int>(2)]() -> HRESULT {
    const auto reference = held;
    try {
      return Throwing<std::out_of_range, kWords>();
    } catch (const std::out_of_range&) {
      throw rastel::_com_error(*owned == 2 ? E_ABORT : E_FAIL);
    }
  };
  static_assert(noexcept(Guarded(kClass, slot)));
  EXPECT_EQ(Guarded(kClass, slot), E_ABORT);
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace tests
