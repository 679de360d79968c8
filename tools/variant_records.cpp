// SPDX-License-Identifier: MIT
#include "tools/variant_records.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "tools/object_format.h"
#include "tools/result_codes.h"

namespace tools {
namespace {

constexpr std::uint32_t kMostTextBytes = 0x100000;
constexpr std::uint32_t kTerminatorBytes = 2;
constexpr std::size_t kShortUnits = 60;

constexpr bool IsObject(VARTYPE vt) { return vt == VT_DISPATCH || vt == VT_UNKNOWN; }

template <class T>
Value NumberValueAt(const std::uint8_t* value) {
  const std::string text = NumberTextAt<T>(value);
  return {text, Number{text}};
}

Value CurrencyAt(const std::uint8_t* value) {
  const std::string text = CurrencyText(NumberAt<std::int64_t>(value));
  return {text, Number{text}};
}

Value DateAt(const std::uint8_t* value) { return DateText(NumberAt<double>(value)); }

Value ErrorAt(const std::uint8_t* value) { return ResultText(NumberAt<std::uint32_t>(value)); }

Value BoolAt(const std::uint8_t* value) {
  const auto number = NumberAt<std::int16_t>(value);
  const char* const truth = number == 0 ? "false" : "true";
  return {number == 0 || number == -1 ? truth : NumberText(number) + " (true)", number != 0};
}

// What has a value of fixed width in a plain record; all else is a text or an object.
struct FixedType {
  VARTYPE vt;
  unsigned bytes;
  Value (*value)(const std::uint8_t* value);
};

template <class T>
constexpr FixedType NumberType(VARTYPE vt) {
  return {vt, sizeof(T), &NumberValueAt<T>};
}

constexpr FixedType kFixedTypes[] = {
    NumberType<std::int16_t>(VT_I2),   NumberType<std::int32_t>(VT_I4),
    NumberType<float>(VT_R4),          NumberType<double>(VT_R8),
    {VT_CY, 8, &CurrencyAt},           {VT_DATE, 8, &DateAt},
    {VT_ERROR, 4, &ErrorAt},           {VT_BOOL, 2, &BoolAt},
    NumberType<std::int8_t>(VT_I1),    NumberType<std::uint8_t>(VT_UI1),
    NumberType<std::uint16_t>(VT_UI2), NumberType<std::uint32_t>(VT_UI4),
    NumberType<std::int64_t>(VT_I8),   NumberType<std::uint64_t>(VT_UI8),
    NumberType<std::int32_t>(VT_INT),  NumberType<std::uint32_t>(VT_UINT),
};

const FixedType* FindFixedType(VARTYPE vt) {
  for (const FixedType& type : kFixedTypes) {
    if (type.vt == vt) return &type;
  }
  return nullptr;
}

std::string TypeText(VARTYPE vt) {
  static constexpr const char* kNames[] = {
      "VT_EMPTY",   "VT_NULL",    "VT_I2",      "VT_I4",       "VT_R4",    "VT_R8",
      "VT_CY",      "VT_DATE",    "VT_BSTR",    "VT_DISPATCH", "VT_ERROR", "VT_BOOL",
      "VT_VARIANT", "VT_UNKNOWN", "VT_DECIMAL", "type 15",     "VT_I1",    "VT_UI1",
      "VT_UI2",     "VT_UI4",     "VT_I8",      "VT_UI8",      "VT_INT",   "VT_UINT"};
  return vt < std::size(kNames) ? kNames[vt] : "type " + HexText(vt, 4);
}

// Whether a reader makes a value of the type from the text.
bool ReadsAs(VARTYPE vt, Bytes text) {
  if ((vt & VT_ARRAY) != 0) return false;
  VARIANT value;
  VariantInit(&value);
  value.bstrVal = SysAllocStringByteLen(reinterpret_cast<const char*>(text.data()),
                                        static_cast<UINT>(text.size()));
  if (!value.bstrVal) throw std::bad_alloc();
  value.vt = VT_BSTR;
  const HRESULT result = VariantChangeType(&value, &value, 0, vt);
  VariantClear(&value);
  return SUCCEEDED(result);
}

// The text form: a byte count with the terminator's, the text, the terminator.
Value TakeText(StreamWalk& walk, VARTYPE vt) {
  const auto bytes = walk.TakeNumber<std::uint32_t>("the byte count of a text");
  if (bytes == 0) {
    if (vt != VT_BSTR && !ReadsAs(vt, {})) walk.Fail("no text for " + TypeText(vt));
    return {vt == VT_BSTR ? "null" : "", nullptr};
  }
  if (bytes < kTerminatorBytes) walk.Fail("a text of 1 byte has no room for its terminator");
  if (bytes > kMostTextBytes) {
    walk.Fail("a text of " + CountText(bytes, "byte") + ": readers refuse more than " +
              NumberText(kMostTextBytes));
  }
  const Bytes text = walk.Take(bytes - kTerminatorBytes, "a text");
  if (walk.TakeNumber<std::uint16_t>("the terminator of a text") != 0) {
    walk.Fail("a text without terminator");
  }
  Listing& lines = walk.Lines();
  const bool isTextAlone = vt == VT_BSTR;
  if (!isTextAlone && !ReadsAs(vt, text)) {
    walk.Fail("the text " + QuotedText(text, kShortUnits) + " cannot be read as " + TypeText(vt));
  }
  if (!lines.IsShown() || (!isTextAlone && text.empty())) return {"", nullptr};
  return {QuotedText(text, lines.extent().units), PlainText(text)};
}

std::string Joined(VARTYPE vt, const std::string& value) {
  return value.empty() ? TypeText(vt) : TypeText(vt) + "  " + value;
}

// The object of a plain record, whose type is behind the walk.
void WalkPlainObject(StreamWalk& walk) {
  Listing& lines = walk.Lines();
  const Listing::Indent indent(lines);
  const std::uint64_t start = walk.Offset();
  const CLSID classId = walk.TakeClassId();
  if (IsEqualGUID(classId, CLSID_NULL)) {
    lines.Field(start, sizeof(classId), "class", {"none, a null object", nullptr});
    return;
  }
  lines.Field(start, sizeof(classId), "class",
              {ClassText(classId) + ", level " + NumberText(walk.Level() + 1), ClassName(classId)});
  const KnownClass* known = FindClass(classId);
  if (!known || !IsFormatKnown(*known)) {
    walk.Fail(UnknownFormatText(classId) +
              ", and its data has no byte count: what follows is lost");
  }
  ++walk.Found().nestedClasses[ClassText(classId)];
  const Listing::Indent inside(lines);
  WalkObject(walk, *known);
}

// The value of a plain record behind its type.
void WalkPlainValue(StreamWalk& walk, std::uint64_t start, std::string_view name, VARTYPE vt,
                    const std::string& remark) {
  Listing& lines = walk.Lines();
  const auto list = [&](Value value) {
    if (!lines.IsShown()) return;
    value.text = Joined(vt, value.text) + remark;
    value.type = TypeText(vt);
    lines.Field(start, walk.Offset() - start, name, value);
  };
  if (IsObject(vt)) {
    list({"", nullptr});
    WalkPlainObject(walk);
  } else if (const FixedType* type = FindFixedType(vt)) {
    const Bytes value = walk.Take(type->bytes, TypeText(vt));
    list(lines.IsShown() ? type->value(value.data()) : "");
  } else {
    list(TakeText(walk, vt));
  }
}

// The data of an object whose byte count is behind the walk. Whatever is wrong with it, what
// follows it can be found.
void WalkCountedObject(StreamWalk& walk, REFCLSID classId, std::uint64_t bytes) {
  const std::uint64_t there = std::min(bytes, walk.Remaining());
  const KnownClass* known = FindClass(classId);
  if (known && IsFormatKnown(*known)) {
    const StreamWalk::Part part(walk, there);
    const Listing::Indent inside(walk.Lines());
    try {
      WalkObject(walk, *known);
      if (walk.Remaining() > 0) {
        walk.Note(walk.Offset(), CountText(walk.Remaining(), "byte") + " of the object's " +
                                     NumberText(bytes) + " left over");
      }
    } catch (const BrokenStream& broken) {
      walk.Note(broken.offset(), broken.what());
    }
  } else {
    const std::uint64_t start = walk.Offset();
    walk.ListBytes(start, walk.Take(there, "the object"), "bytes");
  }
  if (there < bytes) walk.Take(bytes - there, "the rest of the object");
}

void WalkTaggedObject(StreamWalk& walk, std::uint64_t start, std::string_view name, VARTYPE vt) {
  Listing& lines = walk.Lines();
  Value value(TypeText(vt), nullptr);
  value.type = value.text;
  lines.Field(start, sizeof(vt), name, value);
  const Listing::Indent indent(lines);
  const std::uint64_t classStart = walk.Offset();
  const CLSID classId = walk.TakeClassId();
  if (IsEqualGUID(classId, CLSID_NULL)) {
    lines.Field(classStart, sizeof(classId), "class",
                {"none, an object that was not saved", nullptr});
    return;
  }
  const KnownClass* known = FindClass(classId);
  const bool isWalked = known && IsFormatKnown(*known);
  lines.Field(classStart, sizeof(classId), "class",
              {ClassText(classId) + (isWalked ? ", level " + NumberText(walk.Level() + 1)
                                     : known  ? ", format not known, not looked into"
                                              : ", not known"),
               ClassName(classId)});
  if (known && !isWalked) walk.Found().unknownFormat = UnknownFormatText(classId);
  ++walk.Found().nestedClasses[ClassText(classId) + (isWalked ? "" : ", not looked into")];
  const std::uint64_t countStart = walk.Offset();
  const auto bytes = walk.TakeNumber<std::uint64_t>("the byte count of an object");
  lines.Field(countStart, sizeof(bytes), "byte count",
              {NumberText(bytes), Number{NumberText(bytes)}});
  WalkCountedObject(walk, classId, bytes);
}

// A DECIMAL as it lies in memory: its text, by the host's own conversion.
std::string DecimalText(Bytes image) {
  VARIANT value;
  std::memcpy(&value, image.data(), sizeof(value));
  constexpr BYTE kMostPlaces = 28;
  if (value.decVal.scale > kMostPlaces || (value.decVal.sign & 0x7F) != 0) {
    return "not a DECIMAL: " + HexBytes(image);
  }
  VARIANT text;
  VariantInit(&text);
  constexpr LCID kEnglish = 0x0409;
  std::string narrow;
  if (SUCCEEDED(VariantChangeTypeEx(&text, &value, kEnglish, 0, VT_BSTR)) && text.bstrVal) {
    for (UINT i = 0; i < SysStringLen(text.bstrVal); ++i) {
      narrow += static_cast<char>(text.bstrVal[i]);
    }
  }
  VariantClear(&text);
  return narrow;
}

}  // namespace

void WalkPlainRecord(StreamWalk& walk, std::string_view name) {
  const std::uint64_t start = walk.Offset();
  const auto vt = walk.TakeNumber<VARTYPE>("a type");
  WalkPlainValue(walk, start, name, vt, "");
}

void WalkTaggedRecord(StreamWalk& walk, std::string_view name) {
  const std::uint64_t start = walk.Offset();
  const auto outer = walk.TakeNumber<VARTYPE>("a type");
  if (IsObject(outer)) return WalkTaggedObject(walk, start, name, outer);
  // The type stands twice; readers go by the second one.
  const auto vt = walk.TakeNumber<VARTYPE>("the second type of a record");
  WalkPlainValue(walk, start, name, vt,
                 vt == outer ? "" : "  (the type in front is " + TypeText(outer) + ")");
}

void WalkVariantImage(StreamWalk& walk, std::string_view name) {
  constexpr std::size_t kImageBytes = 24;
  constexpr std::size_t kValueOffset = 8;
  static_assert(sizeof(VARIANT) == kImageBytes);
  const std::uint64_t start = walk.Offset();
  const Bytes image = walk.Take(kImageBytes, "the image of a VARIANT");
  const auto vt = NumberAt<VARTYPE>(image.data());
  const FixedType* type = FindFixedType(vt);
  const bool isKept = type || vt == VT_EMPTY || vt == VT_NULL || vt == VT_DECIMAL;
  if (!isKept) ++walk.Found().lostPointers;
  if (!walk.Lines().IsShown()) return;
  Value value = !isKept            ? Value("a pointer of its time, lost", nullptr)
                : type             ? type->value(image.data() + kValueOffset)
                : vt == VT_DECIMAL ? Value(DecimalText(image))
                                   : Value("", nullptr);
  value.text = Joined(vt, value.text);
  value.type = TypeText(vt);
  walk.Lines().Field(start, kImageBytes, name, value);
}

}  // namespace tools
