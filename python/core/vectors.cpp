// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>

#include "python/core/objects.h"
#include "python/core/pixels.h"

namespace rastel_python {
namespace {

using namespace py::literals;
using rastelklp::check_hresult;
using rastelklp::com_ptr;
using rastelklp::Object;
using rastelklp::Value;
using rastelklp::Variant;

// Elements and tags as bytes, which may be moved as such.
struct Run {
  std::byte* first;
  std::size_t count, bytes;  // elements, bytes of one

  std::byte* At(std::size_t index) const { return first + index * bytes; }
};

Run Elements(const PyVector& self) {
  const auto of = [&]<class T>(T) {
    const auto span = self.vector.as<rastelklp::Vector<T>>().span();
    return Run{reinterpret_cast<std::byte*>(span.data()), span.size(), sizeof(T)};
  };
  return self.type->code == ElementVariant ? of(VARIANT{}) : WithType(*self.type, of);
}

Run Tags(const PyVector& self) {
  LONG count = 0;
  VARIANT* tags = nullptr;
  check_hresult(self.vector->GetTagPointer(&count, &tags));
  return {reinterpret_cast<std::byte*>(tags), static_cast<std::size_t>(count), sizeof(VARIANT)};
}

// Python's objects for one and the same vector count together.
std::map<IUnknown*, int>& Pins() {
  static auto* const pins = new std::map<IUnknown*, int>;
  return *pins;
}

std::size_t Count(const PyVector& self) {
  LONG count = 0;
  check_hresult(self.vector->get_Count(&count));
  return static_cast<std::size_t>(count);
}

void Resize(const PyVector& self, std::size_t count) {
  RefuseIfPinned(self.object);
  if (count > std::size_t{INT32_MAX}) throw std::bad_alloc();
  check_hresult(self.vector->put_Count(static_cast<LONG>(count)));
}

std::size_t IndexOf(const PyVector& self, Py_ssize_t index) {
  const auto count = static_cast<Py_ssize_t>(Count(self));
  if (index < 0) index += count;
  if (index < 0 || index >= count) throw py::index_error("vector index out of range");
  return static_cast<std::size_t>(index);
}

py::object Get(const PyVector& self, std::size_t index) {
  const Run elements = Elements(self);
  if (self.type->code != ElementVariant) return ReadElement(*self.type, elements.At(index));
  return FromValue(Value(Variant(*reinterpret_cast<const VARIANT*>(elements.At(index)))));
}

// The object makes numbers fit.
void Put(const PyVector& self, std::size_t index, py::handle value) {
  if (self.type->code == ElementVariant) {
    self.vector.as<rastelklp::Vector<VARIANT>>().put(static_cast<int>(index), ToValue(value));
  } else {
    check_hresult(self.vector->put_Value(static_cast<LONG>(index), value.cast<double>()));
  }
}

py::object GetTag(const PyVector& self, Py_ssize_t index) {
  Variant tag;
  const HRESULT result =
      self.vector->get_ElementTag(static_cast<LONG>(IndexOf(self, index)), tag.put());
  // As where tags are off.
  if (result != E_FAIL) check_hresult(result);
  return FromValue(Value(std::move(tag)));
}

void PutTag(const PyVector& self, Py_ssize_t index, const py::object& value) {
  const auto place = static_cast<LONG>(IndexOf(self, index));
  const Value tag = ToValue(value);
  check_hresult(self.vector->put_HasElementTags(VARIANT_TRUE));
  check_hresult(self.vector->put_ElementTag(place, tag.variant_value().get()));
}

void Insert(const PyVector& self, Py_ssize_t index, const py::object& value) {
  const std::size_t count = Count(self);
  const auto signedCount = static_cast<Py_ssize_t>(count);
  index = std::clamp(index < 0 ? index + signedCount : index, Py_ssize_t{0}, signedCount);
  Resize(self, count + 1);
  try {
    Put(self, count, value);
  } catch (...) {
    Resize(self, count);
    throw;
  }
  for (const Run& run : {Elements(self), Tags(self)}) {
    if (run.count > count) {
      std::rotate(run.At(static_cast<std::size_t>(index)), run.At(count), run.At(count + 1));
    }
  }
}

void Delete(const PyVector& self, std::size_t index) {
  const std::size_t count = Count(self);
  RefuseIfPinned(self.object);
  for (const Run& run : {Elements(self), Tags(self)}) {
    if (run.count > index) std::rotate(run.At(index), run.At(index + 1), run.At(run.count));
  }
  Resize(self, count - 1);
}

struct Indices {
  Py_ssize_t start, step, count;
};

Indices IndicesOf(const PyVector& self, const py::slice& slice) {
  Py_ssize_t start = 0, stop = 0, step = 0;
  if (PySlice_Unpack(slice.ptr(), &start, &stop, &step) < 0) throw py::error_already_set();
  const Py_ssize_t count =
      PySlice_AdjustIndices(static_cast<Py_ssize_t>(Count(self)), &start, &stop, step);
  return {start, step, count};
}

PyVector Made(const ElementType& type, std::size_t count) {
  PyVector made(rastelklp::create<com_ptr<IVectorKLP>>(*type.vector));
  Resize(made, count);
  return made;
}

// Elements and tags of a slice.
PyVector Part(const PyVector& self, const py::slice& slice) {
  const auto [start, step, count] = IndicesOf(self, slice);
  PyVector part = Made(*self.type, static_cast<std::size_t>(count));
  const Run from = Elements(self), to = Elements(part);
  const bool hasTags = Tags(self).count > 0;
  for (Py_ssize_t i = 0; i < count; ++i) {
    const auto source = static_cast<std::size_t>(start + i * step);
    const auto target = static_cast<std::size_t>(i);
    if (self.type->code == ElementVariant) {
      Put(part, target, Get(self, source));
    } else {
      std::memcpy(to.At(target), from.At(source), to.bytes);
    }
    if (hasTags) PutTag(part, i, GetTag(self, static_cast<Py_ssize_t>(source)));
  }
  return part;
}

void SetSlice(const PyVector& self, const py::slice& slice, const py::object& values) {
  const auto [start, step, count] = IndicesOf(self, slice);
  const auto given = py::list(values);
  if (static_cast<Py_ssize_t>(given.size()) != count) {
    throw py::value_error("a slice takes as many values as it has elements");
  }
  for (Py_ssize_t i = 0; i < count; ++i) {
    Put(self, static_cast<std::size_t>(start + i * step), given[static_cast<std::size_t>(i)]);
  }
}

void DeleteSlice(const PyVector& self, const py::slice& slice) {
  auto [start, step, count] = IndicesOf(self, slice);
  if (count == 0) return;
  // From behind, so that places in front of it stay.
  if (step > 0) start += (count - 1) * step, step = -step;
  for (Py_ssize_t i = 0; i < count; ++i) Delete(self, static_cast<std::size_t>(start + i * step));
}

// An exported vector keeps its object and its size.
struct Held {
  PyVector vector;
  Py_ssize_t count, step;
};

int GetBuffer(PyObject* object, Py_buffer* view, int flags) noexcept {
  view->obj = nullptr;
  try {
    const auto& self = py::cast<const PyVector&>(py::handle(object));
    if (self.type->code == ElementVariant) {
      PyErr_SetString(PyExc_BufferError, "VARIANTs are no numbers");
      return -1;
    }
    const Run elements = Elements(self);
    static std::byte nothing;
    auto* const held = new Held{self, static_cast<Py_ssize_t>(elements.count),
                                static_cast<Py_ssize_t>(elements.bytes)};
    Pin(self);
    view->buf = elements.first ? elements.first : &nothing;
    view->len = held->count * held->step;
    view->readonly = 0;
    view->itemsize = held->step;
    view->format = flags & PyBUF_FORMAT ? const_cast<char*>(self.type->format) : nullptr;
    view->ndim = 1;
    view->shape = flags & PyBUF_ND ? &held->count : nullptr;
    view->strides = (flags & PyBUF_STRIDES) == PyBUF_STRIDES ? &held->step : nullptr;
    view->suboffsets = nullptr;
    view->internal = held;
    view->obj = object;
    Py_INCREF(object);
    return 0;
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_BufferError, error.what());
    return -1;
  }
}

void ReleaseBuffer(PyObject*, Py_buffer* view) noexcept {
  const auto* const held = static_cast<Held*>(view->internal);
  Unpin(held->vector);
  delete held;
}

py::object Create(const py::object& elements, const py::object& dtype) {
  return VectorFrom(elements, dtype.is_none() ? nullptr : &TypeOf(dtype));
}

}  // namespace

