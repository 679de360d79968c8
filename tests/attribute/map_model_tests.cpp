// SPDX-License-Identifier: MIT
// Maps of the three kinds beside an ordered container, through random operations. After each one
// all that a client sees is compared, and a failure is shown with the operations that led there.
#include <cstring>
#include <limits>
#include <map>

#include "tests/persist/client_objects.h"
#include "tests/support/random_model.h"

namespace tests {
namespace {

// Of each kind: the n-th key, as generic slots take it, and back; as it is in a stream.
struct TextKeys {
  using I = IAttributeBstrMapKLP;
  using Key = OleText;
  static constexpr const CLSID& kClass = CLSID_AttributeBstrMapKLP;
  static constexpr VARTYPE kGiven = VT_BSTR;
  static Key At(LONG n) {
    Key key;
    for (; n > 0; n /= 5) key += OLESTR("aBbZz")[n % 5];
    return key;
  }
  // Ends at its first null character.
  static CComVariant Generic(const Key& key) {
    CComVariant text;
    text.vt = VT_BSTR;
    const OleText longer = key + OLESTR('\0') + OLESTR("a");
    text.bstrVal = SysAllocStringLen(longer.data(), static_cast<UINT>(longer.size()));
    return text;
  }
  static BSTR Typed(const VARIANT& generic) { return generic.bstrVal; }
  static Key From(const VARIANT& given) { return Key(given.bstrVal, SysStringLen(given.bstrVal)); }
  static Bytes Written(const Key& key) {
    return Raw(static_cast<ULONG>(key.size())) +
           Bytes(reinterpret_cast<const char*>(key.data()), key.size() * 2);
  }
  static ULONGLONG Counted(const Key& key) { return 4 + 4 * key.size(); }
};
template <class Interface, class Number, const CLSID* Class, VARTYPE Given>
struct NumberKeys {
  using I = Interface;
  using Key = Number;
  static constexpr const CLSID& kClass = *Class;
  static constexpr VARTYPE kGiven = Given;
  static Key Typed(const VARIANT& value) {
    Key key;
    std::memcpy(&key, &value.llVal, sizeof(key));
    return key;
  }
  static Key From(const VARIANT& given) { return Typed(given); }
  static Bytes Written(Key key) { return Raw(key); }
  static ULONGLONG Counted(Key key) { return sizeof(key); }
};
struct LongKeys : NumberKeys<IAttributeLongMapKLP, LONG, &CLSID_AttributeLongMapKLP, VT_I4> {
  static LONG At(LONG n) { return n % 2 == 0 ? n : -n; }
  // Not as it is given.
  static CComVariant Generic(LONG key) { return CComVariant(Bits(VT_INT, key)); }
};
struct FloatKeys : NumberKeys<IAttributeDoubleMapKLP, DOUBLE, &CLSID_AttributeDoubleMapKLP, VT_R8> {
  static DOUBLE At(LONG n) {
    constexpr DOUBLE kSpecial[] = {
        std::numeric_limits<DOUBLE>::quiet_NaN(), -0.0, 0.0, 0.1 + 0.2, 0.3,
        -std::numeric_limits<DOUBLE>::infinity()};
    return n < 6 ? kSpecial[n] : LongKeys::At(n) / 4.0;
  }
  static CComVariant Generic(DOUBLE key) { return CComVariant(Real(key)); }
};

class MapModels : public ClientTest {
 protected:
  template <class Keys>
  class Run;

  template <class Keys>
  void RunAll() {
    for (unsigned run = 0; run < 80 && !HasFailure(); ++run) {
      RandomModel::Play(Run<Keys>(*this, run, 12, 40), 40);
    }
    RandomModel::Play(Run<Keys>(*this, 80, 30000, 24000), 24000);
  }
};

template <class Keys>
class MapModels::Run : public RandomModel {
  using Key = typename Keys::Key;
  using I = typename Keys::I;

 public:
  Run(MapModels& test, unsigned seed, LONG keys, LONG steps)
      : RandomModel(seed), test_(test), keys_(keys), count_(steps), map_(New<I>(Keys::kClass)) {}

  // Many keys are mostly put first and mostly removed later, and looked at now and then.
  void Step() {
    ++step_;
    if (keys_ < 1000) return Act(Below(11));
    Act(Below(count_) > step_ ? 0 : 2);
    if (step_ % 8000 != 0) return;
    EXPECT_EQ(LoadFrom(map_, SavedBy(map_)), S_OK);
    isDirty_ = false;
  }
  void Compare() {
    if (keys_ < 1000 || step_ % 8000 == 0) CompareAll();
  }

 private:
  CComVariant AnyValue() { return test_.AnyValue(random_); }

