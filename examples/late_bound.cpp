// SPDX-License-Identifier: MIT
// A client that knows ProgIDs and nothing else: it finds classes by their names, members by their
// names, and learns from the library that is registered with the host how to call them. What it
// prints is the same on every host.
#include <rastelklp/client.h>

#include <string>
#include <vector>

#include "examples/report.h"

using examples::Say;
using rastelklp::check_hresult;
using rastelklp::com_ptr;
using rastelklp::Text;
using rastelklp::Value;
using rastelklp::Variant;

namespace {

constexpr const char* kProgIds[] = {
    "AOIKLP.ByteKLP",
    "AOIKLP.WordKLP",
    "AOIKLP.DWordKLP",
    "AOIKLP.FloatKLP",
    "AOIKLP.DoubleKLP",
    "AOIKLP.CharKLP",
    "AOIKLP.ShortKLP",
    "AOIKLP.LongKLP",
    "VectorKLP.ByteKLP",
    "VectorKLP.ShortKLP",
    "VectorKLP.LongKLP",
    "VectorKLP.FloatKLP",
    "VectorKLP.DoubleKLP",
    "VectorKLP.CharVectorKLP",
    "VectorKLP.WordVectorKLP",
    "VectorKLP.DWordVectorKLP",
    "VectorKLP.VariantVectorKLP",
    "RastelKLP.AttributeBstrMapKLP",
    "RastelKLP.AttributeLongMapKLP",
    "RastelKLP.AttributeDoubleMapKLP",
    "RastelKLP.AttributeEntryKLP",
};

// A result without words.
std::string Code(HRESULT result) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
  return code;
}

// What a late-bound call gave, or a variable of a program.
class Answer : public Variant {
 public:
  Answer() = default;
  explicit Answer(const Value& value) : Variant(value.variant_value()) {}

  std::string AsText() const {
    Variant text;
    check_hresult(VariantChangeType(text.address(), const_cast<VARIANT*>(&get()), 0, VT_BSTR));
    return Value(text).as<std::string>();
  }
  com_ptr<IDispatch> AsObject() const { return Value(*this).as<IDispatch>(); }
};

// An argument for a late-bound call: a value, the address of a number that the call fills in, or a
// variable, which the call may look at or fill in.
Variant Argument(const Value& value) { return value.variant_value(); }
Variant Argument(LONG* filled) {
  Variant argument;
  argument.address()->vt = VT_I4 | VT_BYREF;
  argument.address()->plVal = filled;
  return argument;
}
Variant Argument(Answer* variable) {
  Variant argument;
  argument.address()->vt = VT_VARIANT | VT_BYREF;
  argument.address()->pvarVal = variable->address();
  return argument;
}

// An object known by the names of its members.
class Object {
 public:
  explicit Object(com_ptr<IDispatch> object) : object_(std::move(object)) {}
  explicit Object(const char* progId) : object_(rastelklp::create<IDispatch>(progId)) {}

  const com_ptr<IDispatch>& Pointer() const { return object_; }

  // The name of the interface in which members are looked up.
  std::string InterfaceName() const {
    com_ptr<ITypeInfo> info;
    Text name;
    check_hresult(object_->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()));
    check_hresult(info->GetDocumentation(MEMBERID_NIL, name.put(), nullptr, nullptr, nullptr));
    return name;
  }

  // A property, with its index or key if it has one.
  template <class... Arguments>
  Answer Get(const char* name, const Arguments&... arguments) const {
    return Invoke(name, DISPATCH_PROPERTYGET, arguments...);
  }
  template <class... Arguments>
  std::string GetText(const char* name, const Arguments&... arguments) const {
    return Get(name, arguments...).AsText();
  }
  // What the object holds now, one after the other: the keys of a map, the elements of a vector.
  std::vector<Answer> Walk() const {
    Answer enumerator;
    InvokeMember(DISPID_NEWENUM, "walk", DISPATCH_PROPERTYGET, nullptr, 0, enumerator);
    const auto elements = Value(enumerator).as<IEnumVARIANT>();
    std::vector<Answer> walked(1);
    while (elements->Next(1, walked.back().put(), nullptr) == S_OK) walked.emplace_back();
    walked.pop_back();
    return walked;
  }
  // The new value stands last.
  template <class... Arguments>
  void Put(const char* name, const Arguments&... arguments) const {
    Invoke(name, DISPATCH_PROPERTYPUT, arguments...);
  }
  // The same, as script languages set objects.
  template <class... Arguments>
  void Set(const char* name, const Arguments&... arguments) const {
    Invoke(name, DISPATCH_PROPERTYPUTREF, arguments...);
  }
  template <class... Arguments>
  Answer Call(const char* name, const Arguments&... arguments) const {
    return Invoke(name, DISPATCH_METHOD, arguments...);
  }

 private:
  template <class... Arguments>
  Answer Invoke(const char* name, WORD kind, const Arguments&... arguments) const {
    const Variant owned[] = {Argument(arguments)..., Variant()};
    constexpr UINT kCount = sizeof...(arguments);
    VARIANT reversed[kCount + 1];
    for (UINT i = 0; i < kCount; ++i) reversed[i] = owned[kCount - 1 - i].get();
    Answer answer;
    InvokeNamed(name, kind, reversed, kCount, answer);
    return answer;
  }
  void InvokeNamed(const std::string& name, WORD kind, VARIANT* arguments, UINT count,
                   Answer& answer) const {
    const Text wide(name);
    OLECHAR* names = wide.get();
    DISPID member = DISPID_UNKNOWN;
    const HRESULT result =
        object_->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &member);
    if (FAILED(result)) throw std::runtime_error(name + ": " + Code(result));
    InvokeMember(member, name, kind, arguments, count, answer);
  }
  void InvokeMember(DISPID member, const std::string& name, WORD kind, VARIANT* arguments,
                    UINT count, Answer& answer) const;

  com_ptr<IDispatch> object_;
};

