// The module as its clients have it: a library with four exports.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "interfaces/identifiers.h"
#include "platform/module_file.h"
#include "platform/module_loader.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/temp_file.h"

namespace tests {

// A controlling unknown that counts.
class CountedOuter final : public IUnknown {
 public:
  STDMETHODIMP QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  ULONG references = 1;
};

namespace {

using platform::ComPtr;

constexpr struct {
  const CLSID& classId;
  const IID& typed;
} kClasses[] = {
    {CLSID_ByteAOIKLP, IID_IByteAOIKLP},
    {CLSID_WordAOIKLP, IID_IWordAOIKLP},
    {CLSID_DWordAOIKLP, IID_IDWordAOIKLP},
    {CLSID_FloatAOIKLP, IID_IFloatAOIKLP},
    {CLSID_DoubleAOIKLP, IID_IDoubleAOIKLP},
    {CLSID_CharAOIKLP, IID_ICharAOIKLP},
    {CLSID_ShortAOIKLP, IID_IShortAOIKLP},
    {CLSID_LongAOIKLP, IID_ILongAOIKLP},
    {CLSID_ByteVectorKLP, IID_IByteVectorKLP},
    {CLSID_ShortVectorKLP, IID_IShortVectorKLP},
    {CLSID_LongVectorKLP, IID_ILongVectorKLP},
    {CLSID_FloatVectorKLP, IID_IFloatVectorKLP},
    {CLSID_DoubleVectorKLP, IID_IDoubleVectorKLP},
    {CLSID_CharVectorKLP, IID_ICharVectorKLP},
    {CLSID_WordVectorKLP, IID_IWordVectorKLP},
    {CLSID_DWordVectorKLP, IID_IDWordVectorKLP},
    {CLSID_VariantVectorKLP, IID_IVariantVectorKLP},
    {CLSID_AttributeBstrMapKLP, IID_IAttributeBstrMapKLP},
    {CLSID_AttributeLongMapKLP, IID_IAttributeLongMapKLP},
    {CLSID_AttributeDoubleMapKLP, IID_IAttributeDoubleMapKLP},
    {CLSID_AttributeEntryKLP, IID_IAttributeEntryKLP},
};
// No classes: nothing, a class with another last byte, the type library.
constexpr GUID kForeign[] = {
    GUID{},
    {0x486B1585, 0xD4BF, 0x42FE, {0xA8, 0x33, 0x61, 0x90, 0x76, 0xA4, 0x53, 0x0D}},
    LIBID_RASTEL_KLP_Lib};

class Module : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(module_.CanUnloadNow(), S_OK) << "something is left"; }
  const ModuleClient& module_ = ModuleClient::Get();
};

TEST_F(Module, UnknownClasses_AreNotAvailable) {
  const auto expectNone = [&](REFCLSID classId) {
    for (const IID& iid : {IID_IUnknown, IID_IClassFactory, IID_IDispatch}) {
      void* out = &out;
      EXPECT_EQ(module_.GetClassObject(classId, iid, &out), platform::ResultCode(0x80040111u));
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(module_.GetClassObject(classId, IID_IUnknown, nullptr), E_POINTER);
  };
  for (const GUID& id : kForeign) expectNone(id);
}

TEST_F(Module, CreateInstance_GivesTheClassOfItsRowOrNothing) {
  for (const auto& row : kClasses) {
    SCOPED_TRACE(row.classId.Data1);
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(module_.GetClassObject(row.classId, IID_IClassFactory, factory.PutVoid()), S_OK);
    ComPtr<IUnknown> object;
    ASSERT_EQ(module_.GetClassObject(row.classId, IID_IUnknown, object.PutVoid()), S_OK);
    EXPECT_EQ(object.Get(), factory.As<IUnknown>().Get()) << "one for all requests";
    EXPECT_EQ(factory->CreateInstance(nullptr, row.typed, object.PutVoid()), S_OK);
    void* out = &out;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, row.typed, nullptr), E_POINTER);

    CountedOuter outer;
    EXPECT_EQ(factory->CreateInstance(&outer, row.typed, nullptr), E_POINTER);
    for (const IID& iid : {IID_IDispatch, row.typed, GUID_NULL}) {
      out = &out;
      EXPECT_EQ(factory->CreateInstance(&outer, iid, &out), platform::ResultCode(0x80040110u));
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(outer.references, 1u);
    object.Reset();
    // Elsewhere the module has an allocator of its own, out of the test's sight.
    for (const bool isInside : {false, true}) {
      int wrong = 0;
      const int refused = FailEachAllocation(
          [&] {
            return factory->CreateInstance(isInside ? &outer : nullptr, IID_IUnknown,
                                           object.PutVoid());
          },
          [&](HRESULT result, long long left) {
            wrong += result != E_OUTOFMEMORY || object || left > 0;
          });
      EXPECT_GE(refused, kEmbeddedHost ? 2 : 0) << "the object and its marshaler at least";
      EXPECT_EQ(wrong, 0);
      object.Reset();
    }
    factory.Reset();
    EXPECT_EQ(module_.CanUnloadNow(), S_OK) << "what was refused has left nothing";

    ASSERT_EQ(module_.CreateInside(&outer, row.classId, IID_IUnknown, object.PutVoid()), S_OK);
    EXPECT_EQ(module_.CanUnloadNow(), S_FALSE);
    ComPtr<IUnknown> typed;
    EXPECT_EQ(object->QueryInterface(row.typed, typed.PutVoid()), S_OK);
    EXPECT_EQ(outer.references, 2u) << "the inner interface counts on the outer unknown";
    typed.Reset();
    object.Reset();
    EXPECT_EQ(outer.references, 1u);
  }
}

