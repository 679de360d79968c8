// Calls between processes. This program serves objects, starts itself again and hands them over;
// the tests named Client run in the second process, on what they were handed.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "platform/com_ptr.h"
#include "tests/support/child_process.h"
#include "tests/support/com_values.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"
#include "tests/support/streams.h"
#include "types/type_library.h"

namespace tests {
namespace {

using platform::ComPtr;
using rastel::CComVariant;

std::string handedFile;

// The text or the number, else "type n".
std::string TextOf(const VARIANT& value) {
  if (value.vt == VT_R8) return std::to_string(value.dblVal);
  if (value.vt != VT_BSTR) return "type " + std::to_string(value.vt);
  return {value.bstrVal, value.bstrVal + SysStringLen(value.bstrVal)};
}

std::string ValueOf(IAttributeMapKLP& map, LPCOLESTR key) {
  CComVariant value;
  return map.get_Value(TextValue(key), &value) == S_OK ? TextOf(value) : "failed";
}

std::string KeyOf(IAttributeEntryKLP& entry) {
  CComVariant key;
  return entry.get_Key(&key) == S_OK ? TextOf(key) : "failed";
}

DOUBLE FirstPixel(IAoiKLP& picture) {
  DOUBLE pixel = -1;
  EXPECT_EQ(picture.GetPixel(0, 0, &pixel), S_OK);
  return pixel;
}

ComPtr<IAoiKLP> MakePicture(DOUBLE fill) {
  const auto picture = ModuleClient::Get().Create<IAoiKLP>(CLSID_WordAOIKLP);
  EXPECT_EQ(picture->CreateImage(4, 3), S_OK);
  EXPECT_EQ(picture->Fill(fill), S_OK);
  return picture;
}

template <class Interface>
void HandOver(IStream& stream, const ComPtr<Interface>& object) {
  ASSERT_EQ(CoMarshalInterface(&stream, platform::kIidOf<Interface>, object.Get(), MSHCTX_LOCAL,
                               nullptr, MSHLFLAGS_NORMAL),
            S_OK);
}

TEST(Server, HandsOutAMapByReferenceAndAPictureByValue) {
  const RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  const ModuleClient& module = ModuleClient::Get();
  const auto map = module.Create<IAttributeMapKLP>(CLSID_AttributeBstrMapKLP);
  const ComPtr<IAoiKLP> picture = MakePicture(5), inMap = MakePicture(6);
  const auto vector = module.Create<IByteVectorKLP>(CLSID_ByteVectorKLP);
  ASSERT_TRUE(map && picture && vector);
  EXPECT_EQ(map->put_Value(TextValue(OLESTR("a")), Real(0.5)), S_OK);
  EXPECT_EQ(map->put_Value(TextValue(OLESTR("b")), TextValue(OLESTR("zwei"))), S_OK);
  EXPECT_EQ(map->put_Value(TextValue(OLESTR("c")), Object(inMap.Get(), VT_DISPATCH)), S_OK);
  EXPECT_EQ(vector->put_HasElementTags(VARIANT_TRUE), S_OK);
  EXPECT_EQ(vector->put_Count(3), S_OK);
  EXPECT_EQ(vector->put_Value(0, 76), S_OK);
  EXPECT_EQ(vector->put_ElementTag(0, TextValue(OLESTR("rot"))), S_OK);
  EXPECT_EQ(vector.As<IMarshalBehaviourKLP>()->put_MarshalBehaviour(MarshalByReference), S_OK);

  const ComPtr<IStream> stream = NewStream();
  HandOver(*stream.Get(), map);
  HandOver(*stream.Get(), picture);
  HandOver(*stream.Get(), vector);
  const TempFile file("references");
  file.Write(ContentOf(stream.Get()));

  const ChildResult child = RunProgram(ThisProgram(), {"client", file.path()});
  EXPECT_EQ(child.exitCode, 0) << child.output;
  EXPECT_EQ(ValueOf(*map, OLESTR("a")), "through an entry");
  EXPECT_EQ(ValueOf(*map, OLESTR("d")), "from a client");
  EXPECT_EQ(FirstPixel(*picture), 5);
  EXPECT_EQ(FirstPixel(*inMap), 6);
  LONG count = 0;
  EXPECT_EQ(vector->get_Count(&count), S_OK);
  EXPECT_EQ(count, 2);
}

// A value under HKCR as text; "none" if the key or the value is not there.
std::string Registered(const std::string& key, const char* name = nullptr) {
  char text[300];
  DWORD bytes = sizeof(text);
  const bool isThere = RegGetValueA(HKEY_CLASSES_ROOT, key.c_str(), name, RRF_RT_REG_SZ, nullptr,
                                    text, &bytes) == ERROR_SUCCESS;
  return isThere ? text : "none";
}

std::string IdText(const GUID& id) {
  OLECHAR text[39];
  StringFromGUID2(id, text, 39);
  return {text, text + 38};
}

TEST(Registration, EntersTheProxiesOfEveryInterfaceAndTakesThemOut) {
  RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  const std::string proxyClass = "{15C52503-21C2-4FFC-9E1F-A8E9E5F615ED}";
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  for (const bool isEntered : {true, false}) {
    SCOPED_TRACE(isEntered);
    const auto expect = [&](const std::string& value) { return isEntered ? value : "none"; };
    ASSERT_EQ(isEntered ? S_OK : registered.Unregister(), S_OK);
    int interfaces = 0;
    for (DWORD i = 0; i < library.typeCount; ++i) {
      const HostType& type = library.types[i];
      SCOPED_TRACE(type.name);
      const std::string id = type.id ? IdText(*type.id) : "";
      if (type.kind == kHostDualInterface || type.kind == kHostInterface) {
        ++interfaces;
        const int slots = type.members[type.memberCount - 1].slot + 1;
        const std::string key = "Interface\\" + id;
        EXPECT_EQ(Registered(key + "\\NumMethods"), expect(std::to_string(slots)));
        EXPECT_EQ(Registered(key + "\\ProxyStubClsid32"), expect(proxyClass));
      } else if (type.kind == kHostClass) {
        EXPECT_EQ(Registered("CLSID\\" + id + "\\InprocServer32", "ThreadingModel"),
                  expect("Both"));
      }
    }
    EXPECT_EQ(interfaces, 26);
    EXPECT_EQ(Registered("CLSID\\" + proxyClass + "\\InProcServer32", "ThreadingModel"),
              expect("Both"));
    // What others share stays.
    HKEY shared = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "CLSID", 0, KEY_READ, &shared), ERROR_SUCCESS);
    RegCloseKey(shared);
  }
}

