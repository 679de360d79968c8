// SPDX-License-Identifier: MIT
// Objects of the module, and of anybody else, as objects of Python. Each of these is a reference;
// two of them may stand for the same object, and are then equal.
#pragma once

#include <pybind11/pybind11.h>
#include <rastelklp/client.h>

#include <optional>

#include "python/core/pixel_types.h"

namespace rastel_python {

struct PyObjectRef {
  rastelklp::Object object;
};

struct PyAoi : PyObjectRef {
  explicit PyAoi(rastelklp::AnyAoi made);
  PyAoi(rastelklp::AnyAoi made, const ElementType& type)
      : PyObjectRef{made}, aoi(std::move(made)), type(&type) {}
  // Another AOI on the same pixels.
  PyAoi Sibling() const { return {aoi.clone(), *type}; }

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

// By which two references to one object are told to be that; not counted.
inline IUnknown* Identity(const rastelklp::Object& object) { return object.as<IUnknown>().get(); }

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

// Whether there are pixels.
bool IsBound(const rastelklp::AnyAoi& aoi);
// Name, tag and attributes, which a clone does not have. The map is shared.
void ShareClientData(const rastelklp::AnyAoi& from, rastelklp::AnyAoi to);

void RegisterAois(py::module_& m);
void RegisterVectors(py::module_& m);
void RegisterMaps(py::module_& m);
void RegisterDispatch(py::module_& m);
// A path, str or os.PathLike; none for anything else.
std::optional<rastelklp::Path> PathOf(const py::object& target);
void RegisterPictures(py::module_& m);
// Files, bytes and pickles of all of them.
void RegisterStreams(py::module_& m);
py::object MakeDispatch(const rastelklp::Object& object);

}  // namespace rastel_python
