// Objects of the module as clients hold them: their streams, and their classes, which are
// registered while a test runs, so that objects nested in streams can be made.
#pragma once

#include <gmock/gmock.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "tests/persist/reference_records.h"
#include "tests/persist/test_object.h"
#include "tests/support/com_values.h"
#include "tests/support/module_client.h"
#include "tests/support/streams.h"
#include "tests/support/thread_error.h"

namespace tests {

using platform::ComPtr;
using rastel::CComVariant;
using Text = std::basic_string<OLECHAR>;

inline constexpr HRESULT kReported = platform::ResultCode(0x80020009u);
inline constexpr HRESULT kFull = platform::ResultCode(0x80030070u);
inline constexpr VARIANT_BOOL kOn = -1;
// Classes that can be nested in streams.
inline constexpr const CLSID* kClasses[] = {
    &CLSID_ByteVectorKLP,       &CLSID_CharVectorKLP,       &CLSID_WordVectorKLP,
    &CLSID_ShortVectorKLP,      &CLSID_DWordVectorKLP,      &CLSID_LongVectorKLP,
    &CLSID_FloatVectorKLP,      &CLSID_DoubleVectorKLP,     &CLSID_VariantVectorKLP,
    &CLSID_AttributeBstrMapKLP, &CLSID_AttributeLongMapKLP, &CLSID_AttributeDoubleMapKLP};

template <class I>
ComPtr<I> New(REFCLSID classId) {
  auto object = ModuleClient::Get().Create<I>(classId);
  if (!object) std::abort();
  return object;
}

template <class T>
HRESULT Save(const T& object, IStream* stream, BOOL clearDirty = FALSE) {
  return object.template As<IPersistStream>()->Save(stream, clearDirty);
}
template <class T>
HRESULT Load(const T& object, IStream* stream) {
  return object.template As<IPersistStream>()->Load(stream);
}
template <class T>
HRESULT LoadFrom(const T& object, std::string_view hex) {
  return Load(object, NewStream(hex).Get());
}
template <class T>
ULONGLONG SizeOf(const T& object) {
  ULARGE_INTEGER size{};
  EXPECT_EQ(object.template As<IPersistStream>()->GetSizeMax(&size), S_OK);
  return size.QuadPart;
}
// Of a vector or a map.
template <class T>
LONG CountOf(const T& counted) {
  LONG count = -1;
  EXPECT_GE(counted->get_Count(&count), S_OK);
  return count;
}
// What Save writes.
template <class T>
std::string SavedBy(const T& object) {
  const auto stream = NewStream();
  EXPECT_EQ(Save(object, stream.Get()), S_OK);
  return ContentOf(stream.Get());
}

// One of these objects as a tagged record.
inline const Bytes kObjectRecord = TaggedObject(VT_UNKNOWN, kTestClass, "\xAB\xCD");
// The tagged record of a value, which may be one of these objects.
inline Bytes RecordOf(const VARIANT& value) {
  const bool isObject = value.vt == VT_UNKNOWN || value.vt == VT_DISPATCH;
  return isObject ? TaggedObject(value.vt, kTestClass, "\xAB\xCD") : TaggedRecord(value);
}

// Foreign objects here write the two bytes AB CD; their class is there once Register is called.
// Nothing that a test made is left at its end.
class ClientTest : public ObjectTest {
 protected:
  ClientTest() {
    script_.data = "AB CD";
    for (const CLSID* const classId : kClasses) {
      ComPtr<IUnknown> factory;
      EXPECT_EQ(ModuleClient::Get().GetClassObject(*classId, IID_IUnknown, factory.PutVoid()),
                S_OK);
      cookies_.push_back(0);
      EXPECT_EQ(CoRegisterClassObject(*classId, factory.Get(), CLSCTX_INPROC_SERVER,
                                      REGCLS_MULTIPLEUSE, &cookies_.back()),
                S_OK);
    }
    SetErrorInfo(0, nullptr);
  }
  ~ClientTest() override {
    for (const DWORD cookie : cookies_) CoRevokeClassObject(cookie);
    EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK);
  }
  // Of any type that comes back as it was, an object among them.
  CComVariant AnyValue(std::mt19937& random) {
    const auto number = static_cast<LONG>(random() % 1000);
    switch (random() % 7) {
      case 0:
        return CComVariant();
      case 1:
        return NewValue();
      case 2:
        return Real(number / 4.0);
      case 3:
        return Bits(VT_BOOL, number);
      case 4:
        return TextValue(&OLESTR("abcdefg")[number % 8]);
      default:
        return Number(number);
    }
  }

 private:
  std::vector<DWORD> cookies_;
};

}  // namespace tests
