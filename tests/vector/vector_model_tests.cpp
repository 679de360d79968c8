// SPDX-License-Identifier: MIT
// Vectors of every class beside a model of them, through random operations. After each one all that
// a client sees is compared, and a failure is shown with the operations that led there.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "module/vector/special_methods.h"
#include "tests/persist/client_objects.h"
#include "tests/support/random_model.h"

namespace tests {
namespace {

constexpr HRESULT kBadIndex = platform::ResultCode(0x80040461u);
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNumbers[] = {
    0,    -0.5,  2.9, 127.9, 128,        255.5,      -129,
    -4e4, 5e4,   7e4, -3e9,  2147483648, 4294967296, 0.1,
    1e39, -1e39, 3,   1e308, kInfinity,  -kInfinity, std::numeric_limits<double>::quiet_NaN()};
const Bytes kEmpty = RecordOf(VARIANT{});

Bytes Joined(const std::vector<Bytes>& records) {
  Bytes all;
  for (const Bytes& record : records) all += record;
  return all;
}

// An element as it stands in a stream: a number, or the tagged record of a VARIANT.
template <class T>
Bytes ElementOf(double value) {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_same_v<T, VARIANT>) {
    return RecordOf(Real(value));
  } else if constexpr (std::is_same_v<T, double>) {
    return Raw(value);
  } else if (!std::isnan(value)) {
    return Raw(static_cast<T>(std::clamp<double>(value, Limits::lowest(), Limits::max())));
  } else if constexpr (std::is_same_v<T, float>) {
    return Raw(static_cast<float>(value));
  } else {
    return Raw(std::is_same_v<T, std::int32_t> ? Limits::lowest() : T{0});
  }
}

// As it is, which a float keeps beyond its limits.
template <class T>
Bytes BitsOf(double value) {
  return std::is_same_v<T, float> ? Raw(static_cast<float>(value)) : ElementOf<T>(value);
}

class VectorModels : public ClientTest {
 protected:
  template <class I, class T>
  class Run;

  template <class I, class T>
  void RunAll(REFCLSID classId) {
    SCOPED_TRACE(classId.Data1);
    for (unsigned run = 0; run < 28 && !HasFailure(); ++run) {
      RandomModel::Play(Run<I, T>(*this, run + classId.Data1, New<I>(classId)), 40);
    }
  }
};

template <class I, class T>
class VectorModels::Run : public RandomModel {
 public:
  Run(VectorModels& test, unsigned seed, ComPtr<I> vector)
      : RandomModel(seed), test_(test), vector_(std::move(vector)) {}

