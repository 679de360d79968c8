// The objects themselves: identity, tables, counts, creation, copies of the object, marshalling.
#include "tests/image/aoi_types.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"
#include "tests/support/slots.h"
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

TEST_F(AoiObjects, Aggregate_CountsAndAsksTheOuter) {
  using I = IFloatAOIKLP;
  const ModuleClient& module = ModuleClient::Get();
  AoiOuter outer;
  void* refused = &outer;
  EXPECT_EQ(module.CreateInside(&outer, FloatAoi::kClass, IID_IFloatAOIKLP, &refused),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(refused, nullptr);
  ASSERT_EQ(module.CreateInside(&outer, FloatAoi::kClass, IID_IUnknown, outer.inner.PutVoid()),
            S_OK);
  EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
  EXPECT_EQ(outer.references, 1);
  const auto typed = outer.inner.As<I>();
  ASSERT_TRUE(typed);
  EXPECT_EQ(outer.references, 2);
  EXPECT_EQ(Answer<IUnknown>(typed.Get(), IID_IUnknown), static_cast<IUnknown*>(&outer));
  EXPECT_EQ(Answer<I>(typed.As<IMarshal>().Get(), IID_IFloatAOIKLP), typed.Get());
  ComPtr<I> sibling;
  ASSERT_EQ(typed->Clone(sibling.Put()), S_OK);
  EXPECT_EQ(outer.references, 2) << "a sibling is an object of its own";
}

TEST_F(AoiObjects, Slots_AnswerThroughTheBareTable) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto aoi = NewAoi<Type>();
    void* const typed = aoi.Get();
    void* generic = nullptr;
    ASSERT_EQ(CallSlot(typed, 0, &IID_IAoiKLP, &generic), S_OK);
    EXPECT_EQ(CallSlot(typed, 1), 3);
    EXPECT_EQ(CallSlot(typed, 2), 2);
    EXPECT_EQ(CallSlot(generic, 48 - 3, LONG{2}, LONG{6}, LONG{5}), S_OK);  // CreatePlanes
    EXPECT_EQ(CallSlot(typed, 55, LONG{1}), S_OK);                          // put_ActivePlane
    LONG n[4] = {-1, -1, -1, -1};
    EXPECT_EQ(CallSlot(typed, 7, &n[0]), S_OK);
    EXPECT_EQ(CallSlot(generic, 9, &n[1]), S_OK);
    EXPECT_EQ(CallSlot(typed, 51, &n[2]), S_OK);
    EXPECT_EQ(CallSlot(generic, 64, &n[3]), S_OK);
    EXPECT_THAT(n, ElementsAre(6, 5, 2, 1));
    EXPECT_EQ(CallSlot(generic, 41, DOUBLE{7}), S_OK);  // Fill
    typename Type::U* pixels = nullptr;
    EXPECT_EQ(CallSlot(typed, 68, &n[0], &n[1], &n[2], &pixels), S_OK);  // GetAccessChecked
    EXPECT_THAT(n, ElementsAre(6, 5, 0, 1));
    EXPECT_TRUE(pixels && pixels[29] == 7);
    std::int32_t code = -1;
    EXPECT_EQ(CallSlot(generic, 59, &code), S_OK);
    EXPECT_EQ(code, Type::kCode);
    VARIANT out{};
    EXPECT_EQ(CallSlot(typed, 65, Int4(25)), S_OK);
    EXPECT_EQ(CallSlot(generic, 60, &out), S_OK);
    EXPECT_EQ(out.lVal, 25);
    EXPECT_EQ(CallSlot(generic, 2), 1);
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

TEST_F(AoiObjects, Marshalling_SharesInProcessAndGoesByValueElsewhere) {
  constexpr CLSID kFreeThreaded{0x0000033A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  const auto aoi = NewAoi<CharAoi>();
  const auto marshal = aoi.As<IMarshal>();
  const IID& iid = IID_ICharAOIKLP;
  for (const DWORD context : {0u, 1u, 2u, 3u, 4u}) {
    CLSID classId{};
    EXPECT_EQ(marshal->GetUnmarshalClass(iid, aoi.Get(), context, nullptr, 0, &classId), S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, context == 3 ? kFreeThreaded : CharAoi::kClass)) << context;
  }
  DWORD bytes = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(iid, aoi.Get(), 3, nullptr, 0, &bytes), S_OK);
  EXPECT_EQ(bytes, 28u);
  EXPECT_EQ(marshal->ReleaseMarshalData(nullptr), S_OK);
  EXPECT_EQ(marshal->DisconnectObject(7), S_OK);
  const auto stream = NewStream();
  ASSERT_EQ(CoMarshalInterface(stream.Get(), iid, aoi.Get(), 3, nullptr, 0), S_OK);
  SeekTo(stream.Get(), 0);
  ComPtr<ICharAOIKLP> same;
  ASSERT_EQ(CoUnmarshalInterface(stream.Get(), iid, same.PutVoid()), S_OK);
  EXPECT_EQ(same.Get(), aoi.Get());

  // What travels is the object's own stream and nothing around it.
  ASSERT_EQ(aoi->CreatePlanes(2, 3, 2), S_OK);
  EXPECT_EQ(aoi->Fill(5), S_OK);
  const auto byValue = NewStream();
  const auto saved = NewStream();
  ASSERT_EQ(marshal->MarshalInterface(byValue.Get(), iid, aoi.Get(), 2, nullptr, 0), S_OK);
  ASSERT_EQ(aoi.As<IPersistStream>()->Save(saved.Get(), FALSE), S_OK);
  EXPECT_EQ(ContentOf(byValue.Get()), ContentOf(saved.Get()));
  EXPECT_EQ(marshal->GetMarshalSizeMax(iid, aoi.Get(), 2, nullptr, 0, &bytes), S_OK);
  EXPECT_EQ(bytes, PositionOf(byValue.Get()));
  const auto receiver = NewAoi<CharAoi>();
  for (const bool isWhole : {true, false}) {
    const auto data = isWhole ? byValue : NewStream("0502");
    SeekTo(data.Get(), 0);
    ComPtr<IAoiKLP> copy;
    EXPECT_EQ(receiver.As<IMarshal>()->UnmarshalInterface(data.Get(), IID_IAoiKLP, copy.PutVoid()),
              isWhole ? S_OK : platform::ResultCode(0x80040460u));
    EXPECT_EQ(copy.Get() != nullptr, isWhole);
    EXPECT_EQ(PixelOf(*receiver, 2, 1), 5);
  }
  // An estimate beyond 32 bits is cut.
  std::uint8_t pixel = 0;
  ASSERT_EQ(aoi->AttachPlanes(1, 0x10000, 0x10000, &pixel), S_OK);
  EXPECT_EQ(marshal->GetMarshalSizeMax(iid, aoi.Get(), 2, nullptr, 0, &bytes), S_OK);
  EXPECT_EQ(bytes, 71u);
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
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(
      ModuleClient::Get().GetClassObject(FloatAoi::kClass, IID_IClassFactory, factory.PutVoid()),
      S_OK);
  ComPtr<IFloatAOIKLP> aoi;
  const auto create = [&] {
    return factory->CreateInstance(nullptr, IID_IFloatAOIKLP, aoi.PutVoid());
  };
  EXPECT_EQ(failEach(create, E_OUTOFMEMORY), 2) << "the object and its marshaler";
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