TEST(Exports, AskTheProxiesBeforeTheCatalogue) {
  const ModuleClient& module = ModuleClient::Get();
  ComPtr<IUnknown> factory;
  EXPECT_EQ(module.GetClassObject(IID_IDoubleAOIKLP, IID_IPSFactoryBuffer, factory.PutVoid()),
            S_OK);
  EXPECT_EQ(module.GetClassObject(CLSID_ByteAOIKLP, IID_IPSFactoryBuffer, factory.PutVoid()),
            E_NOINTERFACE);
  // The proxies go by the identifiers of their interfaces too, but make no objects.
  EXPECT_EQ(module.GetClassObject(IID_IByteAOIKLP, IID_IPSFactoryBuffer, factory.PutVoid()), S_OK);
  EXPECT_EQ(module.GetClassObject(IID_IByteAOIKLP, IID_IClassFactory, factory.PutVoid()),
            CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(module.GetClassObject(IID_IDoubleAOIKLP, IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(module.CanUnloadNow(), S_OK);
  EXPECT_EQ(module.GetClassObject(IID_IDoubleAOIKLP, IID_IUnknown, factory.PutVoid()), S_OK);
  EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
}

class Client : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::ifstream file(handedFile, std::ios::binary);
    const ComPtr<IStream> stream = NewStream(std::string(std::istreambuf_iterator<char>(file), {}));
    Take(*stream, map_);
    Take(*stream, picture_);
    Take(*stream, vector_);
  }
  static void TearDownTestSuite() {
    map_.Reset();
    picture_.Reset();
    vector_.Reset();
  }
  template <class Interface>
  static void Take(IStream& stream, ComPtr<Interface>& object) {
    ASSERT_EQ(CoUnmarshalInterface(&stream, platform::kIidOf<Interface>, object.PutVoid()), S_OK);
  }

  static inline ComPtr<IAttributeMapKLP> map_;
  static inline ComPtr<IAoiKLP> picture_;
  static inline ComPtr<IByteVectorKLP> vector_;
};

TEST_F(Client, ReadsAndWritesTheMap) {
  EXPECT_EQ(ValueOf(*map_, OLESTR("a")), "0.500000");
  EXPECT_EQ(ValueOf(*map_, OLESTR("b")), "zwei");
  EXPECT_EQ(map_->put_Value(TextValue(OLESTR("d")), TextValue(OLESTR("from a client"))), S_OK);
  EXPECT_EQ(map_->put_Value(Real(1.5), Real(1.5)), platform::ResultCode(0x80020009u));
  LONG count = 0;
  VARIANT_BOOL exists = 99;
  KeyKindKLP kind = KeyKindDouble;
  EXPECT_EQ(map_->get_Count(&count), S_OK);
  EXPECT_EQ(count, 4);
  EXPECT_EQ(map_->Exists(TextValue(OLESTR("e")), &exists), S_OK);
  EXPECT_EQ(exists, VARIANT_FALSE);
  EXPECT_EQ(map_->get_KeyKind(&kind), S_OK);
  EXPECT_EQ(kind, KeyKindBstr);
  const auto typed = map_.As<IAttributeBstrMapKLP>();
  ASSERT_TRUE(typed);
  CComVariant value;
  EXPECT_EQ(typed->get_Value(TextValue(OLESTR("b")).bstrVal, &value), S_OK);
  EXPECT_EQ(TextOf(value), "zwei");
}

TEST_F(Client, GetsTheKeysOfTheMap) {
  SAFEARRAY* keys = nullptr;
  ASSERT_EQ(map_->get_Keys(&keys), S_OK);
  std::string text;
  for (LONG i = 0; i < 4; ++i) {
    CComVariant key;
    EXPECT_EQ(SafeArrayGetElement(keys, &i, &key), S_OK);
    text += TextOf(key);
  }
  EXPECT_EQ(text, "abcd");
  SafeArrayDestroy(keys);
}

TEST_F(Client, WalksTheMap) {
  ComPtr<IEnumAttributeEntryKLP> walk, clone;
  ASSERT_EQ(map_->GetEnumerator(walk.Put()), S_OK);
  ComPtr<IAttributeEntryKLP> first;
  EXPECT_EQ(walk->Next(1, first.Put(), nullptr), S_OK);
  ASSERT_TRUE(first);
  EXPECT_EQ(KeyOf(*first), "a");
  EXPECT_EQ(first->put_Value(TextValue(OLESTR("through an entry"))), S_OK);
  CComVariant value;
  EXPECT_EQ(first->get_Value(&value), S_OK);
  EXPECT_EQ(TextOf(value), "through an entry");

  EXPECT_EQ(walk->Clone(clone.Put()), S_OK);
  IAttributeEntryKLP* rest[5] = {};
  ULONG fetched = 99;
  EXPECT_EQ(walk->Next(2, rest, nullptr), E_POINTER);
  EXPECT_EQ(walk->Next(0, rest, nullptr), S_OK);
  EXPECT_EQ(walk->Next(5, nullptr, &fetched), E_POINTER);
  EXPECT_EQ(fetched, 0u);
  EXPECT_EQ(walk->Next(5, rest, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 3u);
  EXPECT_EQ(KeyOf(*rest[2]), "d");
  for (ULONG i = 0; i < fetched; ++i) rest[i]->Release();
  EXPECT_EQ(walk->Skip(1), S_FALSE);
  EXPECT_EQ(walk->Reset(), S_OK);
  // The clone goes on behind the first entry.
  EXPECT_EQ(clone->Next(1, first.Put(), nullptr), S_OK);
  EXPECT_EQ(KeyOf(*first), "b");
}

TEST_F(Client, ClonesTheMapWhereItIs) {
  ComPtr<IAttributeMapKLP> clone;
  ASSERT_EQ(map_->Clone(clone.Put()), S_OK);
  EXPECT_EQ(clone->put_Value(TextValue(OLESTR("b")), Real(2.0)), S_OK);
  EXPECT_EQ(ValueOf(*clone, OLESTR("b")), "2.000000");
  EXPECT_EQ(ValueOf(*map_, OLESTR("b")), "zwei");
}

TEST_F(Client, HasPicturesOfItsOwn) {
  EXPECT_EQ(FirstPixel(*picture_), 5);
  EXPECT_EQ(picture_->Fill(8), S_OK);
  CComVariant value;
  ASSERT_EQ(map_->get_Value(TextValue(OLESTR("c")), &value), S_OK);
  ASSERT_EQ(value.vt, VT_DISPATCH);
  const auto inMap = ComPtr<IDispatch>(value.pdispVal).As<IAoiKLP>();
  ASSERT_TRUE(inMap);
  EXPECT_EQ(FirstPixel(*inMap), 6);
  EXPECT_EQ(inMap->Fill(9), S_OK);
}

TEST_F(Client, UsesAVectorWhereItIs) {
  EXPECT_EQ(vector_->put_Value(1, 77), S_OK);
  EXPECT_EQ(vector_->put_Value(3, 77), platform::ResultCode(0x80040461u));
  // Of the array one element comes, as a copy.
  LONG count = 0;
  BYTE* elements = nullptr;
  EXPECT_EQ(vector_->GetPointer(&count, &elements), S_OK);
  ASSERT_TRUE(count == 3 && elements);
  EXPECT_EQ(*elements, 76);
  CoTaskMemFree(elements);
  VARIANT* tags = nullptr;
  EXPECT_EQ(vector_->GetTagPointer(&count, &tags), S_OK);
  ASSERT_TRUE(count == 3 && tags && tags->vt == VT_BSTR);
  EXPECT_EQ(SysStringLen(tags->bstrVal), 3u);
  VariantClear(tags);
  CoTaskMemFree(tags);
  EXPECT_EQ(vector_->put_Count(0), S_OK);
  EXPECT_EQ(vector_->GetPointer(&count, &elements), S_FALSE);
  EXPECT_TRUE(count == 0 && !elements);
  EXPECT_EQ(vector_->put_Count(2), S_OK);
}

}  // namespace
}  // namespace tests

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const bool isClient = argc == 3 && std::string(argv[1]) == "client";
  if (isClient) tests::handedFile = argv[2];
  GTEST_FLAG_SET(filter, isClient ? "Client.*" : "-Client.*");
  return RUN_ALL_TESTS();
}
