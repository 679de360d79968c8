// A small in-process server, loaded by the tests of class look-up.
#include "tests/host/counted_class.h"

namespace {

// Made with the module's memory: a host may ask while the module is being loaded again.
constinit tests::RecordingFactory factory;

}  // namespace

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out) {
  *out = nullptr;
  if (!IsEqualCLSID(classId, tests::kModuleClass)) return CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(iid, out);
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return factory.alive == 0 && factory.locks == 0 ? S_OK : S_FALSE;
}