PyVector::PyVector(com_ptr<IVectorKLP> made)
    : PyObjectRef{made}, vector(std::move(made)), type(nullptr) {
  ElementTypeKLP code{};
  check_hresult(vector->get_ElementType(&code));
  type = &TypeOf(code);
}

void Pin(const PyVector& vector) { ++Pins()[Identity(vector.object)]; }

void Unpin(const PyVector& vector) noexcept {
  const auto found = Pins().find(Identity(vector.object));
  if (found != Pins().end() && --found->second == 0) Pins().erase(found);
}

void RefuseIfPinned(const Object& object) {
  if (Pins().empty() || !Pins().count(Identity(object))) return;
  throw py::buffer_error("the vector keeps its size as long as it is exported");
}

py::object VectorFrom(py::handle source, const ElementType* type) {
  if (PyLong_Check(source.ptr())) {
    const auto count = source.cast<Py_ssize_t>();
    if (count < 0) throw py::value_error("a vector has at least 0 elements");
    return py::cast(Made(type ? *type : TypeOf(ElementDouble), static_cast<std::size_t>(count)));
  }
  if (PyObject_CheckBuffer(source.ptr())) {
    const py::buffer_info info = py::reinterpret_borrow<py::buffer>(source).request();
    bool isForeign = false;
    const bool isKnown = info.ndim == 1 && info.format != "O" && info.format != "?";
    const ElementType* const given =
        isKnown && (!type || type->code != ElementVariant)
            ? &TypeOf(info.format, static_cast<std::size_t>(info.itemsize), isForeign)
            : nullptr;
    if (info.ndim != 1) throw py::value_error("a vector has one dimension");
    if (given && !isForeign && (!type || type == given)) {
      PyVector made = Made(*given, static_cast<std::size_t>(info.size));
      const Run to = Elements(made);
      for (Py_ssize_t i = 0; i < info.size; ++i) {
        std::memcpy(to.At(static_cast<std::size_t>(i)),
                    static_cast<const std::byte*>(info.ptr) + i * info.strides[0], to.bytes);
      }
      return py::cast(std::move(made));
    }
    if (!type) type = given;
  }
  const auto values = py::list(py::reinterpret_borrow<py::object>(source));
  PyVector made = Made(type ? *type : TypeOf(ElementDouble), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) Put(made, i, values[i]);
  return py::cast(std::move(made));
}

