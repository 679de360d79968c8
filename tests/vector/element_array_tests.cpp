// Inside: memory that is not touched before it is used, and operations without memory.
#include "vector/element_array.h"

#include <stdexcept>

#include "tests/support/allocation_faults.h"
#include "tests/support/results.h"
#include "tests/vector/vector_test.h"
#include "vector/vector_classes.h"

namespace tests {
namespace {

using rastel::DisplacedVariants;
using rastel::ElementArray;

template <class T>
void ExpectNothingResident(LONG count) {
  const ULONGLONG before = ResidentBytes();
  ElementArray<T> array;
  DisplacedVariants displaced;
  for (const LONG resize : {count / 2, count / 2 + 5, LONG{3}, count / 2, count, LONG{0}, count}) {
    array.Resize(resize, displaced);
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
  const auto saved = NewStream();
  Save(vector, saved.Get());
  const auto load = [&] {
    SeekTo(saved.Get(), 0);
    return Load(target, saved.Get());
  };
  const struct {
    const char* name;
    std::function<HRESULT()> run;
    std::vector<HRESULT> results;
  } rows[] = {
      {"Clone", [&] { return Cloned(vector); }, {kMemory, platform::ResultCode(0x80040462u)}},
      {"DeepCopy",
       [&] { return DeepCopied(vector); },
       {kMemory, platform::ResultCode(0x8004046Au)}},
      {"grow", [&] { return vector->put_Count(200000); }, {kMemory}},
      {"shrink", [&] { return vector->put_Count(2); }, {kMemory}},
      {"empty", [&] { return vector->put_Count(0); }, {S_OK}},
      {"ResizeAll", [&] { return vector->ResizeAll(50); }, {kMemory, S_OK}},
      {"tags off", [&] { return vector->put_HasElementTags(0); }, {S_OK}},
      {"Clear", [&] { return vector->Clear(); }, {kMemory, S_OK}},
      {"Fill", [&] { return vector->Fill(1); }, {kMemory}},
      {"Load", load, {kMemory, kReported, S_OK}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    for (int granted = 0;; ++granted) {
      fresh();
      AllocationFaults faults(granted);
      const HRESULT result = row.run();
      if (faults.Stop() <= granted) {
        EXPECT_EQ(result, S_OK);
        break;
      }
      EXPECT_THAT(row.results, testing::Contains(result));
      ExpectEach(S_OK, {vector->put_Count(3), vector->ResizeAll(30), vector->Fill(2)});
      EXPECT_THAT(ValuesOf(vector), testing::Each(2));
    }
  }
}

TEST(ElementArrays, WithoutMemory_OperationsFailAndVectorsStayWhole) {
  ExpectWholeAfterEachRefusal<ElementDouble, IDoubleVectorKLP>();
  ExpectWholeAfterEachRefusal<ElementVariant, IVariantVectorKLP>();
}

TEST(ElementArrays, NumbersAreReadAndWrittenWithoutAllocating) {
  const auto vector = NewInside<ElementDouble, IDoubleVectorKLP>(2);
  AllocationFaults faults;
  double value = 0;
  const HRESULT results[] = {vector->put_Value(1, 2), vector->get_Value(1, &value)};
  EXPECT_EQ(faults.Stop(), 0);
  EXPECT_THAT(results, testing::Each(S_OK));
}

}  // namespace
}  // namespace tests
