// SPDX-License-Identifier: MIT
// Enumerators: what those of maps, which are tested with them, do not show.
#include "platform/com_enum.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/variant_enum.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/doubles.h"

struct IEnumProbe : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IUnknown** elements, ULONG* fetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumProbe** out) = 0;
};
inline constexpr IID IID_IEnumProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x30}};
RASTEL_INTERFACE_ID(IEnumProbe);

namespace tests {
namespace {

using platform::ComPtr;
using platform::EnumArray;
using Enum = platform::CComObject<
    platform::CComEnum<IEnumProbe, IUnknown*, platform::CopyInterface<IUnknown>>>;

ComPtr<Enum> NewEnum() {
  Enum* made = nullptr;
  EXPECT_EQ(Enum::CreateInstance(&made), S_OK);
  return ComPtr<Enum>(made);
}

TEST(ComEnum, WithoutAnArrayHasNothing) {
  Double<IUnknown> element, holder;
  IUnknown* elements[] = {&element, nullptr};
  const ComPtr<Enum> made = NewEnum();
  ComPtr<IEnumProbe> clone;
  IUnknown* next = nullptr;
  EXPECT_EQ(made->Next(1, &next, nullptr), E_FAIL);
  for (const EnumArray array : {EnumArray::View, EnumArray::Copy}) {
    EXPECT_EQ(made->Init(elements, elements + 2, &holder, array), S_OK);
    EXPECT_EQ(element.references, array == EnumArray::Copy ? 1 : 0);
    EXPECT_EQ(holder.references, 1);
  }
  const int refused = FailEachAllocation(
      [&] { return made->Init(elements, elements + 2, nullptr, EnumArray::Copy); },
      [&](HRESULT result, long long) {
        EXPECT_EQ(result, E_OUTOFMEMORY);
        EXPECT_EQ(element.references, 0) << "the array before is let go";
        EXPECT_EQ(made->Next(1, &next, nullptr), E_FAIL);
        EXPECT_EQ(made->Skip(1), S_FALSE);
      });
  EXPECT_EQ(refused, 1);
  EXPECT_EQ(holder.references, 0);
  FailEachAllocation([&] { return made->Clone(clone.Put()); },
                     [&](HRESULT result, long long leaked) {
                       EXPECT_EQ(result, E_OUTOFMEMORY);
                       EXPECT_EQ(leaked, 0);
                     });
  EXPECT_EQ(clone->Next(1, &next, nullptr), S_OK);
  EXPECT_EQ(element.Release(), 1u) << "that of the array";
}

TEST(ComEnum, GivesCopiesOfAllOrNothing) {
  using Values = platform::CComObject<platform::VariantEnum>;
  VARIANT values[2] = {}, given[2];
  values[0].vt = VT_BSTR;
  values[0].bstrVal = SysAllocString(OLESTR("text"));
  values[1].vt = 15;  // Nothing that can be copied.
  Values* made = nullptr;
  ASSERT_EQ(Values::CreateInstance(&made), S_OK);
  const ComPtr<IEnumVARIANT> owner(made);
  EXPECT_EQ(made->Init(values, values + 2, nullptr, EnumArray::Copy), DISP_E_BADVARTYPE);
  made->Init(values, values + 2, nullptr, EnumArray::View);
  ULONG fetched = 9;
  EXPECT_EQ(made->Next(2, given, &fetched), DISP_E_BADVARTYPE);
  EXPECT_EQ(fetched, 0u);
  EXPECT_EQ(made->Next(1, given, &fetched), S_OK);
  EXPECT_EQ(given[0].vt, VT_BSTR);
  VariantClear(&given[0]);
  VariantClear(&values[0]);
}

TEST(ComEnum, ThreadsThatShareItStayInTheArray) {
  const ComPtr<Enum> made = NewEnum();
  IUnknown* elements[] = {nullptr, reinterpret_cast<IUnknown*>(1)};
  made->Init(elements, elements + 1, nullptr, EnumArray::View);
  const auto walk = [&] {
    for (int i = 0; i < 100000; ++i) {
      IUnknown* out = nullptr;
      made->Next(1, &out, nullptr);
      ASSERT_EQ(out, nullptr);
      if (i % 3 == 0) made->Reset();
    }
  };
  std::thread other(walk);
  walk();
  other.join();
}

}  // namespace
}  // namespace tests
