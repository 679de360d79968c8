// Inside: memory that is not touched before it is used, and operations without memory.
#include "module/vector/element_array.h"

#include <stdexcept>

#include "module/vector/vector_classes.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/results.h"
#include "tests/vector/vector_test.h"

namespace tests {
namespace {

using rastel::ElementArray;

constexpr HRESULT kNotCloned = platform::ResultCode(0x80040462u);
constexpr HRESULT kNotCreated = platform::ResultCode(0x8004046Au);

template <class T>
void ExpectNothingResident(LONG count) {
  const ULONGLONG before = ResidentBytes();
  ElementArray<T> array;
  for (const LONG resize : {count / 2, count / 2 + 5, LONG{3}, count / 2, count, LONG{0}, count}) {
    rastel::ElementChange(array).Resize(resize);
    EXPECT_LT(ResidentBytes(), before + (60u << 20)) << resize;
  }
}

TEST(ElementArrays, CountsAloneMakeNothingResident) {
  ExpectNothingResident<std::uint8_t>(500 << 20);
  ExpectNothingResident<double>(60 << 20);
  ExpectNothingResident<VARIANT>(20 << 20);
}

TEST(ElementArrays, Resize_KeepsWhatIsThereAndZeroesTheRest) {
  ElementArray<std::uint32_t> array;
  const auto expectPattern = [&](LONG used) {
    for (LONG i = 0; i < array.Count(); ++i) {
      ASSERT_EQ(array.Data()[i], i < used ? static_cast<std::uint32_t>(i % 2000 + 1) : 0u) << i;
    }
  };
  LONG used = 0;
  for (const LONG count : {3, 5, 4, 1000, 400000, 2, 900000, 10, 400001, 1}) {
    const LONG kept = (std::min)(used, count);
    array.Resize(count);
    expectPattern(kept);
    for (LONG i = 0; i < count; ++i) array.Data()[i] = static_cast<std::uint32_t>(i % 2000 + 1);
    used = count;
  }
  // A page of zeros inside.
  array.Resize(400000);
  std::fill_n(array.Data(), 300000, 7u);
  std::fill_n(array.Data() + 100000, 100000, 0u);
  ElementArray<std::uint32_t> copy;
  copy.CopyFrom(array);
  EXPECT_EQ(copy.Count(), 400000);
  EXPECT_TRUE(std::equal(array.Data(), array.Data() + 400000, copy.Data()));
  for (const LONG count : {-1, -0x7FFFFFFF - 1}) {
    EXPECT_THROW(array.Resize(count), std::length_error);
    EXPECT_EQ(array.Count(), 400000);
  }
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

TEST(ElementArrays, WithoutMemory_OperationsFailAndVectorsStayWhole) {
  ExpectWholeAfterEachRefusal<ElementDouble, IDoubleVectorKLP>();
  ExpectWholeAfterEachRefusal<ElementVariant, IVariantVectorKLP>();
}

class ElementArrayObjects : public ObjectTest {};

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
TEST_F(ElementArrayObjects, MayEndTheirVectorAndCallItInItsEnd) {
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

TEST(ElementArrays, NumbersComeAndGoAndVectorsEndWithoutAllocating) {
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

}  // namespace
}  // namespace tests
