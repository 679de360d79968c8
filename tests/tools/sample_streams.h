// Streams of vectors and AOIs, of all forms that their versions have, as bytes; what the tool lists
// for them; and what it makes of them.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/support/streams.h"

namespace tests {

// Class identifiers as they lie in a stream.
inline const std::string kByteVector = "03 73 E6 BD 2C 83 FF 49 85 5C 2B 01 FF A7 92 5A ";
inline const std::string kLongVector = "AB 5A 74 5B 4D 6C 04 42 B8 64 75 79 70 54 48 8A ";
inline const std::string kVariantVector = "8E 0B 3F F1 59 F1 F5 43 92 22 92 D7 59 E8 40 C2 ";
inline const std::string kByteAoi = "85 15 6B 48 BF D4 FE 42 A8 33 61 90 76 A4 53 0C ";
inline const std::string kBstrMap = "21 BE 24 96 80 99 D2 49 99 8B 95 F2 17 17 93 24 ";
inline const std::string kLongMap = "78 69 99 4E D4 B7 7A 41 BD 5B 26 60 FB 96 BF 6C ";
inline const std::string kNobodysClass = "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01 ";

inline const std::string kMapInMap =
    kBstrMap +
    "01 00 00 00  01  03 00 00 00  00 00 00 00  08 00 08 00 06 00 00 00 E4 00 62 00 00 00"
    "01 00 00 00 42 00  0D 00" +
    kLongMap +
    "15 00 00 00 00 00 00 00  01 00 00 00  00"
    "01 00 00 00  FE FF FF FF  03 00 03 00 09 00 00 00"
    "02 00 00 00 61 00 0A 00  0B 00 0B 00 FF FF";

struct SampleStream {
  const char* name;
  // Empty: the class identifier stands in front.
  std::string bareClass;
  std::string hex;
  const char* listing;
  std::string upgraded;
};

inline const SampleStream kSamples[] = {
    {"numbers, 0x0103", "", kByteVector + "03 01  03 00 00 00  00 00  01 02 FF",
     R"(offset     bytes  field                     value
00000000      16  class                     ByteVectorKLP {BDE67303-832C-49FF-855C-2B01FFA7925A}
00000010       2  version                   0x0103
00000012       4  element count             3
00000016       2  tag flag                  0x0000, tags off
00000018       3  elements                  3 x unsigned 8 bit
00000018       3    [0]                       1   2 255
27 bytes, whole
)",
     kByteVector + "03 01  03 00 00 00  00 00  01 02 FF"},

