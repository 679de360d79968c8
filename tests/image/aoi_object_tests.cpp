// The objects themselves: identity, tables, counts, creation, copies of the object, marshalling.
#include <cstring>

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
    IUnknown* const faces[] = {generic.Get(),
                               typed.Get(),
                               typed.template As<IMarshal>().Get(),
                               typed.template As<IPersistStream>().Get(),
                               typed.template As<IPersist>().Get(),
                               typed.template As<ISupportErrorInfo>().Get()};
    for (IUnknown* face : faces) {
      ASSERT_TRUE(face);
      EXPECT_EQ(Answer<IUnknown>(face, IID_IUnknown), generic.Get());
      EXPECT_EQ(Answer<IAoiKLP>(face, IID_IAoiKLP), generic.Get());
      EXPECT_EQ(Answer<IDispatch>(face, IID_IDispatch), static_cast<IDispatch*>(typed.Get()));
      EXPECT_EQ(Answer<I>(face, platform::kIidOf<I>), typed.Get());
      EXPECT_EQ(Answer<IMarshal>(face, IID_IMarshal), faces[2]);
      EXPECT_EQ(Answer<IPersistStream>(face, IID_IPersistStream), faces[3]);
      EXPECT_EQ(Answer<IPersist>(face, IID_IPersist), faces[4]);
      EXPECT_NE(faces[4], faces[3]);
      EXPECT_EQ(Answer<ISupportErrorInfo>(face, IID_ISupportErrorInfo), faces[5]);
      for (const IID& refused : {IID_IPersistStreamInit, IID_IPersistPropertyBag,
                                 IID_IMarshalBehaviourKLP, IID_IAttributeMapKLP}) {
        EXPECT_EQ(Answer<IUnknown>(face, refused, E_NOINTERFACE), nullptr);
      }
      EXPECT_EQ(face->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    }
    const bool isByte = Type::kCode == ElementByte;
    Answer<IUnknown>(typed.Get(), isByte ? IID_ICharAOIKLP : IID_IByteAOIKLP, E_NOINTERFACE);

    const auto support = typed.template As<ISupportErrorInfo>();
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(platform::kIidOf<I>), S_OK);
    for (const IID& other : {IID_IAoiKLP, IID_IUnknown, IID_IDispatch, IID_IDoubleVectorKLP}) {
      EXPECT_EQ(support->InterfaceSupportsErrorInfo(other), S_FALSE);
    }
    CLSID classId{};
    EXPECT_EQ(typed.template As<IPersist>()->GetClassID(&classId), S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, Type::kClass));
    classId = CLSID{};
    EXPECT_EQ(typed.template As<IPersistStream>()->GetClassID(&classId), S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, Type::kClass));
    UINT count = 7;
    EXPECT_EQ(generic->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(typed->GetTypeInfoCount(nullptr), E_POINTER);
  });
}

TEST_F(AoiObjects, Counts_AreOneForTheWholeObjectAndHoldTheModule) {
  ForAllAoiTypes([](auto type) {
    const ModuleClient& module = ModuleClient::Get();
    const auto typed = NewAoi<decltype(type)>();
    EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
    EXPECT_EQ(typed->AddRef(), 2u);
    const auto generic = typed.template As<IAoiKLP>();
    EXPECT_EQ(generic->AddRef(), 4u);
    EXPECT_EQ(typed->Release(), 3u);
    EXPECT_EQ(generic->Release(), 2u);
  });
  EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK);
}

