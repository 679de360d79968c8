// SPDX-License-Identifier: MIT
// Pixels of an AOI as Python looks at them: where they lie, and every way to hand them out without
// a copy. Whatever is handed out holds a sibling of the AOI, so that nothing that happens to the
// AOI itself moves or frees what is looked at.
#pragma once

#include <pybind11/pybind11.h>
#include <rastelklp/aoi.h>

#include <cstddef>

#include "interfaces/image_buffer.h"
#include "python/core/pixel_types.h"

namespace rastel_python {

// Which pixels of the stored planes.
enum class Area {
  kRectangle,  // the AOI's
  kPadded,     // and the margins that it asks for
  kStored,     // all that is stored
};

struct Pixels {
  std::byte* first;
  const ElementType* type;
  int dimensions;                       // 2, or 3 of several planes
  Py_ssize_t shape[3], strides[3];      // planes, if they are told, rows, columns; strides in bytes
  rastelklp::com_ptr<IUnknown> keeper;  // of the buffer

  // Row behind row without gaps, and plane behind plane.
  bool IsPacked() const noexcept;
  Py_ssize_t Bytes() const noexcept;
  // As shape[0] planes, whether that is told or not.
  Pixels WithPlanes() const;
  Pixels Plane(Py_ssize_t plane) const;
};

// Where the pixels of an area lie: those of all planes. Raises rastelklp::Error where there are
// none, or not all of them: E_INVALIDARG, as for sizes that have wrapped.
Pixels Locate(const rastelklp::AnyAoi& aoi, Area area);
// The same for a look that ends before anything else happens: nothing is kept.
Pixels Glance(const rastelklp::AnyAoi& aoi, Area area = Area::kRectangle);

// Copies between areas of equal shape, with the bytes of each element turned where they stand in
// the other order. The target's rows are packed.
void CopyPixels(const Pixels& from, const Pixels& to, bool turnsBytes = false);

// Applies integers, slices and an ellipsis as NumPy does. False for any other key; raises
// IndexError.
bool Slice(Pixels& pixels, py::handle key);

// numpy.ndarray where there is NumPy, which is looked for at the first call; else memoryview, which
// AsMemory always gives.
py::object AsArray(const Pixels& pixels);
bool HasNumpy();
py::object AsMemory(const Pixels& pixels);
// numpy.dtype where there is NumPy; else its name.
py::object AsDtype(const ElementType& type);

// What the buffer protocol asks for; -1 with BufferError set.
int Export(Pixels pixels, PyObject* exporter, Py_buffer* view, int flags) noexcept;
void EndExport(Py_buffer* view) noexcept;
// A class whose objects export buffers.
py::custom_type_setup Exports(getbufferproc get, releasebufferproc release);
py::dict ArrayInterface(const Pixels& pixels);
// A capsule "dltensor".
py::capsule AsTensor(const Pixels& pixels);

// The view class, for places where a memoryview needs an exporter.
void RegisterViews(py::module_& m);

}  // namespace rastel_python
