// Every slot of every interface stands where clients call it, with the parameters that they push.
#include <gmock/gmock.h>

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "tests/support/slots.h"

namespace tests {
namespace {

// Fails to compile for a slot that takes anything else.
template <class... Arguments>
struct Takes {
  template <class Interface>
  static int Slot(HRESULT (STDMETHODCALLTYPE Interface::*slot)(Arguments...)) {
    return SlotOf(slot);
  }
};

struct SlotRow {
  const char* name;
  int slot;
  int expected[2];  // in the first and in the second kind of table of a family
};

template <std::size_t n>
void ExpectSlots(const SlotRow (&rows)[n], int kind = 0) {
  for (const SlotRow& row : rows) EXPECT_EQ(row.slot, row.expected[kind]) << row.name;
}

enum AoiKind { kTyped = 0, kGeneric = 1 };

template <class I>
void ExpectCommonAoiSlots(AoiKind kind) {
  const SlotRow rows[] = {
      {"get_Width", Takes<LONG*>::Slot(&I::get_Width), {7, 7}},
      {"put_Width", Takes<LONG>::Slot(&I::put_Width), {8, 8}},
      {"get_Height", Takes<LONG*>::Slot(&I::get_Height), {9, 9}},
      {"put_Height", Takes<LONG>::Slot(&I::put_Height), {10, 10}},
      {"get_X", Takes<LONG*>::Slot(&I::get_X), {11, 11}},
      {"put_X", Takes<LONG>::Slot(&I::put_X), {12, 12}},
      {"get_Y", Takes<LONG*>::Slot(&I::get_Y), {13, 13}},
      {"put_Y", Takes<LONG>::Slot(&I::put_Y), {14, 14}},
      {"get_MarginX", Takes<LONG*>::Slot(&I::get_MarginX), {15, 15}},
      {"put_MarginX", Takes<LONG>::Slot(&I::put_MarginX), {16, 16}},
      {"get_MarginY", Takes<LONG*>::Slot(&I::get_MarginY), {17, 17}},
      {"put_MarginY", Takes<LONG>::Slot(&I::put_MarginY), {18, 18}},
      {"CreateImage", Takes<LONG, LONG>::Slot(&I::CreateImage), {19, 19}},
      {"get_LineSkip", Takes<LONG*>::Slot(&I::get_LineSkip), {20, 20}},
      {"get_BufferWidth", Takes<LONG*>::Slot(&I::get_BufferWidth), {21, 21}},
      {"get_BufferHeight", Takes<LONG*>::Slot(&I::get_BufferHeight), {22, 22}},
      {"SetMargins", Takes<LONG, LONG>::Slot(&I::SetMargins), {23, 23}},
      {"FillMargins", Takes<>::Slot(&I::FillMargins), {24, 24}},
      {"GetPixel", Takes<LONG, LONG, DOUBLE*>::Slot(&I::GetPixel), {25, 25}},
      {"PutPixel", Takes<LONG, LONG, DOUBLE>::Slot(&I::PutPixel), {26, 26}},
      {"Clone", Takes<I**>::Slot(&I::Clone), {27, 27}},
      {"SplitHeight", Takes<I**>::Slot(&I::SplitHeight), {28, 28}},
      {"SplitWidth", Takes<I**>::Slot(&I::SplitWidth), {29, 29}},
      {"SplitTiles", Takes<LONG, LONG, I**>::Slot(&I::SplitTiles), {30, 30}},
      {"Unite", Takes<I*>::Slot(&I::Unite), {31, 31}},
      {"SetRect", Takes<LONG, LONG, LONG, LONG>::Slot(&I::SetRect), {32, 32}},
      {"Duplicate", Takes<I**>::Slot(&I::Duplicate), {36, 33}},
      {"IsSameSize", Takes<I*, LONG*>::Slot(&I::IsSameSize), {37, 34}},
      {"CopyRect", Takes<I*>::Slot(&I::CopyRect), {38, 35}},
      {"MoveTo", Takes<LONG, LONG>::Slot(&I::MoveTo), {39, 36}},
      {"MoveBy", Takes<LONG, LONG>::Slot(&I::MoveBy), {40, 37}},
      {"ResizeTo", Takes<LONG, LONG>::Slot(&I::ResizeTo), {41, 38}},
      {"ResizeBy", Takes<LONG, LONG>::Slot(&I::ResizeBy), {42, 39}},
      {"Clear", Takes<>::Slot(&I::Clear), {43, 40}},
      {"Fill", Takes<DOUBLE>::Slot(&I::Fill), {44, 41}},
      {"SelectAll", Takes<>::Slot(&I::SelectAll), {45, 42}},
      {"GetRect", Takes<LONG*, LONG*, LONG*, LONG*>::Slot(&I::GetRect), {46, 43}},
      {"CopyTo", Takes<I*>::Slot(&I::CopyTo), {47, 44}},
      {"CreatePlanes", Takes<LONG, LONG, LONG>::Slot(&I::CreatePlanes), {48, 45}},
      {"get_PlaneCount", Takes<LONG*>::Slot(&I::get_PlaneCount), {51, 46}},
      {"get_PlaneSelected", Takes<LONG, LONG*>::Slot(&I::get_PlaneSelected), {52, 47}},
      {"put_PlaneSelected", Takes<LONG, LONG>::Slot(&I::put_PlaneSelected), {53, 48}},
      {"get_ActivePlane", Takes<LONG*>::Slot(&I::get_ActivePlane), {54, 49}},
      {"put_ActivePlane", Takes<LONG>::Slot(&I::put_ActivePlane), {55, 50}},
      {"get_BufferMargin", Takes<LONG*>::Slot(&I::get_BufferMargin), {56, 51}},
      {"put_BufferMargin", Takes<LONG>::Slot(&I::put_BufferMargin), {57, 52}},
      {"get_MarginMode", Takes<MarginModeKLP*>::Slot(&I::get_MarginMode), {58, 53}},
      {"put_MarginMode", Takes<MarginModeKLP>::Slot(&I::put_MarginMode), {59, 54}},
      {"get_MarshalFlags", Takes<MarshalFlagsKLP*>::Slot(&I::get_MarshalFlags), {60, 55}},
      {"put_MarshalFlags", Takes<MarshalFlagsKLP>::Slot(&I::put_MarshalFlags), {61, 56}},
      {"get_Name", Takes<BSTR*>::Slot(&I::get_Name), {62, 57}},
      {"put_Name", Takes<BSTR>::Slot(&I::put_Name), {63, 58}},
      {"get_Tag", Takes<VARIANT*>::Slot(&I::get_Tag), {64, 60}},
      {"put_Tag", Takes<VARIANT>::Slot(&I::put_Tag), {65, 61}},
      {"get_AttributeMap", Takes<IAttributeMapKLP**>::Slot(&I::get_AttributeMap), {66, 62}},
      {"put_AttributeMap", Takes<IAttributeMapKLP*>::Slot(&I::put_AttributeMap), {67, 63}},
      {"get_IsBound", Takes<LONG*>::Slot(&I::get_IsBound), {69, 64}},
  };
  ExpectSlots(rows, kind);
}

template <class I, class U>
void ExpectTypedAoiSlots() {
  ExpectCommonAoiSlots<I>(kTyped);
  const SlotRow rows[] = {
      {"GetPointer", Takes<U**>::Slot(&I::GetPointer), {33}},
      {"GetAccess", Takes<LONG*, LONG*, LONG*, U**>::Slot(&I::GetAccess), {34}},
      {"AttachImage", Takes<LONG, LONG, U*>::Slot(&I::AttachImage), {35}},
      {"AttachPlanes", Takes<LONG, LONG, LONG, U*>::Slot(&I::AttachPlanes), {49}},
      {"CreateFromData", Takes<LONG, LONG, LONG, U*>::Slot(&I::CreateFromData), {50}},
      {"GetAccessChecked", Takes<LONG*, LONG*, LONG*, U**>::Slot(&I::GetAccessChecked), {68}},
  };
  ExpectSlots(rows);
}

TEST(AoiSlots, OfTheTypedInterfaces) {
  ExpectTypedAoiSlots<IByteAOIKLP, unsigned char>();
  ExpectTypedAoiSlots<ICharAOIKLP, unsigned char>();
  ExpectTypedAoiSlots<IWordAOIKLP, unsigned short>();
  ExpectTypedAoiSlots<IShortAOIKLP, short>();
  ExpectTypedAoiSlots<IDWordAOIKLP, unsigned int>();
  ExpectTypedAoiSlots<ILongAOIKLP, int>();
  ExpectTypedAoiSlots<IFloatAOIKLP, float>();
  ExpectTypedAoiSlots<IDoubleAOIKLP, double>();
}

TEST(AoiSlots, OfTheGenericInterface) {
  ExpectCommonAoiSlots<IAoiKLP>(kGeneric);
  EXPECT_EQ(Takes<ElementTypeKLP*>::Slot(&IAoiKLP::get_ElementType), 59);
}

template <class I, class V>
void ExpectCommonVectorSlots(int kind) {
  const SlotRow rows[] = {
      {"get_Value", Takes<LONG, V*>::Slot(&I::get_Value), {7, 7}},
      {"put_Value", Takes<LONG, V>::Slot(&I::put_Value), {8, 8}},
      {"get_ElementTag", Takes<LONG, VARIANT*>::Slot(&I::get_ElementTag), {9, 9}},
      {"put_ElementTag", Takes<LONG, VARIANT>::Slot(&I::put_ElementTag), {10, 10}},
      {"get_Count", Takes<LONG*>::Slot(&I::get_Count), {11, 11}},
      {"put_Count", Takes<LONG>::Slot(&I::put_Count), {12, 12}},
      {"GetTagPointer", Takes<LONG*, VARIANT**>::Slot(&I::GetTagPointer), {14, 13}},
      {"Clone", Takes<I**>::Slot(&I::Clone), {15, 14}},
      {"get_HasElementTags", Takes<VARIANT_BOOL*>::Slot(&I::get_HasElementTags), {16, 15}},
      {"put_HasElementTags", Takes<VARIANT_BOOL>::Slot(&I::put_HasElementTags), {17, 16}},
      {"get_ElementType", Takes<ElementTypeKLP*>::Slot(&I::get_ElementType), {18, 17}},
      {"DeepCopy", Takes<I**>::Slot(&I::DeepCopy), {19, 18}},
      {"Clear", Takes<>::Slot(&I::Clear), {20, 19}},
      {"Fill", Takes<DOUBLE>::Slot(&I::Fill), {21, 20}},
      {"ResizeAll", Takes<LONG>::Slot(&I::ResizeAll), {22, 21}},
      {"SetCount", Takes<LONG>::Slot(&I::SetCount), {23, 22}},
  };
  ExpectSlots(rows, kind);
}

template <class I, class T, class V = double>
void ExpectTypedVectorSlots() {
  ExpectCommonVectorSlots<I, V>(0);
  EXPECT_EQ((Takes<LONG*, T**>::Slot(&I::GetPointer)), 13);
}

TEST(VectorSlots, OfTheTypedInterfaces) {
  ExpectTypedVectorSlots<IByteVectorKLP, unsigned char>();
  ExpectTypedVectorSlots<ICharVectorKLP, signed char>();
  ExpectTypedVectorSlots<IWordVectorKLP, unsigned short>();
  ExpectTypedVectorSlots<IShortVectorKLP, short>();
  ExpectTypedVectorSlots<IDWordVectorKLP, unsigned int>();
  ExpectTypedVectorSlots<ILongVectorKLP, int>();
  ExpectTypedVectorSlots<IFloatVectorKLP, float>();
  ExpectTypedVectorSlots<IDoubleVectorKLP, double>();
  ExpectTypedVectorSlots<IVariantVectorKLP, VARIANT, VARIANT>();
}

TEST(VectorSlots, OfTheGenericInterface) { ExpectCommonVectorSlots<IVectorKLP, double>(1); }

enum MapKind { kWithRemove = 0, kWithoutRemove = 1 };

template <class I, class K>
void ExpectMapSlots(MapKind kind) {
  const SlotRow rows[] = {
      {"get_Keys", Takes<SAFEARRAY**>::Slot(&I::get_Keys), {7, 7}},
      {"put_Value", Takes<K, VARIANT>::Slot(&I::put_Value), {8, 8}},
      {"get_Value", Takes<K, VARIANT*>::Slot(&I::get_Value), {9, 9}},
      {"Exists", Takes<K, VARIANT_BOOL*>::Slot(&I::Exists), {11, 10}},
      {"Clear", Takes<>::Slot(&I::Clear), {12, 11}},
      {"put_OverrideMode", Takes<VARIANT_BOOL>::Slot(&I::put_OverrideMode), {13, 12}},
      {"get_OverrideMode", Takes<VARIANT_BOOL*>::Slot(&I::get_OverrideMode), {14, 13}},
      {"get_KeyKind", Takes<KeyKindKLP*>::Slot(&I::get_KeyKind), {15, 14}},
      {"get_Count", Takes<LONG*>::Slot(&I::get_Count), {16, 15}},
      {"Clone", Takes<I**>::Slot(&I::Clone), {17, 16}},
      {"GetEnumerator", Takes<IEnumAttributeEntryKLP**>::Slot(&I::GetEnumerator), {18, 17}},
  };
  ExpectSlots(rows, kind);
}

template <class I>
concept HasRemove = requires {
  &I::Remove;
};

TEST(MapSlots, OfAllFourInterfaces) {
  ExpectMapSlots<IAttributeMapKLP, VARIANT>(kWithRemove);
  ExpectMapSlots<IAttributeBstrMapKLP, BSTR>(kWithRemove);
  ExpectMapSlots<IAttributeLongMapKLP, LONG>(kWithoutRemove);
  ExpectMapSlots<IAttributeDoubleMapKLP, double>(kWithoutRemove);
  EXPECT_EQ(Takes<VARIANT>::Slot(&IAttributeMapKLP::Remove), 10);
  EXPECT_EQ(Takes<BSTR>::Slot(&IAttributeBstrMapKLP::Remove), 10);
  static_assert(!HasRemove<IAttributeLongMapKLP> && !HasRemove<IAttributeDoubleMapKLP>);
}

TEST(EntrySlots, OfEntryEnumeratorAndMarshalBehaviour) {
  using Entry = IAttributeEntryKLP;
  using Enumerator = IEnumAttributeEntryKLP;
  using Behaviour = IMarshalBehaviourKLP;
  const SlotRow rows[] = {
      {"get_Key", Takes<VARIANT*>::Slot(&Entry::get_Key), {7}},
      {"get_Value", Takes<VARIANT*>::Slot(&Entry::get_Value), {8}},
      {"put_Value", Takes<VARIANT>::Slot(&Entry::put_Value), {9}},
      {"Next", Takes<ULONG, Entry**, ULONG*>::Slot(&Enumerator::Next), {3}},
      {"Skip", Takes<ULONG>::Slot(&Enumerator::Skip), {4}},
      {"Reset", Takes<>::Slot(&Enumerator::Reset), {5}},
      {"Clone", Takes<Enumerator**>::Slot(&Enumerator::Clone), {6}},
      {"get_MarshalBehaviour",
       Takes<MarshalBehaviourKLP*>::Slot(&Behaviour::get_MarshalBehaviour),
       {7}},
      {"put_MarshalBehaviour",
       Takes<MarshalBehaviourKLP>::Slot(&Behaviour::put_MarshalBehaviour),
       {8}},
  };
  ExpectSlots(rows);
}

// What crosses in memory is 32 bits, with the values that streams and clients hold.
static_assert(sizeof(ElementTypeKLP) == 4 && sizeof(MarginModeKLP) == 4 && sizeof(KeyKindKLP) == 4);
static_assert(sizeof(MarshalFlagsKLP) == 4 && sizeof(MarshalBehaviourKLP) == 4);
static_assert(ElementByte == 0 && ElementChar == 1 && ElementWord == 2 && ElementShort == 3);
static_assert(ElementDWord == 4 && ElementLong == 5 && ElementFloat == 6 && ElementDouble == 7);
static_assert(ElementVariant == 9 && MarginNone == 0 && MarginZero == 1 && MarginPeriodic == 2);
static_assert(MarginMirror == 3 && MarginReplicate == 4);
static_assert(MarshalRectangle == 0 && MarshalBuffer == 1);
static_assert(MarshalByReference == 8 && MarshalByValue == 16);
static_assert(KeyKindBstr == 0 && KeyKindLong == 1 && KeyKindDouble == 2);

}  // namespace
}  // namespace tests
