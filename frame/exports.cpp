#include "frame/catalogue.h"
#include "frame/string_table.h"
#include "platform/module_entry.h"

void platform::ModuleAttached(HINSTANCE module) noexcept {
  rastel::AttachModule(module);
  rastel::OfferStringTable(module);
}

void platform::ModuleDetached() noexcept {
  rastel::WithdrawStringTable(rastel::ModuleHandle());
  rastel::DetachModule();
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid,
                                                              LPVOID* out) {
  return rastel::GetClassObject(classId, iid, out);
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllCanUnloadNow() { return rastel::CanUnloadNow(); }

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllRegisterServer() { return rastel::RegisterServer(); }

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllUnregisterServer() {
  return rastel::UnregisterServer();
}
