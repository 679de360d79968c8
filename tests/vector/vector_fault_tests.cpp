// What no row of text reaches: memory that is stated and not there, and vectors that end under a
// call.
#include <thread>

#include "interfaces/aoi.h"
#include "interfaces/marshal_behaviour.h"
#include "module/vector/vector_classes.h"
#include "tests/persist/client_objects.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/results.h"

namespace tests {
namespace {

using VectorFaults = ClientTest;

constexpr HRESULT kMemory = platform::ResultCode(0x8007000Eu);
constexpr HRESULT kNotCloned = platform::ResultCode(0x80040462u);
constexpr HRESULT kNotCreated = platform::ResultCode(0x8004046Au);

template <class Interface>
ComPtr<Interface> NewVector(REFCLSID classId, LONG count = 0, VARIANT_BOOL tags = 0) {
  auto vector = New<Interface>(classId);
  vector->put_HasElementTags(tags);
  vector->put_Count(count);
  return vector;
}

template <class Vector>
std::vector<double> ValuesOf(Vector& vector) {
  std::vector<double> values(static_cast<std::size_t>(CountOf(vector)));
  LONG i = 0;
  const auto generic = vector.template As<IVectorKLP>();
  for (double& value : values) EXPECT_EQ(generic->get_Value(i++, &value), S_OK);
  return values;
}
template <class I>
HRESULT Cloned(const ComPtr<I>& vector) {
  ComPtr<I> copy;
  return vector->Clone(copy.Put());
}
template <class I>
HRESULT DeepCopied(const ComPtr<I>& vector) {
  ComPtr<I> copy;
  return vector->DeepCopy(copy.Put());
}

// Neither by clients nor by streams: counts, an object of a class that nobody has, a
// text.
TEST_F(VectorFaults, StatedSizes_MakeNothingResident) {
  const ULONGLONG before = ResidentBytes();
  const auto expectSame = [&] { EXPECT_LT(ResidentBytes(), before + (60u << 20)); };
  const std::pair<const CLSID*, LONG> counts[] = {{&CLSID_ByteVectorKLP, 500 << 20},
                                                  {&CLSID_DoubleVectorKLP, 60 << 20},
                                                  {&CLSID_VariantVectorKLP, 20 << 20}};
  for (const auto& [classId, count] : counts) {
    const auto vector = NewVector<IVectorKLP>(*classId);
    for (const LONG size : {count / 2, count / 2 + 5, LONG{3}, count / 2, count, LONG{0}, count}) {
      EXPECT_EQ(vector->put_Count(size), S_OK);
      expectSame();
    }
  }
  const auto vector = New<IVariantVectorKLP>(CLSID_VariantVectorKLP);
  LoadFrom(vector, "0301 00000000 FFFF 00004001");
  LoadFrom(vector, "0301 01000000 0000 0D00" + std::string(32, '9') + "0000003000000000 01");
  expectSame();
  const auto map = New<IAttributeMapKLP>(CLSID_AttributeBstrMapKLP);
  LoadFrom(map, "01000000 01 01000000 00000010 6100");
  expectSame();
}

// Vectors of the code that is linked in here, whose allocations can be refused.
template <ElementTypeKLP Code, class ITyped>
ComPtr<ITyped> NewInside(LONG count) {
  ComPtr<ITyped> vector;
  rastel::CreateVector<Code>(nullptr, platform::kIidOf<ITyped>, vector.PutVoid());
  vector->put_HasElementTags(kOn);
  vector->put_Count(count);
  return vector;
}

// Each operation without memory does what it does with it, or fails and leaves a whole vector.
template <ElementTypeKLP Code, class ITyped>
void ExpectWholeAfterEachRefusal() {
  constexpr LONG kCount = 20;
  const auto text = TextValue(OLESTR("ab"));
  ComPtr<ITyped> vector;
  const auto empty = NewStream("0301 00000000 0000");
  const struct {
    const char* name;
    std::function<HRESULT()> run;
    std::vector<HRESULT> failures = {};
  } rows[] = {{"Clone", [&] { return Cloned(vector); }, {kMemory, kNotCloned}},
              {"DeepCopy", [&] { return DeepCopied(vector); }, {kMemory, kNotCreated}},
              {"grow", [&] { return vector->put_Count(5000); }, {kMemory}},
              {"grow in place", [&] { return vector->put_Count(19), vector->ResizeAll(20); }},
              {"shrink", [&] { return vector->put_Count(2); }},
              {"empty", [&] { return vector->put_Count(0); }},
              {"ResizeAll", [&] { return vector->ResizeAll(50); }, {kMemory}},
              {"tags off", [&] { return vector->put_HasElementTags(0); }},
              {"Clear", [&] { return vector->Clear(); }},
              {"Fill", [&] { return vector->Fill(1); }},
              {"Load less", [&] { return SeekTo(empty.Get(), 0), Load(vector, empty.Get()); }}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string expected;
    for (int granted = -1;; ++granted) {  // At first all are.
      vector = NewInside<Code, ITyped>(kCount);
      vector.template As<IVectorKLP>()->Fill(3);
      for (LONG i = 0; i < kCount; ++i) vector->put_ElementTag(i, text);
      AllocationFaults faults(granted);
      const HRESULT result = row.run();
      const bool isOver = faults.Stop() <= granted;
      if (granted < 0) expected = SavedBy(vector);
      if (granted < 0 || isOver || result == S_OK) {
        EXPECT_EQ(result, S_OK);
        EXPECT_EQ(SavedBy(vector), expected);
      } else {
        EXPECT_THAT(row.failures, testing::Contains(result));
      }
      if (granted >= 0 && isOver) break;
      ExpectEach(S_OK, {vector->put_Count(3), vector->ResizeAll(30), vector->Fill(2)});
      EXPECT_THAT(ValuesOf(vector), testing::Each(2));
    }
  }
}

TEST_F(VectorFaults, WithoutMemory_OperationsFailAndVectorsStayWhole) {
  ExpectWholeAfterEachRefusal<ElementDouble, IDoubleVectorKLP>();
  ExpectWholeAfterEachRefusal<ElementVariant, IVariantVectorKLP>();
}

// What keeps the bytes of an object whose class nobody has.
TEST_F(VectorFaults, WithoutMemory_AbsentClassesEndTheLoad) {
  const auto vector = NewInside<ElementVariant, IVariantVectorKLP>(1);
  const auto stream =
      NewStream("0301 01000000 0000 0D00" + std::string(32, '9') + "0200000000000000 ABCD");
  const auto load = [&] {
    SeekTo(stream.Get(), 0);
    return Load(vector, stream.Get());
  };
  int reports = 0;
  FailEachAllocation(load, [&](HRESULT result, long long) { reports += result == kReported; });
  EXPECT_EQ(reports, 2) << "the keeper and its bytes; the look-up does without";
}

// Cuts off half of twelve elements, and puts what they held behind the end again.
void HideHalf(IVariantVectorKLP* vector) {
  LONG count = 0;
  VARIANT *data = nullptr, kept[6]{};
  vector->GetPointer(&count, &data);
  std::swap_ranges(kept, kept + 6, data + 6);
  vector->put_Count(6);
  std::swap_ranges(kept, kept + 6, data + 6);
}

// A client may call with a borrowed pointer while an object in the vector holds the last reference.
TEST_F(VectorFaults, Objects_MayEndTheirVectorAndCallItInItsEnd) {
  using Vector = IVariantVectorKLP;
  const auto one = NewStream("0301 01000000 0000 0300 0300 05000000");
  const struct {
    const char* name;
    std::function<HRESULT(Vector*)> run;
  } rows[] = {{"fewer", [](Vector* v) { return v->put_Count(1); }},
              {"as many", [](Vector* v) { return v->put_Count(12); }},
              {"ResizeAll", [](Vector* v) { return v->ResizeAll(0); }},
              {"more", [](Vector* v) { return v->put_Count(5000); }},
              {"tags off", [](Vector* v) { return v->put_HasElementTags(0); }},
              {"Clear", [](Vector* v) { return v->Clear(); }},
              {"Fill", [](Vector* v) { return v->Fill(2); }},
              {"Load", [&](Vector* v) {
                 IPersistStream* const persist = ComPtr<Vector>(v).As<IPersistStream>().Get();
                 return persist->Load(one.Get());
               }}};
  const CComVariant late = NewValue();
  for (const auto& row : rows) {
    for (int run = 0; run < 6; ++run) {
      SCOPED_TRACE(testing::Message() << row.name << " " << run);
      const bool isHalfHidden = run >= 3;
      auto owner = NewInside<ElementVariant, Vector>(12);
      Vector* const borrowed = owner.Get();
      for (LONG i = 0; i < 12; ++i) {
        borrowed->put_Value(i, NewValue());
        borrowed->put_ElementTag(i, NewValue());
      }
      if (isHalfHidden) HideHalf(borrowed);
      int releases = 0;
      bool isEnding = false;
      script_.onRelease = [&] {
        if (++releases == 1) {
          isEnding = true;
          owner.Reset();
          isEnding = false;
        } else if (isEnding && releases == 3) {
          borrowed->ResizeAll(2);
          borrowed->put_ElementTag(1, late);
        }
      };
      SeekTo(one.Get(), 0);
      AllocationFaults faults(run % 3 - 1);  // all are granted, the first or the second is not
      const HRESULT result = row.run(borrowed);
      owner.Reset();
      faults.Stop();
      EXPECT_THAT(result, testing::AnyOf(S_OK, row.name == std::string("more") ? kMemory : S_OK));
      EXPECT_EQ(releases, isHalfHidden ? 18 : 24);
      script_.onRelease = nullptr;
    }
  }
  // With the value that came late, which the test holds.
  EXPECT_EQ(script_.objects, 1);
}

TEST_F(VectorFaults, NestingLevels_AreThoseOfAThread) {
  ComPtr<IByteVectorKLP> chain;
  CComVariant value = NewValue();
  for (int i = 0; i < 200; ++i) {
    chain = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 1, kOn);
    chain->put_ElementTag(0, value);
    value = Object(chain.Get());
  }
  const ULONGLONG size = SizeOf(chain);
  bool isFirst = true;
  script_.onSave = [&] {
    if (!std::exchange(isFirst, false)) return;
    std::thread([&] { EXPECT_EQ(SizeOf(chain), size); }).join();
  };
  EXPECT_EQ(SizeOf(chain), size);
}

TEST_F(VectorFaults, Marshalling_CopiesOutsideTheProcess) {
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 2);
  const auto marshal = vector.As<IMarshal>();
  for (const auto behaviour : {MarshalByReference, MarshalByValue}) {
    vector.As<IMarshalBehaviourKLP>()->put_MarshalBehaviour(behaviour);
    for (const DWORD context : {0u, 2u, 3u}) {
      CLSID id{};
      EXPECT_EQ(marshal->GetUnmarshalClass(IID_IUnknown, vector.Get(), context, nullptr, 0, &id),
                S_OK);
      EXPECT_EQ(IsEqualCLSID(id, CLSID_LongVectorKLP), behaviour == MarshalByValue && context != 3);
    }
  }
  DWORD size = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, vector.Get(), 2, nullptr, 0, &size), S_OK);
  EXPECT_EQ(size, 16u);
  // A size beyond 32 bits is cut: an element with a picture of 4 GiB, of which nothing is touched.
  const auto picture = New<IByteAOIKLP>(CLSID_ByteAOIKLP);
  BYTE pixel = 0;
  ASSERT_EQ(picture->AttachPlanes(1, 0x10000, 0x10000, &pixel), S_OK);
  const auto huge = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1);
  huge->put_Value(0, Object(picture.Get()));
  EXPECT_EQ(huge.As<IMarshal>()->GetMarshalSizeMax(IID_IUnknown, huge.Get(), 2, nullptr, 0, &size),
            S_OK);
  EXPECT_EQ(size, 8u + 26 + 71);
}

// The typed interface is the one for late binding, and a property bag is answered, but not used.
TEST_F(VectorFaults, Answers_OfOneObject) {
  const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 1);
  EXPECT_EQ(vector.As<IDispatch>().Get(), static_cast<IDispatch*>(vector.Get()));
  EXPECT_NE(static_cast<void*>(vector.As<IPersistStream>().Get()),
            static_cast<void*>(vector.As<IPersistStreamInit>().Get()));
  const auto bag = vector.As<IPersistPropertyBag>();
  CLSID id{};
  ExpectEach(S_OK, {bag->InitNew(), bag->Load(nullptr, nullptr), bag->Save(nullptr, TRUE, TRUE),
                    bag->GetClassID(&id)});
  EXPECT_EQ(id, CLSID_ByteVectorKLP);
}

}  // namespace
}  // namespace tests