    {"hidden tags, 0x0100", "LongVectorKLP",
     "00 01  02 00 00 00  07 00 00 00 F8 FF FF FF"
     "02 00 00 00  08 00 06 00 00 00 E4 00 62 00 00 00  03 00 09 00 00 00",
     R"(offset     bytes  field                     value
00000000          class                     LongVectorKLP, as stated
00000000       2  version                   0x0100
00000002       4  element count             2
00000006       8  elements                  2 x signed 32 bit
00000006       8    [0]                      7 -8
0000000E       4  tag count                 2
00000012          tags                      2 plain records
00000012      12    [0]                     VT_BSTR  "äb"
0000001E       6    [1]                     VT_I4  9
36 bytes, whole
)",
     "03 01  02 00 00 00  FF FF  07 00 00 00 F8 FF FF FF"
     "02 00 00 00  08 00 08 00 06 00 00 00 E4 00 62 00 00 00  03 00 03 00 09 00 00 00"},

    {"images, 0x0101", "",
     kVariantVector + "01 01  02 00 00 00  01 00"
                      "03 00 00 00 00 00 00 00 2A 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                      "08 00 00 00 00 00 00 00 34 12 FF 7F 00 00 00 00 00 00 00 00 00 00 00 00",
     R"(offset     bytes  field                     value
00000000      16  class                     VariantVectorKLP {F13F0B8E-F159-43F5-9222-92D759E840C2}
00000010       2  version                   0x0101
00000012       4  element count             2
00000016       2  tag flag                  0x0001, tags off
00000018          elements                  2 VARIANT images
00000018      24    [0]                     VT_I4  42
00000030      24    [1]                     VT_BSTR  a pointer of its time, lost
72 bytes, whole
)",
     kVariantVector +
         "03 01  02 00 00 00  01 00  03 00 03 00 2A 00 00 00  00 00 00 00 02 00 00 00 00 00"},

    {"an object without byte count, 0x0102", "",
     kVariantVector + "02 01  01 00 00 00  FF FF  0B 00 0B 00 FF FF  01 00 00 00  09 00" +
         kLongVector + "02 01  01 00 00 00  00 00  05 00 00 00",
     R"(offset     bytes  field                     value
00000000      16  class                     VariantVectorKLP {F13F0B8E-F159-43F5-9222-92D759E840C2}
00000010       2  version                   0x0102
00000012       4  element count             1
00000016       2  tag flag                  0xFFFF, tags on
00000018          elements                  1 tagged record
00000018       6    [0]                     VT_BOOL  true
0000001E       4  tag count                 1
00000022          tags                      1 plain record
00000022       2    [0]                     VT_DISPATCH
00000024      16      class                 LongVectorKLP {5B745AAB-6C4D-4204-B864-75797054488A}, level 2
00000034       2        version             0x0102
00000036       4        element count       1
0000003A       2        tag flag            0x0000, tags off
0000003C       4        elements            1 x signed 32 bit
0000003C       4          [0]               5
64 bytes, whole
)",
     kVariantVector + "03 01  01 00 00 00  FF FF  0B 00 0B 00 FF FF  01 00 00 00  09 00" +
         kLongVector + "0C 00 00 00 00 00 00 00  03 01  01 00 00 00  00 00  05 00 00 00"},

    {"objects of known and unknown classes, 0x0103", "",
     kVariantVector + "03 01  03 00 00 00  FF FF  0D 00" + kLongVector +
         "0A 00 00 00 00 00 00 00  00 01 00 00 00 00  00 00 00 00  0D 00" + kNobodysClass +
         "05 00 00 00 00 00 00 00  A1 A2 A3 A4 A5  08 00 08 00 06 00 00 00 A9 03 0A 00 00 00"
         "01 00 00 00  00 00 00 00 02 00 00 00 00 00",
     R"(offset     bytes  field                     value
00000000      16  class                     VariantVectorKLP {F13F0B8E-F159-43F5-9222-92D759E840C2}
00000010       2  version                   0x0103
00000012       4  element count             3
00000016       2  tag flag                  0xFFFF, tags on
00000018          elements                  3 tagged records
00000018       2    [0]                     VT_UNKNOWN
0000001A      16      class                 LongVectorKLP {5B745AAB-6C4D-4204-B864-75797054488A}, level 2
0000002A       8      byte count            10
00000032       2        version             0x0100
00000034       4        element count       0
00000038       0        elements            none
00000038       4        tag count           0
0000003C                tags                none
0000003C       2    [1]                     VT_UNKNOWN
0000003E      16      class                 {1F0A7C51-3C11-4B1E-9A01-527D10446E01}, not known
0000004E       8      byte count            5
00000056       5      bytes                 A1 A2 A3 A4 A5
0000005B      14    [2]                     VT_BSTR  "Ω\n"
00000069       4  tag count                 1
0000006D          tags                      1 tagged record
0000006D      10    [0]                     VT_EMPTY
119 bytes, whole
)",
     kVariantVector + "03 01  03 00 00 00  FF FF  0D 00" + kLongVector +
         "08 00 00 00 00 00 00 00  03 01 00 00 00 00  00 00  0D 00" + kNobodysClass +
         "05 00 00 00 00 00 00 00  A1 A2 A3 A4 A5  08 00 08 00 06 00 00 00 A9 03 0A 00 00 00"
         "01 00 00 00  00 00 00 00 02 00 00 00 00 00"},

    // Saved as the whole buffer, whose rows are rounded up.
    {"AOI, 256", "WordAOIKLP",
     "00 01  03 00 01 00  01 00 02 00 03 00  00 00 00 00 03 00 01 00 00 00 00 00",
     R"(offset     bytes  field                     value
00000000          class                     WordAOIKLP, as stated
00000000       2  version                   256
00000002       2  image width               3
00000004       2  image height              1
00000006          pixels                    1 plane of 3 x 1
00000006       6    plane 0                 3 x unsigned 16 bit
00000006       6      [0]                   1 2 3
0000000C       2  x                         0
0000000E       2  y                         0
00000010       2  width                     3
00000012       2  height                    1
00000014       2  margin x                  0
00000016       2  margin y                  0
24 bytes, whole
)",
     "02 02  03 00 00 00 01 00 00 00  00 00 00 00 00 00 00 00 03 00 00 00 01 00 00 00"
     "00 00 00 00 00 00 00 00  01 00 00 00  01 00  02 00 00 00"
     "04 00 00 00 04 00 00 00 4E 00 6F 00 6E 00 65 00  00 00 00 00 02 00 00 00 00 00  00"
     "01 00 00 00 04 00 00 00 01 00 00 00  01 00 02 00 03 00 00 00"},

    // The margins are put back.
    {"AOI, rectangle form of 514", "",
     kByteAoi +
         "02 02  03 00 00 00 01 00 00 00  05 00 00 00 06 00 00 00 01 00 00 00 01 00 00 00"
         "01 00 00 00 00 00 00 00  02 00 00 00  00 00  00 00 00 00"
         "02 00 00 00 02 00 00 00 61 00 62 00  03 00 03 00 05 00 00 00  00  07 08 09 0A 0B 0C",
     R"(offset     bytes  field                     value
00000000      16  class                     ByteAOIKLP {486B1585-D4BF-42FE-A833-619076A4530C}
00000010       2  version                   514
00000012       4  total width               3
00000016       4  total height              1
0000001A       4  x                         5
0000001E       4  y                         6
00000022       4  width                     1
00000026       4  height                    1
0000002A       4  margin x                  1
0000002E       4  margin y                  0
00000032       4  planes                    2
00000036       2  flags                     0x0000, the rectangle
00000038       4  element type              0, Byte
0000003C       4  name length               2
00000040       4  name length again         2
00000044       4  name                      "ab"
00000048       8  tag                       VT_I4  5
00000050       1  attribute map             none
00000051          pixels                    2 planes of 3 x 1
00000051       3    plane 0                 3 x unsigned 8 bit
00000051       3      [0]                   7 8 9
00000054       3    plane 1                 3 x unsigned 8 bit
00000054       3      [0]                   10 11 12
87 bytes, whole
)",
     kByteAoi +
         "02 02  03 00 00 00 01 00 00 00  01 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00"
         "01 00 00 00 00 00 00 00  02 00 00 00  00 00  00 00 00 00"
         "02 00 00 00 02 00 00 00 61 00 62 00  03 00 03 00 05 00 00 00  00  07 08 09 0A 0B 0C"},

    {"AOI, buffer form of 259", "ByteAOIKLP",
     "03 01  01 00 00 00 01 00 00 00  01 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00"
     "00 00 00 00  01 00  01 00  01 00 02 00 00 00 01 00 00 00  07 08",
     R"(offset     bytes  field                     value
00000000          class                     ByteAOIKLP, as stated
00000000       2  version                   259
00000002       4  total width               1
00000006       4  total height              1
0000000A       4  x                         1
0000000E       4  y                         0
00000012       4  width                     1
00000016       4  height                    1
0000001A       2  margin x                  0
0000001C       2  margin y                  0
0000001E       2  planes                    1
00000020       2  flags                     0x0001, the whole buffer
00000022       2  buffer planes             1
00000024       4  buffer width              2
00000028       4  buffer height             1
0000002C          pixels                    1 plane of 2 x 1
0000002C       2    plane 0                 2 x unsigned 8 bit
0000002C       2      [0]                   7 8
46 bytes, whole
)",
     "02 02  01 00 00 00 01 00 00 00  01 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00"
     "00 00 00 00 00 00 00 00  01 00 00 00  01 00  00 00 00 00"
     "04 00 00 00 04 00 00 00 4E 00 6F 00 6E 00 65 00  00 00 00 00 02 00 00 00 00 00  00"
     "01 00 00 00 02 00 00 00 01 00 00 00  07 08"},

    {"a map in a map", "", kMapInMap,
     R"(offset     bytes  field                     value
00000000      16  class                     AttributeBstrMapKLP {9624BE21-9980-49D2-998B-95F217179324}
00000010       4  version                   1
00000014       1  override mode             1, on
00000015       4  attribute count           3
00000019          attributes                3 x key and tagged record
00000019       4    key                     ""
0000001D      14    value                   VT_BSTR  "äb"
0000002B       6    key                     "B"
00000031       2    value                   VT_UNKNOWN
00000033      16      class                 AttributeLongMapKLP {4E996978-B7D4-417A-BD5B-2660FB96BF6C}, level 2
00000043       8      byte count            21
0000004B       4        version             1
0000004F       1        override mode       0, off
00000050       4        attribute count     1
00000054                attributes          1 x key and tagged record
00000054       4          key               -2
00000058       8          value             VT_I4  9
00000060       8    key                     "a\n"
00000068       6    value                   VT_BOOL  true
110 bytes, whole
)",
     kMapInMap},
};

// Variant vectors in each other, so many levels with the outermost, with the class identifier.
inline std::vector<BYTE> NestedVectors(unsigned levels) {
  std::vector<BYTE> stream = BytesOf("03 01  00 00 00 00  00 00");
  for (unsigned level = 1; level < levels; ++level) {
    std::vector<BYTE> outer = BytesOf("03 01  01 00 00 00  00 00  0D 00" + kVariantVector);
    for (unsigned i = 0; i < 8; ++i)
      outer.push_back(static_cast<BYTE>(i < 4 ? stream.size() >> 8 * i : 0));
    outer.insert(outer.end(), stream.begin(), stream.end());
    stream = outer;
  }
  const std::vector<BYTE> classId = BytesOf(kVariantVector);
  stream.insert(stream.begin(), classId.begin(), classId.end());
  return stream;
}

}  // namespace tests
