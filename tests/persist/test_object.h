// A foreign object that goes through streams as a test tells it, and its class. One Script is
// shared by a test and all objects of the class.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "module/frame/variants.h"
#include "module/persist/streams.h"
#include "platform/com_ptr.h"
#include "tests/support/doubles.h"
#include "tests/support/streams.h"

namespace tests {

inline constexpr CLSID kTestClass{
    0x5D0B7A10, 0x2F64, 0x4C9E, {0x8E, 0x31, 0x6B, 0x0A, 0x94, 0xC7, 0x2D, 0x01}};
inline constexpr char kTestClassHex[] = "10 7A 0B 5D 64 2F 9E 4C 8E 31 6B 0A 94 C7 2D 01";
inline constexpr char kTestClassText[] = "{5D0B7A10-2F64-4C9E-8E31-6B0A94C72D01}";

struct Script {
  // Results; query and queryInit answer for IPersistStream and IPersistStreamInit.
  HRESULT query = S_OK, queryInit = E_NOINTERFACE, getClassId = S_OK;
  HRESULT load = S_OK, countingSave = S_OK, save = S_OK, getSizeMax = S_OK, isDirty = S_FALSE;
  // What objects write and read; null for nothing.
  const char* data = nullptr;
  // Called at the beginning.
  std::function<void()> onSave, onLoad, onIsDirty, onRelease, onAddRef;

  std::string calls;
  int objects = 0;
  int saves = 0;
};

class TestObject final : public WithoutMembers<Double<IDispatch, IPersistStream>> {
 public:
  explicit TestObject(Script& script) : script_(script) {
    ++script_.objects;
    references = 1;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (IsEqualIID(iid, IID_IPersistStream) && FAILED(script_.query)) return script_.query;
    if (IsEqualIID(iid, IID_IPersistStreamInit) && FAILED(script_.queryInit)) {
      return script_.queryInit;
    }
    const bool isInit = IsEqualIID(iid, IID_IPersistStreamInit);
    return Double::QueryInterface(isInit ? IID_IPersistStream : iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override {
    const ULONG count = Double::AddRef();
    if (script_.onAddRef) script_.onAddRef();
    return count;
  }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = kTestClass;
    return script_.getClassId;
  }
  STDMETHODIMP IsDirty() override {
    if (script_.onIsDirty) script_.onIsDirty();
    return script_.isDirty;
  }
  STDMETHODIMP Load(IStream* stream) override {
    script_.calls += "L";
    if (script_.onLoad) script_.onLoad();
    std::vector<BYTE> bytes(Data().size());
    stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    return script_.load;
  }
  STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override {
    const bool isCounting = rastel::CNullDeviceStream::Behind(stream) != nullptr;
    const char lower = isCounting ? 'c' : 's';
    script_.calls += static_cast<char>(clearDirty ? lower - 32 : lower);
    ++script_.saves;
    if (script_.onSave) script_.onSave();
    const std::vector<BYTE> bytes = Data();
    stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    return isCounting ? script_.countingSave : script_.save;
  }
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override {
    size->QuadPart = 100;
    return script_.getSizeMax;
  }

 private:
  ~TestObject() {
    --script_.objects;
    if (script_.onRelease) script_.onRelease();
  }
  std::vector<BYTE> Data() const { return BytesOf(script_.data ? script_.data : ""); }

  Script& script_;
};

class TestFactory final : public Double<IClassFactory> {
 public:
  explicit TestFactory(Script& script) : script_(script) {}

  STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** out) override {
    platform::ComPtr<IDispatch> object;
    object.Attach(new TestObject(script_));
    return object->QueryInterface(iid, out);
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  Script& script_;
};

// A test whose class can be registered, and whose objects are all gone at its end.
class ObjectTest : public testing::Test {
 protected:
  ~ObjectTest() override {
    Unregister();
    EXPECT_EQ(script_.objects, 0);
  }
  void Register() {
    EXPECT_EQ(CoRegisterClassObject(kTestClass, &factory_, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                    &cookie_),
              S_OK);
  }
  void Unregister() {
    if (cookie_ != 0) CoRevokeClassObject(std::exchange(cookie_, DWORD{0}));
  }
  // Before the next row of a table.
  void Restart(const char* data) {
    const int objects = script_.objects;
    script_ = Script{};
    script_.data = data;
    script_.objects = objects;
  }
  platform::ComPtr<TestObject> NewObject() {
    platform::ComPtr<TestObject> object;
    object.Attach(new TestObject(script_));
    return object;
  }
  rastel::CComVariant NewValue(VARTYPE vt = VT_UNKNOWN) {
    rastel::CComVariant value;
    value.vt = vt;
    value.pdispVal = NewObject().Detach();
    return value;
  }

  Script script_;

 private:
  TestFactory factory_{script_};
  DWORD cookie_ = 0;
};

// Bytes of this process that lie in memory; 0 where the system does not tell.
inline ULONGLONG ResidentBytes() {
  ULONGLONG pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  return pages * 4096;
}

}  // namespace tests
