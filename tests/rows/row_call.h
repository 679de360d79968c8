// SPDX-License-Identifier: MIT
// Calls an operation with a word for each of its parameters, and shows what it returns (a number,
// or the name of a failure) and what it stores. Buffers are given by the room in them, pointers to
// what is not known here are null, and an array is the one that the row has made.
#pragma once

#include <concepts>
#include <functional>
#include <tuple>
#include <vector>

#include "tests/rows/rows.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"

namespace tests::facts {

inline void Read(Words& words, std::integral auto& value) {
  value = static_cast<std::remove_reference_t<decltype(value)>>(words.Number());
}
template <class T>
void Read(Words& words, T*& value) {
  words.Next();
  value = nullptr;
}
inline void Read(Words& words, VARTYPE& value) { value = TypeOf(words.Next()); }
inline void Read(Words& words, LARGE_INTEGER& value) { value.QuadPart = words.Number(); }
inline void Read(Words& words, ULARGE_INTEGER& value) {
  value.QuadPart = static_cast<ULONGLONG>(words.Number());
}
inline void Read(Words& words, GUID& value) { value = words.Guid(); }
inline void Read(Words& words, const char*& value) { value = words.Bytes(); }
inline void Read(Words& words, const OLECHAR*& value) { value = words.Text(); }
inline void Read(Words& words, HKEY& value) { value = *words.Key(); }
inline void Read(Words& words, HKEY*& value) { value = words.Take("null") ? nullptr : words.Key(); }
inline void Read(Words& words, IStream*& value) { value = words.Stream().Get(); }
inline void Read(Words& words, IStream**& value) {
  value = words.Take("null") ? nullptr : words.Stream().Put();
}
inline void Read(Words& words, SAFEARRAY*& value) { value = words.row.array; }
template <class T>
void Read(Words& words, platform::ComPtr<T>& value) {
  value = words.Object().As<T>();
}
inline void Read(Words& words, platform::ComPtr<IStream>& value) { value = words.Stream(); }
inline void Read(Words& words, platform::ComPtr<ISequentialStream>& value) {
  value = words.Stream().Get();
}

// What is only passed in.
template <class T>
struct Argument {
  explicit Argument(Words& words) { Read(words, value); }
  T Pass() { return value; }
  std::string Show() { return ""; }
  T value{};
};
template <>
struct Argument<VARIANT*> {
  explicit Argument(Words& words) : value(words.Variant()) {}
  VARIANT* Pass() { return value; }
  std::string Show() { return value ? ", " + Print(*value) : ""; }
  VARIANT* value;
};

// Bytes that are read, in hexadecimal.
template <class T>
concept Bytes = std::same_as<T, BYTE> || std::same_as<T, void>;
template <Bytes T>
struct Argument<const T*> {
  explicit Argument(Words& words) : bytes(BytesOf(words.Take("null") ? "" : words.Next())) {}
  const T* Pass() { return bytes.empty() ? nullptr : bytes.data(); }
  std::string Show() { return ""; }
  std::vector<BYTE> bytes;
};
// Bytes or characters that are written: all the room is shown.
template <class T>
concept Unit = Bytes<T> || std::same_as<T, char> || std::same_as<T, OLECHAR>;
template <Unit T>
struct Argument<T*> {
  using Stored = std::conditional_t<std::is_void_v<T>, BYTE, T>;
  explicit Argument(Words& words) : isNull(words.Take("null")) {
    if (!isNull) units.assign(static_cast<std::size_t>(words.Number()) + 1, Stored{'#'});
  }
  T* Pass() { return isNull ? nullptr : units.data(); }
  std::string Show() {
    if (isNull) return "";
    if (units.back() != '#') return ", written behind the room";
    units.pop_back();
    if constexpr (Bytes<T>) {
      return ", " + HexOf(units.data(), units.size());
    } else {
      return ", " + Quoted(units);
    }
  }
  bool isNull;
  std::basic_string<Stored> units;
};

// A number that is read or written or both.
template <class T>
concept Single =
    (std::integral<T> && !std::is_const_v<T> && !Unit<T>) || std::same_as<T, ULARGE_INTEGER>;
template <Single T>
struct Argument<T*> {
  explicit Argument(Words& words) : isNull(words.Take("null")) {
    if (!isNull) Read(words, value);
  }
  T* Pass() { return isNull ? nullptr : &value; }
  std::string Show() { return isNull ? "" : ", " + Shown(value); }
  static std::string Shown(std::integral auto number) { return std::to_string(number); }
  static std::string Shown(VARTYPE type) { return NameOf(type); }
  static std::string Shown(ULARGE_INTEGER number) { return std::to_string(number.QuadPart); }
  bool isNull;
  T value{};
};

template <>
struct Argument<SAFEARRAYBOUND*> {  // "3@-1,4@0": elements and lower bound of each dimension
  explicit Argument(Words& words) {
    const std::string word = words.Next();
    if (word == "null") return;
    for (char* at = const_cast<char*>(word.c_str()); *at != 0;) {
      const auto elements = static_cast<ULONG>(std::strtoul(at + (*at == ','), &at, 0));
      bounds.push_back({elements, static_cast<LONG>(std::strtol(at + 1, &at, 0))});
    }
  }
  SAFEARRAYBOUND* Pass() { return bounds.empty() ? nullptr : bounds.data(); }
  std::string Show() { return ""; }
  std::vector<SAFEARRAYBOUND> bounds;
};
template <>
struct Argument<SAFEARRAY**> {
  explicit Argument(Words& words) : isNull(words.Next() == "null"), array(words.row.array) {}
  SAFEARRAY** Pass() { return isNull ? nullptr : &array; }
  std::string Show() {
    if (isNull) return "";
    const std::string shown = ", " + Print(array);
    SafeArrayDestroy(array);
    return shown;
  }
  bool isNull;
  SAFEARRAY* array;
};
template <>
struct Argument<GUID*> {
  explicit Argument(Words& words) : isNull(words.Take("null")) {}
  GUID* Pass() { return isNull ? nullptr : &value; }
  std::string Show() { return isNull ? "" : ", " + Print(value); }
  bool isNull;
  GUID value{};
};
// An object that the row has made.
template <class T>
concept Object = std::convertible_to<T*, IUnknown*> && !std::same_as<T, IStream>;
template <Object T>
struct Argument<T*> {
  explicit Argument(Words& words) { Read(words, object); }
  T* Pass() { return object.Get(); }
  std::string Show() { return ""; }
  platform::ComPtr<T> object;
};
// An object that comes out, under a name for the rest of the row.
template <Object T>
struct Argument<T**> {
  explicit Argument(Words& words) : row(words.row), name(words.Next()) {}
  T** Pass() { return name == "null" ? nullptr : &(object = Before()); }
  std::string Show() {
    if (name == "null") return "";
    if (object && object == Before()) return ", untouched";
    if (!object) return ", null";
    std::string shown = ", object";
    for (const auto& [known, other] : row.objects) {
      if (other.Get() == object) shown = ", " + known;
    }
    row.objects[name].Attach(object);
    return shown;
  }
  // The embedded host leaves nothing behind that it did not make; others may leave what was there.
  static T* Before() {
    return kEmbeddedHost ? reinterpret_cast<T*>(std::uintptr_t{0x10}) : nullptr;
  }
  State& row;
  std::string name;
  T* object = nullptr;
};
template <>
struct Argument<void**> : Argument<IUnknown**> {
  using Argument<IUnknown**>::Argument;
  void** Pass() { return reinterpret_cast<void**>(Argument<IUnknown**>::Pass()); }
};
template <>
struct Argument<BSTR*> {  // A string that is replaced.
  explicit Argument(Words& words) : isNull(words.Take("nowhere")) {
    if (!isNull) text = SysAllocString(words.Text());
  }
  BSTR* Pass() { return isNull ? nullptr : &text; }
  std::string Show() { return isNull ? "" : ", " + PrintAndFree(text); }
  bool isNull;
  BSTR text = nullptr;
};

std::string Shown(std::integral auto result, Words&) {
  const bool isCode = static_cast<std::int32_t>(result) < 0;
  return isCode ? Code(static_cast<HRESULT>(result)) : std::to_string(result);
}
inline std::string Shown(BSTR result, Words&) { return PrintAndFree(result); }
inline std::string Shown(SAFEARRAY* result, Words& words) {
  return Print(words.row.array = result);
}

template <class Result>
std::string ShownCall(Words& words, const std::function<Result()>& call) {
  if constexpr (std::integral<Result>) {
    if (const auto runner = std::exchange(words.row.runner, nullptr)) {
      std::string before;
      const long long result = runner(call, &before);
      return before + Shown(static_cast<Result>(result), words);
    }
  }
  return Shown(call(), words);
}

template <class Result, class... Parameters>
std::string Call(Words& words, const std::function<Result(Parameters...)>& operation) {
  std::tuple<Argument<std::decay_t<Parameters>>...> arguments{
      Argument<std::decay_t<Parameters>>(words)...};
  return std::apply(
      [&](auto&... argument) {
        const auto call = [&] { return operation(argument.Pass()...); };
        std::string shown = ShownCall<Result>(words, call);
        ((shown += argument.Show()), ...);
        return shown;
      },
      arguments);
}

template <class Result, class... Parameters>
Operation Of(std::function<Result(Parameters...)> operation) {
  return [=](Words& words) { return Call(words, operation); };
}
template <class Result, class... Parameters>
Operation Of(Result (*operation)(Parameters...)) {
  return Of(std::function<Result(Parameters...)>(operation));
}
// Of the object or stream that the first word names.
template <class Result, class Interface, class... Parameters>
Operation Of(Result (Interface::*operation)(Parameters...)) {
  return [=](Words& words) {
    platform::ComPtr<Interface> object;
    Read(words, object);
    return Call(words, std::function<Result(Parameters...)>([&](Parameters... parameters) {
                  return (object.Get()->*operation)(parameters...);
                }));
  };
}

}  // namespace tests::facts
