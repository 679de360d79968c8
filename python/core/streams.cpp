// SPDX-License-Identifier: MIT
// Objects in files and in bytes, and as pickles.
//
// A pickle of a picture carries its rectangle with the margins that it asks for; of a whole picture
// with a margin of its own, that too. With protocol 5 the pixels are a buffer beside the pickle,
// and name, tag and attributes a stream of an AOI without pixels; below it all of that is one
// stream. A few numbers put the rectangle back to where a load does not.
#include <cstring>

#include "interfaces/image_buffer.h"
#include "python/core/objects.h"
#include "python/core/owners.h"
#include "python/core/pixels.h"
#include "python/core/quiet.h"

namespace rastel_python {
namespace {

using namespace py::literals;
using rastelklp::AnyAoi;
using rastelklp::check_hresult;
using rastelklp::com_ptr;
using rastelklp::Object;

// Counts what is written, or writes it to where there is room for as much.
class BytesWriter final : public rastelklp::detail::StreamObject<BytesWriter> {
 public:
  explicit BytesWriter(char* target = nullptr, std::size_t room = SIZE_MAX) noexcept
      : target_(target), room_(room) {}

  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* written) noexcept override {
    const std::size_t count = std::min<std::size_t>(bytes, room_ - size_);
    if (target_ && count > 0) std::memcpy(target_ + size_, data, count);
    size_ += count;
    if (written) *written = static_cast<ULONG>(count);
    return count == bytes ? S_OK : STG_E_MEDIUMFULL;
  }
  STDMETHODIMP Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) noexcept override { return E_NOTIMPL; }
  std::size_t size() const noexcept { return size_; }

 private:
  char* target_;
  std::size_t room_;
  std::size_t size_ = 0;
};

py::bytes BytesOf(const Object& object, bool mayOthersRun) {
  const com_ptr<BytesWriter> counter(new BytesWriter);
  WithOthers(mayOthersRun, [&] { rastelklp::save(object, counter); });
  auto bytes = py::reinterpret_steal<py::bytes>(
      PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(counter->size())));
  if (!bytes) throw py::error_already_set();
  const com_ptr<BytesWriter> writer(
      new BytesWriter(PyBytes_AS_STRING(bytes.ptr()), counter->size()));
  WithOthers(mayOthersRun, [&] { rastelklp::save(object, writer); });
  // An object may have less to say the second time.
  if (writer->size() < counter->size()) throw rastelklp::Error(STG_E_WRITEFAULT);
  return bytes;
}

Object Known(const py::object& object) {
  Object known = Unwrap(object);
  if (!known) throw py::type_error("only objects of this package can be saved");
  return known;
}

py::bytes Dumps(const py::object& object) {
  const Quiet quiet(Known(object));
  return BytesOf(quiet.object(), quiet.MayOthersRun());
}

void Save(const py::object& object, const py::object& target) {
  const auto path = PathOf(target);
  if (!path) {
    target.attr("write")(Dumps(object));
    return;
  }
  const Quiet quiet(Known(object));
  WithOthers(quiet.MayOthersRun(), [&] { rastelklp::save(quiet.object(), *path); });
}

Object Loaded(py::handle data) {
  // The exporter keeps its size meanwhile.
  const com_ptr<BufferOwner> owner(new BufferOwner(data, PyBUF_SIMPLE));
  const std::span bytes(static_cast<const std::byte*>(owner->view().buf),
                        static_cast<std::size_t>(owner->view().len));
  return WithOthers(true, [&] { return rastelklp::load<IUnknown>(bytes); });
}

py::object Loads(const py::object& data) { return Wrap(Loaded(data)); }

py::object Load(const py::object& source) {
  const auto path = PathOf(source);
  if (!path) return Loads(source.attr("read")());
  return Wrap(WithOthers(true, [&] { return rastelklp::load<IUnknown>(*path); }));
}

