// The object around a vector: its identity, copies, marshalling, persistence without data.
#include "interfaces/aoi.h"
#include "tests/support/results.h"
#include "tests/vector/vector_test.h"

namespace tests {

namespace {

using VectorInterfaces = VectorTest;

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
    CLSID ids[2]{};
    EXPECT_EQ(vector.As<IPersistStream>()->GetClassID(&ids[0]), S_OK);
    EXPECT_EQ(vector.As<IPersistPropertyBag>()->GetClassID(&ids[1]), S_OK);
    for (const CLSID& id : ids) EXPECT_TRUE(IsEqualCLSID(id, *kind.classId));
    ElementTypeKLP type{};
    EXPECT_EQ(vector->get_ElementType(&type), S_OK);
    EXPECT_EQ(type, kind.code);
    EXPECT_EQ(vector->get_ElementType(nullptr), E_POINTER);
  }
}

TEST_F(VectorInterfaces, GenericCopies_StandAloneAndHandOutTheTypedPointer) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto vector = NewVector<IVectorKLP>(*kind.classId, 3, kOn);
    vector->Fill(0);
    for (const auto copying : {&IVectorKLP::Clone, &IVectorKLP::DeepCopy}) {
      vector->put_Value(2, 5);
      ComPtr<IVectorKLP> copy;
      EXPECT_EQ((vector.Get()->*copying)(copy.Put()), S_OK);
      vector->put_Value(2, 6);
      EXPECT_EQ(Answer(copy.Get(), *kind.typedId), copy.Get());
      const auto generic = copy.As<IVectorKLP>();
      EXPECT_NE(generic.Get(), copy.Get());
      EXPECT_THAT(ValuesOf(generic), ElementsAre(0, 0, 5));
      EXPECT_THAT(TagTypesOf(generic), ElementsAre(VT_EMPTY, VT_EMPTY, VT_EMPTY));
    }
  }
}

TEST_F(VectorInterfaces, Marshalling_TakesTwoBehavioursAndCopiesOutsideTheProcess) {
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 2);
  const auto behaviour = vector.As<IMarshalBehaviourKLP>();
  const auto marshal = vector.As<IMarshal>();
  const struct {
    int put;
    HRESULT result;
    int expected;
    std::vector<DWORD> byValue;  // contexts
  } rows[] = {{8, S_OK, 8, {}},       {16, S_OK, 16, {0, 2}}, {0, kReported, 16, {0, 2}},
              {8, S_OK, 8, {}},       {9, kReported, 8, {}},  {24, kReported, 8, {}},
              {-1, kReported, 8, {}}, {16, S_OK, 16, {0, 2}}};
  MarshalBehaviourKLP now{};
  EXPECT_EQ(behaviour->get_MarshalBehaviour(nullptr), E_POINTER);
  EXPECT_EQ(behaviour->get_MarshalBehaviour(&now), S_OK);
  EXPECT_EQ(now, MarshalByValue);
  TakeErrorText();
  for (const auto& row : rows) {
    EXPECT_EQ(behaviour->put_MarshalBehaviour(static_cast<MarshalBehaviourKLP>(row.put)),
              row.result);
    EXPECT_EQ(TakeErrorText(), row.result == S_OK
                                   ? std::optional<Text>()
                                   : Text(OLESTR("not implemented marshal behaviour")));
    behaviour->get_MarshalBehaviour(&now);
    EXPECT_EQ(now, row.expected);
    std::vector<DWORD> byValue;
    for (const DWORD context : {0u, 2u, 3u}) {
      CLSID id{};
      EXPECT_EQ(marshal->GetUnmarshalClass(IID_IUnknown, vector.Get(), context, nullptr, 0, &id),
                S_OK);
      if (IsEqualCLSID(id, CLSID_LongVectorKLP)) byValue.push_back(context);
    }
    EXPECT_EQ(byValue, row.byValue);
  }
  vector->put_Value(1, 7);
  DWORD size = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, vector.Get(), 2, nullptr, 0, &size), S_OK);
  EXPECT_EQ(size, 16u);
  const auto stream = NewStream();
  EXPECT_EQ(marshal->MarshalInterface(stream.Get(), IID_IUnknown, vector.Get(), 2, nullptr, 0),
            S_OK);
  EXPECT_EQ(ContentOf(stream.Get()), "03 01 02 00 00 00 00 00 00 00 00 00 07 00 00 00");
  SeekTo(stream.Get(), 0);
  ComPtr<IVectorKLP> copy;
  const auto receiver = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP).As<IMarshal>();
  EXPECT_EQ(receiver->UnmarshalInterface(stream.Get(), IID_IVectorKLP, copy.PutVoid()), S_OK);
  vector->put_Value(1, 8);
  EXPECT_THAT(ValuesOf(copy), ElementsAre(0, 7));

  // A size beyond 32 bits is cut: an element with a picture of 4 GiB, of which nothing is touched.
  const auto picture = ModuleClient::Get().Create<IByteAOIKLP>(CLSID_ByteAOIKLP);
  BYTE pixel = 0;
  ASSERT_EQ(picture->AttachPlanes(1, 0x10000, 0x10000, &pixel), S_OK);
  const auto huge = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1);
  huge->put_Value(0, Object(picture.Get()));
  EXPECT_EQ(huge.As<IMarshal>()->GetMarshalSizeMax(IID_IUnknown, huge.Get(), 2, nullptr, 0, &size),
            S_OK);
  EXPECT_EQ(size, 8u + 26 + 71);
}

TEST_F(VectorInterfaces, PersistencesWithoutData_SayYesAndChangeNothing) {
  const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 1);
  vector->put_Value(0, 9);
  const auto bag = vector.As<IPersistPropertyBag>();
  const auto init = vector.As<IPersistStreamInit>();
  ExpectEach(S_OK, {bag->InitNew(), bag->Load(nullptr, nullptr), bag->Save(nullptr, TRUE, TRUE),
                    init->InitNew(), init->IsDirty(), vector.As<IPersistStream>()->IsDirty()});
  EXPECT_THAT(ValuesOf(vector), ElementsAre(9));
}

}  // namespace
}  // namespace tests
