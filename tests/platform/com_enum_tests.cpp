#include "platform/com_enum.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "tests/support/doubles.h"

template <class Element>
struct IEnumProbe : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, Element* elements, ULONG* fetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumProbe** out) = 0;
};
using IEnumNumberProbe = IEnumProbe<LONG>;
using IEnumUnknownProbe = IEnumProbe<IUnknown*>;
inline constexpr IID IID_IEnumNumberProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x30}};
inline constexpr IID IID_IEnumUnknownProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x31}};
RASTEL_INTERFACE_ID(IEnumNumberProbe);
RASTEL_INTERFACE_ID(IEnumUnknownProbe);

namespace tests {

using platform::ComPtr;
using platform::EnumArray;

struct CopyNumber {
  static void Copy(LONG* target, const LONG* source) noexcept { *target = *source; }
  static void Init(LONG*) noexcept {}
  static void Destroy(LONG*) noexcept {}
};

template <class Interface, class Element, class Policy>
auto NewEnum() {
  using Enum = platform::CComObject<platform::CComEnum<Interface, Element, Policy>>;
  Enum* made = nullptr;
  EXPECT_EQ(Enum::CreateInstance(&made), S_OK);
  return ComPtr<Enum>(made);
}
auto NewNumberEnum() { return NewEnum<IEnumNumberProbe, LONG, CopyNumber>(); }

TEST(ComEnum, NextAndSkipFollowTheTable) {
  std::array<LONG, 5> numbers{1, 2, 3, 4, 5};
  const auto made = NewNumberEnum();
  LONG out[8] = {};
  ULONG fetched = 9;
  EXPECT_EQ(made->Next(1, out, &fetched), E_FAIL) << "without an array";
  EXPECT_EQ(fetched, 0u);
  made->Init(numbers.data(), numbers.data() + 5, nullptr, EnumArray::View);
  const struct {
    ULONG skip, count;
    bool hasArray, hasFetched;
    HRESULT expected;
    ULONG delivered;
  } rows[] = {{0, 1, false, true, E_POINTER, 0}, {0, 2, true, false, E_POINTER, 0},
              {0, 0, true, false, S_OK, 0},      {0, 1, true, false, S_OK, 1},
              {0, 5, true, true, S_OK, 5},       {2, 5, true, true, S_FALSE, 3},
              {5, 1, true, true, S_FALSE, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
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
  for (const EnumArray array : {EnumArray::View, EnumArray::Copy}) {
    Double<IUnknown> holder;
    std::array<LONG, 4> numbers{1, 2, 3, 4};
    auto source = NewNumberEnum();
    ASSERT_EQ(source->Init(numbers.data(), numbers.data() + 4, &holder, array), S_OK);
    source->Skip(2);
    ComPtr<IEnumNumberProbe> clone;
    EXPECT_EQ(source->Clone(nullptr), E_POINTER);
    ASSERT_EQ(source->Clone(clone.Put()), S_OK);
    source->Reset();
    source.Reset();
    EXPECT_EQ(holder.references, 1) << "that of the clone";
    if (array == EnumArray::Copy) numbers.fill(0);
    LONG out = 0;
    EXPECT_EQ(clone->Next(1, &out, nullptr), S_OK);
    EXPECT_EQ(out, 3);
    clone.Reset();
    EXPECT_EQ(holder.references, 0);
  }
  EXPECT_EQ(platform::moduleLockCount, 0);
}

TEST(ComEnum, CopiesCountTheirElements) {
  Double<IUnknown> element;
  IUnknown *elements[] = {&element, nullptr, &element}, *out[3] = {};
  auto made = NewEnum<IEnumUnknownProbe, IUnknown*, platform::CopyInterface<IUnknown>>();
  ASSERT_EQ(made->Init(elements, elements + 3, nullptr, EnumArray::Copy), S_OK);
  EXPECT_EQ(element.references, 2);
  ULONG fetched = 0;
  ASSERT_EQ(made->Next(3, out, &fetched), S_OK);
  EXPECT_EQ(element.references, 4);
  EXPECT_EQ(out[1], nullptr);
  made.Reset();
  EXPECT_EQ(element.references, 2);
}

TEST(ComEnum, ThreadsThatShareItStayInTheArray) {
  const auto made = NewNumberEnum();
  LONG numbers[] = {1, -1};
  made->Init(numbers, numbers + 1, nullptr, EnumArray::Copy);
  const auto walk = [&] {
    for (int i = 0; i < 100000; ++i) {
      LONG out = 1;
      made->Next(1, &out, nullptr);
      ASSERT_EQ(out, 1);
      if (i % 3 == 0) made->Reset();
    }
  };
  std::thread other(walk);
  walk();
  other.join();
}

}  // namespace tests
