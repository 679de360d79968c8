// SPDX-License-Identifier: MIT
#include "python/core/objects.h"

namespace rastel_python {

using rastelklp::Object;

py::object Wrap(const Object& object) {
  if (!object) return py::none();
  if (auto aoi = object.try_as<rastelklp::AnyAoi>()) return py::cast(PyAoi(std::move(aoi)));
  if (auto vector = object.try_as<IVectorKLP>()) return py::cast(PyVector(std::move(vector)));
  if (auto map = object.try_as<rastelklp::Map>()) return py::cast(PyMap(std::move(map)));
  return MakeDispatch(object);
}

Object Unwrap(py::handle object) {
  if (!py::isinstance<PyObjectRef>(object)) return nullptr;
  if (py::isinstance<PyMap>(object)) MapFrom(object);
  return object.cast<const PyObjectRef&>().object;
}

}  // namespace rastel_python
