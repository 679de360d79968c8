// SPDX-License-Identifier: MIT
#include <dlpack/dlpack.h>
#include <pybind11/stl.h>

#include <cstring>

#include "python/core/objects.h"
#include "python/core/owners.h"
#include "python/core/pixels.h"

namespace rastel_python {
namespace {

using namespace py::literals;
using rastelklp::AnyAoi;
using rastelklp::check_hresult;
using rastelklp::com_ptr;
using rastelklp::Error;
using rastelklp::Object;
using rastelklp::Text;
using rastelklp::Value;

constexpr const char* kMarginModes[] = {"none", "zero", "periodic", "mirror", "replicate"};

// Sizes as NumPy orders them: (height, width) or (planes, height, width).
struct Sizes {
  LONG planes, height, width;
};

Sizes SizesOf(const Py_ssize_t* shape, int dimensions, int margin) {
  if (dimensions != 2 && dimensions != 3) {
    throw py::value_error("a picture has the shape (height, width) or (planes, height, width)");
  }
  const Py_ssize_t planes = dimensions == 3 ? shape[0] : 1;
  const Py_ssize_t* const plane = shape + (dimensions - 2);
  if (planes < 1 || plane[0] < 1 || plane[1] < 1) {
    throw py::value_error("a picture has at least one plane, row and column");
  }
  if (margin < 0 || margin > plane[0] || margin > plane[1]) {
    throw py::value_error("a margin is at least 0 and at most as wide as the picture");
  }
  rastelklp::detail::CheckedPixels(planes, plane[1] + 2 * margin, plane[0] + 2 * margin);
  return {static_cast<LONG>(planes), static_cast<LONG>(plane[0]), static_cast<LONG>(plane[1])};
}

PyAoi Made(const ElementType& type) {
  if (!type.aoi) throw py::type_error("a picture has pixels of numbers");
  return {rastelklp::create<AnyAoi>(*type.aoi), type};
}

PyAoi Empty(const Py_ssize_t* shape, int dimensions, const ElementType& type, int margin) {
  const Sizes sizes = SizesOf(shape, dimensions, margin);
  PyAoi made = Made(type);
  check_hresult(made.aoi->put_BufferMargin(margin));
  check_hresult(made.aoi->CreatePlanes(sizes.planes, sizes.width, sizes.height));
  return made;
}

PyAoi EmptyOf(const py::object& shape, const py::object& dtype, int margin) {
  Py_ssize_t sizes[3] = {};
  const auto given = py::tuple(shape);
  for (std::size_t i = 0; i < given.size() && i < 3; ++i) sizes[i] = given[i].cast<Py_ssize_t>();
  return Empty(sizes, static_cast<int>(given.size()), TypeOf(dtype), margin);
}

// A buffer of Python's as pixels; the bytes of one element may stand in the other order.
Pixels PixelsOf(const Py_buffer& view, bool& isForeign) {
  if (view.ndim != 2 && view.ndim != 3) {
    throw py::value_error("pixels have 2 or 3 dimensions, these " + std::to_string(view.ndim));
  }
  Pixels pixels{
      static_cast<std::byte*>(view.buf),
      &TypeOf(view.format ? view.format : "B", static_cast<std::size_t>(view.itemsize), isForeign),
      view.ndim,
      {},
      {},
      nullptr};
  std::copy_n(view.shape, view.ndim, pixels.shape);
  std::copy_n(view.strides, view.ndim, pixels.strides);
  return pixels;
}

// Binds a fresh AOI to memory that stays as long as the owner does.
PyAoi Attach(const Pixels& pixels, const com_ptr<IUnknown>& owner) {
  const Sizes sizes = SizesOf(pixels.shape, pixels.dimensions, 0);
  if (!pixels.IsPacked()) {
    throw py::value_error("the pixels are not packed row behind row: array() copies them");
  }
  if (reinterpret_cast<std::uintptr_t>(pixels.first) % pixels.type->bytes != 0) {
    throw py::value_error("the pixels are not aligned: array() copies them");
  }
  PyAoi made = Made(*pixels.type);
  const ImageBlockKLP block{pixels.first,     sizes.planes, sizes.width, sizes.height, 0,
                            pixels.type->code};
  check_hresult(made.aoi.as<IImageBufferKLP>()->AttachBlock(&block, owner.get()));
  return made;
}

// A tensor of another library, let go with its last reference.
class TensorOwner final : public PythonOwner {
 public:
  explicit TensorOwner(DLManagedTensor* tensor) noexcept : tensor_(tensor) {}

