// SPDX-License-Identifier: MIT
// The extension module rastel._core.
#include <pybind11/pybind11.h>
#include <rastelklp/client.h>

#include "python/core/errors.h"
#include "python/core/module_beside.h"
#include "python/core/objects.h"
#include "python/core/pixels.h"

PYBIND11_MODULE(_core, m) {
  using namespace rastel_python;
  // Never ended: objects may live longer than the interpreter.
  static const auto* const session = new rastelklp::Session;
  static_cast<void>(session);
  AddModule();
  RegisterErrors();
  // Functions are told by the stubs and by the docstrings of the Python layer.
  py::options options;
  options.disable_function_signatures();
  RegisterStreams(m);
  RegisterViews(m);
  RegisterAois(m);
  RegisterVectors(m);
  RegisterMaps(m);
  RegisterDispatch(m);
#ifdef RASTEL_PICTURES
  RegisterPictures(m);
#endif
  for (const char* name : {"Object", "Aoi", "Vector", "Map", "Dispatch"}) {
    m.attr(name).attr("__module__") = "rastel";
  }
  m.attr("__version__") = RASTEL_VERSION;
  m.def("_is_idle", &IsModuleIdle);
}
