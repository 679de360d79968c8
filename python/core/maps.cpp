// SPDX-License-Identifier: MIT
#include "python/core/objects.h"

namespace rastel_python {
namespace {

using namespace py::literals;
using rastelklp::check_hresult;
using rastelklp::Map;
using rastelklp::Value;

// The map, which an unborn one becomes; a picture may have got another one meanwhile.
const Map& Born(PyMap& self) {
  if (self.map) return self.map;
  Map map = self.pending.attributes();
  if (!map) {
    map = Map();
    self.pending.attributes(map);
  }
  self = PyMap(std::move(map));
  return self.map;
}

// The map if there is one by now.
const Map& Seen(PyMap& self) {
  if (!self.map) {
    if (Map map = self.pending.attributes()) self = PyMap(std::move(map));
  }
  return self.map;
}

KeyKindKLP KindOf(PyMap& self) {
  const Map& map = Seen(self);
  return map ? map.key_kind() : KeyKindBstr;
}

// The type that keys of a kind have in Python.
PyTypeObject* KeyType(KeyKindKLP kind) {
  return kind == KeyKindBstr ? &PyUnicode_Type : kind == KeyKindLong ? &PyLong_Type : &PyFloat_Type;
}

KeyKindKLP KindOf(py::handle keyType) {
  for (const KeyKindKLP kind : {KeyKindBstr, KeyKindLong, KeyKindDouble}) {
    if (keyType.ptr() == reinterpret_cast<PyObject*>(KeyType(kind))) return kind;
  }
  throw py::type_error("keys of a map are all str, all int or all float");
}

// False for a key that no map of this kind can have.
bool AsKey(KeyKindKLP kind, py::handle key, Value& made) {
  PyObject* const raw = key.ptr();
  if (kind == KeyKindBstr) {
    if (!PyUnicode_Check(raw)) return false;
    made = ToValue(key);
    return true;
  }
  if (PyBool_Check(raw)) return false;
  if (kind == KeyKindLong) {
    if (!PyIndex_Check(raw)) return false;
    made = ToValue(key);
    return std::holds_alternative<std::int32_t>(made);
  }
  if (!PyFloat_Check(raw) && !PyIndex_Check(raw)) return false;
  const double number = PyFloat_AsDouble(raw);
  if (PyErr_Occurred()) throw py::error_already_set();
  made = Value(number);
  return true;
}

[[noreturn]] void RaiseKeyError(py::handle key) {
  PyErr_SetObject(PyExc_KeyError, key.ptr());
  throw py::error_already_set();
}

py::object GetItem(PyMap& self, const py::object& key) {
  Value wanted;
  const Map& map = Seen(self);
  if (map && AsKey(map.key_kind(), key, wanted)) {
    if (const auto found = map.find(wanted)) return FromValue(*found);
  }
  RaiseKeyError(key);
}

void SetItem(PyMap& self, const py::object& key, const py::object& value) {
  Value wanted;
  const KeyKindKLP kind = KindOf(self);
  if (!AsKey(kind, key, wanted)) {
    throw py::type_error("keys of this map are " + std::string(KeyType(kind)->tp_name) +
                         (kind == KeyKindLong ? " of 32 bits" : ""));
  }
  const Value held = ToValue(value);
  Map(Born(self)).insert_or_assign(wanted, held);
}

void DeleteItem(PyMap& self, const py::object& key) {
  Value wanted;
  Map map = Seen(self);
  if (!map || !AsKey(map.key_kind(), key, wanted) || !map.erase(wanted)) RaiseKeyError(key);
}

bool Contains(PyMap& self, const py::object& key) {
  Value wanted;
  const Map& map = Seen(self);
  return map && AsKey(map.key_kind(), key, wanted) && map.contains(wanted);
}

py::list Keys(PyMap& self) {
  py::list keys;
  if (const Map& map = Seen(self)) {
    for (const auto& [key, value] : map.entries()) keys.append(FromValue(key));
  }
  return keys;
}

py::object Made(const py::object& entries, const py::object& keyType) {
  py::object given = entries;
  if (!py::hasattr(given, "keys")) given = py::dict(given);
  KeyKindKLP kind = KeyKindBstr;
  if (!keyType.is_none()) {
    kind = KindOf(keyType);
  } else if (py::isinstance<PyMap>(given)) {
    kind = KindOf(given.cast<PyMap&>());
  } else {
    for (const py::handle key : given) {
      kind = KindOf(py::handle(reinterpret_cast<PyObject*>(Py_TYPE(key.ptr()))));
      break;
    }
  }
  PyMap made{Map(kind)};
  for (const py::handle key : given) {
    const auto held = py::reinterpret_borrow<py::object>(key);
    SetItem(made, held, given[held]);
  }
  return py::cast(std::move(made));
}

}  // namespace

py::object MapFrom(py::handle source) {
  if (py::isinstance<PyMap>(source)) {
    Born(source.cast<PyMap&>());
    return py::reinterpret_borrow<py::object>(source);
  }
  return Made(py::reinterpret_borrow<py::object>(source), py::none());
}

void RegisterMaps(py::module_& m) {
  py::class_<PyMap, PyObjectRef>(m, "Map", R"(Map(entries=(), key_type=None)

Values by keys, which are all str, all int (of 32 bits) or all float, in ascending order.

entries: a mapping, or pairs. key_type: str, int or float; that of the first key, or str.

It is a MutableMapping. Values are what `Aoi.tag` takes: mappings become maps, lists and tuples vectors of values,
bytes and arrays of one dimension vectors, arrays of two or three pictures; objects are shared. Any thread may
use a map.)")
      .def(py::init([](const py::object& entries, const py::object& keyType) {
             return Made(entries, keyType).cast<PyMap>();
           }),
           "entries"_a = py::tuple(), "key_type"_a = py::none())
      .def("__getitem__", &GetItem)
      .def("__setitem__", &SetItem)
      .def("__delitem__", &DeleteItem)
      .def("__contains__", &Contains)
      .def("__len__", [](PyMap& self) { return Seen(self) ? self.map.size() : 0; })
      .def("__iter__", [](PyMap& self) { return py::iter(Keys(self)); })
      .def(
          "clear",
          [](PyMap& self) {
            if (Seen(self)) self.map.clear();
          },
          R"(clear()

Removes all entries.)")
      .def_property_readonly(
          "key_type",
          [](PyMap& self) {
            return py::reinterpret_borrow<py::object>(
                reinterpret_cast<PyObject*>(KeyType(KindOf(self))));
          },
          R"(str, int or float.)")
      .def_property(
          "override",
          [](PyMap& self) {
            if (!Seen(self)) return true;
            VARIANT_BOOL replaces = VARIANT_TRUE;
            check_hresult(self.map->get_OverrideMode(&replaces));
            return replaces != VARIANT_FALSE;
          },
          [](PyMap& self, bool to) {
            check_hresult(Born(self)->put_OverrideMode(to ? VARIANT_TRUE : VARIANT_FALSE));
          },
          R"(Whether setting a key that is there replaces its value; if not it raises Error. True in a new map.)");
}

}  // namespace rastel_python
