// Holders of text and of VARIANTs, what they raise, and what they leave behind without memory.
#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "module/frame/bstr.h"
#include "module/frame/exceptions.h"
#include "module/frame/lockable.h"
#include "module/frame/variants.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"
#include "tests/support/slots.h"

namespace tests {

// Tells when its last reference goes.
class Witness final : public IUnknown {
 public:
  explicit Witness(std::function<void()> onLastRelease = {}) : onLastRelease_(onLastRelease) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override {
    if (--references == 0 && onLastRelease_) onLastRelease_();
    return references;
  }
  ULONG references = 0;

 private:
  std::function<void()> onLastRelease_;
};

class CountingLock final : public rastel::LockableClass {
 public:
  void Lock() override { ++depth; }
  void Unlock() override { --depth; }
  int depth = 0;
};

namespace {

using rastel::_bstr_t;
using rastel::_com_error;
using rastel::_variant_t;
using rastel::CAtlException;
using rastel::CComVariant;
using Text = std::basic_string<OLECHAR>;

constexpr HRESULT kBadType = platform::ResultCode(0x80020008u);
constexpr HRESULT kMemory = platform::ResultCode(0x8007000Eu);

constinit rastel::BstrLiteral noneLiteral("None");

Text TextOf(BSTR bstr) { return bstr == nullptr ? Text() : Text(bstr, SysStringLen(bstr)); }

// The code that a body raises, by kind of exception; S_OK if none.
template <class Exception, class Body>
HRESULT Raised(Body body) {
  try {
    body();
  } catch (const Exception& error) {
    return error.Error();
  } catch (...) {
    return E_UNEXPECTED;
  }
  return S_OK;
}

// A null text makes a null text; a length of -1 a null holder.
_bstr_t Holding(const OLECHAR* text, int length) {
  if (length < 0) return _bstr_t();
  return _bstr_t::Attach(text ? SysAllocStringLen(text, static_cast<UINT>(length)) : nullptr);
}

TEST(BstrCompare, OrdersByUnsignedUnitThenLength) {
  struct Value {
    const OLECHAR* text;
    int length;
  };
  const Value nullHolder{nullptr, -1}, nullText{nullptr, 0}, empty{OLESTR(""), 0};
  const struct {
    Value a, b;
    std::int32_t expected;
  } rows[] = {{nullHolder, nullHolder, 0},
              {nullHolder, nullText, 0},
              {nullHolder, empty, 0},
              {nullText, nullText, 0},
              {nullText, empty, 0},
              {empty, empty, 0},
              {nullHolder, {OLESTR("a"), 1}, -1},
              {nullText, {OLESTR("a"), 1}, -1},
              {empty, {OLESTR("a"), 1}, -1},
              {{OLESTR("abc"), 3}, {OLESTR("abc"), 3}, 0},
              {{OLESTR("ab"), 2}, {OLESTR("abc"), 3}, -1},
              {{OLESTR("abc"), 3}, {OLESTR("abd"), 3}, -1},
              {{OLESTR("abb"), 3}, {OLESTR("abd"), 3}, -2},
              {{OLESTR("Z"), 1}, {OLESTR("a"), 1}, -7},
              {{OLESTR("a"), 1}, {OLESTR("\uFFFD"), 1}, -0xFF9C},
              {{OLESTR("a"), 1}, {OLESTR("a\0b"), 3}, -1},
              {{OLESTR("a\0b"), 3}, {OLESTR("a\0c"), 3}, -1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const _bstr_t a = Holding(row.a.text, row.a.length), b = Holding(row.b.text, row.b.length);
    AllocationFaults faults;
    const std::int32_t forward = Compare(a, b), backward = Compare(b, a);
    const std::int32_t less = IsLess(a, b), more = IsLess(b, a);
    EXPECT_EQ(faults.Stop(), 0);
    EXPECT_EQ(forward, row.expected);
    EXPECT_EQ(backward, -row.expected);
    EXPECT_EQ(less, row.expected < 0 ? 1 : 0);
    EXPECT_EQ(more, 0);
    EXPECT_EQ(a < b, row.expected < 0);
    EXPECT_FALSE(b < a);
  }
}

TEST(BstrHolder, ConvertsNarrowTextOfAnyLengthAndBack) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{4094},
                                   std::size_t{4095}, std::size_t{4096}, std::size_t{100000}}) {
    const std::string narrow(length, 'x');
    const _bstr_t holder(narrow.c_str());
    EXPECT_EQ(TextOf(holder.Wide()), Text(length, OLECHAR{'x'}));
    EXPECT_EQ(holder.Narrow(), narrow);
    EXPECT_EQ(holder.Narrow(), holder.Narrow());
  }
  const char* const umlaut = kEmbeddedHost ? "\xC3\xBC" : "\xFC";
  EXPECT_EQ(TextOf(_bstr_t(umlaut).Wide()), OLESTR("\u00FC"));
  EXPECT_STREQ(_bstr_t(OLESTR("\u00FC")).Narrow(), umlaut);
}