TEST_F(AoiObjects, Aggregate_CountsAndAsksTheOuter) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using I = typename Type::I;
    const ModuleClient& module = ModuleClient::Get();
    AoiOuter outer;
    void* refused = &outer;
    EXPECT_EQ(module.CreateInside(&outer, Type::kClass, platform::kIidOf<I>, &refused),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(refused, nullptr);
    ASSERT_EQ(module.CreateInside(&outer, Type::kClass, IID_IUnknown, outer.inner.PutVoid()), S_OK);
    EXPECT_EQ(outer.references, 1u);
    {
      const auto typed = outer.inner.As<I>();
      ASSERT_TRUE(typed);
      EXPECT_EQ(outer.references, 2u);
      EXPECT_EQ(Answer<IUnknown>(typed.Get(), IID_IUnknown), static_cast<IUnknown*>(&outer));
      EXPECT_EQ(Answer<I>(typed.template As<IMarshal>().Get(), platform::kIidOf<I>), typed.Get());
      ASSERT_EQ(typed->CreateImage(4, 4), S_OK);
      EXPECT_EQ(typed->Fill(3), S_OK);
      ComPtr<I> sibling;
      ASSERT_EQ(typed->Clone(sibling.Put()), S_OK);
      EXPECT_EQ(outer.references, 2u) << "a sibling is an object of its own";
      EXPECT_EQ(sibling->CopyTo(typed.Get()), S_OK);
      EXPECT_EQ(sibling->PutPixel(3, 3, 5), S_OK);
      EXPECT_EQ(PixelOf<Type>(*typed, 3, 3), 5);
    }
    EXPECT_EQ(outer.references, 1u);
  });
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
    EXPECT_EQ(CallSlot(typed, 26, LONG{5}, LONG{4}, DOUBLE{42}), S_OK);
    DOUBLE value = 0;
    EXPECT_EQ(CallSlot(generic, 25, LONG{5}, LONG{4}, &value), S_OK);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(CallSlot(generic, 41, DOUBLE{7}), S_OK);  // Fill
    typename Type::U* pixels = nullptr;
    EXPECT_EQ(CallSlot(typed, 68, &n[0], &n[1], &n[2], &pixels), S_OK);  // GetAccessChecked
    EXPECT_THAT(n, ElementsAre(6, 5, 0, 1));
    ASSERT_TRUE(pixels);
    EXPECT_EQ(pixels[29], 7);
    std::int32_t code = -1;
    EXPECT_EQ(CallSlot(generic, 59, &code), S_OK);
    EXPECT_EQ(code, Type::kCode);
    VARIANT tag{};
    tag.vt = VT_R8;
    tag.dblVal = 2.5;
    EXPECT_EQ(CallSlot(typed, 65, tag), S_OK);
    VARIANT out{};
    EXPECT_EQ(CallSlot(generic, 60, &out), S_OK);
    EXPECT_TRUE(out.vt == VT_R8 && out.dblVal == 2.5);
    EXPECT_EQ(CallSlot(generic, 2), 1);
  });
}

TEST_F(AoiObjects, Clone_SharesTheBufferAndLeavesNameTagAndMapBehind) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using I = typename Type::I;
    const auto aoi = NewAoi<Type>();
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

    ComPtr<I> typed;
    ASSERT_EQ(aoi->Clone(typed.Put()), S_OK);
    ComPtr<IAoiKLP> generic;
    ASSERT_EQ(aoi.template As<IAoiKLP>()->Clone(generic.Put()), S_OK);
    for (IUnknown* const clone :
         {static_cast<IUnknown*>(typed.Get()), static_cast<IUnknown*>(generic.Get())}) {
      EXPECT_EQ(clone->AddRef(), 2u);
      EXPECT_EQ(clone->Release(), 1u);
    }
    for (const auto& clone : {typed, generic.As<I>()}) {
      ASSERT_TRUE(clone);
      EXPECT_EQ(GeometryOf(*clone), GeometryOf(*aoi));
      EXPECT_THAT(GeometryOf(*clone), ElementsAre(1, 2, 9, 6, 2, 1, 14, 12, 3, 2, 6));
      EXPECT_EQ(IsSelected(*clone, 1), 0);
      EXPECT_EQ(Get(*clone, &I::get_MarginMode), MarginReplicate);
      EXPECT_EQ(Get(*clone, &I::get_MarshalFlags), MarshalBuffer);
      EXPECT_TRUE(NameOf(*clone) == OLESTR("None"));
      VARIANT tag{};
      EXPECT_EQ(clone->get_Tag(&tag), S_OK);
      EXPECT_EQ(tag.vt, VT_EMPTY);
      IAttributeMapKLP* map = nullptr;
      EXPECT_EQ(clone->get_AttributeMap(&map), S_OK);
      EXPECT_EQ(map, nullptr);
      // Pixels are shared, geometry is not.
      EXPECT_EQ(clone->PutPixel(3, 3, 66), S_OK);
      EXPECT_EQ(PixelOf<Type>(*aoi, 3, 3), 66);
      clone->put_PlaneSelected(1, 1);
      clone->SetRect(0, 0, 0, 0);
    }
    EXPECT_THAT(GeometryOf(*aoi), ElementsAre(1, 2, 9, 6, 2, 1, 14, 12, 3, 2, 6));
    EXPECT_EQ(IsSelected(*aoi, 1), 0);
    // The source goes elsewhere and ends; the clones keep the pixels.
    EXPECT_EQ(aoi->CreateImage(8, 8), S_OK);
    EXPECT_EQ(typed->SetRect(1, 2, 9, 7), S_OK);
    EXPECT_EQ(PixelOf<Type>(*typed, 3, 3), 66);

    ComPtr<I> unbound;
    EXPECT_EQ(NewAoi<Type>()->Clone(unbound.Put()), S_OK);
    LONG n = 0;
    EXPECT_EQ(unbound->get_Width(&n), platform::ResultCode(0x8004045Au));
  });
}

