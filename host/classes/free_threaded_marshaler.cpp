// SPDX-License-Identifier: MIT
#include "host/classes/free_threaded_marshaler.h"

#include <new>

#include "host/base/never_destroyed.h"
#include "host/base/references.h"
#include "host/classes/identifiers.h"
#include "host/classes/live_references.h"

namespace host {
namespace {

struct InProcessData {
  DWORD flags;
  LiveReference name;
  GUID process;
};
static_assert(sizeof(InProcessData) == 28 && offsetof(InProcessData, process) == 12);

// Never destroyed: objects may be marshalled while the process ends.
LiveReferenceTable& LiveReferences() noexcept { return TheOnly<LiveReferenceTable>(); }

struct ProcessIdentity {
  GUID guid{};
  HRESULT result = CoCreateGuid(&guid);
};

const ProcessIdentity& ThisProcess() {
  static const ProcessIdentity identity;
  return identity;
}

// RPC_E_INVALID_OBJREF: data of another process.
HRESULT ReadData(IStream* stream, InProcessData& data) {
  if (!stream) return E_INVALIDARG;
  data = {};
  ULONG count = 0;
  const HRESULT result = stream->Read(&data, sizeof(data), &count);
  if (FAILED(result)) return result;
  if (count != sizeof(data)) return STG_E_READFAULT;
  const ProcessIdentity& process = ThisProcess();
  const bool isOwn = SUCCEEDED(process.result) && IsEqualGUID(data.process, process.guid);
  return isOwn ? S_OK : RPC_E_INVALID_OBJREF;
}

}  // namespace

class FreeThreadedMarshaler final : public IMarshal {
 public:
  // isPlaced: the memory is not this object's own.
  FreeThreadedMarshaler(IUnknown* outer, bool isPlaced) noexcept
      : inner_(*this), controlling_(outer ? outer : &inner_), isPlaced_(isPlaced) {}

  IUnknown* Inner() noexcept { return &inner_; }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    return controlling_->QueryInterface(iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return controlling_->AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return controlling_->Release(); }

  STDMETHODIMP GetUnmarshalClass(REFIID, void*, DWORD context, void*, DWORD,
                                 CLSID* classId) noexcept override {
    if (!classId) return E_INVALIDARG;
    *classId = context == MSHCTX_INPROC ? kFreeThreadedMarshalerClass : kStandardMarshalerClass;
    return S_OK;
  }

  STDMETHODIMP GetMarshalSizeMax(REFIID, void*, DWORD, void*, DWORD,
                                 DWORD* bytes) noexcept override {
    if (!bytes) return E_INVALIDARG;
    *bytes = sizeof(InProcessData);
    return S_OK;
  }

  STDMETHODIMP MarshalInterface(IStream* stream, REFIID iid, void* object, DWORD context, void*,
                                DWORD flags) override {
    if (!stream || !object) return E_INVALIDARG;
    if (context != MSHCTX_INPROC) return E_NOINTERFACE;
    if (flags > MSHLFLAGS_TABLEWEAK) return E_INVALIDARG;
    InProcessData data{flags, {}, ThisProcess().guid};
    HRESULT result = ThisProcess().result;
    if (FAILED(result)) return result;
    result = Enter(static_cast<IUnknown*>(object), iid, flags, data.name);
    if (FAILED(result)) return result;

    ULONG written = sizeof(data);
    result = stream->Write(&data, sizeof(data), &written);
    if (SUCCEEDED(result) && written != sizeof(data)) result = STG_E_MEDIUMFULL;
    // Nobody can read what did not arrive.
    if (FAILED(result)) GiveUp(data);
    return result;
  }

