// A small class with two interfaces, an inner marshaler and a log of what happens to it, for the
// tests of the object framework.
#pragma once

#include <string>
#include <vector>

#include "platform/class_factory.h"

struct IFirstProbe : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE First() = 0;
};
struct ISecondProbe : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Second() = 0;
};
inline constexpr IID IID_IFirstProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x10}};
inline constexpr IID IID_ISecondProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x11}};
RASTEL_INTERFACE_ID(IFirstProbe);
RASTEL_INTERFACE_ID(ISecondProbe);

namespace tests {

inline constexpr IID kUnknownToProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x12}};

// What happened, and what is to go wrong. Reset at the start of each test.
struct ProbeScript {
  std::vector<std::string> log;
  bool constructorThrows = false;
  HRESULT sectionResult = S_OK;
  HRESULT finalConstructResult = S_OK;
  IUnknown* controllingUnknown = nullptr;
  LONG locksAtFinalConstruct = 0;
  ULONG countInFinalRelease = 0;
  LONG locksInContent = -1;
};
inline ProbeScript script;

// A thread model whose critical section fails and logs as the script says.
struct ScriptedThreadModel : platform::CComMultiThreadModel {
  struct CriticalSection {
    ~CriticalSection() { script.log.push_back(made ? "section deleted" : "no section"); }
    HRESULT Init() noexcept {
      script.log.push_back("section");
      made = SUCCEEDED(script.sectionResult);
      return script.sectionResult;
    }
    void Lock() noexcept {}
    void Unlock() noexcept {}
    bool made = false;
  };
};

class Probe : public platform::CComObjectRootEx<ScriptedThreadModel>,
              public IFirstProbe,
              public ISecondProbe {
 public:
  Probe() {
    script.log.push_back("constructor");
    if (script.constructorThrows) throw std::string("no");
  }

  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<Probe, IFirstProbe>(), platform::DirectRow<Probe, ISecondProbe>(),
        platform::DelegatedRow<Probe, IMarshal, &Probe::marshaler_>()};
    return kRows;
  }

  HRESULT FinalConstruct(IUnknown* controllingUnknown) {
    script.log.push_back("final construct");
    script.controllingUnknown = controllingUnknown;
    script.locksAtFinalConstruct = platform::moduleLockCount;
    if (FAILED(script.finalConstructResult)) return script.finalConstructResult;
    return CoCreateFreeThreadedMarshaler(controllingUnknown, &marshaler_);
  }

  void FinalRelease() noexcept {
    script.log.push_back("final release");
    static_cast<IFirstProbe*>(this)->AddRef();
    script.countInFinalRelease = static_cast<IFirstProbe*>(this)->Release();
    if (marshaler_) marshaler_->Release();
    marshaler_ = nullptr;
  }

  void ReleaseContent() noexcept {
    script.log.push_back("content");
    script.locksInContent = platform::moduleLockCount;
  }

  STDMETHODIMP First() override { return ++calls_ > 0 ? S_OK : E_FAIL; }
  STDMETHODIMP Second() override { return S_FALSE; }

  IUnknown* marshaler_ = nullptr;

 protected:
  ~Probe() { script.log.push_back("destructor"); }

 private:
  int calls_ = 0;
};

}  // namespace tests