void RegisterVectors(py::module_& m) {
  using Class = py::class_<PyVector, PyObjectRef>;
  Class vector(m, "Vector", R"(Vector(elements=(), dtype=None)

A growing sequence of numbers of one dtype, or with dtype "object" of values, whose elements may have tags.

elements: a sequence, anything with the buffer protocol, or a count of zeros.
dtype: as of a picture, or "object"; that of the buffer, or float64.

It is a MutableSequence. A number is made to fit the dtype: cut at its limits and, among integers, towards 0.
memoryview() and numpy.asarray() look at the elements; as long as one does, what would change the count raises
BufferError.)",
               Exports(&GetBuffer, &ReleaseBuffer));
  vector
      .def(py::init([](const py::object& elements, const py::object& dtype) {
             return Create(elements, dtype).cast<PyVector>();
           }),
           "elements"_a = py::tuple(), "dtype"_a = py::none())
      .def_property_readonly(
          "dtype", [](const PyVector& self) { return AsDtype(*self.type); },
          R"(Of the elements: numpy.dtype, or its name where there is no NumPy; "object" for values.)")
      .def_property_readonly("_dtype_name", [](const PyVector& self) { return self.type->name; })
      .def("__len__", &Count)
      .def("__getitem__",
           [](const PyVector& self, Py_ssize_t index) { return Get(self, IndexOf(self, index)); })
      .def("__getitem__", &Part)
      .def("__setitem__", [](const PyVector& self, Py_ssize_t index,
                             const py::object& value) { Put(self, IndexOf(self, index), value); })
      .def("__setitem__", &SetSlice)
      .def("__delitem__",
           [](const PyVector& self, Py_ssize_t index) { Delete(self, IndexOf(self, index)); })
      .def("__delitem__", &DeleteSlice)
      .def("insert", &Insert, "index"_a, "value"_a, R"(insert(index, value)

Inserts a value before an index, as list.insert does.)")
      .def(
          "resize", [](const PyVector& self, std::size_t count) { Resize(self, count); }, "count"_a,
          R"(resize(count)

Grows with zeros, or None, or shrinks.)")
      .def(
          "fill",
          [](const PyVector& self, double value) { check_hresult(self.vector->Fill(value)); },
          "value"_a, R"(fill(value)

Sets every element to a number.)")
      .def("tag", &GetTag, "index"_a, R"(tag(index)

The tag of an element; None where there is none. Raises IndexError.)")
      .def("set_tag", &PutTag, "index"_a, "value"_a, R"(set_tag(index, value)

Gives an element a tag, of what `Aoi.tag` takes. Raises IndexError.)")
      .def_property(
          "has_tags",
          [](const PyVector& self) {
            VARIANT_BOOL has = VARIANT_FALSE;
            check_hresult(self.vector->get_HasElementTags(&has));
            return has != VARIANT_FALSE;
          },
          [](const PyVector& self, bool to) {
            check_hresult(self.vector->put_HasElementTags(to ? VARIANT_TRUE : VARIANT_FALSE));
          },
          R"(Whether elements have tags. Setting it to False drops them.)")
      .def("__copy__",
           [](const PyVector& self) {
             com_ptr<IVectorKLP> clone;
             com_ptr<IUnknown> made;
             check_hresult(self.vector->Clone(reinterpret_cast<IVectorKLP**>(made.put())));
             return PyVector(made.as<IVectorKLP>());
           })
      .def(
          "__deepcopy__",
          [](const PyVector& self, const py::object&) {
            com_ptr<IUnknown> made;
            check_hresult(self.vector->DeepCopy(reinterpret_cast<IVectorKLP**>(made.put())));
            return PyVector(made.as<IVectorKLP>());
          },
          "memo"_a);
}

}  // namespace rastel_python
