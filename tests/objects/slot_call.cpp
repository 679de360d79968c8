// SPDX-License-Identifier: MIT
// A call of any slot, by the member tables: parameters are made from words by their types.
#include <array>
#include <cstring>
#include <deque>

#include "tests/objects/session.h"

namespace tests::objects {
namespace {

// What an out pointer leads to before the call, so that one can see whether it was written.
constexpr BYTE kUntouched = 0xA5;
constexpr std::size_t kRoom = 64;  // of a parameter for several objects

struct Argument {
  const HostTypeParameter* parameter = nullptr;
  alignas(16) BYTE passed[24]{};   // the value, or a pointer to `target`
  alignas(16) BYTE target[24]{};   // of an out parameter
  std::vector<IUnknown*> several;  // of one for several objects
  std::string name;                // to keep what comes out under
  bool isNull = false;

  template <class T>
  void Pass(T value) {
    static_assert(sizeof(T) <= sizeof(passed));
    std::memcpy(passed, static_cast<void*>(&value), sizeof(T));
  }
  bool IsOut() const { return (parameter->flags & PARAMFLAG_FOUT) != 0; }
  bool IsObject() const {
    const HostTypeUse& use = parameter->use;
    return use.type == VT_USERDEFINED && use.pointers == (IsOut() ? 2 : 1);
  }
  bool IsElements() const {  // a pointer to pixels or elements
    const HostTypeUse& use = parameter->use;
    return !use.isArray && use.type != VT_USERDEFINED && use.pointers == (IsOut() ? 2 : 1);
  }
};

void ParseIn(Session& session, facts::Words& words, Argument& argument) {
  const HostTypeUse& use = argument.parameter->use;
  if (argument.IsObject()) {
    const std::string name = words.Next();
    argument.Pass(name == "null" ? nullptr : session.Object(name).pointer.Get());
  } else if (argument.IsElements()) {
    const std::string name = words.Next();
    argument.Pass(name == "null" ? nullptr : session.elements.at(name).first);
  } else if (use.type == VT_BSTR) {
    VARIANT& text = words.row.variants.emplace_back(VARIANT{});
    if (const OLECHAR* units = words.Text()) {
      text.vt = VT_BSTR;
      text.bstrVal = SysAllocStringLen(units, static_cast<UINT>(words.row.texts.back().size()));
    }
    argument.Pass(text.bstrVal);
  } else if (use.type == VT_VARIANT) {
    argument.Pass(*words.Variant());
  } else if (use.type == VT_R8) {
    argument.Pass(std::strtod(words.Next().c_str(), nullptr));
  } else if (use.type == VT_R4) {
    argument.Pass(std::strtof(words.Next().c_str(), nullptr));
  } else {
    argument.Pass(words.Number());
  }
}

void ParseOut(Session& session, facts::Words& words, const HostTypeMember& member,
              Argument& argument) {
  argument.isNull = words.Take("null");
  if (argument.isNull) return;
  const HostTypeUse& use = argument.parameter->use;
  argument.Pass(static_cast<void*>(argument.target));
  if (argument.IsObject() && (member.flags & FUNCFLAG_FRESTRICTED) != 0) {
    argument.name = words.Next();
    argument.several.assign(kRoom, nullptr);
    argument.Pass(argument.several.data());
    return;
  }
  const bool isKept = argument.IsObject() || argument.IsElements();
  if (use.type == VT_VARIANT && !isKept && !use.isArray) {
    VARIANT value{};
    if (!words.Take("_") && words.HasMore()) std::swap(value, *words.Variant());
    std::memcpy(argument.target, static_cast<void*>(&value), sizeof(value));
  } else if (!words.Take("_") && isKept) {
    argument.name = words.Next();
    if (argument.name.starts_with('=')) {  // What the slot finds there, and may let go.
      argument.name.erase(0, 1);
      void* const pointer = session.Object(argument.name).pointer.Detach();
      std::memcpy(argument.target, &pointer, sizeof(pointer));
    }
  } else if (!isKept && use.type != VT_BSTR && !use.isArray) {
    std::memset(argument.target, kUntouched, sizeof(argument.target));
  }
}

const HostType* InterfaceOf(const HostTypeUse& use) { return FindType(use.name); }

std::string ShowOut(Session& session, Argument& argument) {
  const HostTypeUse& use = argument.parameter->use;
  if (!argument.several.empty()) {
    int count = 0;
    for (IUnknown* object : argument.several) {
      if (!object) continue;
      Named& named = session.objects[argument.name + std::to_string(count++)];
      named.pointer.Attach(object);
      named.type = InterfaceOf(use);
    }
    return std::to_string(count) + " objects";
  }
  void* pointer = nullptr;
  std::memcpy(&pointer, argument.target, sizeof(pointer));
  if (argument.IsObject()) {
    if (argument.name.empty()) {
      if (pointer) static_cast<IUnknown*>(pointer)->Release();
      return pointer ? "object" : "null";
    }
    Named& named = session.objects[argument.name];
    named.pointer.Attach(static_cast<IUnknown*>(pointer));
    named.type = InterfaceOf(use);
    return pointer ? "object" : "null";
  }
  if (argument.IsElements()) {
    if (!argument.name.empty()) session.elements[argument.name] = {use.type, pointer, nullptr};
    return pointer ? "pointer" : "null";
  }
  if (use.isArray) {
    const std::string shown = facts::Print(static_cast<SAFEARRAY*>(pointer));
    if (pointer) SafeArrayDestroy(static_cast<SAFEARRAY*>(pointer));
    return shown;
  }
  VARIANT value{};
  if (use.type == VT_VARIANT) {
    std::memcpy(static_cast<void*>(&value), argument.target, sizeof(value));
  } else {
    value.vt = use.type == VT_USERDEFINED ? VARTYPE{VT_I4} : use.type;
    std::memcpy(&value.llVal, argument.target, WidthOf(value.vt));
    const BYTE* const first = argument.target;
    const bool isUntouched = value.vt != VT_BSTR && first[0] == kUntouched &&
                             std::memcmp(first, first + 1, WidthOf(value.vt) - 1) == 0;
    if (isUntouched) return "~";
  }
  const bool isNumber = use.type != VT_VARIANT && value.vt != VT_BSTR;
  const std::string shown = isNumber ? tests::Show(value) : session.Print(value);
  VariantClear(&value);
  return shown;
}

bool IsMember(const HostTypeMember& member, std::string_view name) {
  const bool isGetter = member.kind == INVOKE_PROPERTYGET;
  const bool isPutter = member.kind == INVOKE_PROPERTYPUT;
  if (isGetter || isPutter) {
    if (!name.starts_with(isGetter ? "get_" : "put_")) return false;
    name.remove_prefix(4);
  }
  return name == member.name;
}

}  // namespace

std::string CallSlot(Session& session, const std::string& object, std::string_view name,
                     facts::Words& words) {
  // Not counted: it may go in the call.
  const auto& [pointer, itsType, isLent] = session.Object(object);
  void* const instance = pointer.Get();
  const HostType& type = *itsType;
  const HostTypeMember* member = type.members;
  const HostTypeMember* const end = member + type.memberCount;
  while (member != end && !IsMember(*member, name)) ++member;
  if (member == end) return "no such member: " + std::string(name);

  std::array<Argument, 4> arguments;
  void* pointers[4] = {};
  for (WORD i = 0; i < member->parameterCount; ++i) {
    Argument& argument = arguments[i];
    argument.parameter = &member->parameters[i];
    pointers[i] = argument.passed;
    if (argument.IsOut()) {
      ParseOut(session, words, *member, argument);
    } else {
      ParseIn(session, words, argument);
    }
  }
  const HRESULT result = session.Guarded([&] { return member->call(instance, pointers); });
  std::string shown = result < 0 ? facts::Code(result) : std::to_string(result);
  for (WORD i = 0; i < member->parameterCount; ++i) {
    if (arguments[i].IsOut() && !arguments[i].isNull)
      shown += ", " + ShowOut(session, arguments[i]);
  }
  return shown;
}

// slot OBJECT NUMBER WORDS: a slot that no interface declares, as a client in C calls it, which has
// nothing but the table. A word is a number, a stream, an object, a VARIANT, null, "number" for a
// place of one, "keys" for one of an array, or a name for an object that comes out.
std::string CallUnnamedSlot(Session& session, facts::Words& words) {
  void* const object = session.Object(words.Next()).pointer.Get();
  void* const function = (*static_cast<void***>(object))[words.Number()];
  std::array<void*, 4> passed{}, places{};
  std::array<std::string, 4> names;
  VARIANT value{};
  std::size_t count = 0, valueAt = passed.size();
  for (; words.HasMore(); ++count) {
    const std::string word = names[count] = words.Next();
    const auto stream = session.streams.find(word);
    const auto known = session.objects.find(word);
    if (stream != session.streams.end()) {
      passed[count] = &stream->second.faults;
    } else if (known != session.objects.end()) {
      passed[count] = known->second.pointer.Get();
    } else if (word.find(':') != word.npos) {
      value = *facts::Words(word, words.row).Variant();
      valueAt = count;
    } else if (word.find_first_not_of("-0123456789") == word.npos) {
      passed[count] = reinterpret_cast<void*>(std::strtoll(word.c_str(), nullptr, 10));
    } else if (word != "null") {
      passed[count] = &places[count];
    }
  }
  const auto& [a, b, c, d] = passed;
  const auto call = [&]<class... Arguments>(Arguments... arguments) {
    using Slot = HRESULT(STDMETHODCALLTYPE*)(void*, Arguments...);
    return reinterpret_cast<Slot>(function)(object, arguments...);
  };
  const HRESULT result = valueAt == 0   ? call(value, b, c)
                         : valueAt == 1 ? call(a, value)
                                        : call(a, b, c, d);
  std::string shown = Result(result);
  for (std::size_t i = 0; i < count; ++i) {
    if (passed[i] != &places[i]) continue;
    if (names[i] == "keys") {
      SAFEARRAY* const keys = static_cast<SAFEARRAY*>(places[i]);
      shown += ", " + facts::Print(keys);
      SafeArrayDestroy(keys);
    } else if (names[i] == "number") {
      shown += ", " + std::to_string(static_cast<LONG>(reinterpret_cast<LONGLONG>(places[i])));
    } else {
      session.objects[names[i]].pointer.Attach(static_cast<IUnknown*>(places[i]));
      shown += ", object";
    }
  }
  return shown;
}

}  // namespace tests::objects
