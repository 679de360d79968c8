// SPDX-License-Identifier: MIT
// The extension module rastel._core.
#include <pybind11/pybind11.h>
#include <rastelklp/client.h>

#include "python/core/module_beside.h"

namespace py = pybind11;

PYBIND11_MODULE(_core, m) {
  using namespace rastel_python;
  // Never ended: objects may live longer than the interpreter.
  static const auto* const session = new rastelklp::Session;
  static_cast<void>(session);
  AddModule();
  m.attr("__version__") = RASTEL_VERSION;
  m.def("_is_idle", &IsModuleIdle, "Whether the module has no object left.");
}