// Names of classes, or their identifiers in braces. All are looked up before anything changes.
void AllowOnly(const py::iterable& names) {
  std::vector<CLSID> classes;
  for (const py::handle name : names) {
    const auto text = name.cast<std::string>();
    const HRESULT found = CLSIDFromString(rastelklp::Text(text).get(), &classes.emplace_back());
    if (FAILED(found)) throw rastelklp::Error(found, text + ": " + rastelklp::Error(found).text());
  }
  rastelklp::allow_only(classes);
}

// Loads into an object of the same class. The interpreter is held: others may use the object.
void LoadInto(const PyObjectRef& self, const py::object& data) {
  RefuseIfPinned(self.object);
  const com_ptr<BufferOwner> owner(new BufferOwner(data, PyBUF_SIMPLE));
  const std::span bytes(static_cast<const std::byte*>(owner->view().buf),
                        static_cast<std::size_t>(owner->view().len));
  const com_ptr<IStream> stream(
      new rastelklp::detail::ByteView(rastelklp::detail::BorrowedBytes(bytes)));
  const com_ptr<rastelklp::detail::WatchedStream> watched(
      new rastelklp::detail::WatchedStream(stream));
  const auto persist = self.object.as<IPersistStream>();
  CLSID own{}, stored{};
  check_hresult(persist->GetClassID(&own));
  check_hresult(ReadClassStm(watched.get(), &stored));
  if (!IsEqualGUID(own, stored)) throw py::value_error("the stream is of another class");
  check_hresult(persist->Load(watched.get()));
  check_hresult(watched->failure());
}

// What a pickle of a picture tells beside stream and pixels.
struct Place {
  LONG planes, width, height, margin;  // of the block that is carried
  LONG x, y, across, down;             // the rectangle in it
  LONG marginX, marginY, mode, flags, activePlane;

  py::tuple AsTuple() const {
    return py::make_tuple(planes, width, height, margin, x, y, across, down, marginX, marginY, mode,
                          flags, activePlane);
  }
  static Place From(const py::tuple& tuple) {
    LONG fields[13];
    if (tuple.size() != std::size(fields)) throw py::value_error("not a pickle of a picture");
    for (std::size_t i = 0; i < std::size(fields); ++i) fields[i] = tuple[i].cast<LONG>();
    Place place;
    std::memcpy(&place, fields, sizeof place);
    return place;
  }
};

// The pixels that are carried, and how they are to stand.
struct Carried {
  Place place;
  Pixels pixels;
};

Carried CarriedBy(const AnyAoi& aoi) {
  ImageBlockKLP block;
  check_hresult(aoi.as<IImageBufferKLP>()->GetBlock(&block));
  const rastelklp::Rect rect = aoi.rectangle();
  Place place{};
  check_hresult(aoi->get_MarginX(&place.marginX));
  check_hresult(aoi->get_MarginY(&place.marginY));
  MarginModeKLP mode{};
  MarshalFlagsKLP flags{};
  check_hresult(aoi->get_MarginMode(&mode));
  check_hresult(aoi->get_MarshalFlags(&flags));
  check_hresult(aoi->get_ActivePlane(&place.activePlane));
  place.mode = mode;
  place.flags = flags & 1;
  place.planes = block.planes;
  place.across = rect.width;
  place.down = rect.height;
  const bool isWhole = rect == rastelklp::Rect{0, 0, block.width, block.height};
  if (isWhole) {
    place.width = block.width;
    place.height = block.height;
    place.margin = block.margin;
    return {place, Locate(aoi, Area::kStored)};
  }
  place.marginX = (std::max)(place.marginX, LONG{0});
  place.marginY = (std::max)(place.marginY, LONG{0});
  place.x = place.marginX;
  place.y = place.marginY;
  place.width = rect.width + 2 * place.marginX;
  place.height = rect.height + 2 * place.marginY;
  return {place, Locate(aoi, Area::kPadded)};
}

