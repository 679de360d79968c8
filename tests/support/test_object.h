// SPDX-License-Identifier: MIT
// An object that saves, loads, marshals and makes others as a test tells it, and its class. One
// Script is shared by a test and all the objects that come from it.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/com_ptr.h"
#include "tests/support/doubles.h"

namespace tests {

inline constexpr CLSID kTestClass{
    0x5D0B7A10, 0x2F64, 0x4C9E, {0x8E, 0x31, 0x6B, 0x0A, 0x94, 0xC7, 0x2D, 0x01}};
// An interface without slots of its own and without a proxy.
inline constexpr IID kPlainInterface{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x04}};

struct Script {
  // What a call gives, by its name, and what QueryInterface gives for an interface; S_OK for the
  // others. Besides: CountingSave, a Save that only counts; claimed, the bytes that marshalling
  // claims; nothing, S_OK without an object.
  std::map<std::string, HRESULT> results{{"IPersistStreamInit", E_NOINTERFACE},
                                         {"IsDirty", S_FALSE}};
  std::vector<BYTE> data;  // what objects write, and read as much
  // Called at the beginning of AddRef, IsDirty, Load and Save, and at the end of the last Release.
  std::function<void(const char* call)> onCall;
  std::function<bool(IStream*)> isCounting;
  std::string calls;  // all that are logged, in order
  std::atomic<int> objects{0};

  HRESULT Of(const char* name) const {
    const auto found = results.find(name);
    return found == results.end() ? S_OK : found->second;
  }
  HRESULT Log(const char* call, const std::string& arguments = "") {
    const std::lock_guard lock(mutex_);
    if (calls.size() < 10000) calls += (calls.empty() ? "" : " ") + (call + arguments);
    return Of(call);
  }
  void Enter(const char* call) const {
    if (onCall) onCall(call);
  }

 private:
  std::mutex mutex_;
};

class TestObject final
    : public WithoutMembers<Double<IDispatch, IPersistStream, IMarshal, IClassFactory>> {
 public:
  // With one reference, the caller's.
  static platform::ComPtr<IDispatch> New(Script& script) {
    platform::ComPtr<IDispatch> object;
    object.Attach(new TestObject(script));
    return object;
  }
  // With a free-threaded marshaler in place of its own.
  HRESULT BecomeAgile() {
    return CoCreateFreeThreadedMarshaler(static_cast<IDispatch*>(this), agile_.Put());
  }
  HRESULT StopBeingAgile() {
    agile_.Reset();
    return S_OK;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (IsEqualIID(iid, IID_IMarshal) && agile_) return agile_->QueryInterface(iid, out);
    const bool isInit = IsEqualIID(iid, IID_IPersistStreamInit);
    const char* const name = isInit                                ? "IPersistStreamInit"
                             : IsEqualIID(iid, IID_IPersistStream) ? "IPersistStream"
                             : IsEqualIID(iid, IID_IMarshal)       ? "IMarshal"
                                                                   : "";
    if (FAILED(script_.Of(name))) return script_.Of(name);
    if (IsEqualIID(iid, kPlainInterface)) return Double::QueryInterface(IID_IUnknown, out);
    return Double::QueryInterface(isInit ? IID_IPersistStream : iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override {
    const ULONG count = Double::AddRef();
    script_.Enter("AddRef");
    return count;
  }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    const HRESULT result = script_.Log("CreateInstance", outer ? "(outer)" : "");
    // What a failing factory leaves behind is not an object.
    *out = this;
    return FAILED(result) ? result : New(script_)->QueryInterface(iid, out);
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = kTestClass;
    return script_.Log("GetClassID");
  }
  STDMETHODIMP IsDirty() override {
    script_.Enter("IsDirty");
    return script_.Of("IsDirty");
  }
  STDMETHODIMP Load(IStream* stream) override {
    const HRESULT result = script_.Log("Load");
    script_.Enter("Load");
    ReadData(stream);
    return result;
  }
  STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override {
    const bool isCounting = script_.isCounting && script_.isCounting(stream);
    const HRESULT result = script_.Log(isCounting ? "CountingSave" : "Save",
                                       clearDirty == TRUE ? "(true)" : "(false)");
    script_.Enter("Save");
    WriteData(stream);
    return result;
  }
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override {
    size->QuadPart = 100;
    return script_.Log("GetSizeMax");
  }

  STDMETHODIMP GetUnmarshalClass(REFIID, void*, DWORD, void*, DWORD, CLSID* classId) override {
    *classId = kTestClass;
    return script_.Log("GetUnmarshalClass");
  }
  STDMETHODIMP GetMarshalSizeMax(REFIID, void*, DWORD, void*, DWORD, DWORD* bytes) override {
    const auto claimed = static_cast<DWORD>(script_.Of("claimed"));
    *bytes = claimed == 0 ? static_cast<DWORD>(script_.data.size()) : claimed;
    return script_.Log("GetMarshalSizeMax");
  }
  STDMETHODIMP MarshalInterface(IStream* stream, REFIID iid, void* object, DWORD context,
                                void* contextData, DWORD flags) override {
    if (SUCCEEDED(script_.Of("MarshalInterface"))) WriteData(stream);
    return script_.Log("MarshalInterface",
                       std::string(IsEqualIID(iid, kPlainInterface) ? "(plain" : "(other") +
                           (object == static_cast<IDispatch*>(this) ? ",itself," : ",other,") +
                           std::to_string(context) + (contextData ? ",data," : ",null,") +
                           std::to_string(flags) + ")");
  }
  STDMETHODIMP UnmarshalInterface(IStream* stream, REFIID iid, void** out) override {
    *out = nullptr;
    const HRESULT result =
        script_.Log("UnmarshalInterface", IsEqualIID(iid, kPlainInterface) ? "(plain)" : "(other)");
    if (FAILED(result) || script_.Of("nothing")) return result;
    ReadData(stream);
    return QueryInterface(iid, out);
  }
  STDMETHODIMP ReleaseMarshalData(IStream* stream) override {
    ReadData(stream);
    return script_.Log("ReleaseMarshalData");
  }
  STDMETHODIMP DisconnectObject(DWORD) override { return script_.Log("DisconnectObject"); }

 private:
  explicit TestObject(Script& script) : script_(script) {
    ++script_.objects;
    references = 1;
  }
  ~TestObject() {
    --script_.objects;
    script_.Enter("Release");
  }

  void WriteData(IStream* stream) {
    stream->Write(script_.data.data(), static_cast<ULONG>(script_.data.size()), nullptr);
  }
  void ReadData(IStream* stream) {
    std::vector<BYTE> read(script_.data.size());
    stream->Read(read.data(), static_cast<ULONG>(read.size()), nullptr);
  }

  Script& script_;
  platform::ComPtr<IUnknown> agile_;
};

// The class, registered while this lives.
class RegisteredTestClass final : public Double<IClassFactory> {
 public:
  explicit RegisteredTestClass(Script& script) : script_(script) {
    CoRegisterClassObject(kTestClass, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_);
  }
  ~RegisteredTestClass() { CoRevokeClassObject(cookie_); }

  STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** out) override {
    return TestObject::New(script_)->QueryInterface(iid, out);
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  Script& script_;
  DWORD cookie_ = 0;
};

}  // namespace tests