  void Step() {
    auto generic = vector_.template As<IVectorKLP>();
    const auto step = Below(12);
    const LONG index = Below(Count() + 2) - 1, count = AnyCount();
    Note(step, step > 4 ? count : index);
    const auto at = static_cast<std::size_t>(index);
    const bool isThere = index >= 0 && index < Count();
    const double number = AnyNumber();
    const CComVariant value = AnyValue();
    if (step == 0) {
      EXPECT_EQ(generic->put_Value(index, number), isThere ? S_OK : kBadIndex);
      if (isThere) elements_[at] = ElementOf<T>(number);
    } else if (step == 1 || step == 2) {
      const bool hasTag = flag_ == kOn && index < TagCount();
      EXPECT_EQ(vector_->put_ElementTag(index, value), !isThere ? kBadIndex
                                                       : hasTag ? S_OK
                                                                : E_FAIL);
      if (isThere && hasTag) tags_[at] = RecordOf(value);
    } else if (step == 3) {
      T element;
      if constexpr (kHasVariants) {
        element = value;
      } else {
        std::memcpy(&element, BitsOf<T>(number).data(), sizeof(T));
      }
      EXPECT_EQ(
          count % 2 ? Slots()->PutElement(index, element) : Slots()->PutElementImpl(index, element),
          isThere ? S_OK : kBadIndex);
      if (isThere) elements_[at] = kHasVariants ? RecordOf(value) : ElementOf<T>(number);
    } else if (step == 4) {
      EXPECT_EQ(vector_->Clear(), S_OK);
      const Bytes zero = kHasVariants ? RecordOf(Bits(VT_INT, 0)) : ElementOf<T>(0);
      elements_.assign(elements_.size(), zero);
      tags_.assign(elements_.size(), kEmpty);
    } else if (step == 5) {
      EXPECT_EQ(vector_->Fill(number), S_OK);
      elements_.assign(elements_.size(), ElementOf<T>(number));
    } else if (step == 6) {
      EXPECT_EQ(vector_->ResizeAll(count), S_OK);
      Resize(count, true);
    } else if (step == 7) {
      EXPECT_EQ(count % 2 ? vector_->put_Count(count) : vector_->SetCount(count), S_OK);
      Resize(count, flag_ == kOn);
    } else if (step == 8) {
      const VARIANT_BOOL flag = AnyFlag();
      EXPECT_EQ(vector_->put_HasElementTags(flag), S_OK);
      if (flag != flag_) tags_.resize(flag == 0 ? 0 : elements_.size(), kEmpty);
      flag_ = flag;
    } else if (step == 9) {
      // Goes on with a copy, which the generic interface gives as the typed one as well.
      I* copy = nullptr;
      auto** const genericCopy = reinterpret_cast<IVectorKLP**>(&copy);
      EXPECT_EQ(index % 2   ? count % 2 ? vector_->Clone(&copy) : vector_->DeepCopy(&copy)
                  : count % 2 ? generic->Clone(genericCopy)
                            : generic->DeepCopy(genericCopy),
                S_OK);
      vector_.Attach(copy);
      if (flag_ != kOn) flag_ = 0, tags_.clear();
      kept_ = {}, keptTags_ = {};
    } else if (step == 10) {
      Write(kept_, elements_, [&](LONG* n, T** first) { return vector_->GetPointer(n, first); });
      if (flag_ == kOn) {
        Write(keptTags_, tags_,
              [&](LONG* n, VARIANT** first) { return vector_->GetTagPointer(n, first); });
      }
      // Bitwise images of what is there.
      if (flag_ == kOn && TagCount() > 0 && Count() > 0) {
        EXPECT_EQ(vector_->put_ElementTag(0, keptTags_.first[0]), S_OK);
      }
      if constexpr (kHasVariants) {
        EXPECT_TRUE(Count() == 0 || vector_->put_Value(0, kept_.first[0]) == S_OK);
      }
      // What was written behind the end goes with the next change.
      EXPECT_EQ(vector_->put_Count(Count()), S_OK);
      Resize(Count(), flag_ == kOn);
    } else {
      LoadAnother();
    }
    if (Count() > kept_.room) kept_ = {};
    if (TagCount() > keptTags_.room) keptTags_ = {};
  }
  void Compare() {
    LONG count = -1;
    EXPECT_EQ(vector_->get_Count(&count), Count() == 0 ? S_FALSE : S_OK);
    EXPECT_EQ(count, Count());
    VARIANT_BOOL flag = 9;
    EXPECT_EQ(vector_->get_HasElementTags(&flag), S_OK);
    EXPECT_EQ(flag, flag_);
    Bytes bytes = "\3\1" + Raw(Count()) + Raw(flag_) + Joined(elements_);
    if (flag_ == kOn) bytes += Raw(TagCount()) + Joined(tags_);
    EXPECT_EQ(SavedBy(vector_), HexOf(bytes.data(), bytes.size()));
    EXPECT_EQ(SizeOf(vector_), bytes.size());
    EXPECT_EQ(test_.script_.objects, std::count(elements_.begin(), elements_.end(), kObjectRecord) +
                                         std::count(tags_.begin(), tags_.end(), kObjectRecord));
    const LONG index = Below(Count() + 2) - 1;
    const auto at = static_cast<std::size_t>(index);
    const bool isThere = index >= 0 && index < Count();
    std::conditional_t<kHasVariants, CComVariant, double> value{};
    EXPECT_EQ(vector_->get_Value(index, &value), isThere ? S_OK : kBadIndex);
    std::conditional_t<kHasVariants, CComVariant, T> element{};
    EXPECT_EQ(Slots()->GetElement(index, &element), isThere ? S_OK : kBadIndex);
    EXPECT_EQ(Slots()->GetElementImpl(index, &element), isThere ? S_OK : kBadIndex);
    if constexpr (kHasVariants) {
      EXPECT_TRUE(!isThere || RecordOf(value) == elements_[at]);
      EXPECT_TRUE(!isThere || RecordOf(element) == elements_[at]);
    } else if (isThere) {
      EXPECT_EQ(Raw(element), ElementOf<T>(value));
      std::memcpy(&element, elements_[at].data(), sizeof(T));
      const auto stored = static_cast<double>(element);
      EXPECT_TRUE(value == stored || (std::isnan(value) && std::isnan(stored)));
    }
    CComVariant tag;
    const bool hasTag = flag_ == kOn && index < TagCount();
    EXPECT_EQ(vector_->get_ElementTag(index, &tag), !isThere ? kBadIndex : hasTag ? S_OK : E_FAIL);
    EXPECT_TRUE(!isThere || !hasTag || RecordOf(tag) == tags_[at]);
  }

 private:
  static constexpr bool kHasVariants = std::is_same_v<T, VARIANT>;

  // An array whose address a client keeps: it stays there until it has more elements than ever.
  template <class E>
  struct Exposed {
    E* first = nullptr;
    LONG room = 0;
  };

  LONG AnyCount() { return Below(20) == 0 ? Below(900) : Below(14) - 1; }
  VARIANT_BOOL AnyFlag() { return static_cast<VARIANT_BOOL>((std::max)(Below(6) - 4, LONG{-1})); }
  double AnyNumber() { return kNumbers[random_() % std::size(kNumbers)]; }
  CComVariant AnyValue() { return test_.AnyValue(random_); }
  // The element type's own slots, behind the interface.
  auto* Slots() { return reinterpret_cast<rastel::VectorElementSlots<T, I>*>(vector_.Get()); }
  LONG Count() const { return static_cast<LONG>(elements_.size()); }
  LONG TagCount() const { return static_cast<LONG>(tags_.size()); }

