// An object that saves, loads and marshals as a test tells it, and its class. One Script is shared
// by a test and all objects of the class; it writes down every call in order.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/com_ptr.h"
#include "tests/support/doubles.h"
#include "tests/support/streams.h"

namespace tests {

inline constexpr CLSID kScriptedClass{
    0x1F0A7C51, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x01}};
// An interface without slots of its own and without a proxy.
inline constexpr IID kScriptedInterface{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x04}};
inline constexpr IID kMissingInterface{
    0x1F0A7C5F, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x0F}};
inline constexpr HRESULT kOwnCode = platform::ResultCode(0x80041234);

struct Script {
  // Results of the calls.
  HRESULT create = S_OK, getClassId = S_OK, load = S_OK, save = S_OK;
  HRESULT getUnmarshalClass = S_OK, marshal = S_OK;
  HRESULT unmarshal = S_OK, releaseData = S_OK;
  CLSID classId = kScriptedClass;
  bool hasMarshal = true;
  DWORD claimedBytes = 6;
  // UnmarshalInterface says S_OK without an object.
  bool liesWithNull = false;

  // What happened.
  std::string calls;
  int objects = 0;
  IID iid{};
  void *object = nullptr, *contextData = nullptr;
  DWORD context = 0, flags = 0;

  HRESULT Log(const char* call, HRESULT result) {
    if (!calls.empty()) calls += ' ';
    calls += call;
    return result;
  }
};

class ScriptedObject final : public Double<IPersistStream, IMarshal> {
 public:
  explicit ScriptedObject(Script& script) : script_(script) { ++script_.objects; }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (IsEqualIID(iid, IID_IMarshal) && !script_.hasMarshal) return E_NOINTERFACE;
    return Double::QueryInterface(IsEqualIID(iid, kScriptedInterface) ? IID_IUnknown : iid, out);
  }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = script_.classId;
    return script_.Log("GetClassID", script_.getClassId);
  }
  STDMETHODIMP IsDirty() override { return script_.Log("IsDirty", S_OK); }
  STDMETHODIMP Load(IStream* stream) override {
    ReadData(stream);
    return script_.Log("Load", script_.load);
  }
  STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override {
    WriteData(stream);
    return script_.Log(clearDirty == TRUE ? "Save(TRUE)" : "Save(FALSE)", script_.save);
  }
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER*) override { return script_.Log("GetSizeMax", S_OK); }

  STDMETHODIMP GetUnmarshalClass(REFIID, void*, DWORD, void*, DWORD, CLSID* classId) override {
    *classId = script_.classId;
    return script_.Log("GetUnmarshalClass", script_.getUnmarshalClass);
  }
  STDMETHODIMP GetMarshalSizeMax(REFIID, void*, DWORD, void*, DWORD, DWORD* bytes) override {
    *bytes = script_.claimedBytes;
    return script_.Log("GetMarshalSizeMax", S_OK);
  }
  STDMETHODIMP MarshalInterface(IStream* stream, REFIID iid, void* object, DWORD context,
                                void* contextData, DWORD flags) override {
    script_.iid = iid;
    script_.object = object;
    script_.context = context;
    script_.contextData = contextData;
    script_.flags = flags;
    if (SUCCEEDED(script_.marshal)) WriteData(stream);
    return script_.Log("MarshalInterface", script_.marshal);
  }
  STDMETHODIMP UnmarshalInterface(IStream* stream, REFIID iid, void** out) override {
    script_.iid = iid;
    script_.Log("UnmarshalInterface", S_OK);
    *out = nullptr;
    if (FAILED(script_.unmarshal) || script_.liesWithNull) return script_.unmarshal;
    ReadData(stream);
    return QueryInterface(iid, out);
  }
  STDMETHODIMP ReleaseMarshalData(IStream* stream) override {
    ReadData(stream);
    return script_.Log("ReleaseMarshalData", script_.releaseData);
  }
  STDMETHODIMP DisconnectObject(DWORD) override { return script_.Log("DisconnectObject", S_OK); }

 private:
  ~ScriptedObject() { --script_.objects; }

  // What Save and MarshalInterface write, and their readers read as many bytes.
  static void WriteData(IStream* stream) { stream->Write("\xA1\xA2\xA3\xA4\xA5\xA6", 6, nullptr); }
  static void ReadData(IStream* stream) {
    char data[6];
    stream->Read(data, 6, nullptr);
  }

  Script& script_;
};

class ScriptedFactory final : public Double<IClassFactory> {
 public:
  explicit ScriptedFactory(Script& script) : script_(script) {}

  STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** out) override {
    *out = nullptr;
    if (FAILED(script_.Log("CreateInstance", script_.create))) return script_.create;
    return platform::ComPtr<IPersistStream>(new ScriptedObject(script_))->QueryInterface(iid, out);
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  Script& script_;
};

// Registers the class for the time of one test.
class ScriptedTest : public testing::Test {
 protected:
  ScriptedTest() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    EXPECT_EQ(CoRegisterClassObject(kScriptedClass, &factory_, CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &cookie_),
              S_OK);
  }
  ~ScriptedTest() override {
    EXPECT_EQ(script_.objects, 0);
    CoRevokeClassObject(cookie_);
    CoUninitialize();
  }

  platform::ComPtr<IPersistStream> NewObject() { return new ScriptedObject(script_); }
  // Before the next row of a table.
  void Restart() {
    EXPECT_EQ(script_.objects, 0);
    script_ = Script{};
  }

  Script script_;

 private:
  ScriptedFactory factory_{script_};
  DWORD cookie_ = 0;
};

}  // namespace tests
