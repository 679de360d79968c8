// The object around a vector: its tables, its identity, copies, marshalling, property bags.
#include "tests/support/slots.h"
#include "tests/vector/vector_test.h"
#include "vector/special_methods.h"

namespace tests {

// An outer object that counts and answers for an inner one.
class Outer final : public IUnknown {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!IsEqualIID(iid, IID_IUnknown)) return inner->QueryInterface(iid, out);
    *out = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }

  ComPtr<IUnknown> inner;
  ULONG references = 1;
};

namespace {

using VectorInterfaces = VectorTest;
using testing::ElementsAre;

// The address, without a count of its own.
void* Answer(IUnknown* object, REFIID iid, HRESULT expected = S_OK) {
  ComPtr<IUnknown> out;
  EXPECT_EQ(object->QueryInterface(iid, out.PutVoid()), expected);
  return out.Get();
}

TEST_F(VectorInterfaces, QueryInterface_AnswersTheTableFromTheIdentity) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto vector = NewVector<IVectorKLP>(*kind.classId);
    IUnknown* const self = vector.Get();
    const auto stream = Answer(self, IID_IPersistStream);
    EXPECT_EQ(Answer(self, IID_IUnknown), self);
    EXPECT_EQ(Answer(self, IID_IDispatch), Answer(self, *kind.typedId));
    EXPECT_EQ(Answer(self, IID_IPersist), Answer(self, IID_IPersistStreamInit));
    for (const IID& iid :
         {IID_IVectorKLP, *kind.typedId, IID_ISupportErrorInfo, IID_IPersistStreamInit,
          IID_IPersistPropertyBag, IID_IMarshal, IID_IMarshalBehaviourKLP}) {
      void* const face = Answer(self, iid);
      ASSERT_TRUE(face);
      EXPECT_NE(face, stream);
      EXPECT_EQ(Answer(static_cast<IUnknown*>(face), IID_IUnknown), self);
    }
    const bool isByte = kind.code == ElementByte;
    for (const IID& iid : {IID_IAoiKLP, IID_IAttributeMapKLP, IID_IStream,
                           isByte ? IID_ICharVectorKLP : IID_IByteVectorKLP}) {
      EXPECT_EQ(Answer(self, iid, E_NOINTERFACE), nullptr);
    }
    const auto support = vector.As<ISupportErrorInfo>();
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(*kind.typedId), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IVectorKLP), S_FALSE);
    CLSID classId{};
    for (const HRESULT result : {vector.As<IPersistStream>()->GetClassID(&classId),
                                 vector.As<IPersistPropertyBag>()->GetClassID(&classId)}) {
      EXPECT_EQ(result, S_OK);
      EXPECT_TRUE(IsEqualCLSID(classId, *kind.classId));
    }
    ElementTypeKLP type{};
    EXPECT_EQ(vector->get_ElementType(&type), S_OK);
    EXPECT_EQ(type, kind.code);
    EXPECT_EQ(vector->get_ElementType(nullptr), E_POINTER);
    UINT count = 0;
    EXPECT_EQ(vector->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
  }
}

template <class T, class ITyped>
void ExpectElementSlots() {
  using Slots = rastel::VectorElementSlots<T, ITyped>;
  EXPECT_EQ(SlotOf(&Slots::GetElement), 24);
  EXPECT_EQ(SlotOf(&Slots::PutElement), 25);
  EXPECT_EQ(SlotOf(&Slots::GetElementImpl), 26);
  EXPECT_EQ(SlotOf(&Slots::PutElementImpl), 27);
}

TEST_F(VectorInterfaces, ElementSlots_StandRightBehindTheTypedTable) {
  ForAllNumericTypes([](auto type, auto vector) {
    using Type = decltype(type);
    using T = typename Type::T;
    ExpectElementSlots<T, typename Type::I>();
    auto* const slots =
        reinterpret_cast<rastel::VectorElementSlots<T, typename Type::I>*>(vector.Get());
    T value{};
    EXPECT_EQ(slots->PutElement(0, T{3}), S_OK);
    EXPECT_EQ(slots->GetElementImpl(0, &value), S_OK);
    EXPECT_EQ(value, T{3});
    EXPECT_EQ(slots->PutElementImpl(0, T{4}), S_OK);
    EXPECT_EQ(slots->GetElement(0, &value), S_OK);
    EXPECT_EQ(value, T{4});
    for (const HRESULT result :
         {slots->GetElement(1, &value), slots->PutElement(-1, T{0}),
          slots->GetElementImpl(-1, &value), slots->PutElementImpl(1, T{0})}) {
      EXPECT_EQ(result, kBadIndex);
    }
  });
  ExpectElementSlots<VARIANT, IVariantVectorKLP>();
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1);
  auto* const slots =
      reinterpret_cast<rastel::VectorElementSlots<VARIANT, IVariantVectorKLP>*>(vector.Get());
  CComVariant value;
  EXPECT_EQ(slots->PutElementImpl(0, Text_(OLESTR("a"))), S_OK);
  EXPECT_EQ(slots->GetElement(0, &value), S_OK);
  EXPECT_EQ(value.vt, VT_BSTR);
  EXPECT_EQ(slots->PutElement(0, Bits(VT_I4, 3)), S_OK);
  EXPECT_EQ(slots->GetElementImpl(0, &value), S_OK);
  EXPECT_EQ(value.vt, VT_I4);
  EXPECT_EQ(slots->GetElementImpl(1, &value), kBadIndex);
}

