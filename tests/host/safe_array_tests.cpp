#include <gtest/gtest.h>

#include "tests/host/values.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {
namespace {

HRESULT Resize(SAFEARRAY* array, ULONG elements) {
  SAFEARRAYBOUND bound{elements, 0};
  return SafeArrayRedim(array, &bound);
}

HRESULT Put(SAFEARRAY* array, LONG index, void* element) {
  return SafeArrayPutElement(array, &index, element);
}

TEST(SafeArrays, ReleasedObjects_MayCallBack) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  SAFEARRAY* array = SafeArrayCreateVector(VT_UNKNOWN, 0, 2);
  ExpectEach(S_OK, {Put(array, 0, &object), Put(array, 1, &object)});
  object.onRelease = [&] {
    EXPECT_EQ(array->rgsabound[0].cElements, 1u);
    EXPECT_EQ(Resize(array, 3), S_OK);
  };
  EXPECT_EQ(Resize(array, 1), S_OK);
  object.onRelease = [&] {
    ExpectEach(DISP_E_ARRAYISLOCKED, {SafeArrayDestroy(array), Resize(array, 3)});
  };
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  EXPECT_EQ(object.references, 0);
}

TEST(SafeArrays, ForeignDescriptor_IsReadButNotFreed) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  VARIANT data[] = {object.AsVariant(VT_UNKNOWN), Bits(VT_I4, 5)};
  SAFEARRAY array{1, 0x0002 | 0x0010 | 0x0800, sizeof(VARIANT), 0, data, {{2, 0}}}, *copy = nullptr;
  EXPECT_EQ(Resize(&array, 1), E_INVALIDARG);
  EXPECT_EQ(SafeArrayCopy(&array, &copy), S_OK);
  EXPECT_EQ(copy->fFeatures, 0x0800);
  ExpectEach(S_OK, {SafeArrayDestroy(copy), SafeArrayDestroy(&array)});
  EXPECT_EQ(object.references, 0);
}

}  // namespace
}  // namespace tests