// Throws the object's own words where it gave some, and the code where the call did not come so
// far.
void Object::InvokeMember(DISPID member, const std::string& name, WORD kind, VARIANT* arguments,
                          UINT count, Answer& answer) const {
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters{arguments, nullptr, count, 0};
  const bool isPut = kind == DISPATCH_PROPERTYPUT || kind == DISPATCH_PROPERTYPUTREF;
  if (isPut) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  EXCEPINFO exception{};
  const HRESULT result = object_->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
                                         isPut ? nullptr : answer.put(), &exception, nullptr);
  Text source, words, helpFile;
  source.attach(exception.bstrSource);
  words.attach(exception.bstrDescription);
  helpFile.attach(exception.bstrHelpFile);
  if (result == DISP_E_EXCEPTION) {
    throw std::runtime_error(Code(exception.scode) + " from " + source.utf8() + ": " +
                             words.utf8());
  }
  if (FAILED(result)) throw std::runtime_error(name + ": " + Code(result));
}

// Says how a call fails that must not succeed.
template <class Call>
void SayFailure(const char* what, Call call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return Say(what, "%s", error.what());
  }
  throw std::runtime_error(std::string(what) + " did not fail");
}

// The texts in an array of VARIANTs, with blanks between.
std::string Joined(const VARIANT& array) {
  if (array.vt != (VT_ARRAY | VT_VARIANT)) throw std::runtime_error("no array of VARIANTs");
  LONG last = -1;
  std::string joined;
  check_hresult(SafeArrayGetUBound(array.parray, 1, &last));
  for (LONG i = 0; i <= last; ++i) {
    Answer text;
    check_hresult(SafeArrayGetElement(array.parray, &i, text.put()));
    joined.append(i > 0 ? " " : "").append(text.AsText());
  }
  return joined;
}

void ShowClasses() {
  std::printf("Classes\n");
  for (const char* progId : kProgIds) {
    std::string answer;
    try {
      answer = Object(progId).InterfaceName();
    } catch (const rastelklp::Error& error) {
      answer = Code(error.code());
    }
    std::printf("  %-36s %s\n", progId, answer.c_str());
  }
}

Object ShowPicture() {
  std::printf("A picture\n");
  const Object picture("AOIKLP.WordKLP");
  SayFailure("without pixels", [&] { picture.Get("Width"); });
  picture.Call("CreateImage", 6, 4);
  picture.Call("fill", 7);
  picture.Call("PutPixel", 2, 1, 4711.9);
  Say("size", "%s x %s", picture.GetText("Width").c_str(), picture.GetText("HEIGHT").c_str());
  Say("pixels", "%s %s", picture.Call("GetPixel", 1, 1).AsText().c_str(),
      picture.Call("GetPixel", 2, 1).AsText().c_str());
  picture.Put("PlaneSelected", 0, false);
  Say("plane selected", "%s", picture.GetText("PlaneSelected", 0).c_str());
  picture.Put("Name", "Kaffee");
  picture.Call("SetRect", 1, "1", 4.0, 3);
  LONG x = 0, y = 0, width = 0, height = 0;
  picture.Call("GetRect", &x, &y, &width, &height);
  Say("rectangle", "%d %d, %d x %d", static_cast<int>(x), static_cast<int>(y),
      static_cast<int>(width), static_cast<int>(height));
  const Object clone(picture.Call("Clone").AsObject());
  Say("clone", "%s %s, same size %s", clone.InterfaceName().c_str(), clone.GetText("Name").c_str(),
      picture.Call("IsSameSize", clone.Pointer()).AsText().c_str());
  SayFailure("negative width", [&] { picture.Put("Width", -1); });
  SayFailure("no such plane", [&] { picture.Put("ActivePlane", 1); });
  SayFailure("no such member", [&] { picture.Get("Breite"); });
  SayFailure("an argument short", [&] { picture.Call("GetPixel", 1); });
  SayFailure("not a number", [&] { picture.Put("Width", "breit"); });
  SayFailure("not an AOI",
             [&] { picture.Call("CopyRect", Object("VectorKLP.ByteKLP").Pointer()); });
  return picture;
}