  // The element's bytes in a stream of a version, and those in the newest.
  std::pair<Bytes, Bytes> AnyElement(WORD version) {
    if constexpr (!kHasVariants) {
      const Bytes number = BitsOf<T>(AnyNumber());
      return {number, number};
    } else if (version == 0x101) {
      const CComVariant value = AnyValue();
      const bool hasPointer = value.vt == VT_BSTR || value.vt == VT_UNKNOWN;
      return {Raw<VARIANT>(value), hasPointer ? kEmpty : RecordOf(value)};
    }
    return AnyRecord(version == 0x100);
  }
  std::pair<Bytes, Bytes> AnyRecord(bool isPlain) {
    const CComVariant value = AnyValue();
    const Bytes record = RecordOf(value);
    if (!isPlain) return {record, record};
    const bool isObject = value.vt == VT_UNKNOWN;
    return {isObject ? PlainObject(value.vt, kTestClass, "\xAB\xCD") : PlainRecord(value), record};
  }

  void Resize(LONG count, bool withTags) {
    const auto size = static_cast<std::size_t>((std::max)(count, LONG{0}));
    elements_.resize(size, kHasVariants ? kEmpty : ElementOf<T>(0));
    if (withTags || size == 0) tags_.resize(size, kEmpty);
  }

  template <class E, class Get>
  void Write(Exposed<E>& kept, std::vector<Bytes>& model, Get get) {
    LONG count = -1;
    E* first = nullptr;
    EXPECT_EQ(get(&count, &first), model.empty() ? S_FALSE : S_OK);
    ASSERT_EQ(count, static_cast<LONG>(model.size()));
    EXPECT_TRUE(count == 0 || kept.room == 0 || first == kept.first);
    if (count > kept.room) kept = {first, count};
    if (kept.room == 0) return;
    const LONG index = Below(kept.room);
    Bytes bytes;
    if constexpr (std::is_same_v<E, VARIANT>) {
      CComVariant value = AnyValue();
      bytes = RecordOf(value);
      std::swap<VARIANT>(kept.first[index], value);
    } else {
      bytes = BitsOf<E>(AnyNumber());
      std::memcpy(kept.first + index, bytes.data(), sizeof(E));
    }
    if (index < count) model[static_cast<std::size_t>(index)] = bytes;
  }

  // Of any version, over what is there.
  void LoadAnother() {
    const WORD version = static_cast<WORD>(0x100 + Below(4));
    if (version > 0x100) flag_ = AnyFlag();
    const bool hasTags = version == 0x100 || flag_ == kOn;
    elements_.resize(static_cast<std::size_t>((std::max)(AnyCount(), LONG{0})));
    tags_.resize(hasTags ? static_cast<std::size_t>((std::max)(AnyCount(), LONG{0})) : 0);
    Bytes bytes = Raw(version) + Raw(Count()) + (version > 0x100 ? Raw(flag_) : "");
    for (Bytes& element : elements_) {
      const auto [written, read] = AnyElement(version);
      bytes += written;
      element = read;
    }
    if (hasTags) bytes += Raw(TagCount());
    for (Bytes& tag : tags_) {
      const auto [written, read] = AnyRecord(version < 0x103);
      bytes += written;
      tag = read;
    }
    EXPECT_EQ(LoadFrom(vector_, HexOf(bytes.data(), bytes.size())), S_OK);
  }

  VectorModels& test_;
  ComPtr<I> vector_;
  std::vector<Bytes> elements_, tags_;
  VARIANT_BOOL flag_ = 0;
  Exposed<T> kept_;
  Exposed<VARIANT> keptTags_;
};

TEST_F(VectorModels, RandomOperations) {
  RunAll<IByteVectorKLP, std::uint8_t>(CLSID_ByteVectorKLP);
  RunAll<ICharVectorKLP, std::int8_t>(CLSID_CharVectorKLP);
  RunAll<IWordVectorKLP, std::uint16_t>(CLSID_WordVectorKLP);
  RunAll<IShortVectorKLP, std::int16_t>(CLSID_ShortVectorKLP);
  RunAll<IDWordVectorKLP, std::uint32_t>(CLSID_DWordVectorKLP);
  RunAll<ILongVectorKLP, std::int32_t>(CLSID_LongVectorKLP);
  RunAll<IFloatVectorKLP, float>(CLSID_FloatVectorKLP);
  RunAll<IDoubleVectorKLP, double>(CLSID_DoubleVectorKLP);
  RunAll<IVariantVectorKLP, VARIANT>(CLSID_VariantVectorKLP);
  SetErrorInfo(0, nullptr);
}

}  // namespace
}  // namespace tests
