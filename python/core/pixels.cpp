// SPDX-License-Identifier: MIT
#include "python/core/pixels.h"

#include <dlpack/dlpack.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

namespace rastel_python {
namespace {

using rastelklp::check_hresult;
using rastelklp::com_ptr;

// NumPy's functions by their places in its table, which versions only add to.
struct Numpy {
  using NewFromDescr = PyObject*(PyObject* type, PyObject* dtype, int dimensions,
                                 const Py_ssize_t* shape, const Py_ssize_t* strides, void* data,
                                 int flags, PyObject* object);
  using SetBase = int(PyObject* array, PyObject* base);
  static constexpr int kWritable = 0x0400;

  PyObject* arrayType;
  NewFromDescr* newFromDescr;
  SetBase* setBase;
  PyObject* dtypes[8];
};

const Numpy* FindNumpy() {
  try {
    const auto numpy = py::module_::import("numpy");
    const int major = std::stoi(numpy.attr("__version__").cast<std::string>());
    const auto core =
        py::module_::import(major < 2 ? "numpy.core.multiarray" : "numpy._core.multiarray");
    void** const table = static_cast<void**>(
        PyCapsule_GetPointer(py::object(core.attr("_ARRAY_API")).ptr(), nullptr));
    if (!table) throw py::error_already_set();
    auto* const found = new Numpy{static_cast<PyObject*>(table[2]),
                                  reinterpret_cast<Numpy::NewFromDescr*>(table[94]),
                                  reinterpret_cast<Numpy::SetBase*>(table[282]),
                                  {}};
    for (std::size_t i = 0; i < std::size(found->dtypes); ++i) {
      found->dtypes[i] = numpy.attr("dtype")(kElementTypes[i].name).release().ptr();
    }
    return found;
  } catch (py::error_already_set& error) {
    if (!error.matches(PyExc_ImportError)) throw;
    return nullptr;
  }
}

// Looked for once. Another thread may come here while the first one imports.
const Numpy* TheNumpy() {
  static const Numpy* numpy = nullptr;
  static bool isKnown = false;
  if (!isKnown) {
    numpy = FindNumpy();
    isKnown = true;
  }
  return numpy;
}

// What an export or a tensor keeps until it is released.
struct Held {
  Pixels pixels;
  std::int64_t shape[3], strides[3];  // of a tensor, in elements
  DLManagedTensor tensor;
};

struct View {
  Pixels pixels;
};

}  // namespace

bool Pixels::IsPacked() const noexcept {
  auto step = static_cast<Py_ssize_t>(type->bytes);
  for (int i = dimensions - 1; i >= 0; --i) {
    if (shape[i] != 1 && strides[i] != step) return false;
    step *= shape[i];
  }
  return true;
}

Py_ssize_t Pixels::Bytes() const noexcept {
  auto bytes = static_cast<Py_ssize_t>(type->bytes);
  for (int i = 0; i < dimensions; ++i) bytes *= shape[i];
  return bytes;
}

Pixels Pixels::WithPlanes() const {
  Pixels whole = *this;
  if (dimensions == 2) {
    whole.dimensions = 3;
    std::copy_n(shape, 2, whole.shape + 1);
    std::copy_n(strides, 2, whole.strides + 1);
    whole.shape[0] = 1;
    whole.strides[0] = shape[0] * strides[0];
  }
  return whole;
}

Pixels Pixels::Plane(Py_ssize_t plane) const {
  Pixels one = WithPlanes();
  one.first += plane * one.strides[0];
  one.dimensions = 2;
  std::copy_n(one.shape + 1, 2, one.shape);
  std::copy_n(one.strides + 1, 2, one.strides);
  return one;
}

Pixels Locate(const rastelklp::AnyAoi& aoi, Area area) {
  const rastelklp::AnyAoi sibling = aoi.clone();
  Pixels pixels = Glance(sibling, area);
  pixels.keeper = sibling;
  return pixels;
}

Pixels Glance(const rastelklp::AnyAoi& aoi, Area area) {
  com_ptr<IImageBufferKLP> buffer;
  check_hresult(aoi->QueryInterface(IID_IImageBufferKLP, buffer.put_void()));
  ImageBlockKLP block;
  check_hresult(buffer->GetBlock(&block));
  LONG x = 0, y = 0, width = 0, height = 0, marginX = 0, marginY = 0;
  check_hresult(aoi->GetRect(&x, &y, &width, &height));
  if (area == Area::kPadded) {
    check_hresult(aoi->get_MarginX(&marginX));
    check_hresult(aoi->get_MarginY(&marginY));
    // What a change of the rectangle has cut may be below 0.
    marginX = (std::max)(marginX, LONG{0});
    marginY = (std::max)(marginY, LONG{0});
  }
  const Py_ssize_t stride = block.width + Py_ssize_t{2} * block.margin;
  const Py_ssize_t rows = block.height + Py_ssize_t{2} * block.margin;
  // In stored columns and rows.
  Py_ssize_t left = Py_ssize_t{x} + block.margin - marginX;
  Py_ssize_t top = Py_ssize_t{y} + block.margin - marginY;
  Py_ssize_t across = width + Py_ssize_t{2} * marginX;
  Py_ssize_t down = height + Py_ssize_t{2} * marginY;
  if (area == Area::kStored) {
    left = top = 0;
    across = stride;
    down = rows;
  }
  if (left < 0 || top < 0 || across < 1 || down < 1 || left + across > stride ||
      top + down > rows) {
    throw rastelklp::Error(E_INVALIDARG, "the rectangle runs past the stored pixels");
  }
  const ElementType& type = TypeOf(block.elementType);
  const auto step = static_cast<Py_ssize_t>(type.bytes);
  Pixels pixels{static_cast<std::byte*>(block.pixels) + (top * stride + left) * step,
                &type,
                3,
                {block.planes, down, across},
                {rows * stride * step, stride * step, step},
                nullptr};
  return block.planes == 1 ? pixels.Plane(0) : pixels;
}

void CopyPixels(const Pixels& from, const Pixels& to, bool turnsBytes) {
  const Pixels source = from.WithPlanes();
  const Pixels target = to.WithPlanes();
  const auto bytes = static_cast<Py_ssize_t>(source.type->bytes);
  const Py_ssize_t columns = source.shape[2];
  for (Py_ssize_t plane = 0; plane < source.shape[0]; ++plane) {
    for (Py_ssize_t row = 0; row < source.shape[1]; ++row) {
      const auto start = [&](const Pixels& pixels) {
        return pixels.first + plane * pixels.strides[0] + row * pixels.strides[1];
      };
      const std::byte* in = start(source);
      std::byte* out = start(target);
      if (source.strides[2] == bytes && !turnsBytes) {
        std::memcpy(out, in, static_cast<std::size_t>(columns * bytes));
        continue;
      }
      WithType(*source.type, [&]<class T>(T value) {
        for (Py_ssize_t column = 0; column < columns; ++column) {
          std::memcpy(&value, in + column * source.strides[2], sizeof value);
          auto* const first = reinterpret_cast<std::byte*>(&value);
          if (turnsBytes) std::reverse(first, first + sizeof value);
          std::memcpy(out + column * static_cast<Py_ssize_t>(sizeof value), &value, sizeof value);
        }
      });
    }
  }
}

bool Slice(Pixels& pixels, py::handle key) {
  const py::tuple keys =
      py::isinstance<py::tuple>(key) ? py::reinterpret_borrow<py::tuple>(key) : py::make_tuple(key);
  const auto isEllipsis = [](py::handle item) { return item.ptr() == Py_Ellipsis; };
  const auto ellipses = std::count_if(keys.begin(), keys.end(), isEllipsis);
  const auto given = static_cast<int>(keys.size()) - static_cast<int>(ellipses);
  if (ellipses > 1 || given > pixels.dimensions) throw py::index_error("too many indices");
  Pixels sliced = pixels;
  sliced.dimensions = 0;
  int from = 0;
  const auto keep = [&](Py_ssize_t count, Py_ssize_t step) {
    sliced.shape[sliced.dimensions] = count;
    sliced.strides[sliced.dimensions++] = step;
    ++from;
  };
  const auto keepUpTo = [&](int end) {
    while (from < end) keep(pixels.shape[from], pixels.strides[from]);
  };
  int left = given;
  for (const py::handle item : keys) {
    if (isEllipsis(item)) {
      keepUpTo(pixels.dimensions - left);
      continue;
    }
    --left;
    const Py_ssize_t length = pixels.shape[from], step = pixels.strides[from];
    if (PySlice_Check(item.ptr())) {
      Py_ssize_t start = 0, stop = 0, pace = 0;
      if (PySlice_Unpack(item.ptr(), &start, &stop, &pace) < 0) throw py::error_already_set();
      const Py_ssize_t count = PySlice_AdjustIndices(length, &start, &stop, pace);
      sliced.first += count > 0 ? start * step : 0;
      keep(count, step * pace);
    } else if (PyIndex_Check(item.ptr()) && !PyBool_Check(item.ptr())) {
      Py_ssize_t index = PyNumber_AsSsize_t(item.ptr(), PyExc_IndexError);
      if (index == -1 && PyErr_Occurred()) throw py::error_already_set();
      if (index < 0) index += length;
      if (index < 0 || index >= length) throw py::index_error("index out of range");
      sliced.first += index * step;
      ++from;
    } else {
      return false;
    }
  }
  keepUpTo(pixels.dimensions);
  pixels = std::move(sliced);
  return true;
}

bool HasNumpy() { return TheNumpy() != nullptr; }

py::object AsDtype(const ElementType& type) {
  const Numpy* const numpy = TheNumpy();
  if (!numpy || type.code == ElementVariant) return py::str(type.name);
  return py::reinterpret_borrow<py::object>(numpy->dtypes[&type - kElementTypes]);
}

py::object AsMemory(const Pixels& pixels) {
  auto memory =
      py::reinterpret_steal<py::object>(PyMemoryView_FromObject(py::cast(View{pixels}).ptr()));
  if (!memory) throw py::error_already_set();
  return memory;
}

py::object AsArray(const Pixels& pixels) {
  const Numpy* const numpy = TheNumpy();
  if (!numpy) return AsMemory(pixels);
  PyObject* const dtype = numpy->dtypes[pixels.type - kElementTypes];
  Py_INCREF(dtype);
  auto array = py::reinterpret_steal<py::object>(
      numpy->newFromDescr(numpy->arrayType, dtype, pixels.dimensions, pixels.shape, pixels.strides,
                          pixels.first, Numpy::kWritable, nullptr));
  if (!array) throw py::error_already_set();
  IUnknown* const keeper = pixels.keeper.get();
  PyObject* const base = PyCapsule_New(keeper, "rastel.pixels", [](PyObject* capsule) {
    static_cast<IUnknown*>(PyCapsule_GetPointer(capsule, "rastel.pixels"))->Release();
  });
  if (!base) throw py::error_already_set();
  keeper->AddRef();
  if (numpy->setBase(array.ptr(), base) != 0) throw py::error_already_set();
  return array;
}

int Export(Pixels pixels, PyObject* exporter, Py_buffer* view, int flags) noexcept {
  const auto asks = [&](int flag) { return (flags & flag) == flag; };
  const char* refusal = nullptr;
  if (!pixels.IsPacked()) {
    if (asks(PyBUF_C_CONTIGUOUS) || asks(PyBUF_ANY_CONTIGUOUS) || !asks(PyBUF_STRIDES)) {
      refusal = "the rows are not packed";
    }
  } else if (asks(PyBUF_F_CONTIGUOUS) && !asks(PyBUF_C_CONTIGUOUS)) {
    refusal = "the rows are stored one after the other";
  }
  auto* const held = refusal ? nullptr : new (std::nothrow) Held{std::move(pixels), {}, {}, {}};
  if (!held) {
    view->obj = nullptr;
    refusal ? PyErr_SetString(PyExc_BufferError, refusal) : PyErr_SetNone(PyExc_MemoryError);
    return -1;
  }
  Pixels& kept = held->pixels;
  view->buf = kept.first;
  view->len = kept.Bytes();
  view->readonly = 0;
  view->itemsize = static_cast<Py_ssize_t>(kept.type->bytes);
  view->format = asks(PyBUF_FORMAT) ? const_cast<char*>(kept.type->format) : nullptr;
  view->ndim = asks(PyBUF_ND) ? kept.dimensions : 1;
  view->shape = asks(PyBUF_ND) ? kept.shape : nullptr;
  view->strides = asks(PyBUF_STRIDES) ? kept.strides : nullptr;
  view->suboffsets = nullptr;
  view->internal = held;
  view->obj = exporter;
  Py_INCREF(exporter);
  return 0;
}

void EndExport(Py_buffer* view) noexcept { delete static_cast<Held*>(view->internal); }

py::dict ArrayInterface(const Pixels& pixels) {
  py::tuple shape(static_cast<std::size_t>(pixels.dimensions));
  py::tuple strides(shape.size());
  for (std::size_t i = 0; i < shape.size(); ++i) {
    shape[i] = pixels.shape[i];
    strides[i] = pixels.strides[i];
  }
  // As one run of bytes, which holds the pixels; an address would not.
  Pixels run = pixels;
  run.type = &TypeOf(ElementByte);
  run.dimensions = 1;
  run.shape[0] = static_cast<Py_ssize_t>(pixels.type->bytes);
  run.strides[0] = 1;
  for (int i = 0; i < pixels.dimensions; ++i) {
    run.shape[0] += (pixels.shape[i] - 1) * pixels.strides[i];
  }
  py::dict description;
  description["version"] = 3;
  description["typestr"] = (pixels.type->bytes == 1 ? "|" : "<") +
                           std::string(1, pixels.type->kind) + std::to_string(pixels.type->bytes);
  description["shape"] = shape;
  description["strides"] = strides;
  description["data"] = AsMemory(run);
  return description;
}

py::capsule AsTensor(const Pixels& pixels) {
  auto held = std::make_unique<Held>(Held{pixels, {}, {}, {}});
  const ElementType& type = *pixels.type;
  for (int i = 0; i < pixels.dimensions; ++i) {
    held->shape[i] = pixels.shape[i];
    held->strides[i] = pixels.strides[i] / static_cast<Py_ssize_t>(type.bytes);
  }
  const auto kind = static_cast<std::uint8_t>(type.kind == 'f'   ? kDLFloat
                                              : type.kind == 'i' ? kDLInt
                                                                 : kDLUInt);
  DLManagedTensor& tensor = held->tensor;
  tensor.dl_tensor = {pixels.first,
                      {kDLCPU, 0},
                      pixels.dimensions,
                      {kind, static_cast<std::uint8_t>(8 * type.bytes), 1},
                      held->shape,
                      held->strides,
                      0};
  tensor.manager_ctx = held.get();
  tensor.deleter = [](DLManagedTensor* self) { delete static_cast<Held*>(self->manager_ctx); };
  PyObject* const capsule = PyCapsule_New(&held->tensor, "dltensor", [](PyObject* unused) {
    // One that was taken has another name.
    if (!PyCapsule_IsValid(unused, "dltensor")) return;
    auto* const left = static_cast<DLManagedTensor*>(PyCapsule_GetPointer(unused, "dltensor"));
    left->deleter(left);
  });
  if (!capsule) throw py::error_already_set();
  static_cast<void>(held.release());
  return py::reinterpret_steal<py::capsule>(capsule);
}

py::custom_type_setup Exports(getbufferproc get, releasebufferproc release) {
  return py::custom_type_setup([get, release](PyHeapTypeObject* type) {
    type->as_buffer = {get, release};
    type->ht_type.tp_as_buffer = &type->as_buffer;
  });
}

void RegisterViews(py::module_& m) {
  const auto get = [](PyObject* self, Py_buffer* view, int flags) {
    return Export(py::cast<const View&>(py::handle(self)).pixels, self, view, flags);
  };
  const auto release = [](PyObject*, Py_buffer* view) { EndExport(view); };
  py::class_<View>(m, "_View", Exports(get, release));
}

}  // namespace rastel_python