void ShowVector() {
  std::printf("A vector\n");
  const Object vector("VectorKLP.ByteKLP.2");
  vector.Put("Count", 3);
  vector.Put("HasElementTags", true);
  vector.Put("Value", 0, 12.7);
  vector.Put("Value", 1, "300");
  vector.Put("ElementTag", 1, "hell");
  Say("elements", "%s %s %s", vector.GetText("Value", 0).c_str(),
      vector.GetText("Value", 1).c_str(), vector.GetText("Value", 2).c_str());
  const Object copy(vector.Call("DeepCopy").AsObject());
  Say("tag in a copy", "%s", copy.GetText("ElementTag", 1).c_str());
  SayFailure("no such element", [&] { vector.Get("Value", 3); });
}

void ShowMap(const Object& picture) {
  std::printf("A map\n");
  const Object map("RastelKLP.AttributeBstrMapKLP");
  picture.Set("AttributeMap", map.Pointer());
  map.Put("Value", "Zeit", 0.25);
  map.Put("Value", "Kamera", "Prüfstand 2");
  map.Put("Value", "Bild", picture.Call("Clone").AsObject());
  const Object same(picture.Get("AttributeMap").AsObject());
  Say("keys", "%s", Joined(same.Get("Keys").get()).c_str());
  Say("values", "%s %s", same.GetText("Value", "Zeit").c_str(),
      same.GetText("Value", "Kamera").c_str());
  Say("an object in a value", "%s",
      Object(same.Get("Value", "Bild").AsObject()).InterfaceName().c_str());
  same.Call("Remove", "Zeit");
  const Object clone(map.Call("Clone").AsObject());
  Say("of a clone", "%s attributes, Zeit %s", clone.GetText("Count").c_str(),
      clone.Call("Exists", "Zeit").AsText().c_str());
  map.Put("OverrideMode", false);
  SayFailure("a second value", [&] { map.Put("Value", "Kamera", "Prüfstand 3"); });
}

// As programs in script languages have them.
void ShowVariables() {
  std::printf("Variables\n");
  const Object picture("AOIKLP.ByteKLP"), map("RastelKLP.AttributeBstrMapKLP");
  Answer key("Kamera"), value("Prüfstand 4"), x, y("egal"), width, height;
  picture.Call("CreateImage", 5, 2);
  picture.Call("GetRect", &x, &y, &width, &height);
  Say("rectangle", "%s %s, %s x %s", x.AsText().c_str(), y.AsText().c_str(), width.AsText().c_str(),
      height.AsText().c_str());
  map.Put("Value", &key, &value);
  map.Set("Value", "Bild", picture.Pointer());
  picture.Put("Tag", &value);
  value = Answer("Prüfstand 5");
  Say("kept", "%s %s", map.GetText("Value", &key).c_str(), picture.GetText("Tag").c_str());
  std::string keys;
  for (Answer& walked : map.Walk()) {
    map.Call("Remove", &walked);
    keys.append(" ").append(walked.AsText());
  }
  Say("keys removed", "%s of %s", keys.c_str() + 1, map.GetText("Count").c_str());
  const Object vector("VectorKLP.LongKLP");
  vector.Put("Count", 2);
  vector.Call("Fill", 7);
  std::string elements;
  for (Answer& walked : vector.Walk()) elements.append(" ").append(walked.AsText());
  Say("elements", "%s", elements.c_str() + 1);
  SayFailure("over a picture", [&] { picture.Walk(); });
  SayFailure("no other picture", [&] { picture.Call("Unite", com_ptr<IDispatch>()); });
}

}  // namespace

int main() {
  int exitCode = 0;
  try {
    const rastelklp::Session session;
    ShowClasses();
    ShowMap(ShowPicture());
    ShowVector();
    ShowVariables();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "late_bound: %s\n", error.what());
    exitCode = 1;
  }
  return exitCode;
}
