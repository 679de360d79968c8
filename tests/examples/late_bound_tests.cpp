// The late-bound client, run as its users run it: it finds everything by name, and what it says is
// the same on both hosts.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/child_process.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

TEST(LateBound, DrivesEveryClassByName) {
  const RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  ChildResult client = RunProgram(LATE_BOUND, {});
  std::erase(client.output, '\r');
  EXPECT_EQ(client.exitCode, 0);
  EXPECT_EQ(client.output, R"(Classes
  AOIKLP.ByteKLP                       IByteAOIKLP
  AOIKLP.WordKLP                       IWordAOIKLP
  AOIKLP.DWordKLP                      IDWordAOIKLP
  AOIKLP.FloatKLP                      IFloatAOIKLP
  AOIKLP.DoubleKLP                     IDoubleAOIKLP
  AOIKLP.CharKLP                       ICharAOIKLP
  AOIKLP.ShortKLP                      IShortAOIKLP
  AOIKLP.LongKLP                       ILongAOIKLP
  VectorKLP.ByteKLP                    IByteVectorKLP
  VectorKLP.ShortKLP                   IShortVectorKLP
  VectorKLP.LongKLP                    ILongVectorKLP
  VectorKLP.FloatKLP                   IFloatVectorKLP
  VectorKLP.DoubleKLP                  IDoubleVectorKLP
  VectorKLP.CharVectorKLP              ICharVectorKLP
  VectorKLP.WordVectorKLP              IWordVectorKLP
  VectorKLP.DWordVectorKLP             IDWordVectorKLP
  VectorKLP.VariantVectorKLP           IVariantVectorKLP
  RastelKLP.AttributeBstrMapKLP        IAttributeMapKLP
  RastelKLP.AttributeLongMapKLP        IAttributeMapKLP
  RastelKLP.AttributeDoubleMapKLP      IAttributeMapKLP
  RastelKLP.AttributeEntryKLP          0x80004002
A picture
  without pixels         0x8004045A from AOIKLP.WordKLP.2: Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet.
  size                   6 x 4
  pixels                 7 4711
  plane selected         0
  rectangle              1 1, 4 x 3
  clone                  IWordAOIKLP None, same size 1
  negative width         0x80040459 from AOIKLP.WordKLP.2: Rasteldata: Die uebergebenen Koordinaten sind kleiner null.
  no such plane          0x80040469 from AOIKLP.WordKLP.2: Rasteldata: Plane liegt ausserhalb des Bildpuffers
  no such member         Breite: 0x80020006
  an argument short      GetPixel: 0x8002000E
  not a number           Width: 0x80020005
  not an AOI             CopyRect: 0x80004002
A map
  keys                   Bild Kamera Zeit
  values                 0.25 Prüfstand 2
  an object in a value   IWordAOIKLP
  of a clone             2 attributes, Zeit 0
  a second value         0x80020009 from RastelKLP.AttributeBstrMapKLP.1: element already exist => use override mode
A vector
  elements               12 255 0
  tag in a copy          hell
  no such element        0x80040461 from VectorKLP.ByteKLP.2: Rasteldata: Ungültiges Vektor-Element 
)");
}

}  // namespace
}  // namespace tests
