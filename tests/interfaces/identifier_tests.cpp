// The identifiers, slot counts and values that clients were given. The slots themselves are
// compared with the interface definition file by the type library tests.
#include <gmock/gmock.h>

#include <cstdio>
#include <string>

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "tests/support/slots.h"

namespace tests {
namespace {

std::string TextOf(const GUID& id) {
  char text[39];
  const unsigned char* const d = id.Data4;
  std::snprintf(text, sizeof(text), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(id.Data1), id.Data2, id.Data3, d[0], d[1], d[2], d[3], d[4],
                d[5], d[6], d[7]);
  return text;
}

const struct {
  const char* name;
  const GUID& id;
  const char* text;
} kClasses[] = {
    {"LIBID_RASTEL_KLP_Lib", LIBID_RASTEL_KLP_Lib, "{2EA5FA3E-FBCE-4673-9F39-0EBF04385254}"},
    {"ByteAOIKLP", CLSID_ByteAOIKLP, "{486B1585-D4BF-42FE-A833-619076A4530C}"},
    {"WordAOIKLP", CLSID_WordAOIKLP, "{2FFC175B-5EAF-48D6-A5A8-1DA777105F68}"},
    {"DWordAOIKLP", CLSID_DWordAOIKLP, "{BCC680BB-6B4D-43C6-8AC5-345BA4291667}"},
    {"FloatAOIKLP", CLSID_FloatAOIKLP, "{FA41CBAA-1CC1-45E2-8557-C720C60A92AB}"},
    {"DoubleAOIKLP", CLSID_DoubleAOIKLP, "{ECF64E17-A82D-4EBB-A855-D66A37382DAF}"},
    {"CharAOIKLP", CLSID_CharAOIKLP, "{AE9AAE9D-9CB2-4F85-8A1B-26FFF4557C2D}"},
    {"ShortAOIKLP", CLSID_ShortAOIKLP, "{D6BCB9E8-18E7-4106-A993-C9073CEF95BA}"},
    {"LongAOIKLP", CLSID_LongAOIKLP, "{5130E382-05A3-4D14-A41F-885B89937FE2}"},
    {"ByteVectorKLP", CLSID_ByteVectorKLP, "{BDE67303-832C-49FF-855C-2B01FFA7925A}"},
    {"ShortVectorKLP", CLSID_ShortVectorKLP, "{4DA8E079-E873-47A3-AC76-250983AB4435}"},
    {"LongVectorKLP", CLSID_LongVectorKLP, "{5B745AAB-6C4D-4204-B864-75797054488A}"},
    {"FloatVectorKLP", CLSID_FloatVectorKLP, "{C33BACD2-3E52-4A14-909D-08F480E03043}"},
    {"DoubleVectorKLP", CLSID_DoubleVectorKLP, "{BEBAB289-535D-49B0-B198-AAE7134AAE0C}"},
    {"CharVectorKLP", CLSID_CharVectorKLP, "{2F8381A3-A9EA-49DA-AD8C-1829A8218D43}"},
    {"WordVectorKLP", CLSID_WordVectorKLP, "{0F6E87CF-D563-45A1-B7F0-8A8E93D8E7E8}"},
    {"DWordVectorKLP", CLSID_DWordVectorKLP, "{E8D4EB5E-1645-46A9-B6FE-20F8615B7B71}"},
    {"VariantVectorKLP", CLSID_VariantVectorKLP, "{F13F0B8E-F159-43F5-9222-92D759E840C2}"},
    {"AttributeBstrMapKLP", CLSID_AttributeBstrMapKLP, "{9624BE21-9980-49D2-998B-95F217179324}"},
    {"AttributeLongMapKLP", CLSID_AttributeLongMapKLP, "{4E996978-B7D4-417A-BD5B-2660FB96BF6C}"},
    {"AttributeDoubleMapKLP", CLSID_AttributeDoubleMapKLP,
     "{C3C4E418-3659-41E3-A259-CF754AFD6291}"},
    {"AttributeEntryKLP", CLSID_AttributeEntryKLP, "{228E9F45-4E18-4C20-9571-7F116C96A07A}"},
};

struct InterfaceRow {
  const char* name;
  const GUID& id;
  const char* text;
  int slots;          // of the table
  int declaredSlots;  // kSlotCount
  int expectedSlots;
};

template <class Interface>
InterfaceRow Row(const char* name, const char* text, int expectedSlots) {
  return {name,
          platform::kIidOf<Interface>,
          text,
          SlotOf(&OneMore<Interface>::Behind),
          Interface::kSlotCount,
          expectedSlots};
}

const InterfaceRow kInterfaces[] = {
    Row<IAoiKLP>("IAoiKLP", "{33EEA2AA-510E-4E5A-9E19-2BC70CAE85F7}", 65),
    Row<IByteAOIKLP>("IByteAOIKLP", "{B97F9307-A237-4264-97D7-D2BB87BAF636}", 70),
    Row<ICharAOIKLP>("ICharAOIKLP", "{EB10400D-F9CF-4FD4-95A7-A230CD1DA3D2}", 70),
    Row<IWordAOIKLP>("IWordAOIKLP", "{C297AC45-E737-4FE3-A917-36133ED1753F}", 70),
    Row<IShortAOIKLP>("IShortAOIKLP", "{4E7FD5FC-B32C-4BED-B150-2FFD66FECF5E}", 70),
    Row<IDWordAOIKLP>("IDWordAOIKLP", "{F8D51B99-BF2C-403D-BCB1-98FF6DF53B12}", 70),
    Row<ILongAOIKLP>("ILongAOIKLP", "{8B60B4B7-7B5E-4DDF-A21A-620C60B1ADEF}", 70),
    Row<IFloatAOIKLP>("IFloatAOIKLP", "{D4BA1AEF-0762-4026-816B-CBCE42034AE4}", 70),
    Row<IDoubleAOIKLP>("IDoubleAOIKLP", "{15C52503-21C2-4FFC-9E1F-A8E9E5F615ED}", 70),
    Row<IVectorKLP>("IVectorKLP", "{FAA17879-6833-4DE2-83D0-7440AE7A6907}", 23),
    Row<IByteVectorKLP>("IByteVectorKLP", "{1E4BD75C-9804-4EB7-B3FA-1CD65AE44ACB}", 24),
    Row<ICharVectorKLP>("ICharVectorKLP", "{5B040262-9885-4366-92A4-C55F31F3B775}", 24),
    Row<IWordVectorKLP>("IWordVectorKLP", "{6D4A4877-9B3D-4864-B3BD-E488D08CC19F}", 24),
    Row<IShortVectorKLP>("IShortVectorKLP", "{D4E1AD60-B7EA-4187-AAF8-4E1B0091ADD6}", 24),
    Row<IDWordVectorKLP>("IDWordVectorKLP", "{0EF63220-B373-44D8-B1AF-4F51E012F21A}", 24),
    Row<ILongVectorKLP>("ILongVectorKLP", "{A98A9BA6-BAF8-45EA-93AB-28471913825E}", 24),
    Row<IFloatVectorKLP>("IFloatVectorKLP", "{F04D83CE-FA27-481F-875E-B19545CC3065}", 24),
    Row<IDoubleVectorKLP>("IDoubleVectorKLP", "{9CFF246C-617E-4291-9FA2-C3DB91A36A4B}", 24),
    Row<IVariantVectorKLP>("IVariantVectorKLP", "{1C4D5D59-C998-414F-A0E3-4337C17A0620}", 24),
    Row<IMarshalBehaviourKLP>("IMarshalBehaviourKLP", "{E8EB9448-FDF7-4B7B-9C0A-3483B56EA8F8}", 9),
    Row<IAttributeMapKLP>("IAttributeMapKLP", "{7D2CEDA9-49EE-4925-95D6-DF194ED799F1}", 19),
    Row<IAttributeBstrMapKLP>("IAttributeBstrMapKLP", "{C92211E1-B5A3-4D09-8F11-CAEE1A858734}", 19),
    Row<IAttributeLongMapKLP>("IAttributeLongMapKLP", "{6821DEFA-A159-4743-A48E-31AC08A6E727}", 18),
    Row<IAttributeDoubleMapKLP>("IAttributeDoubleMapKLP", "{FC053BAA-BFC6-41A7-8059-089984B88588}",
                                18),
    Row<IAttributeEntryKLP>("IAttributeEntryKLP", "{5B7025DD-1F7A-443A-8737-3ED4DEB027BB}", 10),
    Row<IEnumAttributeEntryKLP>("IEnumAttributeEntryKLP", "{8F3DDC49-73D8-4354-A5C8-348FDA838BA6}",
                                7),
};

TEST(Identifiers, AndTableEnds_AreTheKnownOnes) {
  for (const auto& row : kClasses) EXPECT_EQ(TextOf(row.id), row.text) << row.name;
  for (const auto& row : kInterfaces) {
    EXPECT_EQ(TextOf(row.id), row.text) << row.name;
    EXPECT_EQ(row.slots, row.expectedSlots) << row.name;
    EXPECT_EQ(row.declaredSlots, row.expectedSlots) << row.name;
  }
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
