// SPDX-License-Identifier: MIT
// Any object by the names of its members, as its type information tells them.
#include <memory>

#include "platform/members.h"
#include "python/core/objects.h"

namespace rastel_python {
namespace {

using namespace py::literals;
using platform::Member;
using platform::Members;
using rastelklp::check_hresult;
using rastelklp::com_ptr;
using rastelklp::Error;
using rastelklp::Object;
using rastelklp::Text;
using rastelklp::Value;
using rastelklp::Variant;

struct PyDispatch : PyObjectRef {
  com_ptr<IDispatch> dispatch;
  std::shared_ptr<const Members> members;  // null where the object does not tell them

  explicit PyDispatch(const Object& made) : PyObjectRef{made} {
    dispatch = made.try_as<IDispatch>();
    com_ptr<ITypeInfo> info;
    if (!dispatch || FAILED(dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put())) || !info)
      return;
    auto found = std::make_shared<Members>(*info.get());
    if (found->IsWhole()) members = std::move(found);
  }

  const Member* Find(DISPID id, WORD kinds) const {
    return members ? members->Find(id, kinds) : nullptr;
  }
};

// A method, or a property with parameters.
struct PyMember {
  PyDispatch object;
  DISPID id;
  std::string name;
};

bool ComesOut(const Member& member, UINT parameter) {
  const VARTYPE type = member.parameters[parameter];
  return type != platform::kValueGoesIn && type != platform::kPassedAsItStands;
}

Object AsObject(const py::object& given) {
  if (py::isinstance<py::str>(given)) {
    return rastelklp::create<IDispatch>(std::get<Text>(ToValue(given)));
  }
  Object object = Unwrap(given);
  if (!object) throw py::type_error("the name of a class, or an object");
  return object;
}

DISPID IdOf(const PyDispatch& object, const std::string& name) {
  const Text wide(name);
  OLECHAR* names = wide.get();
  DISPID id = DISPID_UNKNOWN;
  if (!object.dispatch ||
      FAILED(object.dispatch->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id))) {
    throw py::attribute_error("the object has no member " + name);
  }
  return id;
}

py::object Invoke(const PyDispatch& object, DISPID id, WORD kind, const py::args& given) {
  const Member* const member = object.Find(id, kind);
  // What comes out may be left out.
  UINT outs = 0;
  if (member && kind != INVOKE_PROPERTYPUT && member->parameterCount <= Member::kMostParameters) {
    for (UINT i = 0; i < member->parameterCount; ++i) outs += ComesOut(*member, i);
    if (given.size() + outs != member->parameterCount) outs = 0;
  }
  if (kind != INVOKE_PROPERTYGET) RefuseIfPinned(object.object);
  const std::size_t count = given.size() + outs;
  std::vector<Variant> owned(count);
  std::vector<VARIANT> reversed(count);
  for (std::size_t i = 0, next = 0; i < count; ++i) {
    VARIANT& argument = reversed[count - 1 - i];
    if (outs > 0 && ComesOut(*member, static_cast<UINT>(i))) {
      VariantInit(&argument);
      argument.vt = VT_VARIANT | VT_BYREF;
      argument.pvarVal = owned[i].address();
    } else {
      owned[i] = ToValue(given[next++]).variant_value();
      argument = owned[i].get();
    }
  }
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(count), 0};
  if (kind == INVOKE_PROPERTYPUT) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  Variant answer;
  EXCEPINFO exception{};
  const HRESULT result = object.dispatch->Invoke(
      id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
      kind == INVOKE_PROPERTYPUT ? nullptr : answer.put(), &exception, nullptr);
  Text source, words, helpFile;
  source.attach(exception.bstrSource);
  words.attach(exception.bstrDescription);
  helpFile.attach(exception.bstrHelpFile);
  if (result == DISP_E_EXCEPTION) throw Error(exception.scode, words, source);
  check_hresult(result);
  py::list answers;
  const bool answered = answer.get().vt != VT_EMPTY;
  if (answered || outs == 0) answers.append(FromValue(Value(std::move(answer))));
  for (std::size_t i = 0; outs > 0 && i < count; ++i) {
    if (ComesOut(*member, static_cast<UINT>(i)))
      answers.append(FromValue(Value(std::move(owned[i]))));
  }
  return answers.size() == 1 ? py::object(answers[0]) : py::tuple(answers);
}