// A new AOI over a block that an owner keeps, standing as it was told.
AnyAoi Placed(const ElementType& type, const Place& place, void* pixels, IUnknown* owner) {
  if (!type.aoi) throw py::value_error("not a pickle of a picture");
  const ImageBlockKLP block{pixels,       place.planes, place.width,
                            place.height, place.margin, type.code};
  AnyAoi aoi = rastelklp::create<AnyAoi>(*type.aoi);
  check_hresult(aoi.as<IImageBufferKLP>()->AttachBlock(&block, owner));
  return aoi;
}

void Stand(AnyAoi& aoi, const Place& place) {
  aoi.rectangle({place.x, place.y, place.across, place.down});
  if (place.marginX > 0 || place.marginY > 0) {
    check_hresult(aoi->SetMargins(place.marginX, place.marginY));
  }
  check_hresult(aoi->put_MarginMode(static_cast<MarginModeKLP>(place.mode)));
  check_hresult(aoi->put_MarshalFlags(static_cast<MarshalFlagsKLP>(place.flags)));
  check_hresult(aoi->put_ActivePlane(place.activePlane));
}

// Name, tag and attributes as the stream of an AOI without pixels; None where all are as in a new
// one.
py::object ClientDataOf(const PyAoi& self) {
  AnyAoi bare = rastelklp::create<AnyAoi>(*self.type->aoi);
  const rastelklp::Text fresh = bare.name();
  ShareClientData(self.aoi, bare);
  if (bare.name() == fresh && bare.tag().empty() && !bare.attributes()) return py::none();
  return BytesOf(bare, false);
}

void TakeClientData(const py::object& data, const AnyAoi& aoi) {
  if (data.is_none()) return;
  ShareClientData(Loaded(data).as<AnyAoi>(), aoi);
}

// Packed pixels in memory of Python.
py::object PackedCopy(const Pixels& pixels) {
  auto bytes =
      py::reinterpret_steal<py::object>(PyByteArray_FromStringAndSize(nullptr, pixels.Bytes()));
  if (!bytes) throw py::error_already_set();
  Pixels target = pixels;
  target.first = reinterpret_cast<std::byte*>(PyByteArray_AS_STRING(bytes.ptr()));
  auto step = static_cast<Py_ssize_t>(pixels.type->bytes);
  for (int i = pixels.dimensions - 1; i >= 0; --i) {
    target.strides[i] = step;
    step *= target.shape[i];
  }
  WithOthers(true, [&] { CopyPixels(pixels, target); });
  return bytes;
}

// Bytes that can be written to and lie as pixels have to are kept; others are copied.
PyAoi FromPixels(const std::string& dtype, const py::tuple& where, const py::object& pixels,
                 const py::object& clientData) {
  PythonOwner::LetGoOfWaiting();
  const ElementType& type = TypeOf(py::str(dtype));
  const Place place = Place::From(where);
  com_ptr<BufferOwner> owner(new BufferOwner(pixels, PyBUF_SIMPLE));
  const auto isUsable = [&] {
    return !owner->view().readonly &&
           reinterpret_cast<std::uintptr_t>(owner->view().buf) % type.bytes == 0;
  };
  if (!isUsable()) {
    const auto copy = py::reinterpret_steal<py::object>(PyByteArray_FromObject(pixels.ptr()));
    if (!copy) throw py::error_already_set();
    owner = new BufferOwner(copy, PyBUF_SIMPLE);
  }
  const auto side = [&](LONG length) { return length + std::int64_t{2} * place.margin; };
  const std::int64_t elements =
      rastelklp::detail::CheckedPixels(place.planes, side(place.width), side(place.height));
  if (static_cast<std::size_t>(elements) * type.bytes !=
      static_cast<std::size_t>(owner->view().len)) {
    throw py::value_error("not as many pixels as the sizes say");
  }
  PyAoi made(Placed(type, place, owner->view().buf, owner.get()));
  TakeClientData(clientData, made.aoi);
  Stand(made.aoi, place);
  return made;
}

