// Values of every type, objects in objects among them, through the streams of vectors and maps: as
// tagged and as plain records, compared byte by byte with what the format says.
#include "tests/persist/client_objects.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

struct Tree {
  CComVariant value;
  Bytes tagged, plain;
  // The tagged records of what comes back from them.
  Bytes again, plainAgain;
  // What reading gives. A map that meets a failure ends there.
  HRESULT read = S_OK;
};

class RecordModels : public ClientTest {
 protected:
  ULONG Below(ULONG end) { return static_cast<ULONG>(random_() % end); }

  Tree AnyTree(int levels) {
    constexpr VARTYPE kFixed[] = {VT_I2, VT_I4,  VT_R4,  VT_R8,  VT_CY, VT_DATE, VT_ERROR, VT_BOOL,
                                  VT_I1, VT_UI1, VT_UI2, VT_UI4, VT_I8, VT_UI8,  VT_INT,   VT_UINT};
    switch (Below(levels > 0 ? 8 : 6)) {
      case 0:
        return TreeOf(AnyText());
      case 1:
        return AnyNumberAsText();
      case 2:
        return NullObject();
      case 3:
        return ObjectTree(NewValue(), kTestClass, "\xAB\xCD", "\xAB\xCD");
      case 4:
      case 5:
        return TreeOf(Bits(kFixed[Below(16)], static_cast<LONGLONG>(random_()) * random_()));
      case 6:
        return VectorTree(levels);
      default:
        return MapTree(levels);
    }
  }

  std::mt19937 random_;

 private:
  static Tree TreeOf(CComVariant value) {
    const Bytes tagged = TaggedRecord(value), plain = PlainRecord(value);
    return {std::move(value), tagged, plain, tagged, tagged};
  }
  CComVariant AnyText() {
    CComVariant text = TextValue(nullptr);
    // Null, or an odd number of bytes among others, and any of them null.
    if (Below(6) > 0) text.bstrVal = SysAllocStringByteLen("ab\0\0c\0d\0\xE4\0\x3D\xD8", Below(13));
    return text;
  }
  // What has no width of its own; a reference does not come back, but its text.
  Tree AnyNumberAsText() {
    static SHORT referenced = 77;
    CComVariant value;
    if (Below(3) == 0) return TreeOf(value);
    if (Below(2) == 0) {
      value.decVal.Lo64 = 1 + Below(5000);
      value.decVal.sign = Below(2) == 0 ? DECIMAL_NEG : BYTE{0};
      value.vt = VT_DECIMAL;
      return TreeOf(value);
    }
    value.vt = VT_BYREF | VT_I2;
    value.piVal = &referenced;
    Tree tree = TreeOf(value);
    tree.again = tree.plainAgain = TaggedRecord(TextValue(OLESTR("77")));
    tree.read = platform::ResultCode(0x80020005u);
    return tree;
  }
  Tree NullObject() {
    const VARTYPE vt = Below(2) == 0 ? VT_UNKNOWN : VT_DISPATCH;
    const Bytes record = Raw(vt) + Raw(CLSID_NULL);
    return {Object(nullptr, vt), record, record, TaggedRecord(VARIANT{}), record};
  }
  // Objects come back as VT_UNKNOWN from tagged records.
  Tree ObjectTree(CComVariant value, REFCLSID classId, const Bytes& content, const Bytes& again) {
    value.vt = Below(2) == 0 ? VT_UNKNOWN : VT_DISPATCH;
    const VARTYPE vt = value.vt;
    return {std::move(value), TaggedObject(vt, classId, content), PlainObject(vt, classId, content),
            TaggedObject(VT_UNKNOWN, classId, again), TaggedObject(vt, classId, again)};
  }
  Tree VectorTree(int levels) {
    const auto vector = New<IVariantVectorKLP>(CLSID_VariantVectorKLP);
    const LONG count = static_cast<LONG>(Below(4));
    vector->put_HasElementTags(kOn);
    vector->put_Count(count);
    Bytes content = "\3\1" + Raw(count) + Raw(kOn), again = content;
    for (const bool isTag : {false, true}) {
      if (isTag) content += Raw(count), again += Raw(count);
      for (LONG i = 0; i < count; ++i) {
        const Tree child = AnyTree(levels - 1);
        isTag ? vector->put_ElementTag(i, child.value) : vector->put_Value(i, child.value);
        content += child.tagged;
        again += child.again;
      }
    }
    return ObjectTree(Object(vector.As<IDispatch>().Get()), CLSID_VariantVectorKLP, content, again);
  }
  Tree MapTree(int levels) {
    const auto map = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
    const LONG count = static_cast<LONG>(Below(4));
    Bytes content = Raw(ULONG{1}) + "\1" + Raw(count), again = content;
    for (LONG key = 0; key < count; ++key) {
      Tree child = AnyTree(levels - 1);
      if (child.read != S_OK) child = TreeOf(Number(key));
      map->put_Value(key, child.value);
      content += Raw(key) + child.tagged;
      again += Raw(key) + child.again;
    }
    return ObjectTree(Object(map.As<IDispatch>().Get()), CLSID_AttributeLongMapKLP, content, again);
  }
};

