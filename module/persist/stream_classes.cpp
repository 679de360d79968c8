// SPDX-License-Identifier: MIT
#include "module/persist/stream_classes.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include "interfaces/stream_classes.h"
#include "module/frame/boundary.h"
#include "module/frame/catalogue.h"
#include "platform/com_ptr.h"
#include "platform/threading.h"

namespace rastel {
namespace {

using platform::ComPtr;

// What a program has said, the latest first. Readers take no lock and keep no count, so nothing
// goes before the module does.
struct Rule {
  bool allowsAll = true;
  std::vector<CLSID> classes;
  const Rule* before = nullptr;
};

class Rules {
 public:
  // While a process ends other threads may still read them.
  ~Rules() {
    if (!platform::IsSingleThreaded()) return;
    for (const Rule* rule = latest_.exchange(nullptr); rule;) {
      const Rule* const before = rule->before;
      delete rule;
      rule = before;
    }
  }

  // Null while nothing has been said.
  const Rule* Latest() const noexcept { return latest_.load(std::memory_order_acquire); }

  HRESULT Say(bool allowsAll, const CLSID* classes, ULONG count) noexcept try {
    auto rule = std::make_unique<Rule>();
    rule->allowsAll = allowsAll;
    rule->classes.assign(classes, classes + count);
    // A module that was unloaded and loaded again would allow all.
    if (!allowsAll) platform::LockModule();
    rule->before = Latest();
    while (!latest_.compare_exchange_weak(rule->before, rule.get(), std::memory_order_acq_rel)) {
    }
    const Rule* const said = rule.release();
    if (said->before && !said->before->allowsAll) platform::UnlockModule();
    return S_OK;
  } catch (...) {
    return E_OUTOFMEMORY;
  }

 private:
  std::atomic<const Rule*> latest_{nullptr};
};

Rules rules;

bool IsAllowed(REFCLSID classId) noexcept {
  const Rule* const rule = rules.Latest();
  if (!rule || rule->allowsAll || FindRow(classId)) return true;
  return std::any_of(rule->classes.begin(), rule->classes.end(),
                     [&](const CLSID& allowed) { return IsEqualCLSID(allowed, classId) != 0; });
}

class ModuleClassObject : public platform::CComClassFactory, public IStreamClassesKLP {
 public:
  using CComClassFactory::CComClassFactory;

  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<ModuleClassObject, IClassFactory>(),
        platform::DirectRow<ModuleClassObject, IStreamClassesKLP>()};
    return kRows;
  }

  STDMETHODIMP AllowOnly(const CLSID* classes, ULONG count) override {
    return count > 0 && !classes ? E_POINTER : rules.Say(false, classes, count);
  }
  STDMETHODIMP AllowAll() override { return rules.Say(true, nullptr, 0); }
  STDMETHODIMP LoadFromStream(IStream* stream, REFIID iid, void** out) override {
    return Guarded(CLSID_NULL, [&] { return rastel::LoadFromStream(stream, iid, out); });
  }

 protected:
  ~ModuleClassObject() = default;
};

}  // namespace

HRESULT CreateFromStream(REFCLSID classId, DWORD context, REFIID iid, void** out) noexcept {
  if (IsAllowed(classId)) return CoCreateInstance(classId, nullptr, context, iid, out);
  *out = nullptr;
  return REGDB_E_CLASSNOTREG;
}

HRESULT LoadFromStream(IStream* stream, REFIID iid, void** out) {
  const Rule* const rule = rules.Latest();
  if (!rule || rule->allowsAll || !stream || !out) return OleLoadFromStream(stream, iid, out);
  *out = nullptr;
  CLSID classId{};
  ComPtr<IUnknown> object;
  ComPtr<IPersistStream> persist;
  HRESULT result = ReadClassStm(stream, &classId);
  if (SUCCEEDED(result)) {
    result = CreateFromStream(classId, CLSCTX_INPROC_SERVER, IID_IUnknown, object.PutVoid());
  }
  if (SUCCEEDED(result)) result = object->QueryInterface(IID_IPersistStream, persist.PutVoid());
  if (SUCCEEDED(result)) result = persist->Load(stream);
  if (FAILED(result)) return result;
  const HRESULT answer = object->QueryInterface(iid, out);
  return FAILED(answer) ? answer : result;
}

HRESULT CreateClassObject(platform::InstanceCreator creator, REFIID iid, void** out) noexcept {
  return platform::CreateClassObject<ModuleClassObject>(creator, iid, out);
}

}  // namespace rastel
