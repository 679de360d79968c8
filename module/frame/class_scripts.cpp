// SPDX-License-Identifier: MIT
#include "module/frame/class_scripts.h"

#include <string>

#include "module/frame/boundary.h"
#include "platform/com_ptr.h"
#include "platform/module_file.h"
#include "platform/registrar.h"

namespace rastel {
namespace {

using Text = std::basic_string<OLECHAR>;

// As a script holds a text between quotes.
Text WithQuotesDoubled(const Text& text) {
  Text doubled;
  for (const OLECHAR unit : text) {
    doubled += unit;
    if (unit == OLECHAR{'\''}) doubled += unit;
  }
  return doubled;
}

HRESULT RunScript(WORD script, bool enter) {
  const Text file = platform::ModuleFileName(ModuleHandle());
  if (file.empty()) return E_UNEXPECTED;
  platform::ComPtr<IRegistrar> registrar;
  HRESULT result = CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                                    registrar.PutVoid());
  if (FAILED(result)) return result;
  result = registrar->AddReplacement(OLESTR("Module"), WithQuotesDoubled(file).c_str());
  if (FAILED(result)) return result;
  result = registrar->AddReplacement(OLESTR("Module_Raw"), file.c_str());
  if (FAILED(result)) return result;
  return enter ? registrar->ResourceRegister(file.c_str(), script, OLESTR("REGISTRY"))
               : registrar->ResourceUnregister(file.c_str(), script, OLESTR("REGISTRY"));
}

}  // namespace

HRESULT UpdateRegistration(const CatalogueRow& row, bool enter) noexcept {
  return Guarded(*row.classId, [&] { return RunScript(row.script, enter); });
}

}  // namespace rastel