TEST(BstrHolder, OfNullTextStaysNull) {
  const _bstr_t holders[] = {_bstr_t(), _bstr_t(static_cast<const char*>(nullptr)),
                             _bstr_t(static_cast<const OLECHAR*>(nullptr)),
                             _bstr_t::Attach(nullptr), _bstr_t::CopyOfBytes(nullptr)};
  for (const _bstr_t& holder : holders) {
    EXPECT_EQ(holder.Wide(), nullptr);
    EXPECT_EQ(holder.Narrow(), nullptr);
    EXPECT_EQ(holder.Copy(), nullptr);
    EXPECT_EQ(holder.Length(), 0u);
  }
}

TEST(BstrHolder, KeepsEmbeddedNullsAndOddBytesInWideForms) {
  const Text text(OLESTR("a\0b"), 3);
  const BSTR source = SysAllocStringLen(text.data(), 3);
  const _bstr_t copy = _bstr_t::CopyOfBytes(source);
  EXPECT_NE(copy.Wide(), source);
  EXPECT_EQ(TextOf(copy.Wide()), text);
  EXPECT_EQ(copy.Length(), 3u);
  EXPECT_STREQ(copy.Narrow(), "a");
  EXPECT_EQ(_bstr_t(source).Length(), 1u);
  const _bstr_t adopted = _bstr_t::Attach(source);
  EXPECT_EQ(adopted.Wide(), source);

  const BSTR oddCopy = _bstr_t::Attach(SysAllocStringByteLen("abc", 3)).Copy();
  EXPECT_EQ(SysStringByteLen(oddCopy), 3u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(oddCopy), 3), "abc");
  SysFreeString(oddCopy);
}

TEST(BstrHolder, SharesOneRecordAmongCopies) {
  _bstr_t first("one");
  _bstr_t second(first), third;
  third = second;
  third = *&third;
  EXPECT_TRUE(first.SharesRecordWith(third));
  EXPECT_EQ(first.Narrow(), third.Narrow());
  first.Assign("two");
  second.Release();
  second.Release();
  EXPECT_EQ(TextOf(first.Wide()), OLESTR("two"));
  EXPECT_EQ(second.Wide(), nullptr);
  EXPECT_EQ(TextOf(third.Wide()), OLESTR("one"));
  first = std::move(third);
  EXPECT_EQ(third.Wide(), nullptr);
  EXPECT_STREQ(first.Narrow(), "one");
}

TEST(BstrHolder, AssignOfItsOwnText_KeepsTheRecord) {
  _bstr_t holder(OLESTR("text"));
  const _bstr_t before = holder;
  holder.Assign(holder.Narrow());
  EXPECT_TRUE(holder.SharesRecordWith(before));
  holder.Assign(holder.Wide());
  EXPECT_TRUE(holder.SharesRecordWith(before));
  holder.Assign(static_cast<const OLECHAR*>(nullptr));
  EXPECT_EQ(holder.Wide(), nullptr);

  // A piece of the own text, which the old record holds.
  _bstr_t alone(OLESTR("text"));
  alone.Assign(alone.Wide() + 2);
  EXPECT_EQ(TextOf(alone.Wide()), OLESTR("xt"));
  alone.Assign(alone.Narrow() + 1);
  EXPECT_STREQ(alone.Narrow(), "t");
}

TEST(BstrHolder, OfALiteral_NeitherAllocatesNorFrees) {
  AllocationFaults faults;
  for (int i = 0; i < 3; ++i) {
    _bstr_t holder, copy;
    holder.AssignLiteral(noneLiteral);
    copy = holder;
    holder.AssignLiteral(noneLiteral);
    if (holder.Length() != 4 || !copy.SharesRecordWith(holder)) std::abort();
  }
  EXPECT_EQ(faults.Stop(), 0);
  EXPECT_EQ(noneLiteral.Record()->m_RefCount, 0x80000000u);
  const _bstr_t holder(noneLiteral);
  EXPECT_EQ(TextOf(holder.Wide()), OLESTR("None"));
  EXPECT_STREQ(holder.Narrow(), "None");
  EXPECT_EQ(Compare(holder, _bstr_t("None")), 0);
  const BSTR copy = holder.Copy();
  EXPECT_EQ(TextOf(copy), OLESTR("None"));
  SysFreeString(copy);
}