 private:
  ~TensorOwner() override {
    if (tensor_->deleter) tensor_->deleter(tensor_);
  }

  DLManagedTensor* tensor_;
};

PyAoi AttachTensor(const py::object& source) {
  const auto device = py::tuple(source.attr("__dlpack_device__")());
  if (device[0].cast<int>() != kDLCPU) throw py::type_error("the pixels are not in main memory");
  const py::object capsule = source.attr("__dlpack__")();
  auto* const managed =
      static_cast<DLManagedTensor*>(PyCapsule_GetPointer(capsule.ptr(), "dltensor"));
  if (!managed) throw py::error_already_set();
  PyCapsule_SetName(capsule.ptr(), "used_dltensor");
  const com_ptr<IUnknown> owner(new TensorOwner(managed));
  const DLTensor& tensor = managed->dl_tensor;
  const char* const letters = tensor.dtype.code == kDLFloat  ? "efd"
                              : tensor.dtype.code == kDLInt  ? "i"
                              : tensor.dtype.code == kDLUInt ? "I"
                                                             : "?";
  const std::size_t bytes = tensor.dtype.bits / 8u;
  const std::string format(1, letters[letters[1] ? bytes / 4 : 0]);
  if (tensor.dtype.lanes != 1) throw py::type_error("pixels have one value each");
  if (tensor.ndim != 2 && tensor.ndim != 3) {
    throw py::value_error("pixels have 2 or 3 dimensions, these " + std::to_string(tensor.ndim));
  }
  bool isForeign = false;
  Pixels pixels{static_cast<std::byte*>(tensor.data) + tensor.byte_offset,
                &TypeOf(format, bytes, isForeign),
                tensor.ndim,
                {},
                {},
                nullptr};
  auto step = static_cast<Py_ssize_t>(bytes);
  for (int i = tensor.ndim - 1; i >= 0; --i) {
    pixels.shape[i] = tensor.shape[i];
    pixels.strides[i] = tensor.strides ? tensor.strides[i] * static_cast<Py_ssize_t>(bytes) : step;
    step *= pixels.shape[i];
  }
  return Attach(pixels, owner);
}

PyAoi AttachTo(const py::object& source) {
  PythonOwner::LetGoOfWaiting();
  if (!PyObject_CheckBuffer(source.ptr())) {
    if (py::hasattr(source, "__dlpack__")) return AttachTensor(source);
    throw py::type_error("only what exports a buffer or a DLPack tensor can be attached");
  }
  const com_ptr<BufferOwner> owner(new BufferOwner(source, PyBUF_FULL_RO));
  if (owner->view().readonly) {
    throw py::value_error("the pixels are read-only: array() copies them");
  }
  bool isForeign = false;
  const Pixels pixels = PixelsOf(owner->view(), isForeign);
  if (isForeign) throw py::value_error("the bytes stand in the other order: array() turns them");
  return Attach(pixels, owner);
}

LONG MarginOf(const AnyAoi& aoi) {
  ImageBlockKLP block;
  check_hresult(aoi.as<IImageBufferKLP>()->GetBlock(&block));
  return block.margin;
}

MarginModeKLP ModeOf(const std::string& name) {
  for (std::size_t i = 0; i < std::size(kMarginModes); ++i) {
    if (name == kMarginModes[i]) return static_cast<MarginModeKLP>(i);
  }
  throw py::value_error("a margin mode is none, zero, periodic, mirror or replicate, not " + name);
}

void FillMargins(const PyAoi& self, const std::optional<std::string>& mode) {
  if (mode) check_hresult(self.aoi->put_MarginMode(ModeOf(*mode)));
  const AnyAoi sibling = self.aoi.clone();
  {
    // Nobody else has the sibling.
    const py::gil_scoped_release others;
    check_hresult(sibling->FillMargins());
  }
  // What the fill does to the rectangle that asks for margins.
  LONG x = 0, y = 0;
  check_hresult(self.aoi->get_MarginX(&x));
  check_hresult(self.aoi->get_MarginY(&y));
  check_hresult(self.aoi->SetMargins(x, y));
}

// Siblings of their own for an operation on every plane.
template <class Operation>
void OnPlanes(const AnyAoi& aoi, Operation operation) {
  const AnyAoi sibling = aoi.clone();
  const int planes = sibling.plane_count();
  const py::gil_scoped_release others;
  if (planes == 0) return operation(sibling, 0);
  for (int plane = 0; plane < planes; ++plane) {
    check_hresult(sibling->put_ActivePlane(plane));
    operation(sibling, plane);
  }
}

void Fill(const PyAoi& self, double value) {
  OnPlanes(self.aoi, [&](const AnyAoi& plane, int) { check_hresult(plane->Fill(value)); });
}

void CopyTo(const PyAoi& self, const PyAoi& other) {
  const AnyAoi target = other.aoi.clone();
  OnPlanes(self.aoi, [&](const AnyAoi& plane, int n) {
    if (n > 0 && n >= target.plane_count()) return;
    if (target.plane_count() > 0) check_hresult(target->put_ActivePlane(n));
    check_hresult(plane->CopyTo(target.get()));
  });
}

PyAoi Copy(const PyAoi& self) {
  PyAoi copy = self.Sibling();
  ShareClientData(self.aoi, copy.aoi);
  return copy;
}

PyAoi Duplicate(const PyAoi& self) {
  rastelklp::Variant tag;
  check_hresult(self.aoi->get_Tag(tag.put()));
  const bool isPlain = tag.get().vt == VT_EMPTY && !self.aoi.attributes();
  AnyAoi duplicate(nullptr);
  if (isPlain) {
    AnyAoi sibling = self.aoi.clone();
    sibling.name(self.aoi.name());
    const py::gil_scoped_release others;
    check_hresult(sibling->Duplicate(duplicate.put()));
  } else {
    // Nobody may change the map while it is copied.
    check_hresult(self.aoi->Duplicate(duplicate.put()));
  }
  return PyAoi(std::move(duplicate));
}

PyAoi Crop(const PyAoi& self, int x, int y, int width, int height) {
  const rastelklp::Rect whole = self.aoi.rectangle();
  if (x < 0 || y < 0 || width < 1 || height < 1 || width > whole.width - x ||
      height > whole.height - y) {
    throw py::value_error("the part is not inside the rectangle");
  }
  PyAoi part = self.Sibling();
  part.aoi.rectangle({whole.x + x, whole.y + y, width, height});
  return part;
}

py::tuple Tiles(const PyAoi& self, int across, int down) {
  const auto made = self.aoi.tiles(across, down);
  py::tuple tiles(made.size());
  for (std::size_t i = 0; i < made.size(); ++i) tiles[i] = py::cast(PyAoi(made[i], *self.type));
  return tiles;
}

py::tuple Planes(const PyAoi& self) {
  const Pixels pixels = Locate(self.aoi, Area::kRectangle).WithPlanes();
  py::tuple planes(static_cast<std::size_t>(pixels.shape[0]));
  for (std::size_t i = 0; i < planes.size(); ++i) {
    planes[i] = AsArray(pixels.Plane(static_cast<Py_ssize_t>(i)));
  }
  return planes;
}

py::tuple Shape(const PyAoi& self) {
  const auto [width, height] = self.aoi.size();
  const int planes = self.aoi.plane_count();
  return planes == 1 ? py::make_tuple(height, width) : py::make_tuple(planes, height, width);
}

// The AOI itself where the plane is its active one, else a sibling.
struct Sibling {
  Sibling(const AnyAoi& of, LONG plane) : aoi(of) {
    LONG active = 0;
    check_hresult(of->get_ActivePlane(&active));
    if (active == plane) return;
    aoi = of.clone();
    check_hresult(aoi->put_ActivePlane(plane));
  }
  AnyAoi aoi;
};

// The pixel of a key of integers, as many as there are dimensions; null for other keys.
std::byte* PixelAt(const PyAoi& self, py::handle key, Pixels& pixels) {
  if (!PyTuple_CheckExact(key.ptr())) return nullptr;
  const Py_ssize_t given = PyTuple_GET_SIZE(key.ptr());
  if (given != 2 && given != 3) return nullptr;
  for (Py_ssize_t i = 0; i < given; ++i) {
    if (!PyLong_CheckExact(PyTuple_GET_ITEM(key.ptr(), i))) return nullptr;
  }
  pixels = Glance(self.aoi);
  if (given != pixels.dimensions) return nullptr;
  std::byte* at = pixels.first;
  for (int i = 0; i < pixels.dimensions; ++i) {
    Py_ssize_t index = PyLong_AsSsize_t(PyTuple_GET_ITEM(key.ptr(), i));
    if (index == -1 && PyErr_Occurred()) PyErr_Clear(), index = PY_SSIZE_T_MAX;
    if (index < 0) index += pixels.shape[i];
    if (index < 0 || index >= pixels.shape[i]) throw py::index_error("pixel out of range");
    at += index * pixels.strides[i];
  }
  return at;
}

py::object GetItem(const PyAoi& self, const py::object& key) {
  Pixels pixels{};
  if (const std::byte* const at = PixelAt(self, key, pixels)) {
    return ReadElement(*pixels.type, at);
  }
  pixels = Locate(self.aoi, Area::kRectangle);
  if (HasNumpy()) return AsArray(pixels)[key];
  if (!Slice(pixels, key)) throw py::type_error("without NumPy a key is made of ints and slices");
  return pixels.dimensions > 0 ? AsArray(pixels) : ReadElement(*pixels.type, pixels.first);
}

// Single pixels by the object, which makes values fit; more by NumPy.
void SetItem(const PyAoi& self, const py::object& key, const py::object& value) {
  Pixels pixels{};
  if (std::byte* const at = PixelAt(self, key, pixels)) {
    const auto number = value.cast<double>();
    const Pixels whole = pixels.WithPlanes();
    const auto [plane, inPlane] = std::div(at - pixels.first, whole.strides[0]);
    const auto [y, inRow] = std::div(inPlane, whole.strides[1]);
    const Sibling sibling(self.aoi, static_cast<LONG>(plane));
    check_hresult(sibling.aoi->PutPixel(static_cast<LONG>(inRow / whole.strides[2]),
                                        static_cast<LONG>(y), number));
    return;
  }
  if (!HasNumpy())
    throw py::type_error("without NumPy single pixels can be set, and fill() sets all");
  AsArray(Locate(self.aoi, Area::kRectangle))[key] = value;
}

template <Area area>
py::object ViewOf(const PyAoi& self) {
  return AsArray(Locate(self.aoi, area));
}

int GetBuffer(PyObject* self, Py_buffer* view, int flags) noexcept {
  try {
    const auto& aoi = py::cast<const PyAoi&>(py::handle(self)).aoi;
    return Export(Locate(aoi, Area::kRectangle), self, view, flags);
  } catch (const std::exception& error) {
    view->obj = nullptr;
    PyErr_SetString(PyExc_BufferError, error.what());
    return -1;
  }
}

}  // namespace

PyAoi::PyAoi(AnyAoi made) : PyObjectRef{made}, aoi(std::move(made)), type(nullptr) {
  CLSID classId{};
  check_hresult(aoi.as<IPersistStream>()->GetClassID(&classId));
  for (const ElementType& row : kElementTypes) {
    if (row.aoi && IsEqualGUID(*row.aoi, classId)) type = &row;
  }
  if (!type) throw Error(E_NOINTERFACE);
}

bool IsBound(const AnyAoi& aoi) {
  LONG bound = 0;
  check_hresult(aoi->get_IsBound(&bound));
  return bound != 0;
}

void ShareClientData(const AnyAoi& from, AnyAoi to) {
  to.name(from.name());
  rastelklp::Variant tag;
  check_hresult(from->get_Tag(tag.put()));
  check_hresult(to->put_Tag(tag.get()));
  to.attributes(from.attributes());
}

py::object ArrayFrom(py::handle source, bool channelsLast, int margin) {
  const com_ptr<BufferOwner> owner(new BufferOwner(source, PyBUF_FULL_RO));
  bool isForeign = false;
  Pixels from = PixelsOf(owner->view(), isForeign);
  if (channelsLast) {
    if (from.dimensions != 3)
      throw py::value_error("channels_last takes (height, width, channels)");
    std::rotate(from.shape, from.shape + 2, from.shape + 3);
    std::rotate(from.strides, from.strides + 2, from.strides + 3);
  }
  PyAoi made = Empty(from.shape, from.dimensions, *from.type, margin);
  const Pixels to = Locate(made.aoi, Area::kRectangle);
  {
    const py::gil_scoped_release others;
    CopyPixels(from, to, isForeign);
    if (margin > 0) made.aoi.fill_margins(MarginZero);
  }
  check_hresult(made.aoi->put_MarginMode(MarginNone));
  return py::cast(std::move(made));
}

void RegisterAois(py::module_& m) {
  using Class = py::class_<PyAoi, PyObjectRef>;
  Class aoi(m, "Aoi", R"(A picture, or a rectangle of one, of one or more planes.

Made by empty(), array(), attach(), load(), imread(); by crop(), tiles() and clone() on the pixels of another
one. Indexing is that of `array`: `picture[y, x]` is a number, `picture[10:20, 30:40]` a view, and assigning
writes. A single pixel takes any number, which is made to fit. memoryview(), numpy.asarray() and
numpy.from_dlpack() look at the pixels as well.)",
            Exports(&GetBuffer, [](PyObject*, Py_buffer* view) { EndExport(view); }));
  aoi.def_property_readonly(
         "shape", &Shape,
         R"((height, width) of the rectangle in pixels, or (planes, height, width) of several planes.)")
      .def_property_readonly(
          "ndim", [](const PyAoi& self) { return self.aoi.plane_count() == 1 ? 2 : 3; },
          R"(2, or 3 of several planes.)")
      .def_property_readonly(
          "dtype", [](const PyAoi& self) { return AsDtype(*self.type); },
          R"(Of the pixels: numpy.dtype, or its name where there is no NumPy.)")
      .def_property_readonly("_is_bound", [](const PyAoi& self) { return IsBound(self.aoi); })
      .def_property_readonly("_dtype_name", [](const PyAoi& self) { return self.type->name; })
      .def_property_readonly(
          "array", &ViewOf<Area::kRectangle>,
          R"(The pixels of the rectangle, to be read and written: numpy.ndarray, or a memoryview without NumPy.

Nothing is copied. The view keeps the pixels, whatever becomes of the picture: when it is deleted, loaded or bound
anew, what was there stays with the view. Raises ValueError for a rectangle that runs past the stored pixels, and
for a picture of more than 2**31 - 1 pixels; Error where there are none.)")
      .def_property_readonly(
          "padded", &ViewOf<Area::kPadded>,
          R"(The pixels of the rectangle and of the `margins` around it; else as `array`.)")
      .def_property_readonly(
          "stored", &ViewOf<Area::kStored>,
          R"(All stored pixels, the buffer's margin included, wherever the rectangle stands; else as `array`.)")
      .def_property_readonly(
          "planes", &Planes,
          R"(A view of the rectangle in each plane, of the shape (height, width); see `array`.)")
      .def_property_readonly(
          "__array_interface__",
          [](const PyAoi& self) { return ArrayInterface(Locate(self.aoi, Area::kRectangle)); })
      .def(
          "__dlpack__",
          [](const PyAoi& self, const py::object&) {
            return AsTensor(Locate(self.aoi, Area::kRectangle));
          },
          "stream"_a = py::none())
      .def("__dlpack_device__", [](const PyAoi&) { return py::make_tuple(int{kDLCPU}, 0); })
      .def("__getitem__", &GetItem)
      .def("__setitem__", &SetItem)
      .def_property(
          "_rect",
          [](const PyAoi& self) {
            const rastelklp::Rect rect = self.aoi.rectangle();
            return py::make_tuple(rect.x, rect.y, rect.width, rect.height);
          },
          [](const PyAoi& self, std::tuple<int, int, int, int> to) {
            const auto [x, y, width, height] = to;
            AnyAoi(self.aoi).rectangle({x, y, width, height});
          })
      .def_property_readonly(
          "margin", [](const PyAoi& self) { return MarginOf(self.aoi); },
          R"(Pixels that are stored around each plane, on each side, for fill_margins().)")
      .def_property(
          "margins",
          [](const PyAoi& self) {
            LONG x = 0, y = 0;
            check_hresult(self.aoi->get_MarginX(&x));
            check_hresult(self.aoi->get_MarginY(&y));
            return py::make_tuple(x, y);
          },
          [](const PyAoi& self, std::pair<int, int> to) {
            check_hresult(self.aoi->SetMargins(to.first, to.second));
          },
          R"((x, y): pixels that must be there on each side of the rectangle; see `padded`.

Setting them moves or cuts the rectangle where they are not. Raises Error for margins that leave nothing of it.)")
      .def_property(
          "margin_mode",
          [](const PyAoi& self) {
            MarginModeKLP mode{};
            check_hresult(self.aoi->get_MarginMode(&mode));
            const auto index = static_cast<std::size_t>(mode);
            return index < std::size(kMarginModes) ? py::object(py::str(kMarginModes[index]))
                                                   : py::object(py::int_(index));
          },
          [](const PyAoi& self, const std::string& mode) {
            check_hresult(self.aoi->put_MarginMode(ModeOf(mode)));
          },
          R"(What fill_margins() fills with: "none", "zero", "periodic", "mirror" or "replicate".)")
      .def_property(
          "active_plane",
          [](const PyAoi& self) {
            LONG plane = 0;
            check_hresult(self.aoi->get_ActivePlane(&plane));
            return plane;
          },
          [](const PyAoi& self, LONG plane) { check_hresult(self.aoi->put_ActivePlane(plane)); },
          R"(The plane that duplicate() copies, from 0 on. Raises IndexError for one that there is not.)")
      .def_property(
          "name", [](const PyAoi& self) { return FromValue(Value(self.aoi.name())); },
          [](const PyAoi& self, const py::str& name) {
            AnyAoi(self.aoi).name(std::get<Text>(ToValue(name)));
          },
          R"(The name, a str; "None" in a new picture.)")
      .def_property(
          "tag", [](const PyAoi& self) { return FromValue(self.aoi.tag()); },
          [](const PyAoi& self, const py::object& tag) { AnyAoi(self.aoi).tag(ToValue(tag)); },
          R"(A value of your own: None, bool, int, float, str, datetime, a rastel object, or what becomes one.)")
      .def_property(
          "attributes",
          [](const PyAoi& self) {
            const rastelklp::Map map = self.aoi.attributes();
            return map ? PyMap(map) : PyMap(self.aoi);
          },
          [](const PyAoi& self, const py::object& to) {
            AnyAoi(self.aoi).attributes(to.is_none() ? rastelklp::Map(nullptr)
                                                     : py::cast<const PyMap&>(MapFrom(to)).map);
          },
          R"(The `Map` with the picture's metadata. A picture without one gets it with the first entry.

Setting it takes a map, which is then shared, a mapping, which is copied, or None.)")
      .def("fill", &Fill, "value"_a, R"(fill(value)

Sets every pixel of the rectangle, in all planes, to a number, which is made to fit the dtype: cut at its limits
and, among integers, towards 0. Other threads run meanwhile.)")
      .def("fill_margins", &FillMargins, "mode"_a = py::none(), R"(fill_margins(mode=None)

Fills the buffer's margin around each plane from the pixels inside: "zero", "periodic", "mirror" (the edge pixel
doubled), "replicate" (the edge pixel); "none" does nothing. Without a mode, by `margin_mode`. Other threads run
meanwhile.)")
      .def("copy_to", &CopyTo, "other"_a, R"(copy_to(other)

Copies the rectangle's pixels into another picture of the same dtype, from the first pixel on as far as both
reach, plane by plane. Raises ValueError for another dtype. Other threads run meanwhile.)")
      .def("clone", &PyAoi::Sibling, R"(clone()

Another picture on the same pixels, with a rectangle of its own, and without name, tag and attributes.
copy.copy() gives it these too.)")
      .def("duplicate", &Duplicate, R"(duplicate()

A new picture with a copy of the active plane alone, and of name, tag and attributes. copy.deepcopy() copies all
planes.)")
      .def("crop", &Crop, "x"_a, "y"_a, "width"_a, "height"_a, R"(crop(x, y, width, height)

A clone that stands on a part of the rectangle, counted from its first pixel. Raises ValueError for a part that
is not inside.)")
      .def("tiles", &Tiles, "across"_a, "down"_a, R"(tiles(across, down)

A tuple of clones that cover the rectangle, row by row; the last ones take what the division leaves. Each is for
a thread of its own. Raises ValueError for counts below 1, more than 100 tiles, or tiles without a pixel.)")
      .def("__copy__", &Copy);
  m.def("_empty", &EmptyOf);
  m.def("_array", &ArrayFrom);
  m.def("_attach", &AttachTo);
}

}  // namespace rastel_python