// The kind that a call of the member is.
WORD CallKind(const PyDispatch& object, DISPID id) {
  for (const WORD kind : {WORD{INVOKE_FUNC}, WORD{INVOKE_PROPERTYGET}}) {
    if (object.Find(id, kind)) return kind;
  }
  return INVOKE_FUNC | INVOKE_PROPERTYGET;
}

py::object GetAttribute(const PyDispatch& self, const std::string& name) {
  // Python's own protocols ask for such names; no member has one.
  if (name.starts_with("__")) throw py::attribute_error(name);
  const DISPID id = IdOf(self, name);
  const Member* const getter = self.Find(id, INVOKE_PROPERTYGET);
  if (getter && getter->parameterCount == 0)
    return Invoke(self, id, INVOKE_PROPERTYGET, py::args());
  return py::cast(PyMember{self, id, name});
}

void SetAttribute(const PyDispatch& self, const std::string& name, const py::object& value) {
  Invoke(self, IdOf(self, name), INVOKE_PROPERTYPUT, py::make_tuple(value));
}

py::list Names(const PyDispatch& self) {
  py::list names;
  com_ptr<ITypeInfo> info;
  if (!self.dispatch || FAILED(self.dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put())))
    return names;
  TYPEATTR* attributes = nullptr;
  check_hresult(info->GetTypeAttr(&attributes));
  const UINT count = attributes->cFuncs;
  info->ReleaseTypeAttr(attributes);
  for (UINT i = 0; i < count; ++i) {
    FUNCDESC* function = nullptr;
    check_hresult(info->GetFuncDesc(i, &function));
    const MEMBERID id = function->memid;
    const bool isHidden = (function->wFuncFlags & FUNCFLAG_FRESTRICTED) != 0;
    info->ReleaseFuncDesc(function);
    Text name;
    if (isHidden || FAILED(info->GetDocumentation(id, name.put(), nullptr, nullptr, nullptr)))
      continue;
    const py::object word = FromValue(Value(name));
    if (!names.contains(word)) names.append(word);
  }
  return names;
}

py::tuple AsKey(const py::object& key) {
  return py::isinstance<py::tuple>(key) ? py::tuple(key) : py::make_tuple(key);
}

}  // namespace

py::object MakeDispatch(const Object& object) { return py::cast(PyDispatch(object)); }

void RegisterDispatch(py::module_& m) {
  py::class_<PyDispatch, PyObjectRef>(m, "Dispatch", R"(Dispatch(what)

Any object by the names of its members, as its own type library tells them.

what: the name of a registered class, "AOIKLP.ByteKLP" for instance, of which a new object is made; or an object.

    >>> picture = rastel.Dispatch("AOIKLP.ByteKLP")
    >>> picture.CreateImage(6, 4)
    >>> picture.Width
    6
    >>> picture.GetRect()                # what comes out of a call
    (0, 0, 6, 4)
    >>> picture.PlaneSelected[0] = True  # a property with a parameter

Raises AttributeError for a member that there is not, Error where the object refuses.)")
      .def(py::init([](const py::object& given) { return PyDispatch(AsObject(given)); }), "what"_a)
      .def("__getattr__", &GetAttribute)
      .def("__setattr__", &SetAttribute)
      .def("__dir__", &Names);
  py::class_<PyMember>(m, "_Member")
      .def("__call__",
           [](const PyMember& self, const py::args& arguments) {
             return Invoke(self.object, self.id, CallKind(self.object, self.id), arguments);
           })
      .def("__getitem__",
           [](const PyMember& self, const py::object& key) {
             return Invoke(self.object, self.id, INVOKE_PROPERTYGET, AsKey(key));
           })
      .def("__setitem__",
           [](const PyMember& self, const py::object& key, const py::object& value) {
             Invoke(self.object, self.id, INVOKE_PROPERTYPUT, AsKey(key) + py::make_tuple(value));
           })
      .def("__repr__", [](const PyMember& self) { return "<member " + self.name + ">"; });
}

}  // namespace rastel_python