TEST(BstrHolder, WithoutMemory_RaisesAndLosesNothing) {
  static const std::string longText(5000, 'x');
  static _bstr_t holder;
  const struct {
    const char* name;
    void (*operation)();
    int atLeast;  // allocations of ours
  } rows[] = {{"short narrow text", [] { _bstr_t text("abc"); }, 1},
              {"long narrow text", [] { _bstr_t text(longText.c_str()); }, 2},
              {"wide text", [] { _bstr_t text(OLESTR("abc")); }, 1},
              {"attached text", [] { _bstr_t::Attach(SysAllocString(OLESTR("abc"))); }, 1},
              {"copied text", [] { _bstr_t::CopyOfBytes(noneLiteral.Record()->m_Wide); }, 1},
              {"narrow form", [] { _bstr_t(OLESTR("abc")).Narrow(); }, 2},
              {"assignment",
               [] {
                 holder.AssignLiteral(noneLiteral);
                 holder.Assign("abc");
               },
               1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const int refused = FailEachAllocation(
        [&] {
          const HRESULT result = Raised<_com_error>(row.operation);
          if (FAILED(result) && holder.Wide() != nullptr) return E_UNEXPECTED;
          holder.Release();
          return result;
        },
        [](HRESULT result, long long leaked) {
          EXPECT_EQ(result, kMemory);
          EXPECT_EQ(leaked, 0);
        });
    EXPECT_GE(refused, row.atLeast);
  }
}

TEST(BstrHolder, WhenThePlatformRefusesTheCopy_RaisesOutOfMemory) {
  // No string can have this length; the platform looks at it before it reads a unit.
  struct {
    std::uint32_t padding, bytes;
    OLECHAR units[1];
  } huge = {0, 0xFFFFFFFF, {}};
  EXPECT_EQ(Raised<_com_error>([&] { _bstr_t::CopyOfBytes(huge.units); }), kMemory);
}

TEST(BstrHolder, OnSeveralThreads_PublishesOneNarrowText) {
  for (int round = 0; round < 50; ++round) {
    const _bstr_t shared(OLESTR("shared"));
    const char* seen[4] = {};
    std::vector<std::thread> threads;
    for (const char*& one : seen) {
      threads.emplace_back([own = shared, &one]() mutable {
        one = own.Narrow();
        own.Release();
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(seen, testing::Each(shared.Narrow()));
    EXPECT_STREQ(shared.Narrow(), "shared");
  }
}

VARIANT Number(LONG value) {
  VARIANT variant{};
  variant.vt = VT_I4;
  variant.lVal = value;
  return variant;
}

VARIANT Unusable() {
  VARIANT variant{};
  variant.vt = 15;
  return variant;
}

template <class Wrapper, class Exception>
void ExpectOwnership() {
  static constexpr bool kMarks = std::is_same_v<Wrapper, CComVariant>;
  Witness witness;
  {
    VARIANT object{};
    object.vt = VT_UNKNOWN;
    object.punkVal = &witness;
    const Wrapper first(object);
    Wrapper second(first), third(std::move(second));
    EXPECT_EQ(second.vt, VT_EMPTY);
    EXPECT_EQ(witness.references, 2u);
    second = third;
    third = *&third;
    EXPECT_EQ(witness.references, 3u);
    third = Wrapper();
    EXPECT_EQ(witness.references, 2u);

    // A failed copy leaves the old value, or its mark.
    EXPECT_EQ(Raised<Exception>([&] { second = Unusable(); }), kBadType);
    EXPECT_EQ(witness.references, kMarks ? 1u : 2u);
    EXPECT_EQ(second.vt, kMarks ? VT_ERROR : VT_UNKNOWN);
    if (kMarks) {
      EXPECT_EQ(second.scode, kBadType);
    }
    EXPECT_EQ(Raised<Exception>([] { Wrapper copy(Unusable()); }), kBadType);

    // So does a value that cannot be cleared.
    Wrapper stuck;
    stuck.vt = 15;
    EXPECT_EQ(Raised<Exception>([&] { stuck = object; }), kBadType);
    EXPECT_EQ(stuck.vt, kMarks ? VT_ERROR : 15);
  }
  EXPECT_EQ(witness.references, 0u);
}

TEST(VariantWrappers, OwnTheirValueAndDifferInFailing) {
  ExpectOwnership<_variant_t, _com_error>();
  ExpectOwnership<CComVariant, CAtlException>();
}

TEST(VariantWrappers, TakeABitwiseImageOfThemselves) {
  CComVariant value;
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(OLESTR("kept"));
  const VARIANT image = value;
  value = image;
  EXPECT_EQ(TextOf(value.bstrVal), OLESTR("kept"));
  const VARIANT detached = value.Detach();
  EXPECT_EQ(value.vt, VT_EMPTY);
  SysFreeString(detached.bstrVal);
}

TEST(VariantWrappers, ReleaseTheDisplacedValueLast) {
  LONG seen[3] = {};
  VARIANT element = Number(0);
  const auto hold = [&element](Witness& witness) {
    element.vt = VT_UNKNOWN;
    element.punkVal = &witness;
    witness.AddRef();
  };
  Witness replaced([&] { seen[0] = element.lVal; });
  hold(replaced);
  EXPECT_EQ(rastel::ReplaceVariant(element, Number(5)), S_OK);
  Witness marked([&] { seen[1] = element.vt; });
  hold(marked);
  EXPECT_EQ(rastel::ReplaceVariantOrMark(element, Unusable()), kBadType);
  Witness overwritten([&] { seen[2] = element.lVal; });
  hold(overwritten);
  VARIANT value = Number(7);
  EXPECT_EQ(rastel::MoveVariantTo(&element, value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
  EXPECT_THAT(seen, testing::ElementsAre(5, VT_ERROR, 7));

  value = Number(9);
  VARIANT stuck = Unusable();
  EXPECT_EQ(rastel::MoveVariantTo(&stuck, value), kBadType);
  EXPECT_EQ(stuck.vt, 15);
  EXPECT_EQ(value.lVal, 9);
}

TEST(Failures, AreRaisedOnlyWhenNegative) {
  for (const std::uint32_t bits : {0u, 1u, 0x7FFFFFFFu}) {
    EXPECT_EQ(Raised<_com_error>([&] { rastel::CheckResult(platform::ResultCode(bits)); }), S_OK);
  }
  for (const std::uint32_t bits : {0x80000000u, 0x80004005u, 0xFFFFFFFFu}) {
    const HRESULT code = platform::ResultCode(bits);
    EXPECT_EQ(Raised<_com_error>([&] { rastel::CheckResult(code); }), code);
    EXPECT_EQ(Raised<CAtlException>([&] { rastel::AtlThrow(code); }), code);
  }
  static_assert(!std::is_base_of_v<std::exception, _com_error>);
  static_assert(!std::is_base_of_v<std::exception, CAtlException>);
  const _com_error error(E_FAIL);
  EXPECT_EQ(error.ErrorInfo(), nullptr);
  EXPECT_EQ(error.Message(), nullptr);
  EXPECT_STREQ(rastel::TextException("empty variant").what(), "empty variant");
}

TEST(Failures, OfTheSystem_BecomeResults) {
  const struct {
    DWORD lastError;
    std::uint32_t expected;
  } rows[] = {{87, 0x80070057}, {0x12345, 0x80072345}, {0x80040154, 0x80040154}, {0, 0x80004005}};
  for (const auto& row : rows) {
    SetLastError(row.lastError);
    EXPECT_EQ(Raised<_com_error>([] { rastel::RaiseLastError(); }),
              platform::ResultCode(row.expected));
  }
}

TEST(Failures, GoThroughTheReplaceableHandler) {
  const rastel::ComErrorHandler original =
      rastel::SetComErrorHandler([](HRESULT result) { rastel::AtlThrow(result); });
  EXPECT_EQ(Raised<CAtlException>([] { rastel::CheckResult(E_FAIL); }), E_FAIL);
  rastel::SetComErrorHandler([](HRESULT) {});
  EXPECT_EQ(Raised<_com_error>([] { rastel::_com_issue_error(E_ABORT); }), E_ABORT);
  rastel::SetComErrorHandler(nullptr);
  EXPECT_EQ(Raised<_com_error>([] { rastel::_com_issue_error(E_FAIL); }), E_FAIL);
  EXPECT_EQ(rastel::SetComErrorHandler(original), original);
}

TEST(ScopedLock, LeavesWithAnException) {
  EXPECT_EQ(SlotOf(&rastel::LockableClass::Lock), 0);
  EXPECT_EQ(SlotOf(&rastel::LockableClass::Unlock), 1);
  CountingLock lock;
  int depthInside = 0;
  Raised<_com_error>([&] {
    rastel::ScopedLock outer(lock), inner(lock);
    depthInside = lock.depth;
    rastel::CheckResult(E_FAIL);
  });
  EXPECT_EQ(depthInside, 2);
  EXPECT_EQ(lock.depth, 0);
}

}  // namespace
}  // namespace tests
