// SPDX-License-Identifier: MIT
// Many threads at one map, and at the maps in it.
#include <gtest/gtest.h>

#include <cmath>

#include "interfaces/attribute.h"
#include "module/frame/variants.h"
#include "tests/rows/values.h"
#include "tests/support/module_client.h"
#include "tests/support/streams.h"
#include "tests/threads/many_threads.h"

namespace tests {
namespace {

using platform::ComPtr;

// Keys that come and go. Under the two behind them are maps, which the threads change as well.
constexpr LONG kKeys = 16;

rastel::CComVariant Object(IDispatch* object) {
  rastel::CComVariant value;
  value.vt = VT_DISPATCH;
  value.pdispVal = object;
  object->AddRef();
  return value;
}

struct Maps {
  const ComPtr<IAttributeDoubleMapKLP> map =
      New<IAttributeDoubleMapKLP>(CLSID_AttributeDoubleMapKLP);
  const ComPtr<IAttributeBstrMapKLP> texts = New<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
  const ComPtr<IAttributeLongMapKLP> numbers = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const ComPtr<IAttributeLongMapKLP> innermost =
      New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const ComPtr<IAttributeMapKLP> generic = map.As<IAttributeMapKLP>();
  const ComPtr<IPersistStream> persist = map.As<IPersistStream>();
  rastel::CComVariant text;
  std::atomic<int> found{0}, walked{0};

  Maps() {
    text.vt = VT_BSTR;
    text.bstrVal = SysAllocString(OLESTR("a text that all put"));
    numbers->put_Value(-1, Object(innermost.Get()));
    map->put_Value(kKeys, Object(texts.Get()));
    map->put_Value(kKeys + 1, Object(numbers.Get()));
  }
  template <class Map>
  static ComPtr<Map> New(REFCLSID classId) {
    return ModuleClient::Get().Create<Map>(classId);
  }
};

// Every operation that a client may use without care of its own: all but Clone. A value is a
// multiple of its key's successor, so that a torn one shows.
constexpr void (*kOperations[])(Maps& maps, LONG key, int round) = {
    [](Maps& maps, LONG key, int round) {
      const VARIANT value = Real(double{1} * (key + 1) * (round % 1000));
      EXPECT_EQ(maps.map->put_Value(key, value), S_OK);
      EXPECT_EQ(maps.generic->put_Value(Real(double{1} * key), value), S_OK);
    },
    [](Maps& maps, LONG key, int) {
      rastel::CComVariant out;
      EXPECT_EQ(maps.generic->get_Value(Real(double{1} * key), &out), S_OK);
      if (out.vt != VT_R8) return;
      EXPECT_EQ(std::fmod(out.dblVal, key + 1), 0);
      ++maps.found;
    },
    [](Maps& maps, LONG key, int) { maps.generic->Remove(Real(double{1} * key)); },
    [](Maps& maps, LONG, int) {
      ComPtr<IEnumAttributeEntryKLP> entries;
      ASSERT_EQ(maps.map->GetEnumerator(entries.Put()), S_OK);
      double last = -1;
      for (ComPtr<IAttributeEntryKLP> entry; entries->Next(1, entry.Put(), nullptr) == S_OK;) {
        rastel::CComVariant key;
        EXPECT_EQ(entry->get_Key(&key), S_OK);
        EXPECT_GT(key.dblVal, last);
        last = key.dblVal;
        ++maps.walked;
      }
      EXPECT_EQ(last, kKeys + 1);
    },
    [](Maps& maps, LONG, int round) {
      ULARGE_INTEGER size{};
      EXPECT_EQ(maps.persist->Save(NewStream().Get(), round % 2), S_OK);
      EXPECT_EQ(maps.persist->GetSizeMax(&size), S_OK);
    },
    [](Maps& maps, LONG, int) {
      VARIANT_BOOL flag = 0;
      EXPECT_GE(maps.persist->IsDirty(), S_OK);
      EXPECT_EQ(maps.map->Exists(kKeys, &flag), S_OK);
      EXPECT_EQ(flag, -1);
      EXPECT_EQ(maps.map->get_OverrideMode(&flag), S_OK);
      EXPECT_EQ(maps.map->put_OverrideMode(1), S_OK);
    },
    [](Maps& maps, LONG, int) {
      SAFEARRAY* keys = nullptr;
      ASSERT_EQ(maps.generic->get_Keys(&keys), S_OK);
      EXPECT_GE(keys->rgsabound[0].cElements, 2u);
      SafeArrayDestroy(keys);
      LONG count = 0;
      EXPECT_EQ(maps.map->get_Count(&count), S_OK);
    },
    [](Maps& maps, LONG key, int) {
      EXPECT_EQ(maps.texts->put_Value(maps.text.bstrVal, maps.text), S_OK);
      EXPECT_EQ(maps.numbers->put_Value(key, maps.text), S_OK);
      EXPECT_EQ(maps.innermost->put_Value(key, maps.text), S_OK);
      EXPECT_EQ(maps.map->put_Value(kKeys + 1, Object(maps.numbers.Get())), S_OK);
    },
    [](Maps& maps, LONG, int) {
      maps.texts->Clear();
      maps.innermost->Clear();
      EXPECT_GE(maps.numbers.As<IPersistStream>()->IsDirty(), S_OK);
      SetErrorInfo(0, nullptr);
    },
};

TEST(ManyThreads, UseOneMapAndTheMapsInIt) {
  Maps maps;
  OnManyThreads(
      [&](int thread, int round) {
        const auto number = static_cast<std::size_t>(thread + round);
        kOperations[number % std::size(kOperations)](maps, (thread * 7 + round * 5) % kKeys, round);
      },
      std::chrono::milliseconds(2500));
  EXPECT_GT(maps.found, 0);
  EXPECT_GT(maps.walked, 0);
}

// Clone asks its client for care only where others change the map: everybody may read it meanwhile,
// and change clones. What is made for the first walk or look-up is made among all of them.
TEST(ManyThreads, CloneAMapThatOthersRead) {
  for (int repeat = 0; repeat < 200; ++repeat) {
    auto map = Maps::New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
    for (const LONG key : {2, 3, 1}) ASSERT_EQ(map->put_Value(key, Bits(VT_I4, key)), S_OK);
    if (repeat % 2 != 0) {
      const ComPtr<IStream> stream = NewStream();
      ASSERT_EQ(map.As<IPersistStream>()->Save(stream.Get(), FALSE), S_OK);
      ASSERT_EQ(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr), S_OK);
      map = Maps::New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
      ASSERT_EQ(map.As<IPersistStream>()->Load(stream.Get()), S_OK);
    }
    OnManyThreads(
        [&](int thread, int) {
          ComPtr<IAttributeLongMapKLP> clone;
          ASSERT_EQ(map->Clone(clone.Put()), S_OK);
          for (auto* const either : {map.Get(), clone.Get()}) {
            VARIANT out{};
            EXPECT_EQ(either->get_Value(thread % 3 + 1, &out), S_OK);
            EXPECT_EQ(out.lVal, thread % 3 + 1);
            SAFEARRAY* keys = nullptr;
            ASSERT_EQ(either->get_Keys(&keys), S_OK);
            for (LONG i = 0; i < 3; ++i) EXPECT_EQ(static_cast<LONG*>(keys->pvData)[i], i + 1);
            SafeArrayDestroy(keys);
          }
          EXPECT_EQ(clone->put_Value(thread, Bits(VT_I4, thread)), S_OK);
        },
        std::chrono::milliseconds(0));
  }
}

}  // namespace
}  // namespace tests