TEST_F(AoiObjects, Marshalling_SharesInProcessAndGoesByValueElsewhere) {
  constexpr CLSID kFreeThreaded{0x0000033A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  ForAllAoiTypes([&](auto type) {
    using Type = decltype(type);
    const auto aoi = NewAoi<Type>();
    const auto marshal = aoi.template As<IMarshal>();
    const IID& iid = platform::kIidOf<typename Type::I>;
    for (const DWORD context : {0u, 1u, 2u, 3u, 4u}) {
      SCOPED_TRACE(context);
      CLSID classId{};
      EXPECT_EQ(marshal->GetUnmarshalClass(iid, aoi.Get(), context, nullptr, 0, &classId), S_OK);
      EXPECT_TRUE(IsEqualCLSID(classId, context == 3 ? kFreeThreaded : Type::kClass));
    }
    DWORD bytes = 0;
    EXPECT_EQ(marshal->GetMarshalSizeMax(iid, aoi.Get(), 3, nullptr, 0, &bytes), S_OK);
    EXPECT_EQ(bytes, 28u);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(marshal->ReleaseMarshalData(nullptr), S_OK);
      EXPECT_EQ(marshal->DisconnectObject(7), S_OK);
    }
    const auto stream = NewStream();
    ASSERT_EQ(CoMarshalInterface(stream.Get(), iid, aoi.Get(), 3, nullptr, 0), S_OK);
    SeekTo(stream.Get(), 0);
    ComPtr<typename Type::I> same;
    ASSERT_EQ(CoUnmarshalInterface(stream.Get(), iid, same.PutVoid()), S_OK);
    EXPECT_EQ(same.Get(), aoi.Get());

    // What travels is the object's own stream and nothing around it.
    ASSERT_EQ(aoi->CreatePlanes(2, 3, 2), S_OK);
    EXPECT_EQ(aoi->Fill(5), S_OK);
    const auto byValue = NewStream();
    const auto saved = NewStream();
    ASSERT_EQ(marshal->MarshalInterface(byValue.Get(), iid, aoi.Get(), 2, nullptr, 0), S_OK);
    ASSERT_EQ(aoi.template As<IPersistStream>()->Save(saved.Get(), FALSE), S_OK);
    EXPECT_EQ(ContentOf(byValue.Get()), ContentOf(saved.Get()));
    EXPECT_EQ(marshal->GetMarshalSizeMax(iid, aoi.Get(), 2, nullptr, 0, &bytes), S_OK);
    EXPECT_EQ(bytes, PositionOf(byValue.Get()));
    const auto receiver = NewAoi<Type>();
    for (const bool isWhole : {true, false}) {
      const auto data = isWhole ? byValue : NewStream("0502");
      SeekTo(data.Get(), 0);
      ComPtr<IAoiKLP> copy;
      EXPECT_EQ(receiver.template As<IMarshal>()->UnmarshalInterface(data.Get(), IID_IAoiKLP,
                                                                     copy.PutVoid()),
                isWhole ? S_OK : platform::ResultCode(0x80040460u));
      EXPECT_EQ(copy.Get() != nullptr, isWhole);
      EXPECT_EQ(PixelOf<Type>(*receiver, 2, 1), 5);
    }
    // An estimate beyond 32 bits is cut.
    typename Type::U pixel = 0;
    ASSERT_EQ(aoi->AttachPlanes(1, 0x10000, 0x10000, &pixel), S_OK);
    EXPECT_EQ(marshal->GetMarshalSizeMax(iid, aoi.Get(), 2, nullptr, 0, &bytes), S_OK);
    EXPECT_EQ(bytes, 71u);
  });
}

