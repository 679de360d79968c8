// SPDX-License-Identifier: MIT
// Objects of the module as clients hold them: their streams, and their classes, which are
// registered while a test runs, so that objects nested in streams can be made.
#pragma once

#include <gmock/gmock.h>

#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "module/frame/variants.h"
#include "tests/persist/reference_records.h"
#include "tests/rows/values.h"
#include "tests/support/module_client.h"
#include "tests/support/streams.h"
#include "tests/support/test_object.h"

namespace tests {

using platform::ComPtr;
using rastel::CComVariant;

inline constexpr HRESULT kReported = platform::ResultCode(0x80020009u);
inline constexpr VARIANT_BOOL kOn = -1;

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
HRESULT LoadFrom(const T& object, std::string_view hex) {
  return object.template As<IPersistStream>()->Load(NewStream(hex).Get());
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

// Foreign objects here write the two bytes AB CD. Nothing that a test made is left at its end.
class ClientTest : public testing::Test {
 protected:
  ClientTest() {
    script_.data = BytesOf("AB CD");
    SetErrorInfo(0, nullptr);
  }
  ~ClientTest() override {
    EXPECT_EQ(script_.objects, 0);
    classes_.reset();
    EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK);
  }
  // Of any type that comes back as it was, an object among them. A text may be null, have null
  // characters, or an odd number of bytes.
  CComVariant AnyValue(std::mt19937& random) {
    constexpr VARTYPE kFixed[] = {VT_I2, VT_I4,  VT_R4,  VT_R8,  VT_CY, VT_DATE, VT_ERROR, VT_BOOL,
                                  VT_I1, VT_UI1, VT_UI2, VT_UI4, VT_I8, VT_UI8,  VT_INT,   VT_UINT};
    CComVariant value;
    const auto number = static_cast<ULONG>(random());
    switch (random() % 8) {
      case 0:
        return value;
      case 1:
        value.vt = VT_UNKNOWN;
        value.punkVal = TestObject::New(script_).Detach();
        return value;
      case 2:
        value.decVal.Lo64 = 1 + number % 5000;
        value.decVal.sign = number % 2 == 0 ? DECIMAL_NEG : BYTE{0};
        value.vt = VT_DECIMAL;
        return value;
      case 3:
        value.vt = VT_BSTR;
        if (number % 6 > 0) {
          value.bstrVal = SysAllocStringByteLen("ab\0\0c\0d\0\xE4\0\x3D\xD8", number % 13);
        }
        return value;
      default:
        return CComVariant(
            Bits(kFixed[number % 16], static_cast<LONGLONG>(ULONGLONG{random()} * number)));
    }
  }

  Script script_;

 private:
  const RegisteredTestClass class_{script_};
  std::optional<PublishedClasses> classes_{std::in_place};
};

}  // namespace tests
