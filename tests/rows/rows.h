// SPDX-License-Identifier: MIT
// Facts about a host as rows of text, `operation arguments; operation arguments -> result; result`:
// the operations run one after the other on what the row has made so far.
//
// Arguments are words between blanks: numbers, "text" (\xHH and \uHHHH are one unit, \ keeps the
// character behind it), null, and VARIANTs as type and value: I4:-5, R8:0.5, BSTR:"ab",
// BSTR:bytes"abc", BYREF|I4:7, BYREF|I4:nothing, BYREF|VARIANT:BYREF|I4:7, CY:15000 (1/10000),
// ARRAY|I4:2 (elements, "2,locked" with a lock, "row" the row's own), DISPATCH:object,
// DISPATCH:object=I4:5 (with that default value), UNKNOWN:@name (where objects have names),
// DECIMAL:scale,sign,high,low of its fields, and itself for the one before. Results are written in
// the same form.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/com_ptr.h"
#include "tests/rows/values.h"

namespace tests::facts {

// A line of a file of rows; without a row it is a comment or blank.
struct Line {
  int number;
  std::string text, row, said;
};
inline constexpr std::string_view kArrow = " -> ";
std::vector<Line> ReadLines(const std::string& path);  // none if there is no such file

// The key under HKEY_CLASSES_ROOT that a row may make, and all below it.
inline constexpr LPCOLESTR kRootKey = OLESTR("CLSID\\{0A1B53E0-6C1F-4E27-9C0D-5C1E7B3A9D01}");

// What the operations of a row share. Everything is given up at the row's end.
struct State {
  State() = default;
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State();

  CountedObject object;
  std::deque<VARIANT> variants;
  std::deque<OleText> texts;
  std::deque<std::string> bytes;
  SAFEARRAY* array = nullptr;
  std::map<std::string, platform::ComPtr<IStream>> streams;
  std::map<std::string, DWORD> cookies;  // of class objects that are registered
  // `root` is of the row alone, `classes` has all classes, `wild` was never given out.
  std::map<std::string, HKEY> keys;
  // The object that @name stands for, with a count for the caller.
  std::function<IUnknown*(const std::string& name)> named;
  std::map<std::string, platform::ComPtr<IUnknown>> objects;
  // Runs the next call instead of the row, and tells what happened before its result.
  std::function<long long(const std::function<long long()>& call, std::string* before)> runner;
};

// The position of the first such character outside quotes; the size of the text if there is none.
std::size_t Find(std::string_view text, char character);

// The arguments of an operation, taken one after the other. What they point at lives as long as the
// row.
class Words {
 public:
  Words(std::string_view words, State& state) : row(state), left_(words) {}
  bool HasMore() const { return left_.find_first_not_of(' ') != left_.npos; }
  std::string Next();  // empty behind the last
  std::string Rest() { return std::string(std::exchange(left_, {})); }
  bool Take(std::string_view word);
  long long Number();
  GUID Guid();
  const char* Bytes();    // null for null
  const OLECHAR* Text();  // the same
  platform::ComPtr<IStream>& Stream() { return row.streams[Next()]; }
  HKEY* Key();                          // of that name, null at first
  platform::ComPtr<IUnknown> Object();  // of that name, null for none
  VARIANT* Variant();                   // null for null, the one before for itself

  State& row;

 private:
  VARIANT* ParseVariant(std::string_view literal);

  std::string_view left_;
};

VARTYPE TypeOf(std::string_view name);
std::string NameOf(VARTYPE type);
// The name of a result code, or its hexadecimal digits.
std::string Code(HRESULT result);
std::string Print(const GUID& guid);
std::string Print(const VARIANT& value);
std::string Print(SAFEARRAY* array);  // type, features, size of an element, bounds, elements
// Where in a VARIANT the element lies that it stands for.
inline void* ElementIn(VARIANT& value, VARTYPE type) {
  const bool isWhole = type == VT_VARIANT || type == VT_DECIMAL;
  return isWhole ? static_cast<void*>(&value) : &value.llVal;
}
std::string PrintAndFree(BSTR text);  // its length in bytes, content and end; length in units
std::string Quoted(std::string_view text);
std::string Quoted(std::basic_string_view<OLECHAR> text);

// By name; the result is what the row shows.
using Operation = std::function<std::string(Words&)>;
using Operations = std::map<std::string, Operation>;

}  // namespace tests::facts
