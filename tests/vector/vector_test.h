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
inline constexpr HRESULT kMemory = platform::ResultCode(0x8007000Eu);

struct Kind {
  const char* name;
  const CLSID* classId;
};
inline constexpr Kind kKinds[] = {
    {"byte", &CLSID_ByteVectorKLP},      {"char", &CLSID_CharVectorKLP},
    {"word", &CLSID_WordVectorKLP},      {"short", &CLSID_ShortVectorKLP},
    {"dword", &CLSID_DWordVectorKLP},    {"long", &CLSID_LongVectorKLP},
    {"float", &CLSID_FloatVectorKLP},    {"double", &CLSID_DoubleVectorKLP},
    {"variant", &CLSID_VariantVectorKLP}};

template <class Interface>
ComPtr<Interface> NewVector(REFCLSID classId, LONG count = 0, VARIANT_BOOL tags = 0) {
  auto vector = ModuleClient::Get().Create<Interface>(classId);
  if (!vector) std::abort();
  vector->put_HasElementTags(tags);
  vector->put_Count(count);
  return vector;
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

class VectorTest : public ClientTest {
 protected:
  VectorTest() : ClientTest(Classes()) {}

 private:
  static std::vector<CLSID> Classes() {
    std::vector<CLSID> classIds;
    for (const Kind& kind : kKinds) classIds.push_back(*kind.classId);
    return classIds;
  }
};

}  // namespace tests
