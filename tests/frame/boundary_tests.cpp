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

using rastel::Guarded;
using Text = std::basic_string<OLECHAR>;

constexpr CLSID kClass{
    0x1F0A7C52, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x21}};
constexpr LPCOLESTR kBefore = OLESTR("what was there before");

struct OwnText final : std::exception {
  const char* what() const noexcept override { return "own text"; }
};
struct NoText final : std::exception {
  const char* what() const noexcept override { return nullptr; }
};
struct OwnLengthError final : std::length_error {
  using std::length_error::length_error;
};

template <class Exception, class... Arguments>
HRESULT Throwing(Arguments... arguments) {
  throw Exception(arguments...);
}

TEST(Boundary, TurnsWhatIsRaisedIntoResultsAndReports) {
  const struct {
    const char* what;
    HRESULT (*body)();
    std::uint32_t result;
    LPCOLESTR description;
  } kRows[] = {
      {"success", [] { return S_OK; }, 0, kBefore},
      {"S_FALSE", [] { return S_FALSE; }, 1, kBefore},
      {"a plain code", [] { return E_FAIL; }, 0x80004005, kBefore},
      {"_com_error", [] { return Throwing<rastel::_com_error>(platform::ResultCode(0x80030070)); },
       0x80030070, kBefore},
      {"_com_error of success", [] { return Throwing<rastel::_com_error>(S_FALSE); }, 1, kBefore},
      {"CAtlException",
       [] { return Throwing<rastel::CAtlException>(platform::ResultCode(0x80020008)); }, 0x80020008,
       kBefore},
      {"bad_alloc", [] { return Throwing<std::bad_alloc>(); }, 0x8007000E, kBefore},
      {"bad_array_new_length", [] { return Throwing<std::bad_array_new_length>(); }, 0x8007000E,
       kBefore},
      {"length_error", [] { return Throwing<std::length_error>("vector too long"); }, 0x8007000E,
       kBefore},
      {"derived length_error", [] { return Throwing<OwnLengthError>("x"); }, 0x8007000E, kBefore},
      {"TextException",
       []() -> HRESULT { throw rastel::TextException("Type conversion impossible"); }, 0x80020009,
       OLESTR("Type conversion impossible")},
      {"invalid_argument", [] { return Throwing<std::invalid_argument>("bad key"); }, 0x80020009,
       OLESTR("bad key")},
      {"runtime_error", [] { return Throwing<std::runtime_error>(""); }, 0x80020009, OLESTR("")},
      {"own exception", [] { return Throwing<OwnText>(); }, 0x80020009, OLESTR("own text")},
      {"exception without text", [] { return Throwing<NoText>(); }, 0x80004003, kBefore},
      {"no exception class", [] { return Throwing<int>(7); }, 0x8000FFFF, kBefore}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    PutErrorText(kBefore);
    EXPECT_EQ(Guarded(kClass, row.body), platform::ResultCode(row.result));
    EXPECT_EQ(TakeErrorText(), row.description);
  }
}

TEST(Boundary, LetsNothingOutAndReleasesWhatTheBodyHeld) {
  const auto held = std::make_shared<int>(1);
  // An operation's own handler stands inside and goes on as it did.
  const auto slot = [&, owned = std::make_unique<int>(2)]() -> HRESULT {
    const auto reference = held;
    try {
      return Throwing<std::out_of_range>("inner");
    } catch (const std::out_of_range&) {
      return Throwing<rastel::_com_error>(*owned == 2 ? E_ABORT : E_FAIL);
    }
  };
  static_assert(noexcept(Guarded(kClass, slot)));
  EXPECT_EQ(Guarded(kClass, slot), E_ABORT);
  EXPECT_EQ(held.use_count(), 1);
  // The handled exception is gone: the next one is told by itself.
  EXPECT_EQ(Guarded(kClass, [] { return Throwing<OwnText>(); }), DISP_E_EXCEPTION);
  EXPECT_EQ(TakeErrorText(), OLESTR("own text"));
}

}  // namespace
}  // namespace tests
