// SPDX-License-Identifier: MIT
#include <cmath>

#include "python/core/objects.h"

namespace rastel_python {
namespace {

using rastelklp::check_hresult;
using rastelklp::Object;
using rastelklp::Text;
using rastelklp::Value;
using rastelklp::Variant;

// Days of VT_DATE begin there; its hours count away from midnight, also before that day.
constexpr const char* kFirstDay = "1899-12-30";
constexpr double kMicrosecondsOfDay = 86400e6;

py::object FromDate(double date) {
  const auto datetime = py::module_::import("datetime");
  const double day = std::trunc(date);
  const double microseconds = std::round(std::abs(date - day) * kMicrosecondsOfDay);
  return datetime.attr("datetime").attr("fromisoformat")(kFirstDay) +
         datetime.attr("timedelta")(day, 0, microseconds);
}

Value ToDate(py::handle object) {
  const auto datetime = py::module_::import("datetime");
  const py::object since =
      py::reinterpret_borrow<py::object>(object).attr("replace")(py::arg("tzinfo") = py::none()) -
      datetime.attr("datetime").attr("fromisoformat")(kFirstDay);
  const auto days = since.attr("days").cast<double>();
  const double part =
      (since.attr("seconds").cast<double>() * 1e6 + since.attr("microseconds").cast<double>()) /
      kMicrosecondsOfDay;
  Variant date;
  date.address()->vt = VT_DATE;
  date.address()->date = days < 0 && part > 0 ? days - part : days + part;
  return Value(std::move(date));
}

py::list FromArray(SAFEARRAY* array) {
  py::list values;
  VARTYPE type = VT_EMPTY;
  LONG first = 0, last = -1;
  check_hresult(SafeArrayGetVartype(array, &type));
  check_hresult(SafeArrayGetLBound(array, 1, &first));
  check_hresult(SafeArrayGetUBound(array, 1, &last));
  for (LONG i = first; i <= last; ++i) {
    Variant element;
    VARIANT* const raw = element.address();
    const bool isVariant = type == VT_VARIANT;
    check_hresult(SafeArrayGetElement(array, &i, isVariant ? static_cast<void*>(raw) : &raw->lVal));
    if (!isVariant) raw->vt = type;
    values.append(FromValue(Value(std::move(element))));
  }
  return values;
}

// What the alternatives do not hold.
py::object FromVariant(const Variant& value) {
  const VARIANT& raw = value.get();
  if ((raw.vt & VT_ARRAY) != 0 && SafeArrayGetDim(raw.parray) == 1) return FromArray(raw.parray);
  if (raw.vt == VT_DATE) return FromDate(raw.date);
  if (raw.vt == VT_UI8) return py::int_(static_cast<unsigned long long>(raw.ullVal));
  if (raw.vt == VT_NULL) return py::none();
  Variant text;
  check_hresult(
      VariantChangeTypeEx(text.address(), const_cast<VARIANT*>(&raw), 0x0409, 0, VT_BSTR));
  const py::object words = FromValue(Value(std::move(text)));
  if (raw.vt != VT_CY && raw.vt != VT_DECIMAL) return words;
  return py::module_::import("decimal").attr("Decimal")(words);
}

Value ToInteger(py::handle object) {
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(object.ptr(), &overflow);
  if (number == -1 && PyErr_Occurred()) throw py::error_already_set();
  if (overflow == 0) {
    return number == static_cast<std::int32_t>(number) ? Value(static_cast<std::int32_t>(number))
                                                       : Value(static_cast<std::int64_t>(number));
  }
  Variant wide;
  wide.address()->ullVal = PyLong_AsUnsignedLongLong(object.ptr());
  if (PyErr_Occurred()) throw py::error_already_set();
  wide.address()->vt = VT_UI8;
  return Value(std::move(wide));
}

py::object FromText(const Text& text) {
  return py::reinterpret_steal<py::object>(
      PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(text.get()),
                            static_cast<Py_ssize_t>(SysStringLen(text.get()) * sizeof(OLECHAR)),
                            "surrogatepass", nullptr));
}

Text ToText(py::handle object) {
  const auto units = py::reinterpret_steal<py::bytes>(
      PyUnicode_AsEncodedString(object.ptr(), "utf-16-le", "surrogatepass"));
  if (!units) throw py::error_already_set();
  const std::string_view bytes = units;
  Text text;
  text.attach(SysAllocStringLen(nullptr, static_cast<UINT>(bytes.size() / sizeof(OLECHAR))));
  if (!text.get()) throw std::bad_alloc();
  std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(text.get()));
  return text;
}

bool IsA(py::handle object, const char* module, const char* name) {
  return py::isinstance(object, py::module_::import(module).attr(name));
}

}  // namespace

py::object FromValue(const Value& value) {
  return std::visit(
      []<class Held>(const Held& held) -> py::object {
        if constexpr (std::is_same_v<Held, std::monostate>) {
          return py::none();
        } else if constexpr (std::is_same_v<Held, Text>) {
          py::object text = FromText(held);
          if (!text) throw py::error_already_set();
          return text;
        } else if constexpr (std::is_same_v<Held, Object>) {
          return Wrap(held);
        } else if constexpr (std::is_same_v<Held, Variant>) {
          return FromVariant(held);
        } else {
          return py::cast(held);
        }
      },
      value);
}

Value ToValue(py::handle object) {
  PyObject* const raw = object.ptr();
  if (object.is_none()) return {};
  if (PyBool_Check(raw)) return Value(raw == Py_True);
  if (PyLong_Check(raw)) return ToInteger(object);
  if (PyFloat_Check(raw)) return Value(PyFloat_AS_DOUBLE(raw));
  if (PyUnicode_Check(raw)) return Value(ToText(object));
  if (const Object known = Unwrap(object)) return Value(known);
  if (PyDict_Check(raw)) return ToValue(MapFrom(object));
  if (PyList_Check(raw) || PyTuple_Check(raw)) {
    return ToValue(VectorFrom(object, &TypeOf(ElementVariant)));
  }
  // An array is asked too, and refuses unless it has one element.
  if (PyIndex_Check(raw) && !PySequence_Check(raw)) {
    const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(raw));
    if (!number) throw py::error_already_set();
    return ToInteger(number);
  }
  // A number of NumPy's.
  if (py::getattr(object, "ndim", py::none()).equal(py::int_(0))) {
    return Value(py::float_(py::reinterpret_borrow<py::object>(object)).cast<double>());
  }
  if (PyObject_CheckBuffer(raw)) {
    const py::buffer_info info = py::reinterpret_borrow<py::buffer>(object).request();
    return ToValue(info.ndim == 1 ? VectorFrom(object, nullptr) : ArrayFrom(object, false, 0));
  }
  if (IsA(object, "datetime", "datetime")) return ToDate(object);
  if (IsA(object, "collections.abc", "Mapping")) return ToValue(MapFrom(object));
  throw py::type_error("a value of type " +
                       py::str(py::type::handle_of(object).attr("__name__")).cast<std::string>() +
                       " cannot be kept: None, bool, int, float, str, datetime, bytes, lists, "
                       "mappings, arrays and rastel's own objects can");
}

}  // namespace rastel_python