  void Act(LONG step) {
    auto generic = map_.template As<IAttributeMapKLP>();
    const bool isTyped = Below(2) == 0;
    const auto on = [&](auto call) { return isTyped ? call(map_) : call(generic); };
    const Key key = Keys::At(Below(keys_));
    const CComVariant given = Keys::Generic(key);
    const auto typed = Keys::Typed(given);
    const auto found = model_.find(key);
    const bool isThere = found != model_.end();
    Note(step);
    if (step < 2) {
      const CComVariant value = AnyValue();
      EXPECT_EQ(isTyped ? map_->put_Value(typed, value) : generic->put_Value(given, value),
                Put(key, value) ? S_OK : kReported);
      isDirty_ = isDirty_ || !isTyped || !isThere || override_ != 0;
    } else if (step < 4) {
      EXPECT_EQ(generic->Remove(given), isThere ? S_OK : kReported);
      if (isThere) model_.erase(found);
    } else if (step == 4) {
      CComVariant value;
      const HRESULT result =
          isTyped ? map_->get_Value(typed, &value) : generic->get_Value(given, &value);
      EXPECT_EQ(result, isThere || !isTyped ? S_OK : kReported);
      EXPECT_EQ(RecordOf(value), isThere ? found->second : RecordOf(VARIANT{}));
    } else if (step == 5) {
      VARIANT_BOOL exists = 7;
      EXPECT_EQ(isTyped ? map_->Exists(typed, &exists) : generic->Exists(given, &exists), S_OK);
      EXPECT_EQ(exists, isThere ? kOn : 0);
    } else if (step == 6) {
      const auto flag = static_cast<VARIANT_BOOL>(Below(3) - 1);
      EXPECT_EQ(on([&](auto& map) { return map->put_OverrideMode(flag); }), S_OK);
      override_ = flag != 0;
    } else if (step == 7 && Below(4) == 0) {
      EXPECT_EQ(on([](auto& map) { return map->Clear(); }), S_OK);
      model_.clear();
    } else if (step == 8) {
      EXPECT_EQ(on([](auto& map) {
                  std::remove_reference_t<decltype(map)> clone;
                  const HRESULT result = map->Clone(clone.Put());
                  map = clone;
                  return result;
                }),
                S_OK);
      if (!isTyped) map_ = generic.template As<I>();
      isDirty_ = true;
    } else if (step == 9) {
      EXPECT_EQ(Save(map_, NewStream().Get(), TRUE), S_OK);
      isDirty_ = false;
    } else {
      LoadAnother();
    }
  }

  // NaN is equal to every key, for the container too: it finds the first, and takes the place of
  // all.
  bool Put(const Key& key, const VARIANT& value) {
    const auto found = model_.find(key);
    if (found != model_.end()) {
      if (override_ == 0) return false;
      const bool isAll = key != key;
      model_.erase(isAll ? model_.begin() : found, isAll ? model_.end() : std::next(found));
    }
    model_.emplace(key, RecordOf(value));
    return true;
  }

  // Keys in any order, and some of them twice: the first one stays.
  void LoadAnother() {
    const ULONG count = static_cast<ULONG>(Below(10));
    override_ = static_cast<BYTE>(Below(3) * 0x20);
    Bytes bytes = Raw(ULONG{1}) + Raw(override_) + Raw(count);
    model_.clear();
    for (ULONG i = 0; i < count; ++i) {
      const Key key = Keys::At(Below(keys_));
      const Bytes record = RecordOf(AnyValue());
      bytes += Keys::Written(key) + record;
      model_.emplace(key, record);
    }
    EXPECT_EQ(LoadFrom(map_, HexOf(bytes.data(), bytes.size())), S_OK);
    isDirty_ = false;
  }

  void CompareAll() {
    Bytes bytes = Raw(ULONG{1}) + Raw(override_) + Raw(static_cast<ULONG>(model_.size()));
    ULONGLONG counted = 8;
    LONG objects = 0, i = 0;
    for (const auto& [key, record] : model_) {
      bytes += Keys::Written(key) + record;
      counted += Keys::Counted(key) + record.size();
      objects += record == kObjectRecord;
    }
    EXPECT_EQ(SavedBy(map_), HexOf(bytes.data(), bytes.size()));
    EXPECT_EQ(SizeOf(map_), counted);
    EXPECT_EQ(test_.script_.objects, objects);
    EXPECT_EQ(CountOf(map_), static_cast<LONG>(model_.size()));
    EXPECT_EQ(map_.template As<IPersistStream>()->IsDirty(), isDirty_ ? S_OK : S_FALSE);
    VARIANT_BOOL replace = 7;
    EXPECT_EQ(map_->get_OverrideMode(&replace), S_OK);
    EXPECT_EQ(replace, override_ != 0 ? kOn : 0);
    SAFEARRAY* keys = nullptr;
    const bool isTyped = Below(2) == 0;
    ASSERT_EQ(
        isTyped ? map_->get_Keys(&keys) : map_.template As<IAttributeMapKLP>()->get_Keys(&keys),
        S_OK);
    EXPECT_EQ(keys->rgsabound[0].cElements, model_.size());
    for (const auto& attribute : model_) {
      CComVariant key;
      if (isTyped) key.vt = Keys::kGiven;
      EXPECT_EQ(SafeArrayGetElement(keys, &i, isTyped ? static_cast<void*>(&key.llVal) : &key),
                S_OK);
      EXPECT_EQ(key.vt, Keys::kGiven);
      EXPECT_EQ(Keys::Written(Keys::From(key)), Keys::Written(attribute.first));
      ++i;
    }
    SafeArrayDestroy(keys);
  }

  MapModels& test_;
  const LONG keys_, count_;
  LONG step_ = 0;
  ComPtr<I> map_;
  std::map<Key, Bytes> model_;
  BYTE override_ = 1;
  bool isDirty_ = true;
};

TEST_F(MapModels, RandomOperations) {
  RunAll<TextKeys>();
  RunAll<LongKeys>();
  RunAll<FloatKeys>();
  SetErrorInfo(0, nullptr);
}

}  // namespace
}  // namespace tests
