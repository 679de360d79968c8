// The module as its clients have it: a library with four exports.
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "platform/module_file.h"
#include "platform/module_loader.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/class_table.h"
#include "tests/support/doubles.h"
#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/temp_file.h"

namespace tests {

using platform::ComPtr;

// Answers IPersist itself and hands the rest to what it aggregates.
struct Outer final : Double<IPersist> {
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const HRESULT own = Double::QueryInterface(iid, out);
    return own == S_OK || !inner ? own : inner->QueryInterface(iid, out);
  }
  STDMETHODIMP GetClassID(CLSID*) override { return S_OK; }

  ComPtr<IUnknown> inner;
};

namespace {

class Module : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(module_.CanUnloadNow(), S_OK) << "something is left"; }
  ComPtr<IClassFactory> FactoryOf(REFCLSID classId) {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(module_.GetClassObject(classId, IID_IClassFactory, factory.PutVoid()), S_OK);
    return factory;
  }
  const ModuleClient& module_ = ModuleClient::Get();
};

TEST_F(Module, UnknownClasses_AreNotAvailable) {
  // Nothing, a class with another last byte, the type library.
  GUID nearly = CLSID_ByteAOIKLP;
  ++nearly.Data4[7];
  for (const GUID& id : {GUID{}, nearly, LIBID_RASTEL_KLP_Lib}) {
    void* out = &out;
    EXPECT_EQ(module_.GetClassObject(id, IID_IUnknown, &out), platform::ResultCode(0x80040111u));
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(module_.GetClassObject(id, IID_IUnknown, nullptr), E_POINTER);
  }
}

TEST_F(Module, CreateInstance_GivesTheClassOfItsRowOrNothing) {
  for (const ClassRow& row : kClasses) {
    SCOPED_TRACE(row.name);
    Outer outer;
    ComPtr<IUnknown> object;
    auto factory = FactoryOf(row.classId);
    EXPECT_EQ(FactoryOf(row.classId).Get(), factory.Get()) << "one for all requests";
    EXPECT_EQ(factory->CreateInstance(nullptr, row.typed, object.PutVoid()), S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, row.typed, nullptr), E_POINTER);
    EXPECT_EQ(factory->CreateInstance(&outer, row.typed, nullptr), E_POINTER);
    for (const auto& [controlling, iid, result] :
         {std::tuple(static_cast<Outer*>(nullptr), IID_IClassFactory, E_NOINTERFACE),
          {&outer, row.typed, platform::ResultCode(0x80040110u)}}) {
      void* out = &out;
      EXPECT_EQ(factory->CreateInstance(controlling, iid, &out), result);
      EXPECT_EQ(out, nullptr);
      object.Reset();
      // Elsewhere the module has an allocator of its own, out of the test's sight.
      const int refused = FailEachAllocation(
          [&, owner = controlling] {
            return factory->CreateInstance(owner, IID_IUnknown, object.PutVoid());
          },
          [&](HRESULT failed, long long left) {
            EXPECT_TRUE(failed == E_OUTOFMEMORY && !object && left <= 0);
          });
      EXPECT_GE(refused, kEmbeddedHost ? 2 : 0) << "the object and its marshaler at least";
    }
    object.Reset();
    factory.Reset();
    EXPECT_EQ(outer.references, 0);
    EXPECT_EQ(module_.CanUnloadNow(), S_OK) << "what was refused has left nothing";
  }
}

TEST_F(Module, Aggregates_CountAndAskTheOuterUnknown) {
  for (const ClassRow& row : kClasses) {
    SCOPED_TRACE(row.name);
    Outer outer;
    ASSERT_EQ(module_.CreateInside(&outer, row.classId, IID_IUnknown, outer.inner.PutVoid()), S_OK);
    EXPECT_EQ(outer.references, 0) << "the inner object keeps no reference on its outer";
    EXPECT_EQ(module_.CanUnloadNow(), S_FALSE);
    ComPtr<IUnknown> typed, identity;
    ComPtr<IMarshal> marshal;
    EXPECT_EQ(outer.QueryInterface(row.typed, typed.PutVoid()), S_OK);
    EXPECT_EQ(outer.QueryInterface(IID_IMarshal, marshal.PutVoid()), S_OK);
    for (IUnknown* inside : {typed.Get(), static_cast<IUnknown*>(marshal.Get())}) {
      EXPECT_EQ(inside->QueryInterface(IID_IUnknown, identity.PutVoid()), S_OK);
      EXPECT_EQ(identity.Get(), &outer);
      EXPECT_EQ(inside->QueryInterface(IID_IPersist, identity.PutVoid()), S_OK);
      EXPECT_EQ(identity.Get(), &outer) << "the outer's own";
      identity.Reset();
      EXPECT_EQ(outer.references, 2);
    }
    EXPECT_EQ(outer.inner->QueryInterface(IID_IUnknown, identity.PutVoid()), S_OK);
    EXPECT_EQ(identity.Get(), outer.inner.Get());
    EXPECT_EQ(outer.inner->QueryInterface(IID_IClassFactory, identity.PutVoid()), E_NOINTERFACE);
    EXPECT_EQ(outer.inner->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    typed.Reset();
    marshal.Reset();
    EXPECT_EQ(outer.references, 0);
    EXPECT_EQ(outer.inner.Detach()->Release(), 0u);
  }
}

TEST_F(Module, StaysLoaded_WhileLockedOrInUse) {
  auto factory = FactoryOf(CLSID_ByteAOIKLP);
  ComPtr<IUnknown> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, object.PutVoid()), S_OK);
  for (const BOOL lock : {TRUE, TRUE, FALSE}) EXPECT_EQ(factory->LockServer(lock), S_OK);
  IClassFactory* const uncounted = factory.Get();
  factory.Reset();
  EXPECT_EQ(module_.CanUnloadNow(), S_FALSE) << "an object and a lock";
  object.Reset();
  EXPECT_EQ(module_.CanUnloadNow(), S_FALSE) << "a lock";
  EXPECT_EQ(uncounted->LockServer(FALSE), S_OK);
}

// A copy of the module is another one, which nobody else keeps loaded.
TEST_F(Module, Copy_IsUnloadedWithItsClassObjectsAndLoadedAgain) {
  const TempFile copy("CopyOfTheModule.dll");
  std::filesystem::copy_file(platform::ModuleFileName(module_.Handle()), copy.path());
  for (int round = 0; round < 2; ++round) {
    HINSTANCE handle = nullptr;
    const void* address = nullptr;
    char text[64];
    {
      const platform::LoadedModule module(copy.path().c_str());
      auto* getClassObject =
          module.Export<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
      ASSERT_TRUE(getClassObject);
      address = reinterpret_cast<const void*>(getClassObject);
      handle = platform::ModuleOf(address);
      EXPECT_NE(handle, module_.Handle());
      for (const ClassRow& row : kClasses) {
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(getClassObject(row.classId, IID_IClassFactory, factory.PutVoid()), S_OK);
        EXPECT_NE(factory.Get(), FactoryOf(row.classId).Get());
      }
      EXPECT_EQ(LoadStringA(handle, 100, text, 64), 10);
    }
    EXPECT_EQ(platform::ModuleOf(address), nullptr);
    if (kEmbeddedHost) {
      EXPECT_EQ(LoadStringA(handle, 100, text, 64), 0) << "its resources went with it";
    }
  }
}

}  // namespace
}  // namespace tests
