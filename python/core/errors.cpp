// SPDX-License-Identifier: MIT
#include "python/core/errors.h"

#include <rastelklp/error.h>

namespace rastel_python {

namespace py = pybind11;

void RegisterErrors() {
  py::register_exception_translator([](std::exception_ptr raised) {
    try {
      if (raised) std::rethrow_exception(raised);
    } catch (const rastelklp::Error& error) {
      const auto make = py::module_::import("rastel._errors").attr("_made");
      const py::object made = make(static_cast<std::uint32_t>(error.code()), error.number(),
                                   error.source(), error.text(), error.hint());
      PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(made.ptr())), made.ptr());
    } catch (const py::cast_error&) {
      // What a function asks for inside its arguments.
      PyErr_SetString(PyExc_TypeError, "a value of another type is wanted");
    }
  });
}

}  // namespace rastel_python
