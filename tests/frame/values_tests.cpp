// SPDX-License-Identifier: MIT
// The holder of texts, and what fails in it: what no slot of the module brings about.
#include "module/frame/bstr.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "module/frame/exceptions.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"

namespace tests {

namespace {

using platform::ResultCode;
using rastel::_bstr_t;
using rastel::_com_error;
using rastel::CAtlException;
using Text = std::basic_string<OLECHAR>;

constinit rastel::BstrLiteral noneLiteral("None");

// The code that a body raises, by kind of exception; S_OK if none.
template <class Exception>
HRESULT Raised(const std::function<void()>& body) {
  try {
    body();
  } catch (const Exception& error) {
    return error.Error();
  }
  return S_OK;
}

// Texts without letters are all alike, whatever holds them; units count as unsigned numbers.
TEST(BstrHolder, StandsInTheOrderOfUnsignedUnitsThenLength) {
  const std::pair<_bstr_t, int> rows[] = {
      {_bstr_t(), 0},      {_bstr_t::Attach(nullptr), 0}, {_bstr_t(""), 0},   {_bstr_t("Z"), 1},
      {_bstr_t("a"), 2},   {_bstr_t(OLESTR("a")), 2},     {_bstr_t("ab"), 3}, {_bstr_t("abc"), 4},
      {_bstr_t("abd"), 5}, {_bstr_t(OLESTR("\uFFFD")), 6}};
  for (const auto& [a, rankOfA] : rows) {
    for (const auto& [b, rankOfB] : rows) {
      SCOPED_TRACE(testing::Message() << rankOfA << ' ' << rankOfB);
      EXPECT_EQ(Compare(a, b) == 0, rankOfA == rankOfB);
      EXPECT_EQ(IsLess(a, b), rankOfA < rankOfB ? 1 : 0);
      EXPECT_EQ(a < b, rankOfA < rankOfB);
    }
  }
  // The difference of the units, else -1, 0 or 1.
  EXPECT_EQ(Compare(rows[4].first, rows[9].first), 'a' - 0xFFFD);
  EXPECT_EQ(Compare(rows[7].first, rows[6].first), 1);
  EXPECT_EQ(Compare(rows[6].first, rows[7].first), -1);
}

TEST(BstrHolder, ConvertsNarrowTextOfAnyLengthAndBack) {
  for (const std::size_t length : {0u, 1u, 4094u, 4095u, 100000u}) {
    const std::string narrow(length, 'x');
    const _bstr_t holder(narrow.c_str());
    EXPECT_EQ(Text(holder.Wide(), holder.Length()), Text(length, OLECHAR{'x'}));
    EXPECT_EQ(holder.Narrow(), narrow);
  }
  EXPECT_STREQ(_bstr_t(OLESTR("\u00FC")).Narrow(), kEmbeddedHost ? "\xC3\xBC" : "\xFC");
  // What is no text of the code page is replaced, not refused.
  EXPECT_EQ(_bstr_t("a\x81z").Length(), 3u);
  EXPECT_EQ(_bstr_t(static_cast<const char*>(nullptr)).Narrow(), nullptr);
  EXPECT_EQ(_bstr_t(static_cast<const OLECHAR*>(nullptr)).Copy(), nullptr);
}

TEST(BstrHolder, SharesItsRecordUntilItIsAssignedAnew) {
  _bstr_t holder(OLESTR("text"));
  const _bstr_t before = holder;
  holder = *&holder;
  holder.Assign(holder.Narrow());
  holder.Assign(holder.Wide());
  EXPECT_TRUE(holder.SharesRecordWith(before));
  const _bstr_t moved = std::move(holder);
  EXPECT_EQ(holder.Wide(), nullptr);
  // A piece of the own text, which the old record holds.
  _bstr_t alone(OLESTR("text"));
  alone.Assign(alone.Wide() + 2);
  alone.Assign(alone.Narrow() + 1);
  EXPECT_STREQ(alone.Narrow(), "t");
  alone.AssignLiteral(noneLiteral);
  EXPECT_TRUE(alone.SharesRecordWith(_bstr_t(noneLiteral)));
  EXPECT_EQ(noneLiteral.Record()->m_RefCount, 0x80000000u) << "nobody counts";
  std::thread other([before] { EXPECT_STREQ(before.Narrow(), "text"); });
  EXPECT_STREQ(moved.Narrow(), "text");
  other.join();
}

TEST(BstrHolder, WithoutMemory_RaisesAndLosesNothing) {
  const std::string longText(5000, 'x');
  const std::pair<std::function<void()>, int> rows[] = {
      {[&] { _bstr_t text(longText.c_str()); }, 2},
      {[] { _bstr_t::Attach(SysAllocString(OLESTR("abc"))); }, 1},
      {[] { _bstr_t::CopyOfBytes(noneLiteral.Record()->m_Wide); }, 1},
      {[] { _bstr_t(OLESTR("abc")).Narrow(); }, 2}};
  for (const auto& [operation, atLeast] : rows) {
    SCOPED_TRACE(atLeast);
    const int refused = FailEachAllocation([&run = operation] { return Raised<_com_error>(run); },
                                           [](HRESULT result, long long leaked) {
                                             EXPECT_EQ(result, E_OUTOFMEMORY);
                                             EXPECT_EQ(leaked, 0);
                                           });
    EXPECT_GE(refused, atLeast);
  }
}

TEST(Failures, AreRaisedOnlyWhenNegativeAndThroughTheHandler) {
  using rastel::CheckResult;
  for (const HRESULT code : {ResultCode(0x7FFFFFFF), S_OK, ResultCode(0xFFFFFFFF), E_FAIL}) {
    EXPECT_EQ(Raised<_com_error>([&] { CheckResult(code); }), code < 0 ? code : S_OK);
  }
  for (const auto& [lastError, code] : {std::pair(87u, 0x80070057),
                                        {0x12345, 0x80072345},
                                        {0x80040154, 0x80040154},
                                        {0, 0x80004005}}) {
    SetLastError(lastError);
    EXPECT_EQ(Raised<_com_error>([] { rastel::RaiseLastError(); }), ResultCode(code));
  }
  const auto original = rastel::SetComErrorHandler([](HRESULT code) { rastel::AtlThrow(code); });
  EXPECT_EQ(Raised<CAtlException>([] { CheckResult(E_FAIL); }), E_FAIL);
  rastel::SetComErrorHandler([](HRESULT) {});
  EXPECT_EQ(Raised<_com_error>([] { CheckResult(E_ABORT); }), E_ABORT);
  rastel::SetComErrorHandler(nullptr);
  EXPECT_EQ(rastel::SetComErrorHandler(original), original);
}

}  // namespace
}  // namespace tests
