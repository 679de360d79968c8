// SPDX-License-Identifier: MIT
#include "python/core/pixel_types.h"

#include <rastelklp/error.h>

#include <bit>
#include <cstring>
#include <string>

namespace rastel_python {
namespace {

static_assert(std::endian::native == std::endian::little);

const ElementType* Find(auto matches) {
  for (const ElementType& type : kElementTypes) {
    if (matches(type)) return &type;
  }
  return nullptr;
}

[[noreturn]] void Refuse(const std::string& what) {
  throw py::type_error(what +
                       " is none of uint8, int8, uint16, int16, uint32, int32, float32, float64");
}

// "u2" of uint16.
std::string ShortName(const ElementType& type) { return type.kind + std::to_string(type.bytes); }

}  // namespace

const ElementType& TypeOf(ElementTypeKLP code) {
  const auto* type = Find([&](const ElementType& row) { return row.code == code; });
  if (!type) throw rastelklp::Error(E_UNEXPECTED);
  return *type;
}

const ElementType& TypeOf(std::string_view format, std::size_t bytes, bool& isForeign) {
  std::string_view letter = format;
  isForeign = false;
  if (letter.size() > 1 && std::strchr("@=<>!|", letter[0])) {
    isForeign = bytes > 1 && (letter[0] == '>' || letter[0] == '!');
    letter.remove_prefix(1);
  }
  // Sizes of letters differ between systems; the exporter tells what its elements have.
  const char kind = letter == "l" || letter == "i" || letter == "h" || letter == "b"   ? 'i'
                    : letter == "L" || letter == "I" || letter == "H" || letter == "B" ? 'u'
                    : letter == "f" || letter == "d"                                   ? 'f'
                                                                                       : 0;
  const auto* type =
      Find([&](const ElementType& row) { return row.kind == kind && row.bytes == bytes; });
  if (!type) Refuse("an element of format '" + std::string(format) + "'");
  return *type;
}

const ElementType& TypeOf(py::handle dtype) {
  std::string name;
  if (py::isinstance<py::str>(dtype)) {
    name = dtype.cast<std::string>();
    if (name.size() > 1 && std::strchr("=<|", name[0])) name.erase(0, 1);
  } else if (dtype.ptr() == reinterpret_cast<PyObject*>(&PyFloat_Type)) {
    name = "float64";
  } else if (dtype.ptr() == reinterpret_cast<PyObject*>(&PyBaseObject_Type)) {
    name = "object";
  } else if (py::hasattr(dtype, "isnative")) {
    name = py::str(dtype.attr(dtype.attr("isnative").cast<bool>() ? "name" : "str"));
  } else if (py::hasattr(dtype, "__name__")) {
    name = py::str(dtype.attr("__name__"));
  }
  const auto* type = Find([&](const ElementType& row) {
    return name == row.name || name == row.format || name == ShortName(row);
  });
  if (!type) Refuse(name.empty() ? py::repr(dtype).cast<std::string>() : "'" + name + "'");
  return *type;
}

py::object ReadElement(const ElementType& type, const void* at) {
  return WithType(type, [&]<class T>(T value) -> py::object {
    std::memcpy(&value, at, sizeof value);
    return py::reinterpret_steal<py::object>(
        std::is_floating_point_v<T> ? PyFloat_FromDouble(static_cast<double>(value))
                                    : PyLong_FromLongLong(static_cast<long long>(value)));
  });
}

}  // namespace rastel_python
