// Slots of maps that no interface declares, called as a client in C does.
#include "tests/persist/client_objects.h"
#include "tests/support/slots.h"

namespace tests {
namespace {

// Keys, Clone, Remove, Put, and both ways to find an entry.
TEST(MapSlots, StandBehindTheInterface) {
  const auto map = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const int first = SlotOf(&OneMore<IAttributeLongMapKLP>::Behind);
  const auto call = [&]<class... Arguments>(int slot, Arguments... arguments) {
    return CallSlot(map.Get(), first + slot, arguments...);
  };
  for (const LONG key : {4, 5}) EXPECT_EQ(call(3, key, Bits(VT_I4, 3)), S_OK);
  SAFEARRAY* keys = nullptr;
  EXPECT_EQ(call(0, &keys), S_OK);
  EXPECT_EQ(keys->rgsabound[0].cElements, 2u);
  SafeArrayDestroy(keys);
  ComPtr<IAttributeLongMapKLP> clone;
  EXPECT_EQ(call(1, clone.Put()), S_OK);
  EXPECT_EQ(CountOf(clone), 2);
  for (const HRESULT result : {S_OK, kReported}) EXPECT_EQ(call(2, LONG{4}), result);
  VARIANT_BOOL found = 7;
  void* const noEntry = nullptr;
  EXPECT_EQ(call(5, LONG{5}, &found, noEntry), S_OK);
  EXPECT_EQ(found, kOn);
  EXPECT_EQ(call(4, Bits(VT_INT, 4), &found, noEntry), S_OK);
  EXPECT_EQ(found, 0);
}

}  // namespace
}  // namespace tests
