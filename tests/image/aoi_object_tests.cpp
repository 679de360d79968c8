// The objects themselves: identity, tables, counts, creation, copies of the object, marshalling.
#include "tests/image/aoi_types.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

using AoiObjects = AoiTest;
using testing::ElementsAre;

template <class Interface>
void* Answer(IUnknown* object, REFIID iid, HRESULT expected = S_OK) {
  void* out = object;
  EXPECT_EQ(object->QueryInterface(iid, &out), expected);
  if (out) static_cast<IUnknown*>(static_cast<Interface*>(out))->Release();
  return out;
}

TEST_F(AoiObjects, QueryInterface_AnswersTheTableFromTheIdentity) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using I = typename Type::I;
    const auto typed = NewAoi<Type>();
    const auto generic = typed.template As<IAoiKLP>();
    ASSERT_TRUE(typed && generic);
    const auto persist = typed.template As<IPersistStream>();
    const auto support = typed.template As<ISupportErrorInfo>();
    IUnknown* const faces[] = {generic.Get(),
                               typed.Get(),
                               persist.Get(),
                               support.Get(),
                               typed.template As<IMarshal>().Get(),
                               typed.template As<IPersist>().Get()};
    for (IUnknown* face : faces) {
      ASSERT_TRUE(face);
      EXPECT_EQ(Answer<IUnknown>(face, IID_IUnknown), generic.Get());
      EXPECT_EQ(Answer<IAoiKLP>(face, IID_IAoiKLP), generic.Get());
      EXPECT_EQ(Answer<IDispatch>(face, IID_IDispatch), static_cast<IDispatch*>(typed.Get()));
      EXPECT_EQ(Answer<I>(face, platform::kIidOf<I>), typed.Get());
      EXPECT_EQ(Answer<IMarshal>(face, IID_IMarshal), faces[4]);
      EXPECT_EQ(Answer<IPersist>(face, IID_IPersist), faces[5]);
      EXPECT_NE(faces[5], persist.Get());
      for (const IID& refused : {IID_IPersistStreamInit, IID_IPersistPropertyBag,
                                 IID_IMarshalBehaviourKLP, IID_IAttributeMapKLP}) {
        EXPECT_EQ(Answer<IUnknown>(face, refused, E_NOINTERFACE), nullptr);
      }
      EXPECT_EQ(face->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    }
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(platform::kIidOf<I>), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IAoiKLP), S_FALSE);
    CLSID classId{};
    EXPECT_EQ(persist->GetClassID(&classId), S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, Type::kClass));
    UINT count = 7;
    EXPECT_EQ(generic->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(typed->GetTypeInfoCount(nullptr), E_POINTER);
  });
}

TEST_F(AoiObjects, Clone_SharesTheBufferAndLeavesNameTagAndMapBehind) {
  using I = IFloatAOIKLP;
  const auto aoi = NewAoi<FloatAoi>();
  aoi->put_BufferMargin(2);
  ASSERT_EQ(aoi->CreatePlanes(3, 10, 8), S_OK);
  aoi->put_BufferMargin(6);
  aoi->put_ActivePlane(2);
  aoi->put_PlaneSelected(1, 0);
  aoi->SetRect(1, 2, 9, 7);
  aoi->SetMargins(2, 1);
  aoi->put_MarginMode(MarginReplicate);
  aoi->put_MarshalFlags(MarshalBuffer);
  PutName(*aoi, OLESTR("mine"));
  aoi->put_Tag(Int4(1));
  MapDouble map;
  aoi->put_AttributeMap(&map);
  ComPtr<I> typed;
  ASSERT_EQ(aoi->Clone(typed.Put()), S_OK);
  ComPtr<IAoiKLP> generic;
  ASSERT_EQ(aoi.As<IAoiKLP>()->Clone(generic.Put()), S_OK);
  for (const auto& clone : {typed, generic.As<I>()}) {
    EXPECT_THAT(GeometryOf(*clone), ElementsAre(1, 2, 9, 6, 2, 1, 14, 12, 3, 2, 6));
    EXPECT_EQ(IsSelected(*clone, 1), 0);
    EXPECT_EQ(Get(*clone, &I::get_MarginMode), MarginReplicate);
    EXPECT_EQ(Get(*clone, &I::get_MarshalFlags), MarshalBuffer);
    EXPECT_TRUE(NameOf(*clone) == OLESTR("None"));
    VARIANT tag{};
    EXPECT_EQ(clone->get_Tag(&tag), S_OK);
    EXPECT_EQ(tag.vt, VT_EMPTY);
    ComPtr<IAttributeMapKLP> none;
    EXPECT_EQ(clone->get_AttributeMap(none.Put()), S_OK);
    EXPECT_FALSE(none);
    // Pixels are shared, geometry is not.
    EXPECT_EQ(clone->PutPixel(3, 3, 66), S_OK);
    EXPECT_EQ(PixelOf(*aoi, 3, 3), 66);
    clone->put_PlaneSelected(1, 1);
    clone->SetRect(0, 0, 0, 0);
  }
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(1, 2, 9, 6, 2, 1, 14, 12, 3, 2, 6));
  EXPECT_EQ(IsSelected(*aoi, 1), 0);
  ComPtr<I> unbound;
  EXPECT_EQ(NewAoi<FloatAoi>()->Clone(unbound.Put()), S_OK);
  LONG n = 0;
  EXPECT_EQ(unbound->get_Width(&n), platform::ResultCode(0x8004045Au));
}

