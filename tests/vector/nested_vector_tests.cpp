// Vectors and foreign objects inside vectors: through streams, by copies, in cycles, very deep.
#include <chrono>
#include <thread>

#include "tests/vector/vector_test.h"

namespace tests {
namespace {

using NestedVectors = VectorTest;
using Clock = std::chrono::steady_clock;

constexpr auto kQuick = std::chrono::seconds(1);

ComPtr<IVariantVectorKLP> VectorOf(const CComVariant& value) {
  auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1);
  EXPECT_EQ(vector->put_Value(0, value), S_OK);
  return vector;
}

// A vector with a value in its tag, that in the tag of the next, and so on.
ComPtr<IByteVectorKLP> Chain(int vectors, CComVariant value) {
  ComPtr<IByteVectorKLP> vector;
  for (int i = 0; i < vectors; ++i) {
    vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 1, kOn);
    EXPECT_EQ(vector->put_ElementTag(0, value), S_OK);
    value = Object(vector.Get());
  }
  return vector;
}

TEST_F(NestedVectors, UnknownClass_SurvivesAndComesAliveWhenRegistered) {
  const auto outer = VectorOf(Object(VectorOf(NewValue()).Get()));
  const std::string saved =
      "03 01 01 00 00 00 00 00 0D 00 8E 0B 3F F1 59 F1 F5 43 92 22 92 D7 59 E8 40 C2 "
      "24 00 00 00 00 00 00 00 03 01 01 00 00 00 00 00 0D 00 " +
      std::string(kTestClassHex) + " 02 00 00 00 00 00 00 00 AB CD";
  EXPECT_EQ(SavedBy(outer), saved);
  const auto other = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP);
  EXPECT_EQ(LoadFrom(other, saved), S_OK);
  EXPECT_EQ(Loads(), 0);
  ComPtr<IVariantVectorKLP> copy;
  EXPECT_EQ(other->DeepCopy(copy.Put()), S_OK);
  EXPECT_EQ(SavedBy(copy), saved);
  Register();
  EXPECT_EQ(LoadFrom(other, saved), S_OK);
  EXPECT_EQ(Loads(), 1);
  EXPECT_EQ(SavedBy(other), saved);
}

TEST_F(NestedVectors, ObjectsInRecords_ComeBackAsUnknown) {
  const auto inner = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 1);
  inner->put_Value(0, 6);
  const auto outer = VectorOf(Object(inner.As<IDispatch>().Get(), VT_DISPATCH));
  ComPtr<IVariantVectorKLP> copy;
  ASSERT_EQ(outer->DeepCopy(copy.Put()), S_OK);
  CComVariant value;
  EXPECT_EQ(copy->get_Value(0, &value), S_OK);
  ASSERT_EQ(value.vt, VT_UNKNOWN);
  inner->put_Value(0, 7);
  const auto copied = ComPtr<IUnknown>(value.punkVal).As<ILongVectorKLP>();
  ASSERT_TRUE(copied);
  EXPECT_THAT(ValuesOf(copied), ElementsAre(6));
}

TEST_F(NestedVectors, ObjectsThatChangeTheirVectorInSave) {
  Register();
  for (const LONG newCount : {0, 1, 40, 5000}) {
    SCOPED_TRACE(newCount);
    const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 30, kOn);
    const auto fill = [&] {
      vector->ResizeAll(30);
      for (LONG i = 0; i < 30; i += 3) {
        vector->put_Value(i, NewValue());
        vector->put_ElementTag(i, NewValue());
      }
    };
    const auto change = [&] {
      vector->ResizeAll(newCount);
      // As many more as it likes: the walk has its end.
      for (LONG i = 0; i < newCount && i < 50; ++i) vector->put_Value(i, NewValue());
    };
    script_.onSave = change;
    fill();
    EXPECT_EQ(Save(vector, NewStream().Get()), S_OK);
    fill();
    SizeOf(vector);
    fill();
    EXPECT_EQ(DeepCopied(vector), S_OK);
    script_.onSave = nullptr;
    fill();
    const auto stream = NewStream();
    EXPECT_EQ(Save(vector, stream.Get()), S_OK);
    SeekTo(stream.Get(), 0);
    script_.onLoad = change;
    EXPECT_EQ(Load(vector, stream.Get()), S_OK);
    script_.onLoad = nullptr;
    EXPECT_EQ(vector->put_Count(3), S_OK);
    EXPECT_EQ(vector->Clear(), S_OK);
  }
}

TEST_F(NestedVectors, VectorThatHoldsItselfTwice_EndsQuickly) {
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 2, kOn);
  for (LONG i = 0; i < 2; ++i) {
    vector->put_Value(i, Object(vector.Get()));
    vector->put_ElementTag(i, Object(vector.Get()));
  }
  const auto start = Clock::now();
  EXPECT_EQ(Save(vector, NewStream().Get()), S_OK);
  EXPECT_GT(SizeOf(vector), 0u);
  EXPECT_EQ(DeepCopied(vector), S_OK);
  EXPECT_LT(Clock::now() - start, kQuick);
  // The thread is free again.
  const auto other = VectorOf(Object(VectorOf(Bits(VT_I2, 1)).Get()));
  EXPECT_EQ(SavedBy(other).size(), 3 * 48 - 1u);
  vector->ResizeAll(0);
}

TEST_F(NestedVectors, Chain_CostsAtMostTheSquareOfItsDepthInSaves) {
  Register();
  constexpr int kDepth = 200;
  const auto chain = Chain(kDepth, NewValue());
  const auto stream = NewStream();
  EXPECT_EQ(Save(chain, stream.Get()), S_OK);
  EXPECT_GT(script_.saves, 0);
  EXPECT_LE(script_.saves, kDepth * kDepth);
  script_.saves = 0;
  EXPECT_EQ(SizeOf(chain), PositionOf(stream.Get()));
  EXPECT_EQ(script_.saves, 1);
  SeekTo(stream.Get(), 0);
  EXPECT_EQ(Load(NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP), stream.Get()), S_OK);
  EXPECT_EQ(Loads(), 1);
}

TEST_F(NestedVectors, Nesting_EndsAt256Levels) {
  Register();
  // A thread has its own levels.
  const auto other = Chain(200, Number(1));
  const ULONGLONG size = SizeOf(other);
  script_.onSave = [&] { std::thread([&] { EXPECT_EQ(SizeOf(other), size); }).join(); };
  for (const int depth : {255, 256, 300}) {
    SCOPED_TRACE(depth);
    script_.saves = 0;
    const auto chain = Chain(depth, NewValue());
    DebugCapture debug;
    SizeOf(chain);
    EXPECT_EQ(script_.saves, depth < 256 ? 1 : 0);
    EXPECT_EQ(debug.Texts().empty(), depth < 256);
    EXPECT_EQ(Save(chain, NewStream().Get()), S_OK);
    EXPECT_EQ(script_.saves > 0, depth < 256);
  }
}

}  // namespace
}  // namespace tests