TEST_F(Module, StaysLoaded_WhileLockedOrInUse) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(module_.GetClassObject(CLSID_ByteAOIKLP, IID_IClassFactory, factory.PutVoid()), S_OK);
  ComPtr<IUnknown> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, object.PutVoid()), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  IClassFactory* const uncounted = factory.Get();
  factory.Reset();
  EXPECT_EQ(module_.CanUnloadNow(), S_FALSE) << "an object and a lock";
  object.Reset();
  EXPECT_EQ(module_.CanUnloadNow(), S_FALSE) << "a lock";
  EXPECT_EQ(uncounted->LockServer(FALSE), S_OK);
  EXPECT_EQ(module_.CanUnloadNow(), S_OK);
}

// A copy of the module is another one, which nobody else keeps loaded.
TEST_F(Module, Copy_IsUnloadedWithItsClassObjectsAndLoadedAgain) {
  const TempFile copy("CopyOfTheModule.dll");
  std::filesystem::copy_file(platform::ModuleFileName(module_.Handle()), copy.path());
  for (int round = 0; round < 2; ++round) {
    HINSTANCE handle = nullptr;
    const void* address = nullptr;
    {
      const platform::LoadedModule module(copy.path().c_str());
      ASSERT_TRUE(module.IsLoaded());
      auto* getClassObject =
          module.Export<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
      auto* canUnloadNow = module.Export<HRESULT STDAPICALLTYPE()>("DllCanUnloadNow");
      ASSERT_TRUE(getClassObject && canUnloadNow);
      address = reinterpret_cast<const void*>(getClassObject);
      handle = platform::ModuleOf(address);
      EXPECT_NE(handle, nullptr);
      EXPECT_NE(handle, module_.Handle());
      for (const auto& row : kClasses) {
        ComPtr<IClassFactory> factory, other;
        ASSERT_EQ(getClassObject(row.classId, IID_IClassFactory, factory.PutVoid()), S_OK);
        ASSERT_EQ(module_.GetClassObject(row.classId, IID_IClassFactory, other.PutVoid()), S_OK);
        EXPECT_NE(factory.Get(), other.Get());
        ComPtr<IUnknown> object;
        EXPECT_EQ(factory->CreateInstance(nullptr, row.typed, object.PutVoid()), S_OK);
        EXPECT_EQ(canUnloadNow(), S_FALSE);
      }
      EXPECT_EQ(canUnloadNow(), S_OK);
      char text[64];
      EXPECT_EQ(LoadStringA(handle, 100, text, 64), 10);
      for (const char* name :
           {"DllMain", "DllInstall", "DllGetClassObjectA", "dllgetclassobject"}) {
        EXPECT_EQ(module.Export<void()>(name), nullptr) << name;
      }
    }
    EXPECT_EQ(platform::ModuleOf(address), nullptr);
    if (kEmbeddedHost) {
      char text[64];
      EXPECT_EQ(LoadStringA(handle, 100, text, 64), 0) << "its resources went with it";
    }
  }
}

}  // namespace
}  // namespace tests