  STDMETHODIMP UnmarshalInterface(IStream* stream, REFIID iid, void** out) override {
    if (!out) return E_INVALIDARG;
    *out = nullptr;
    InProcessData data;
    HRESULT result = ReadData(stream, data);
    if (FAILED(result)) return result;
    const bool readsOnce = data.flags == MSHLFLAGS_NORMAL;
    IUnknown* object = LiveReferences().Borrow(data.name, data.flags, readsOnce);
    if (!object) return RPC_E_INVALID_OBJREF;
    Reference<IUnknown> wanted;
    result = AskFor(object, iid, wanted);
    LiveReferences().Return(data.name);
    *out = wanted.Detach();
    return result;
  }

  STDMETHODIMP ReleaseMarshalData(IStream* stream) override {
    InProcessData data;
    const HRESULT result = ReadData(stream, data);
    return FAILED(result) ? result : GiveUp(data);
  }

  STDMETHODIMP DisconnectObject(DWORD) noexcept override { return S_OK; }

 private:
  // What the outer object, or the maker of a marshaler that stands alone, holds.
  class InnerUnknown final : public IUnknown {
   public:
    explicit InnerUnknown(FreeThreadedMarshaler& marshaler) noexcept : marshaler_(marshaler) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
      if (!out) return E_POINTER;
      *out = nullptr;
      if (IsEqualIID(iid, IID_IUnknown)) {
        *out = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
      }
      if (!IsEqualIID(iid, IID_IMarshal)) return E_NOINTERFACE;
      *out = static_cast<IMarshal*>(&marshaler_);
      marshaler_.AddRef();
      return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return references_.Add(); }
    STDMETHODIMP_(ULONG) Release() noexcept override {
      const ULONG left = references_.Drop();
      if (left != 0) return left;
      if (marshaler_.isPlaced_) {
        marshaler_.~FreeThreadedMarshaler();
      } else {
        delete &marshaler_;
      }
      return 0;
    }

   private:
    ReferenceCount references_;
    FreeThreadedMarshaler& marshaler_;
  };

  ~FreeThreadedMarshaler() {
    if (hasWeakReferences_) LiveReferences().DropOwned(this);
  }

  HRESULT Enter(IUnknown* object, REFIID iid, DWORD flags, LiveReference& name) {
    Reference<IUnknown> held;
    HRESULT result = AskFor(object, iid, held);
    if (FAILED(result)) return result;
    if (flags == MSHLFLAGS_TABLEWEAK) {
      // The identity lives as long as the object, which an interface made on demand may not.
      Reference<IUnknown> identity;
      result = AskFor(held.Get(), IID_IUnknown, identity);
      if (FAILED(result)) return result;
      hasWeakReferences_ = true;
      return LiveReferences().Add(identity.Get(), flags, this, name);
    }
    result = LiveReferences().Add(held.Get(), flags, nullptr, name);
    if (SUCCEEDED(result)) static_cast<void>(held.Detach());
    return result;
  }

  static HRESULT GiveUp(const InProcessData& data) {
    const bool isCounted = data.flags != MSHLFLAGS_TABLEWEAK;
    if (!LiveReferences().Borrow(data.name, data.flags, isCounted)) return RPC_E_INVALID_OBJREF;
    LiveReferences().Return(data.name);
    return S_OK;
  }

  InnerUnknown inner_;
  IUnknown* const controlling_;
  const bool isPlaced_;
  std::atomic<bool> hasWeakReferences_{false};
};
static_assert(sizeof(FreeThreadedMarshaler) <= sizeof(HostMarshalerRoom) &&
              alignof(FreeThreadedMarshaler) <= alignof(HostMarshalerRoom));

}  // namespace host

HRESULT STDAPICALLTYPE CoCreateFreeThreadedMarshaler(IUnknown* outer, IUnknown** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  auto* marshaler = new (std::nothrow) host::FreeThreadedMarshaler(outer, false);
  if (!marshaler) return E_OUTOFMEMORY;
  *out = marshaler->Inner();
  return S_OK;
}

IUnknown* HostPlaceFreeThreadedMarshaler(HostMarshalerRoom* room, IUnknown* outer) noexcept {
  return (new (room->opaque) host::FreeThreadedMarshaler(outer, true))->Inner();
}
