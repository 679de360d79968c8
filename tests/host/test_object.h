// An object that saves, loads, marshals and makes others as a test tells it. One Script is shared
// by a test and all the objects that come from it; it writes down every call in order.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/com_ptr.h"
#include "tests/support/doubles.h"

namespace tests {

inline constexpr CLSID kTestClass{
    0x1F0A7C51, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x01}};
// An interface without slots of its own and without a proxy.
inline constexpr IID kPlainInterface{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x04}};

struct Script {
  // What a call gives, by its name; S_OK for the others. Besides: IMarshal, whether there is one;
  // claimed, the bytes that marshalling claims; nothing, S_OK without an object.
  std::map<std::string, LONG> results;
  std::string calls;
  std::atomic<int> objects{0};

  LONG Of(const char* name) const {
    const auto found = results.find(name);
    return found == results.end() ? S_OK : found->second;
  }
  HRESULT Log(const char* call, const std::string& arguments = "") {
    const std::lock_guard lock(mutex_);
    if (calls.size() < 1000) calls += (calls.empty() ? "" : " ") + (call + arguments);
    return static_cast<HRESULT>(Of(call));
  }

 private:
  std::mutex mutex_;
};

class TestObject final : public Double<IPersistStream, IMarshal, IClassFactory> {
 public:
  explicit TestObject(Script& script) : script_(script) { ++script_.objects; }
  // With a free-threaded marshaler in place of its own.
  HRESULT BecomeAgile() {
    return CoCreateFreeThreadedMarshaler(static_cast<IPersistStream*>(this), agile_.Put());
  }
  HRESULT StopBeingAgile() {
    agile_.Reset();
    return S_OK;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    const bool isMarshal = IsEqualIID(iid, IID_IMarshal);
    if (isMarshal && agile_) return agile_->QueryInterface(iid, out);
    if (isMarshal && FAILED(script_.Of("IMarshal"))) return E_NOINTERFACE;
    return Double::QueryInterface(IsEqualIID(iid, kPlainInterface) ? IID_IUnknown : iid, out);
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
    if (FAILED(result)) return result;
    return platform::ComPtr<IPersistStream>(new TestObject(script_))->QueryInterface(iid, out);
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = kTestClass;
    return script_.Log("GetClassID");
  }
  STDMETHODIMP IsDirty() override { return script_.Log("IsDirty"); }
  STDMETHODIMP Load(IStream* stream) override {
    ReadData(stream);
    return script_.Log("Load");
  }
  STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override {
    WriteData(stream);
    return script_.Log("Save", clearDirty == TRUE ? "(true)" : "(false)");
  }
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER*) override { return script_.Log("GetSizeMax"); }

  STDMETHODIMP GetUnmarshalClass(REFIID, void*, DWORD, void*, DWORD, CLSID* classId) override {
    *classId = kTestClass;
    return script_.Log("GetUnmarshalClass");
  }
  STDMETHODIMP GetMarshalSizeMax(REFIID, void*, DWORD, void*, DWORD, DWORD* bytes) override {
    const LONG claimed = script_.Of("claimed");
    *bytes = claimed == 0 ? 6 : static_cast<DWORD>(claimed);
    return script_.Log("GetMarshalSizeMax");
  }
  STDMETHODIMP MarshalInterface(IStream* stream, REFIID iid, void* object, DWORD context,
                                void* contextData, DWORD flags) override {
    if (SUCCEEDED(script_.Of("MarshalInterface"))) WriteData(stream);
    return script_.Log("MarshalInterface",
                       std::string(IsEqualIID(iid, kPlainInterface) ? "(plain" : "(other") +
                           (object == static_cast<IPersistStream*>(this) ? ",itself," : ",other,") +
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
  ~TestObject() { --script_.objects; }

  // What Save and MarshalInterface write, and their readers read as many bytes.
  static void WriteData(IStream* stream) { stream->Write("\xA1\xA2\xA3\xA4\xA5\xA6", 6, nullptr); }
  static void ReadData(IStream* stream) {
    char data[6];
    stream->Read(data, 6, nullptr);
  }

  Script& script_;
  platform::ComPtr<IUnknown> agile_;
};

}  // namespace tests
