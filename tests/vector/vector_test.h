// Vectors as clients hold them: made by the loaded module, whose vector classes are registered
// while a test runs, so that vectors nested in streams can be made.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "frame/variants.h"
#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "tests/persist/test_object.h"
#include "tests/support/debug_capture.h"
#include "tests/support/module_client.h"
#include "tests/support/streams.h"
#include "tests/support/thread_error.h"

namespace tests {

using platform::ComPtr;
using rastel::CComVariant;
using Text = std::basic_string<OLECHAR>;

inline constexpr HRESULT kBadIndex = platform::ResultCode(0x80040461u);
inline constexpr HRESULT kReported = platform::ResultCode(0x80020009u);
inline constexpr HRESULT kBadVersion = platform::ResultCode(0x80040463u);
inline constexpr HRESULT kMemory = platform::ResultCode(0x8007000Eu);
inline constexpr HRESULT kBadType = platform::ResultCode(0x80020008u);
inline constexpr HRESULT kFull = platform::ResultCode(0x80030070u);
inline constexpr VARIANT_BOOL kOn = -1;

struct Kind {
  const char* name;
  const CLSID* classId;
  const IID* typedId;
  ElementTypeKLP code;
};
inline constexpr Kind kKinds[] = {
    {"byte", &CLSID_ByteVectorKLP, &IID_IByteVectorKLP, ElementByte},
    {"char", &CLSID_CharVectorKLP, &IID_ICharVectorKLP, ElementChar},
    {"word", &CLSID_WordVectorKLP, &IID_IWordVectorKLP, ElementWord},
    {"short", &CLSID_ShortVectorKLP, &IID_IShortVectorKLP, ElementShort},
    {"dword", &CLSID_DWordVectorKLP, &IID_IDWordVectorKLP, ElementDWord},
    {"long", &CLSID_LongVectorKLP, &IID_ILongVectorKLP, ElementLong},
    {"float", &CLSID_FloatVectorKLP, &IID_IFloatVectorKLP, ElementFloat},
    {"double", &CLSID_DoubleVectorKLP, &IID_IDoubleVectorKLP, ElementDouble},
    {"variant", &CLSID_VariantVectorKLP, &IID_IVariantVectorKLP, ElementVariant}};

template <class Interface>
ComPtr<Interface> NewVector(REFCLSID classId, LONG count = 0, VARIANT_BOOL tags = 0) {
  auto vector = ModuleClient::Get().Create<Interface>(classId);
  if (!vector) std::abort();
  vector->put_HasElementTags(tags);
  vector->put_Count(count);
  return vector;
}

template <class I, class T, class Test>
void ForType(int kind, Test& test) {
  SCOPED_TRACE(kKinds[kind].name);
  test(T{}, NewVector<I>(*kKinds[kind].classId, 1));
}
// test(zero, new vector of one element)
template <class Test>
void ForAllNumericTypes(Test test) {
  ForType<IByteVectorKLP, std::uint8_t>(0, test);
  ForType<ICharVectorKLP, std::int8_t>(1, test);
  ForType<IWordVectorKLP, std::uint16_t>(2, test);
  ForType<IShortVectorKLP, std::int16_t>(3, test);
  ForType<IDWordVectorKLP, std::uint32_t>(4, test);
  ForType<ILongVectorKLP, std::int32_t>(5, test);
  ForType<IFloatVectorKLP, float>(6, test);
  ForType<IDoubleVectorKLP, double>(7, test);
}

inline CComVariant Bits(VARTYPE vt, LONGLONG bits) {
  CComVariant value;
  value.vt = vt;
  value.llVal = bits;
  return value;
}
inline CComVariant Text_(const OLECHAR* text) {
  CComVariant value;
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(text);
  return value;
}
// Counts the object.
inline CComVariant Object(IUnknown* object, VARTYPE vt = VT_UNKNOWN) {
  CComVariant value;
  value.vt = vt;
  value.punkVal = object;
  if (object) object->AddRef();
  return value;
}

inline bool Same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

template <class Vector>
LONG CountOf(Vector& vector) {
  LONG count = -1;
  const HRESULT result = vector->get_Count(&count);
  EXPECT_EQ(result, count == 0 ? S_FALSE : S_OK);
  return count;
}
template <class Vector>
std::vector<double> ValuesOf(Vector& vector) {
  std::vector<double> values(static_cast<std::size_t>(CountOf(vector)));
  LONG i = 0;
  const auto generic = vector.template As<IVectorKLP>();
  for (double& value : values) EXPECT_EQ(generic->get_Value(i++, &value), S_OK);
  return values;
}
inline VARIANT* DataOf(const ComPtr<IVariantVectorKLP>& vector) {
  LONG count = 0;
  VARIANT* data = nullptr;
  vector->GetPointer(&count, &data);
  return data;
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
inline bool IsBadTypeMark(const VARIANT& value) {
  return value.vt == VT_ERROR && value.scode == kBadType;
}

template <class Vector>
HRESULT Save(const Vector& vector, IStream* stream) {
  return vector.template As<IPersistStream>()->Save(stream, FALSE);
}
template <class Vector>
HRESULT Load(const Vector& vector, IStream* stream) {
  return vector.template As<IPersistStream>()->Load(stream);
}
template <class Vector>
HRESULT LoadFrom(const Vector& vector, std::string_view hex) {
  return Load(vector, NewStream(hex).Get());
}
template <class Vector>
ULONGLONG SizeOf(const Vector& vector) {
  ULARGE_INTEGER size{};
  EXPECT_EQ(vector.template As<IPersistStream>()->GetSizeMax(&size), S_OK);
  return size.QuadPart;
}
// What Save writes.
template <class Vector>
std::string SavedBy(const Vector& vector) {
  const auto stream = NewStream();
  EXPECT_EQ(Save(vector, stream.Get()), S_OK);
  EXPECT_EQ(SizeOf(vector), PositionOf(stream.Get()));
  return ContentOf(stream.Get());
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

// Foreign objects here write the two bytes AB CD; their class is there once Register is called.
class VectorTest : public ObjectTest {
 protected:
  VectorTest() {
    script_.data = "AB CD";
    for (const Kind& kind : kKinds) {
      ComPtr<IUnknown> factory;
      EXPECT_EQ(ModuleClient::Get().GetClassObject(*kind.classId, IID_IUnknown, factory.PutVoid()),
                S_OK);
      cookies_.push_back(0);
      EXPECT_EQ(CoRegisterClassObject(*kind.classId, factory.Get(), CLSCTX_INPROC_SERVER,
                                      REGCLS_MULTIPLEUSE, &cookies_.back()),
                S_OK);
    }
  }
  // Nothing that the test made is left.
  ~VectorTest() override {
    for (const DWORD cookie : cookies_) CoRevokeClassObject(cookie);
    EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK);
  }

  std::ptrdiff_t Loads() const {
    return std::count(script_.calls.begin(), script_.calls.end(), 'L');
  }

 private:
  std::vector<DWORD> cookies_;
};

}  // namespace tests
