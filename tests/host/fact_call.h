// Calls an operation with a word for each of its parameters: a number, a text, bytes in
// hexadecimal, the name of a key or stream of the row, null. Buffers are given by the room in them.
// The result is what the operation returns (a number, or the name of a failure) and what it stores.
#pragma once

#include <concepts>
#include <functional>
#include <tuple>
#include <vector>

#include "tests/host/facts.h"
#include "tests/support/streams.h"

namespace tests::facts {

// Only passed in. Pointers to what is not known here are null.
template <class T>
struct Input {
  T Pass() { return value; }
  std::string Show() { return ""; }
  T value{};
};
template <class T>
struct Argument : Input<T> {
  explicit Argument(Words& words) { words.Next(); }
};
template <std::integral T>
struct Argument<T> : Input<T> {
  explicit Argument(Words& words) : Input<T>{static_cast<T>(words.Number())} {}
};
template <>
struct Argument<VARTYPE> : Input<VARTYPE> {
  explicit Argument(Words& words) : Input{TypeOf(words.Next())} {}
};
template <>
struct Argument<LARGE_INTEGER> : Input<LARGE_INTEGER> {
  explicit Argument(Words& words) { value.QuadPart = words.Number(); }
};
template <>
struct Argument<ULARGE_INTEGER> : Input<ULARGE_INTEGER> {
  explicit Argument(Words& words) { value.QuadPart = static_cast<ULONGLONG>(words.Number()); }
};
template <>
struct Argument<const OLECHAR*> : Input<const OLECHAR*> {
  explicit Argument(Words& words) : Input{words.Text()} {}
};
template <>
struct Argument<const char*> : Input<const char*> {
  explicit Argument(Words& words) : Input{words.Bytes()} {}
};
template <>
struct Argument<HKEY> : Input<HKEY> {
  explicit Argument(Words& words) : Input{*words.Key()} {}
};
template <>
struct Argument<HKEY*> : Input<HKEY*> {
  explicit Argument(Words& words) : Input{words.Take("null") ? nullptr : words.Key()} {}
};
template <>
struct Argument<IStream*> : Input<IStream*> {
  explicit Argument(Words& words) : Input{words.row.streams[words.Next()].Get()} {}
};
template <>
struct Argument<IStream**> : Input<IStream**> {
  explicit Argument(Words& words) : Input{words.row.streams[words.Next()].Put()} {}
};
// Takes no word: a row has one array.
template <>
struct Argument<SAFEARRAY*> : Input<SAFEARRAY*> {
  explicit Argument(Words& words) : Input{words.row.array} {}
};

template <class T>
concept Bytes = std::same_as<T, BYTE> || std::same_as<T, void>;
template <class T>
concept Numbers = std::integral<T> || std::same_as<T, ULARGE_INTEGER>;

// Some that are read.
template <Bytes T>
struct Argument<const T*> {
  explicit Argument(Words& words) : bytes(BytesOf(words.Take("null") ? "" : words.Next())) {}
  const T* Pass() { return bytes.empty() ? nullptr : bytes.data(); }
  std::string Show() { return ""; }
  std::vector<BYTE> bytes;
};
template <>
struct Argument<SAFEARRAYBOUND*> {  // "3@-1,4@0": elements and lower bound of each dimension
  explicit Argument(Words& words) {
    if (words.Take("null")) return;
    const std::string word = words.Next();
    for (const char* at = word.c_str(); *at != 0;) {
      char* end = nullptr;
      const auto elements = static_cast<ULONG>(std::strtoul(at, &end, 0));
      bounds.push_back({elements, static_cast<LONG>(std::strtol(end + 1, &end, 0))});
      at = *end == ',' ? end + 1 : end;
    }
  }
  SAFEARRAYBOUND* Pass() { return bounds.empty() ? nullptr : bounds.data(); }
  std::string Show() { return ""; }
  std::vector<SAFEARRAYBOUND> bounds;
};

// Some that are written: all the room is shown.
template <class T>
requires Bytes<T> || std::same_as<T, OLECHAR>
struct Argument<T*> {
  using Unit = std::conditional_t<std::is_void_v<T>, BYTE, T>;
  explicit Argument(Words& words) : isNull(words.Take("null")) {
    if (!isNull) units.assign(static_cast<std::size_t>(words.Number()) + 1, Unit{'#'});
  }
  T* Pass() { return isNull ? nullptr : units.data(); }
  std::string Show() {
    if (isNull) return "";
    if (units.back() != '#') return ", written behind the room";
    units.pop_back();
    if constexpr (Bytes<T>)
      return ", " + HexOf(units.data(), units.size());
    else
      return ", " + Quoted(units);
  }
  bool isNull;
  std::basic_string<Unit> units;
};
// A number that is read or written or both.
template <Numbers T>
requires(!Bytes<T> && !std::same_as<T, OLECHAR>) struct Argument<T*> {
  explicit Argument(Words& words) : isNull(words.Take("null")) {
    if (!isNull) number = Argument<T>(words).value;
  }
  T* Pass() { return isNull ? nullptr : &number; }
  std::string Show() {
    if (isNull) return "";
    if constexpr (std::same_as<T, VARTYPE>) return ", " + NameOf(number);
    if constexpr (std::integral<T>) return ", " + std::to_string(number);
    if constexpr (!std::integral<T>) return ", " + std::to_string(number.QuadPart);
  }
  bool isNull;
  T number{};
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
struct Argument<void**> {  // A place in the row's array.
  explicit Argument(Words& words) : isNull(words.Next() == "null"), array(words.row.array) {}
  void** Pass() { return isNull ? nullptr : &place; }
  std::string Show() {
    if (!place) return "";
    const auto bytes = static_cast<BYTE*>(place) - DataOf<BYTE>(array);
    return ", element " + std::to_string(bytes / array->cbElements);
  }
  bool isNull;
  SAFEARRAY* array;
  void* place = nullptr;
};

inline std::string Shown(std::integral auto result, Words&) {
  const bool isCode = static_cast<std::int32_t>(result) < 0;
  return isCode ? Code(static_cast<HRESULT>(result)) : std::to_string(result);
}
inline std::string Shown(SAFEARRAY* result, Words& words) {
  return Print(words.row.array = result);
}

template <class Result, class... Parameters>
std::string Call(Words& words, const std::function<Result(Parameters...)>& operation) {
  std::tuple<Argument<Parameters>...> arguments{Argument<Parameters>(words)...};
  return std::apply(
      [&](auto&... argument) {
        std::string shown = Shown(operation(argument.Pass()...), words);
        ((shown += argument.Show()), ...);
        return shown;
      },
      arguments);
}

template <class Result, class... Parameters>
Operation Of(Result (*operation)(Parameters...)) {
  return [=](Words& words) { return Call(words, std::function<Result(Parameters...)>(operation)); };
}
// Of the stream that the first word names.
template <class Result, class Interface, class... Parameters>
Operation Of(Result (Interface::*operation)(Parameters...)) {
  return [=](Words& words) {
    Interface* stream = words.row.streams[words.Next()].Get();
    return Call(words, std::function<Result(Parameters...)>([=](Parameters... parameters) {
                  return (stream->*operation)(parameters...);
                }));
  };
}

}  // namespace tests::facts
