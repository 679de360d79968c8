// Vectors as clients hold them: made by the loaded module, whose vector classes are registered
// while a test runs, so that vectors nested in streams can be made.
#pragma once

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "tests/persist/client_objects.h"
#include "tests/support/debug_capture.h"

namespace tests {

inline constexpr HRESULT kBadIndex = platform::ResultCode(0x80040461u);
inline constexpr HRESULT kBadVersion = platform::ResultCode(0x80040463u);
inline constexpr HRESULT kMemory = platform::ResultCode(0x8007000Eu);
inline constexpr HRESULT kBadType = platform::ResultCode(0x80020008u);

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

// One of the files that a script has made from the format.
inline std::string VectorSample(const std::string& name) {
  return SampleHex(RASTEL_TEST_VECTORS "/" + name + ".vec");
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
// The tags, switched on.
inline VARIANT* Tagged(const ComPtr<IVariantVectorKLP>& vector) {
  LONG count = 0;
  VARIANT* tags = nullptr;
  vector->put_HasElementTags(kOn);
  vector->GetTagPointer(&count, &tags);
  return tags;
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

class VectorTest : public ClientTest {
 protected:
  VectorTest() : ClientTest(Classes()) {}

  std::ptrdiff_t Loads() const {
    return std::count(script_.calls.begin(), script_.calls.end(), 'L');
  }

 private:
  static std::vector<CLSID> Classes() {
    std::vector<CLSID> classIds;
    for (const Kind& kind : kKinds) classIds.push_back(*kind.classId);
    return classIds;
  }
};

}  // namespace tests