TEST_F(AoiObjects, Marshalling_ElsewhereIsTheObjectsOwnStream) {
  const auto aoi = NewAoi<CharAoi>();
  const auto marshal = aoi.As<IMarshal>();
  const IID& iid = IID_ICharAOIKLP;
  CLSID classId{};
  EXPECT_EQ(marshal->GetUnmarshalClass(iid, aoi.Get(), 2, nullptr, 0, &classId), S_OK);
  EXPECT_TRUE(IsEqualCLSID(classId, CharAoi::kClass));
  ASSERT_EQ(aoi->CreatePlanes(2, 3, 2), S_OK);
  EXPECT_EQ(aoi->Fill(5), S_OK);
  const auto byValue = NewStream();
  const auto saved = NewStream();
  ASSERT_EQ(marshal->MarshalInterface(byValue.Get(), iid, aoi.Get(), 2, nullptr, 0), S_OK);
  ASSERT_EQ(aoi.As<IPersistStream>()->Save(saved.Get(), FALSE), S_OK);
  EXPECT_EQ(ContentOf(byValue.Get()), ContentOf(saved.Get()));
  const auto receiver = NewAoi<CharAoi>();
  ComPtr<IAoiKLP> copy;
  SeekTo(byValue.Get(), 0);
  EXPECT_EQ(receiver.As<IMarshal>()->UnmarshalInterface(byValue.Get(), IID_IAoiKLP, copy.PutVoid()),
            S_OK);
  EXPECT_EQ(PixelOf(*copy, 2, 1), 5);
}

TEST_F(AoiObjects, Allocations_ThatFailLeaveAWholeObject) {
  // Elsewhere the module has an allocator of its own, out of the test's sight.
  if (!kEmbeddedHost) GTEST_SKIP();
  const auto failEach = [](auto operation, HRESULT expected) {
    int wrong = 0;
    const int refused = FailEachAllocation(operation, [&](HRESULT result, long long leaked) {
      wrong += result != expected || leaked > 0;
    });
    EXPECT_EQ(wrong, 0);
    return refused;
  };
  const auto aoi = NewAoi<FloatAoi>();
  ASSERT_EQ(aoi->CreatePlanes(2, 4, 4), S_OK);
  EXPECT_GE(failEach([&] { return aoi->put_PlaneSelected(1, 0); }, E_OUTOFMEMORY), 1);
  EXPECT_EQ(IsSelected(*aoi, 1), 0);
  ComPtr<IFloatAOIKLP> clone;
  EXPECT_EQ(failEach([&] { return aoi->Clone(clone.Put()); }, E_FAIL), 3)
      << "the object, its marshaler and a mask with a plane deselected";
  EXPECT_GE(failEach([&] { return aoi->CreateImage(4, 4); }, E_OUTOFMEMORY), 1);
  const BSTR name = SysAllocString(OLESTR("mine"));
  EXPECT_GE(failEach([&] { return aoi->put_Name(name); }, E_OUTOFMEMORY), 1);
  VARIANT tag{};
  tag.vt = VT_BSTR;
  tag.bstrVal = name;
  failEach([&] { return aoi->put_Tag(tag); }, E_OUTOFMEMORY);
  VariantClear(&tag);

  AllocationFaults none;
  aoi->PutPixel(1, 1, 3);
  aoi->Fill(2);
  aoi->Clear();
  aoi->CopyTo(aoi.Get());
  aoi->SetMargins(1, 1);
  aoi->FillMargins();
  EXPECT_EQ(none.Stop(), 0);
}

}  // namespace
}  // namespace tests