TEST_F(VectorInterfaces, GenericCopies_HandOutTheTypedPointer) {
  for (const Kind& kind : kKinds) {
    const auto vector = NewVector<IVectorKLP>(*kind.classId, 2, kOn);
    for (const auto copying : {&IVectorKLP::Clone, &IVectorKLP::DeepCopy}) {
      ComPtr<IVectorKLP> copy;
      EXPECT_EQ((vector.Get()->*copying)(copy.Put()), S_OK);
      EXPECT_EQ(Answer(copy.Get(), *kind.typedId), copy.Get());
      const auto generic = copy.As<IVectorKLP>();
      EXPECT_NE(generic.Get(), copy.Get());
      EXPECT_EQ(CountOf(generic), 2);
      EXPECT_THAT(TagTypesOf(generic), ElementsAre(VT_EMPTY, VT_EMPTY));
    }
  }
}

TEST_F(VectorInterfaces, Aggregate_SharesIdentityAndClonesStandAlone) {
  Outer outer;
  ASSERT_EQ(ModuleClient::Get().CreateInside(&outer, CLSID_LongVectorKLP, IID_IUnknown,
                                             outer.inner.PutVoid()),
            S_OK);
  {
    ComPtr<ILongVectorKLP> vector = outer.inner.As<ILongVectorKLP>();
    EXPECT_EQ(Answer(vector.Get(), IID_IUnknown), &outer);
    EXPECT_EQ(outer.references, 2u);
    ComPtr<ILongVectorKLP> clone;
    EXPECT_EQ(vector->Clone(clone.Put()), S_OK);
    EXPECT_EQ(Answer(clone.Get(), IID_IUnknown), clone.As<IVectorKLP>().Get());
  }
  EXPECT_EQ(outer.references, 1u);
}

TEST_F(VectorInterfaces, MarshalBehaviour_TakesItsTwoValues) {
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
  const auto behaviour = vector.As<IMarshalBehaviourKLP>();
  const struct {
    int put;
    HRESULT result;
    int expected;
  } rows[] = {{16, S_OK, 16},     {8, S_OK, 8},       {0, kReported, 8}, {9, kReported, 8},
              {24, kReported, 8}, {-1, kReported, 8}, {16, S_OK, 16}};
  MarshalBehaviourKLP now{};
  EXPECT_EQ(behaviour->get_MarshalBehaviour(nullptr), E_POINTER);
  EXPECT_EQ(behaviour->get_MarshalBehaviour(&now), S_OK);
  EXPECT_EQ(now, MarshalByValue);
  for (const auto& row : rows) {
    EXPECT_EQ(behaviour->put_MarshalBehaviour(static_cast<MarshalBehaviourKLP>(row.put)),
              row.result);
    if (FAILED(row.result)) {
      EXPECT_EQ(TakeErrorText(), OLESTR("not implemented marshal behaviour"));
    }
    behaviour->get_MarshalBehaviour(&now);
    EXPECT_EQ(now, row.expected);
  }
  UINT count = 0;
  EXPECT_EQ(behaviour->GetTypeInfoCount(&count), S_OK);
}

TEST_F(VectorInterfaces, Marshalling_CopiesOutsideTheProcessUnlessByReference) {
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 2);
  vector->put_Value(1, 7);
  const auto marshal = vector.As<IMarshal>();
  const struct {
    MarshalBehaviourKLP behaviour;
    DWORD context;
    bool isByValue;
  } rows[] = {{MarshalByValue, 0, true},
              {MarshalByValue, 2, true},
              {MarshalByValue, 3, false},
              {MarshalByReference, 0, false},
              {MarshalByReference, 3, false}};
  for (const auto& row : rows) {
    vector.As<IMarshalBehaviourKLP>()->put_MarshalBehaviour(row.behaviour);
    CLSID classId{};
    EXPECT_EQ(
        marshal->GetUnmarshalClass(IID_IUnknown, vector.Get(), row.context, nullptr, 0, &classId),
        S_OK);
    EXPECT_EQ(IsEqualCLSID(classId, CLSID_LongVectorKLP), row.isByValue);
  }
  vector.As<IMarshalBehaviourKLP>()->put_MarshalBehaviour(MarshalByValue);
  DWORD size = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, vector.Get(), 2, nullptr, 0, &size), S_OK);
  EXPECT_EQ(size, 16u);
  const auto stream = NewStream();
  EXPECT_EQ(marshal->MarshalInterface(stream.Get(), IID_IUnknown, vector.Get(), 2, nullptr, 0),
            S_OK);
  EXPECT_EQ(ContentOf(stream.Get()), "03 01 02 00 00 00 00 00 00 00 00 00 07 00 00 00");
  SeekTo(stream.Get(), 0);
  ComPtr<IVectorKLP> copy;
  const auto receiver = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
  EXPECT_EQ(
      receiver.As<IMarshal>()->UnmarshalInterface(stream.Get(), IID_IVectorKLP, copy.PutVoid()),
      S_OK);
  vector->put_Value(1, 8);
  EXPECT_THAT(ValuesOf(copy), ElementsAre(0, 7));
}

TEST_F(VectorInterfaces, PersistencesWithoutData_SayYesAndChangeNothing) {
  const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 1);
  vector->put_Value(0, 9);
  const auto bag = vector.As<IPersistPropertyBag>();
  const auto init = vector.As<IPersistStreamInit>();
  for (const HRESULT result :
       {bag->InitNew(), bag->Load(nullptr, nullptr), bag->Save(nullptr, TRUE, TRUE),
        init->InitNew(), init->IsDirty(), vector.As<IPersistStream>()->IsDirty()}) {
    EXPECT_EQ(result, S_OK);
  }
  EXPECT_THAT(ValuesOf(vector), ElementsAre(9));
}

}  // namespace
}  // namespace tests