TEST_F(AoiObjects, Creation_CostsOneAllocationBesideTheMarshaler) {
  // Elsewhere the module has an allocator of its own, out of the test's sight.
  if (!kEmbeddedHost) GTEST_SKIP();
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(
        ModuleClient::Get().GetClassObject(Type::kClass, IID_IClassFactory, factory.PutVoid()),
        S_OK);
    for (const IID& iid : {IID_IUnknown, platform::kIidOf<typename Type::I>}) {
      void* object = nullptr;
      const auto create = [&] { return factory->CreateInstance(nullptr, iid, &object); };
      int failures = 0;
      const int allocations = FailEachAllocation(create, [&](HRESULT result, long long leaked) {
        failures += result == E_OUTOFMEMORY && !object && leaked == 0;
      });
      EXPECT_EQ(allocations, 2);
      EXPECT_EQ(failures, allocations);
      ASSERT_TRUE(object);
      static_cast<IUnknown*>(object)->Release();
    }
  });
}

TEST_F(AoiObjects, Allocations_ThatFailLeaveAWholeObject) {
  if (!kEmbeddedHost) GTEST_SKIP();
  const auto aoi = NewAoi<FloatAoi>();
  ASSERT_EQ(aoi->CreatePlanes(2, 4, 4), S_OK);
  const auto failEach = [](auto operation) {
    int wrong = 0;
    const int refused = FailEachAllocation(operation, [&](HRESULT result, long long leaked) {
      wrong += result != E_OUTOFMEMORY || leaked > 0;
    });
    EXPECT_EQ(wrong, 0);
    return refused;
  };
  EXPECT_GE(failEach([&] { return aoi->put_PlaneSelected(1, 0); }), 1);
  EXPECT_EQ(IsSelected(*aoi, 1), 0);
  IFloatAOIKLP* clone = nullptr;
  bool cleared = true;
  const int refused = FailEachAllocation([&] { return clone = nullptr, aoi->Clone(&clone); },
                                         [&](HRESULT result, long long leaked) {
                                           cleared &= result == E_FAIL && !clone && leaked == 0;
                                         });
  EXPECT_EQ(refused, 3) << "the object, its marshaler and a mask with a plane deselected";
  EXPECT_TRUE(cleared);
  clone->Release();
  EXPECT_GE(failEach([&] { return aoi->CreateImage(4, 4); }), 1);
  EXPECT_GE(failEach([&] { return aoi->CreatePlanes(1, 4, 4); }), 1);
  const BSTR name = SysAllocString(OLESTR("mine"));
  EXPECT_GE(failEach([&] { return aoi->put_Name(name); }), 1);
  SysFreeString(name);
  VARIANT tag{};
  tag.vt = VT_BSTR;
  tag.bstrVal = SysAllocString(OLESTR("text"));
  failEach([&] { return aoi->put_Tag(tag); });
  VariantClear(&tag);

  AllocationFaults none;
  double value = 0;
  aoi->PutPixel(1, 1, 3);
  aoi->GetPixel(1, 1, &value);
  aoi->Fill(2);
  aoi->Clear();
  aoi->CopyTo(aoi.Get());
  aoi->SelectAll();
  aoi->SetMargins(1, 1);
  aoi->FillMargins();
  EXPECT_EQ(none.Stop(), 0);
}

}  // namespace
}  // namespace tests
