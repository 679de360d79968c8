// SPDX-License-Identifier: MIT
// Failures of objects as exceptions of Python: rastel.Error and its kinds, rastel/_errors.py.
#pragma once

#include <pybind11/pybind11.h>

namespace rastel_python {

// From then on functions of the extension may raise rastelklp::Error.
void RegisterErrors();

}  // namespace rastel_python