TEST_F(RecordModels, RandomTrees) {
  const auto vector = New<IVariantVectorKLP>(CLSID_VariantVectorKLP);
  const auto target = New<IVariantVectorKLP>(CLSID_VariantVectorKLP);
  const auto map = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const auto hex = [](const Bytes& bytes) { return HexOf(bytes.data(), bytes.size()); };
  const Bytes head = Bytes("\3\1", 2) + Raw(LONG{1}) + Raw(VARIANT_BOOL{0});
  const Bytes mapHead = Raw(ULONG{1}) + "\1" + Raw(ULONG{1}) + Raw(LONG{9});
  for (int step = 0; step < 3000 && !HasFailure(); ++step) {
    // Without its class an object comes back as a keeper of its bytes, but not from a plain record.
    const bool isRegistered = step % 100 < 50;
    if (step % 50 == 0) isRegistered ? Register() : Unregister();
    const Tree tree = AnyTree(3);
    SCOPED_TRACE(hex(tree.tagged));
    vector->ResizeAll(0);
    vector->put_Count(1);
    vector->put_Value(0, tree.value);
    EXPECT_EQ(SavedBy(vector), hex(head + tree.tagged));
    EXPECT_EQ(SizeOf(vector), head.size() + tree.tagged.size());
    EXPECT_EQ(LoadFrom(target, hex(head + tree.tagged)), S_OK);
    EXPECT_EQ(SavedBy(target), hex(head + tree.again));
    ComPtr<IVariantVectorKLP> copy;
    EXPECT_EQ(vector->DeepCopy(copy.Put()), S_OK);
    const bool isObject = tree.value.vt == VT_UNKNOWN || tree.value.vt == VT_DISPATCH;
    EXPECT_EQ(SavedBy(copy), hex(head + (isObject ? tree.again : tree.tagged)));
    if (isRegistered || !isObject) {
      const Bytes plain = Bytes("\0\1", 2) + Raw(LONG{1}) + tree.plain + Raw(LONG{0});
      EXPECT_EQ(LoadFrom(target, hex(plain)), tree.read);
      EXPECT_EQ(SavedBy(target), hex(head + tree.plainAgain));
    }
    map->put_Value(9, tree.value);
    EXPECT_EQ(SavedBy(map), hex(mapHead + tree.tagged));
    EXPECT_EQ(LoadFrom(map, hex(mapHead + tree.tagged)), tree.read);
    EXPECT_EQ(SavedBy(map),
              tree.read == S_OK ? hex(mapHead + tree.again) : "01 00 00 00 01 00 00 00 00");
    // Whatever is there of it, the vector stays whole. What is cut may state any size, so only where
    // a sanitizer limits what one can have.
    if (kEmbeddedHost) LoadFrom(target, hex((head + tree.tagged).substr(0, Below(100))));
    EXPECT_EQ(target->Clear(), S_OK);
  }
  SetErrorInfo(0, nullptr);
}

}  // namespace
}  // namespace tests