PyAoi FromStream(const py::tuple& where, const py::object& stream) {
  const Place place = Place::From(where);
  PyAoi loaded(Loaded(stream).as<AnyAoi>());
  if (place.margin > 0) {
    ImageBlockKLP block;
    check_hresult(loaded.aoi.as<IImageBufferKLP>()->GetBlock(&block));
    const auto side = [&](LONG length) { return length + std::int64_t{2} * place.margin; };
    if (block.width != side(place.width) || block.height != side(place.height) ||
        block.planes != place.planes || block.margin != 0) {
      throw py::value_error("not as many pixels as the sizes say");
    }
    // The margin is a matter of how the same pixels are looked at.
    const AnyAoi keeper = loaded.aoi.clone();
    PyAoi placed(Placed(*loaded.type, place, block.pixels, keeper.get()));
    ShareClientData(loaded.aoi, placed.aoi);
    loaded = std::move(placed);
  }
  Stand(loaded.aoi, place);
  return loaded;
}

// The stream of a picture with exactly the pixels that are carried.
py::bytes StreamOf(const PyAoi& self, const Carried& carried) {
  AnyAoi carrier = self.aoi.clone();
  const Place& place = carried.place;
  if (place.margin > 0) {
    Place packed = place;
    packed.width += 2 * place.margin;
    packed.height += 2 * place.margin;
    packed.margin = 0;
    carrier = Placed(*self.type, packed, carried.pixels.first, carried.pixels.keeper.get());
  }
  check_hresult(carrier->put_MarshalFlags(MarshalRectangle));
  for (LONG plane = 0; plane < place.planes; ++plane) {
    check_hresult(carrier->put_PlaneSelected(plane, 1));
  }
  ShareClientData(self.aoi, carrier);
  const Quiet quiet(carrier);
  return BytesOf(quiet.object(), quiet.MayOthersRun());
}

// Pickles name functions of Python; those of an extension cannot be named.
py::object Function(const char* name) { return py::module_::import("rastel._pickles").attr(name); }

py::tuple ReduceAoi(const py::object& object, int protocol) {
  const auto& self = object.cast<const PyAoi&>();
  if (!IsBound(self.aoi))
    return py::make_tuple(Function("from_stream"), py::make_tuple(Dumps(object)));
  const Carried carried = CarriedBy(self.aoi);
  if (protocol < 5) {
    return py::make_tuple(Function("picture_from_stream"),
                          py::make_tuple(carried.place.AsTuple(), StreamOf(self, carried)));
  }
  const py::object pixels = carried.pixels.IsPacked()
                                ? py::reinterpret_steal<py::object>(
                                      PyPickleBuffer_FromObject(AsMemory(carried.pixels).ptr()))
                                : py::reinterpret_steal<py::object>(
                                      PyPickleBuffer_FromObject(PackedCopy(carried.pixels).ptr()));
  if (!pixels) throw py::error_already_set();
  return py::make_tuple(
      Function("picture_from_pixels"),
      py::make_tuple(self.type->name, carried.place.AsTuple(), pixels, ClientDataOf(self)));
}

py::tuple ReduceVector(const py::object& object, int protocol) {
  const auto& self = object.cast<const PyVector&>();
  LONG tags = 0;
  VARIANT* first = nullptr;
  check_hresult(self.vector->GetTagPointer(&tags, &first));
  if (protocol < 5 || tags > 0 || self.type->code == ElementVariant) {
    return py::make_tuple(Function("from_stream"), py::make_tuple(Dumps(object)));
  }
  const auto elements = py::reinterpret_steal<py::object>(PyPickleBuffer_FromObject(object.ptr()));
  if (!elements) throw py::error_already_set();
  return py::make_tuple(Function("vector_from_elements"),
                        py::make_tuple(self.type->name, elements));
}

py::object FromElements(const std::string& dtype, const py::object& elements) {
  const auto flat =
      py::memoryview(elements).attr("cast")("B").attr("cast")(TypeOf(py::str(dtype)).format);
  return VectorFrom(flat, nullptr);
}

