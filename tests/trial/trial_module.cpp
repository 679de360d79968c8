#include "tests/trial/trial_module.h"

#include <cstring>

#include "persist/marshal_by_value.h"
#include "platform/class_factory.h"
#include "platform/module_entry.h"

namespace trial {

using platform::ScopedLock;

std::atomic<LONG> objectsMade{0};

// What an object holds, in its layout on a stream; units behind the last are not written.
struct State {
  LONG number = 0;
  ULONG units = 0;
  OLECHAR text[kMostTrialTextUnits]{};

  ULONG Bytes() const noexcept {
    return static_cast<ULONG>(offsetof(State, text) + units * sizeof(OLECHAR));
  }
};

class Trial : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
              public platform::CComCoClass<Trial, &CLSID_Trial>,
              public ITrial,
              public IPersistStream,
              public rastel::CMarshalByValue {
 public:
  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<Trial, ITrial>(),
        platform::DirectRow<Trial, IPersist, IPersistStream>(),
        platform::DirectRow<Trial, IPersistStream>(), platform::DirectRow<Trial, IMarshal>()};
    return kRows;
  }

  HRESULT FinalConstruct(IUnknown* controllingUnknown) {
    serial_ = ++objectsMade;
    return CreateMarshaler(controllingUnknown);
  }
  void FinalRelease() noexcept { ReleaseMarshaler(); }

  STDMETHODIMP get_Number(LONG* number) override {
    if (!number) return E_POINTER;
    *number = Current().number;
    return S_OK;
  }
  STDMETHODIMP put_Number(LONG number) override {
    const ScopedLock<Trial> lock(*this);
    state_.number = number;
    isDirty_ = true;
    return S_OK;
  }
  STDMETHODIMP get_Text(BSTR* text) override {
    if (!text) return E_POINTER;
    const State state = Current();
    *text = SysAllocStringLen(state.text, state.units);
    return *text ? S_OK : E_OUTOFMEMORY;
  }
  STDMETHODIMP put_Text(BSTR text) override {
    const UINT units = SysStringLen(text);
    if (units > kMostTrialTextUnits) return E_INVALIDARG;
    const ScopedLock<Trial> lock(*this);
    state_.units = units;
    if (units > 0) std::memcpy(state_.text, text, units * sizeof(OLECHAR));
    isDirty_ = true;
    return S_OK;
  }
  STDMETHODIMP get_Serial(LONG* serial) override {
    if (!serial) return E_POINTER;
    *serial = serial_;
    return S_OK;
  }

  STDMETHODIMP GetClassID(CLSID* classId) override {
    if (!classId) return E_POINTER;
    *classId = GetObjectCLSID();
    return S_OK;
  }
  STDMETHODIMP IsDirty() override {
    const ScopedLock<Trial> lock(*this);
    return isDirty_ ? S_OK : S_FALSE;
  }
  // STG_E_READFAULT: the stream ends too early; E_FAIL: more text than there can be. The object
  // then keeps what it held.
  STDMETHODIMP Load(IStream* stream) override {
    if (!stream) return E_POINTER;
    State state;
    HRESULT result = ReadWhole(stream, &state, offsetof(State, text));
    if (FAILED(result)) return result;
    if (state.units > kMostTrialTextUnits) return E_FAIL;
    result = ReadWhole(stream, state.text, state.units * sizeof(OLECHAR));
    if (FAILED(result)) return result;
    const ScopedLock<Trial> lock(*this);
    state_ = state;
    isDirty_ = false;
    return S_OK;
  }
  STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override {
    if (!stream) return E_POINTER;
    const State state = Current();
    const HRESULT result = stream->Write(&state, state.Bytes(), nullptr);
    if (FAILED(result) || !clearDirty) return result;
    const ScopedLock<Trial> lock(*this);
    isDirty_ = false;
    return S_OK;
  }
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* bytes) override {
    if (!bytes) return E_POINTER;
    bytes->QuadPart = Current().Bytes();
    return S_OK;
  }

 protected:
  Trial() = default;
  ~Trial() = default;

 private:
  State Current() noexcept {
    const ScopedLock<Trial> lock(*this);
    return state_;
  }

  static HRESULT ReadWhole(IStream* stream, void* target, std::size_t bytes) {
    ULONG count = 0;
    const HRESULT result = stream->Read(target, static_cast<ULONG>(bytes), &count);
    if (FAILED(result)) return result;
    return count == bytes ? S_OK : STG_E_READFAULT;
  }

  LONG serial_ = 0;
  State state_;
  bool isDirty_ = false;
};

// Stands while the module is attached.
IUnknown* classObject = nullptr;

}  // namespace trial

void platform::ModuleAttached(HINSTANCE) noexcept {
  CreateClassObject(&CreateObject<trial::Trial>, IID_IUnknown,
                    reinterpret_cast<void**>(&trial::classObject));
}

void platform::ModuleDetached() noexcept {
  if (trial::classObject) trial::classObject->Release();
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid,
                                                              LPVOID* out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!IsEqualCLSID(classId, CLSID_Trial)) return CLASS_E_CLASSNOTAVAILABLE;
  return trial::classObject ? trial::classObject->QueryInterface(iid, out) : E_OUTOFMEMORY;
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return platform::moduleLockCount == 0 ? S_OK : S_FALSE;
}
