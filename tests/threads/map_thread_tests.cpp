// Many threads at one map.
#include <gtest/gtest.h>

#include "interfaces/attribute.h"
#include "module/frame/variants.h"
#include "tests/support/module_client.h"
#include "tests/support/streams.h"
#include "tests/threads/many_threads.h"

namespace tests {
namespace {

using platform::ComPtr;
using rastel::CComVariant;

constexpr std::chrono::milliseconds kMapTime{2500};
constexpr LONG kKeys = 16;

template <class Map>
ComPtr<Map> NewMap(REFCLSID classId) {
  return ModuleClient::Get().Create<Map>(classId);
}

// A value whose integer is a multiple of the key's, so that a torn one shows.
CComVariant ValueFor(LONG key, int round) {
  CComVariant value;
  value.vt = VT_I4;
  value.lVal = (key + 1) * (round % 1000);
  return value;
}
CComVariant ValueOf(IUnknown* object) {
  CComVariant value;
  value.vt = VT_UNKNOWN;
  value.punkVal = object;
  object->AddRef();
  return value;
}

// Every operation that a client may use without care of its own: all but Clone. Keys up to kKeys
// come and go; under the two behind them are maps, which the threads change as well.
TEST(ManyThreads, UseOneMapAndTheMapsInIt) {
  const auto map = NewMap<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const auto generic = map.As<IAttributeMapKLP>();
  const auto persist = map.As<IPersistStream>();
  const auto texts = NewMap<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
  const auto numbers = NewMap<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const auto innermost = NewMap<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  ASSERT_TRUE(map && texts && numbers && innermost);
  numbers->put_Value(-1, ValueOf(innermost.Get()));
  map->put_Value(kKeys, ValueOf(texts.Get()));
  map->put_Value(kKeys + 1, ValueOf(numbers.Get()));
  CComVariant shared;
  shared.vt = VT_BSTR;
  shared.bstrVal = SysAllocString(OLESTR("a text that all put"));
  std::atomic<int> found{0}, walked{0};
  OnManyThreads(
      [&](int thread, int round) {
        const LONG key = (thread * 7 + round * 5) % kKeys;
        CComVariant number;
        number.vt = VT_INT;
        number.intVal = key;
        CComVariant out;
        VARIANT_BOOL flag = 0;
        LONG count = 0;
        switch ((thread + round) % 9) {
          case 0:
            EXPECT_EQ(map->put_Value(key, ValueFor(key, round)), S_OK);
            EXPECT_EQ(generic->put_Value(number, ValueFor(key, round)), S_OK);
            break;
          case 1:
            EXPECT_EQ(generic->get_Value(number, &out), S_OK);
            if (out.vt != VT_I4) break;
            EXPECT_EQ(out.lVal % (key + 1), 0);
            ++found;
            break;
          case 2:
            generic->Remove(number);
            break;
          case 3: {
            ComPtr<IEnumAttributeEntryKLP> enumerator;
            ASSERT_EQ(map->GetEnumerator(enumerator.Put()), S_OK);
            ComPtr<IAttributeEntryKLP> entry;
            LONG last = -1;
            while (enumerator->Next(1, entry.Put(), nullptr) == S_OK) {
              EXPECT_EQ(entry->get_Key(&out), S_OK);
              EXPECT_GT(out.lVal, last);
              last = out.lVal;
              ++walked;
            }
            EXPECT_EQ(last, kKeys + 1);
            break;
          }
          case 4: {
            const auto stream = NewStream();
            EXPECT_EQ(persist->Save(stream.Get(), round % 2), S_OK);
            ULARGE_INTEGER size{};
            EXPECT_EQ(persist->GetSizeMax(&size), S_OK);
            SeekTo(stream.Get(), 5);
            EXPECT_EQ(stream->Read(&count, sizeof(count), nullptr), S_OK);
            EXPECT_TRUE(count >= 2 && count <= kKeys + 2) << count;
            break;
          }
          case 5:
            EXPECT_GE(persist->IsDirty(), S_OK);
            EXPECT_EQ(map->Exists(kKeys, &flag), S_OK);
            EXPECT_EQ(flag, -1);
            EXPECT_EQ(map->get_OverrideMode(&flag), S_OK);
            EXPECT_EQ(map->put_OverrideMode(1), S_OK);
            break;
          case 6: {
            SAFEARRAY* keys = nullptr;
            ASSERT_EQ(generic->get_Keys(&keys), S_OK);
            EXPECT_GE(keys->rgsabound[0].cElements, 2u);
            SafeArrayDestroy(keys);
            EXPECT_EQ(map->get_Count(&count), S_OK);
            break;
          }
          case 7:
            EXPECT_EQ(texts->put_Value(shared.bstrVal, shared), S_OK);
            EXPECT_EQ(numbers->put_Value(key, ValueFor(key, round)), S_OK);
            EXPECT_EQ(innermost->put_Value(key, shared), S_OK);
            EXPECT_EQ(map->put_Value(kKeys + 1, ValueOf(numbers.Get())), S_OK);
            break;
          default:
            texts->Clear();
            innermost->Clear();
            EXPECT_GE(numbers.As<IPersistStream>()->IsDirty(), S_OK);
            SetErrorInfo(0, nullptr);
        }
      },
      kMapTime);
  EXPECT_GT(found, 0);
  EXPECT_GT(walked, 0);
}

}  // namespace
}  // namespace tests
