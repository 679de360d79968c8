#include "platform/com_enum.h"

#include <gtest/gtest.h>

#include <array>

struct IEnumNumberProbe : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, LONG* elements, ULONG* fetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumNumberProbe** out) = 0;
};
inline constexpr IID IID_IEnumNumberProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x30}};
RASTEL_INTERFACE_ID(IEnumNumberProbe);

struct IEnumUnknownProbe : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IUnknown** elements, ULONG* fetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumUnknownProbe** out) = 0;
};
inline constexpr IID IID_IEnumUnknownProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x31}};
RASTEL_INTERFACE_ID(IEnumUnknownProbe);

namespace tests {

using platform::EnumArray;

// A copy that fails at the value 13.
struct FailAtThirteen : platform::CopyValue<LONG> {
  static HRESULT Copy(LONG* target, const LONG* source) noexcept {
    *target = *source;
    return *source == 13 ? E_ABORT : S_OK;
  }
};

template <class Policy>
using NumberEnum = platform::CComObject<platform::CComEnum<IEnumNumberProbe, LONG, Policy>>;

struct CountedUnknown final : IUnknown {
  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  ULONG references = 1;
};

TEST(ComEnum, NextAndSkipFollowTheTable) {
  std::array<LONG, 5> numbers{1, 2, 3, 4, 5};
  NumberEnum<platform::CopyValue<LONG>>* made = nullptr;
  ASSERT_EQ(NumberEnum<platform::CopyValue<LONG>>::CreateInstance(&made), S_OK);
  platform::ComPtr<IEnumNumberProbe> numbersLeft(made);
  LONG out[8] = {};
  ULONG fetched = 9;
  EXPECT_EQ(made->Next(1, out, &fetched), E_FAIL) << "without an array";
  EXPECT_EQ(fetched, 0u);
  made->Init(numbers.data(), numbers.data() + 5, nullptr, EnumArray::View);

  const struct {
    const char* name;
    ULONG skip;
    ULONG count;
    bool hasArray;
    bool hasFetched;
    HRESULT expected;
    ULONG delivered;
  } rows[] = {
      {"null array", 0, 1, false, true, E_POINTER, 0},
      {"two without fetched", 0, 2, true, false, E_POINTER, 0},
      {"none without fetched", 0, 0, true, false, S_OK, 0},
      {"one without fetched", 0, 1, true, false, S_OK, 1},
      {"all", 0, 5, true, true, S_OK, 5},
      {"more than the rest", 2, 5, true, true, S_FALSE, 3},
      {"at the end", 5, 1, true, true, S_FALSE, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    made->Reset();
    EXPECT_EQ(made->Skip(row.skip), S_OK);
    fetched = 99;
    std::fill(std::begin(out), std::end(out), -1);
    EXPECT_EQ(
        made->Next(row.count, row.hasArray ? out : nullptr, row.hasFetched ? &fetched : nullptr),
        row.expected);
    EXPECT_EQ(fetched, row.hasFetched ? row.delivered : 99);
    for (ULONG i = 0; i < 8; ++i) {
      EXPECT_EQ(out[i], i < row.delivered ? static_cast<LONG>(row.skip + i + 1) : -1);
    }
  }
  made->Reset();
  EXPECT_EQ(made->Skip(6), S_FALSE);
  EXPECT_EQ(made->Skip(0), S_OK);
  EXPECT_EQ(made->Next(1, out, nullptr), S_FALSE);
}

TEST(ComEnum, CloneSharesTheArrayAndItsOwner) {
  const struct {
    EnumArray array;
    ULONG holderAfterSource;  // references on the holder once only the clone is left
  } rows[] = {{EnumArray::View, 2}, {EnumArray::Copy, 2}};
  for (const auto& row : rows) {
    CountedUnknown holder;
    std::array<LONG, 4> numbers{1, 2, 3, 4};
    NumberEnum<platform::CopyValue<LONG>>* made = nullptr;
    ASSERT_EQ(NumberEnum<platform::CopyValue<LONG>>::CreateInstance(&made), S_OK);
    platform::ComPtr<IEnumNumberProbe> source(made);
    ASSERT_EQ(made->Init(numbers.data(), numbers.data() + 4, &holder, row.array), S_OK);
    made->Skip(2);
    platform::ComPtr<IEnumNumberProbe> clone;
    EXPECT_EQ(made->Clone(nullptr), E_POINTER);
    ASSERT_EQ(made->Clone(clone.Put()), S_OK);
    made->Reset();
    source.Reset();
    EXPECT_EQ(holder.references, row.holderAfterSource);
    if (row.array == EnumArray::Copy) numbers.fill(0);
    LONG out = 0;
    EXPECT_EQ(clone->Next(1, &out, nullptr), S_OK);
    EXPECT_EQ(out, 3);
    clone.Reset();
    EXPECT_EQ(holder.references, 1u);
  }
  EXPECT_EQ(platform::moduleLockCount, 0);
}

TEST(ComEnum, CopiesCountTheirElements) {
  using UnknownEnum = platform::CComObject<
      platform::CComEnum<IEnumUnknownProbe, IUnknown*, platform::CopyInterface<IUnknown>>>;
  CountedUnknown element;
  IUnknown* elements[] = {&element, nullptr, &element};
  UnknownEnum* made = nullptr;
  ASSERT_EQ(UnknownEnum::CreateInstance(&made), S_OK);
  platform::ComPtr<IEnumUnknownProbe> enumerator(made);
  ASSERT_EQ(made->Init(elements, elements + 3, nullptr, EnumArray::Copy), S_OK);
  EXPECT_EQ(element.references, 3u);
  IUnknown* out[3] = {};
  ULONG fetched = 0;
  ASSERT_EQ(made->Next(3, out, &fetched), S_OK);
  EXPECT_EQ(element.references, 5u);
  EXPECT_EQ(out[1], nullptr);
  out[0]->Release();
  out[2]->Release();
  enumerator.Reset();
  EXPECT_EQ(element.references, 1u);
}

TEST(ComEnum, FailingCopiesTakeNothing) {
  std::array<LONG, 3> numbers{12, 13, 14};
  NumberEnum<FailAtThirteen>* made = nullptr;
  ASSERT_EQ(NumberEnum<FailAtThirteen>::CreateInstance(&made), S_OK);
  platform::ComPtr<IEnumNumberProbe> holder(made);
  LONG out[3] = {};
  ULONG fetched = 9;
  EXPECT_EQ(made->Init(numbers.data(), numbers.data() + 3, nullptr, EnumArray::Copy), E_ABORT);
  EXPECT_EQ(made->Next(1, out, &fetched), E_FAIL);
  made->Init(numbers.data(), numbers.data() + 3, nullptr, EnumArray::View);
  EXPECT_EQ(made->Next(3, out, &fetched), E_ABORT);
  EXPECT_EQ(fetched, 0u);
  EXPECT_EQ(made->Next(1, out, &fetched), S_OK) << "the position stayed";
  EXPECT_EQ(out[0], 12);
}

}  // namespace tests
