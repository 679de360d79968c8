// Enumerators over arrays of every small size, against what a vector says.
#include "platform/com_enum.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

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

// Asks for some elements behind those that are skipped, and gives back what comes.
void ExpectWalk(IEnumProbe& walk, const std::vector<IUnknown*>& all, ULONG skip, ULONG count) {
  SCOPED_TRACE(testing::Message() << all.size() << ' ' << skip << ' ' << count);
  const auto size = static_cast<ULONG>(all.size());
  const ULONG start = (std::min)(skip, size), left = (std::min)(count, size - start);
  for (const bool isTold : {true, false}) {
    IUnknown* const untouched = &walk;
    IUnknown* got[8];
    std::fill_n(got, 8, untouched);
    ULONG fetched = 99;
    EXPECT_EQ(walk.Reset(), S_OK);
    EXPECT_EQ(walk.Skip(skip), start < skip ? S_FALSE : S_OK);
    EXPECT_EQ(walk.Next(count, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(fetched, 0u);
    const HRESULT result = walk.Next(count, got, isTold ? &fetched : nullptr);
    if (!isTold && count > 1) {
      EXPECT_EQ(result, E_POINTER);
      continue;
    }
    EXPECT_EQ(result, left < count ? S_FALSE : S_OK);
    EXPECT_EQ(fetched, isTold ? left : 0);
    for (ULONG i = 0; i < 8; ++i) EXPECT_EQ(got[i], i < left ? all[start + i] : untouched);
    for (ULONG i = 0; i < left; ++i) {
      if (got[i]) got[i]->Release();
    }
  }
}

TEST(ComEnum, WalksAsAVectorDoes) {
  for (const EnumArray array : {EnumArray::View, EnumArray::Copy}) {
    for (std::size_t size = 0; size < 5; ++size) {
      Double<IUnknown> first, second, holder;
      std::vector<IUnknown*> elements{&first, nullptr, &second, &first};
      elements.resize(size);
      const std::vector<IUnknown*> all = elements;
      ComPtr<Enum> made = NewEnum();
      ComPtr<IEnumProbe> clone;
      IUnknown* next = nullptr;
      EXPECT_EQ(made->Next(1, &next, nullptr), E_FAIL) << "no array";
      EXPECT_EQ(made->Init(elements.data(), elements.data() + size, &holder, array), S_OK);
      for (ULONG skip = 0; skip < 6; ++skip) {
        for (ULONG count = 0; count < 6; ++count) ExpectWalk(*made, all, skip, count);
      }
      made->Reset();
      made->Skip(1);
      EXPECT_EQ(made->Clone(nullptr), E_POINTER);
      ASSERT_EQ(made->Clone(clone.Put()), S_OK);
      made.Reset();
      EXPECT_EQ(holder.references, 1) << "that of the clone";
      if (array == EnumArray::Copy) std::fill(elements.begin(), elements.end(), nullptr);
      EXPECT_EQ(clone->Next(1, &next, nullptr), size > 1 ? S_OK : S_FALSE);
      EXPECT_EQ(next, size > 1 ? all[1] : nullptr);
      ExpectWalk(*clone, all, 1, 3);
      clone.Reset();
      EXPECT_EQ(first.references + second.references + holder.references, 0);
    }
  }
  EXPECT_EQ(platform::moduleLockCount, 0);
}

TEST(ComEnum, WithoutMemoryIsEmpty) {
  Double<IUnknown> element;
  IUnknown* elements[] = {&element};
  const ComPtr<Enum> made = NewEnum();
  for (const bool isCloned : {false, true}) {
    IEnumProbe* clone = nullptr;
    FailEachAllocation(
        [&] {
          return isCloned ? made->Clone(&clone)
                          : made->Init(elements, elements + 1, nullptr, EnumArray::Copy);
        },
        [&](HRESULT result, long long leaked) {
          EXPECT_EQ(result, E_OUTOFMEMORY);
          EXPECT_EQ(leaked, 0);
          EXPECT_EQ(clone, nullptr);
          EXPECT_EQ(element.references, isCloned ? 1 : 0);
        });
    if (clone) clone->Release();
  }
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