py::tuple Reduce(const py::object& object, int protocol) {
  if (py::isinstance<PyAoi>(object)) return ReduceAoi(object, protocol);
  if (py::isinstance<PyVector>(object)) return ReduceVector(object, protocol);
  const char* const function =
      py::isinstance<PyMap>(object) ? "from_stream" : "by_name_from_stream";
  return py::make_tuple(Function(function), py::make_tuple(Dumps(object)));
}

// Pixels, name, tag and attributes of its own, without a stream for the pixels.
PyAoi DeepCopy(const PyAoi& self) {
  if (!IsBound(self.aoi)) {
    PyAoi copy(rastelklp::create<AnyAoi>(*self.type->aoi));
    TakeClientData(ClientDataOf(self), copy.aoi);
    return copy;
  }
  const Carried carried = CarriedBy(self.aoi);
  const Place& place = carried.place;
  PyAoi copy(rastelklp::create<AnyAoi>(*self.type->aoi));
  check_hresult(copy.aoi->put_BufferMargin(place.margin));
  check_hresult(copy.aoi->CreatePlanes(place.planes, place.width, place.height));
  const Pixels target = Locate(copy.aoi, Area::kStored);
  WithOthers(true, [&] { CopyPixels(carried.pixels, target); });
  TakeClientData(ClientDataOf(self), copy.aoi);
  Stand(copy.aoi, place);
  return copy;
}

py::object DeepCopyOf(const py::object& self, const py::object&) {
  if (py::isinstance<PyAoi>(self)) return py::cast(DeepCopy(self.cast<const PyAoi&>()));
  const Object copy = Loaded(Dumps(self));
  return py::isinstance<PyMap>(self) ? Wrap(copy) : MakeDispatch(copy);
}

}  // namespace

std::optional<rastelklp::Path> PathOf(const py::object& target) {
  if (!py::isinstance<py::str>(target) && !py::hasattr(target, "__fspath__")) return std::nullopt;
  const py::object path = py::module_::import("os").attr("fspath")(target);
  if (py::isinstance<py::str>(path)) {
    const auto text = py::reinterpret_steal<py::bytes>(PyUnicode_EncodeFSDefault(path.ptr()));
    if (!text) throw py::error_already_set();
    return rastelklp::Path(text.cast<std::string>());
  }
  return rastelklp::Path(path.cast<std::string>());
}

void RegisterStreams(py::module_& m) {
  m.def("_save", &Save);
  m.def("_load", &Load);
  m.def("_dumps", &Dumps);
  m.def("_loads", &Loads);
  m.def("_allow_only", &AllowOnly);
  m.def("_allow_all", &rastelklp::allow_all);
  m.def("_picture_from_pixels", &FromPixels);
  m.def("_picture_from_stream", &FromStream);
  m.def("_vector_from_elements", &FromElements);
  py::class_<PyObjectRef>(
      m, "Object", R"(A reference to an object of the module, or of any other registered class.

Two references to the same object are equal. Every object that can be saved can be pickled and deep-copied.)")
      .def("load", &LoadInto, "data"_a, R"(load(data)

Replaces what the object holds by what a stream of its own class says; data is what dumps() gives. Views of what
it held stay as they are. Raises ValueError for a stream of another class, BufferError for a vector that is
exported.)")
      .def("__reduce_ex__", &Reduce, "protocol"_a)
      .def("__deepcopy__", &DeepCopyOf, "memo"_a)
      .def("__eq__",
           [](const PyObjectRef& self, const py::object& other) -> py::object {
             const Object object = Unwrap(other);
             if (!object) return py::reinterpret_borrow<py::object>(Py_NotImplemented);
             return py::bool_(Identity(self.object) == Identity(object));
           })
      .def("__hash__", [](const PyObjectRef& self) {
        return reinterpret_cast<std::intptr_t>(Identity(self.object)) >> 4;
      });
}

}  // namespace rastel_python
