// SPDX-License-Identifier: MIT
// Objects of the module, and of anybody else, as objects of Python. Each of these is a reference;
// two of them may stand for the same object, and are then equal.
#pragma once

#include <pybind11/pybind11.h>
#include <rastelklp/client.h>

#include "python/core/pixel_types.h"

namespace rastel_python {

struct PyObjectRef {
  rastelklp::Object object;
};

struct PyAoi : PyObjectRef {
  explicit PyAoi(rastelklp::AnyAoi made);

  rastelklp::AnyAoi aoi;
  const ElementType* type;  // of the pixels
};

struct PyMap : PyObjectRef {
  explicit PyMap(rastelklp::Map made) : PyObjectRef{made}, map(std::move(made)) {}
  // That a picture does not have yet; the first entry gives it to the picture.
  explicit PyMap(rastelklp::AnyAoi aoi) : map(nullptr), pending(std::move(aoi)) {}

  rastelklp::Map map;
  rastelklp::AnyAoi pending{nullptr};
};

struct PyVector : PyObjectRef {
  explicit PyVector(rastelklp::com_ptr<IVectorKLP> made);

  rastelklp::com_ptr<IVectorKLP> vector;
  const ElementType* type;
};

// By the most telling of the classes. None for null.
py::object Wrap(const rastelklp::Object& object);
// Null where it is none of these.
rastelklp::Object Unwrap(py::handle object);

// Values of tags, attributes and elements. None, bool, int, float, str, datetime.datetime and
// objects go both ways; mappings become maps, bytes byte vectors, lists and tuples VARIANT vectors,
// arrays vectors or pictures. Other kinds that an object holds come as Decimal or as text. Raises
// TypeError, OverflowError for an int of more than 64 bits.
py::object FromValue(const rastelklp::Value& value);
rastelklp::Value ToValue(py::handle object);

// A vector that is looked at keeps its size. Python holds the interpreter for all of these.
void Pin(const PyVector& vector);
void Unpin(const PyVector& vector) noexcept;
// Raises BufferError if it is pinned.
void RefuseIfPinned(const rastelklp::Object& object);

// What objects are made of. Copies from anything that exports a buffer.
py::object ArrayFrom(py::handle source, bool channelsLast, int margin);
py::object VectorFrom(py::handle source, const ElementType* type);
py::object MapFrom(py::handle source);

// Name, tag and attributes, which a clone does not have. The map is shared.
void ShareClientData(const rastelklp::AnyAoi& from, rastelklp::AnyAoi to);

void RegisterAois(py::module_& m);
void RegisterVectors(py::module_& m);
void RegisterMaps(py::module_& m);
void RegisterDispatch(py::module_& m);
// Files, bytes and pickles of all of them.
void RegisterStreams(py::module_& m);
void RegisterDeepCopy(py::module_& m);
py::object MakeDispatch(const rastelklp::Object& object);

}  // namespace rastel_python
