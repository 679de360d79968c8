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
// The types of the tags that GetTagPointer shows; -1 where it gives S_FALSE.
template <class Vector>
std::vector<int> TagTypesOf(Vector& vector) {
  LONG count = 7;
  VARIANT* tags = nullptr;
  if (vector->GetTagPointer(&count, &tags) == S_FALSE) {
    EXPECT_TRUE(count == 0 && !tags);
    return {-1};
  }
  std::vector<int> types;
  for (LONG i = 0; i < count; ++i) types.push_back(tags[i].vt);
  return types;
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
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP);
  LoadFrom(vector, "0301 00000000 FFFF 00004001");
  expectSame();
  const auto map = New<IAttributeMapKLP>(CLSID_AttributeBstrMapKLP);
  EXPECT_EQ(
      LoadFrom(vector, "0301 01000000 0000 0D00" + std::string(32, '9') + "0000003000000000 01"),
      S_OK);
  expectSame();
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

template <ElementTypeKLP Code, class ITyped>
void ExpectWholeAfterEachRefusal() {
  constexpr LONG kCount = 20;
  const auto text = TextValue(OLESTR("ab"));
  ComPtr<ITyped> vector, target;
  const auto fresh = [&] {
    target = NewInside<Code, ITyped>(0);
    vector = NewInside<Code, ITyped>(kCount);
    vector.template As<IVectorKLP>()->Fill(3);
    for (LONG i = 0; i < kCount; ++i) vector->put_ElementTag(i, text);
    if constexpr (Code == ElementVariant) {
      for (LONG i = 0; i < kCount; ++i) vector->put_Value(i, text);
    }
  };
  fresh();
  const auto saved = NewStream(), empty = NewStream("0301 00000000 0000");
  Save(vector, saved.Get());
  const auto load = [](auto& into, auto& stream) {
    SeekTo(stream.Get(), 0);
    return Load(into, stream.Get());
  };
  const struct {
    const char* name;
    std::function<HRESULT()> run;
    std::vector<HRESULT> results;
    std::vector<int> tags = {};  // behind success
  } rows[] = {
      {"Clone", [&] { return Cloned(vector); }, {kMemory, kNotCloned}},
      {"DeepCopy", [&] { return DeepCopied(vector); }, {kMemory, kNotCreated}},
      {"grow", [&] { return vector->put_Count(200000); }, {kMemory}},
      {"grow in place", [&] { return vector->put_Count(19), vector->ResizeAll(20); }, {S_OK}},
      {"shrink", [&] { return vector->put_Count(2); }, {S_OK}, {VT_BSTR, VT_BSTR}},
      {"empty", [&] { return vector->put_Count(0); }, {S_OK}, {-1}},
      {"ResizeAll", [&] { return vector->ResizeAll(50); }, {kMemory}},
      {"tags off", [&] { return vector->put_HasElementTags(0); }, {S_OK}, {-1}},
      {"Clear", [&] { return vector->Clear(); }, {S_OK}, std::vector<int>(kCount, VT_EMPTY)},
      {"Fill", [&] { return vector->Fill(1); }, {S_OK}, std::vector<int>(kCount, VT_BSTR)},
      {"Load", [&] { return load(target, saved); }, {kMemory, kReported, S_OK}},
      {"Load less", [&] { return load(vector, empty); }, {S_OK}, {-1}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    for (int granted = 0;; ++granted) {
      fresh();
      AllocationFaults faults(granted);
      const HRESULT result = row.run();
      const bool isOver = faults.Stop() <= granted;
      EXPECT_THAT(isOver ? std::vector<HRESULT>{S_OK} : row.results, testing::Contains(result));
      if (!row.tags.empty()) {
        EXPECT_EQ(TagTypesOf(vector), row.tags);
      }
      if (isOver) break;
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

TEST_F(VectorFaults, NumbersComeAndGoAndVectorsEndWithoutAllocating) {
  const auto vector = NewInside<ElementDouble, IDoubleVectorKLP>(2);
  auto texts = NewInside<ElementVariant, IVariantVectorKLP>(20);
  for (LONG i = 0; i < 20; ++i) texts->put_ElementTag(i, TextValue(OLESTR("ab")));
  AllocationFaults faults;
  double value = 0;
  const HRESULT results[] = {vector->put_Value(1, 2), vector->get_Value(1, &value)};
  texts.Reset();
  EXPECT_EQ(faults.Stop(), 0);
  EXPECT_THAT(results, testing::Each(S_OK));
}

// The place of a value is gone when it could be put.
TEST_F(VectorFaults, Values_MayTakeTheirPlaceAway) {
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 2, kOn);
  const CComVariant value = NewValue();
  script_.onAddRef = [&] { vector->put_Count(0); };
  EXPECT_EQ(vector->put_ElementTag(1, value), E_FAIL);
  EXPECT_EQ(vector->put_Count(2), S_OK);
  EXPECT_EQ(vector->put_Value(1, value), S_OK);
  script_.onAddRef = nullptr;
  EXPECT_EQ(CountOf(vector), 0);
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
  vector->put_Value(1, 7);
  DWORD size = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, vector.Get(), 2, nullptr, 0, &size), S_OK);
  EXPECT_EQ(size, 16u);
  const auto stream = NewStream();
  EXPECT_EQ(marshal->MarshalInterface(stream.Get(), IID_IUnknown, vector.Get(), 2, nullptr, 0),
            S_OK);
  EXPECT_EQ(ContentOf(stream.Get()), "03 01 02 00 00 00 00 00 00 00 00 00 07 00 00 00");
  SeekTo(stream.Get(), 0);
  ComPtr<IVectorKLP> copy;
  const auto receiver = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP).As<IMarshal>();
  EXPECT_EQ(receiver->UnmarshalInterface(stream.Get(), IID_IVectorKLP, copy.PutVoid()), S_OK);
  EXPECT_THAT(ValuesOf(copy), testing::ElementsAre(0, 7));

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
