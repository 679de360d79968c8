#include "examples/attributes.h"

#include "examples/client.h"
#include "interfaces/vector.h"

namespace examples {
namespace {

using platform::ComPtr;

void Put(IAttributeBstrMapKLP& map, const char* key, const Value& value) {
  Check(map.put_Value(Text(std::string(key)).Get(), value.Get()), "put_Value");
}

ComPtr<IAttributeLongMapKLP> PlaneNames(int planes) {
  static constexpr const char* kNames[][4] = {
      {"grey"}, {"grey", "alpha"}, {"red", "green", "blue"}, {"red", "green", "blue", "alpha"}};
  auto map = Create<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  for (int plane = 0; plane < planes; ++plane) {
    Check(map->put_Value(plane, Value(std::string(kNames[planes - 1][plane])).Get()), "put_Value");
  }
  return map;
}

ComPtr<IAttributeDoubleMapKLP> Calibration() {
  auto map = Create<IAttributeDoubleMapKLP>(CLSID_AttributeDoubleMapKLP);
  Check(map->put_Value(0.0, Value(0.0).Get()), "put_Value");
  Check(map->put_Value(1.0, Value(std::string("white")).Get()), "put_Value");
  return map;
}

ComPtr<IDoubleVectorKLP> Histogram(const std::vector<double>& counts) {
  auto vector = Create<IDoubleVectorKLP>(CLSID_DoubleVectorKLP);
  Check(vector->put_HasElementTags(VARIANT_TRUE), "put_HasElementTags");
  const LONG bins = static_cast<LONG>(counts.size());
  Check(vector->put_Count(bins), "put_Count");
  for (LONG bin = 0; bin < bins; ++bin) {
    Check(vector->put_Value(bin, counts[static_cast<std::size_t>(bin)]), "put_Value");
    const std::string range = std::to_string(bin) + "/" + std::to_string(bins);
    Check(vector->put_ElementTag(bin, Value(range).Get()), "put_ElementTag");
  }
  return vector;
}

std::string Elements(IVectorKLP& vector) {
  LONG count = 0;
  vector.get_Count(&count);
  std::string words = std::to_string(count) + " elements:";
  for (LONG i = 0; i < count; ++i) {
    double value = 0;
    Check(vector.get_Value(i, &value), "get_Value");
    Value tag;
    char number[32];
    std::snprintf(number, sizeof number, " %g", value);
    words += number;
    if (SUCCEEDED(vector.get_ElementTag(i, tag.Put())) && tag.Get().vt != VT_EMPTY) {
      words += " (" + InWords(tag.Get()) + ")";
    }
  }
  return words;
}

template <class Interface>
ComPtr<Interface> ObjectIn(const VARIANT& value) {
  const bool isObject = value.vt == VT_DISPATCH || value.vt == VT_UNKNOWN;
  return isObject ? ComPtr<IUnknown>(value.punkVal).As<Interface>() : ComPtr<Interface>();
}

// An integer map hands its keys out as VT_I4 and takes them as VT_INT.
VARIANT AsArgument(const VARIANT& key) {
  VARIANT argument = key;
  if (argument.vt == VT_I4) argument.vt = VT_INT;
  return argument;
}

}  // namespace

ComPtr<IAttributeMapKLP> MakeAttributes(const std::string& fileName, int planes,
                                        const std::vector<double>& histogram) {
  const auto map = Create<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
  Put(*map, "source", Value(fileName));
  Put(*map, "planes", Value(PlaneNames(planes).Get()));
  Put(*map, "calibration", Value(Calibration().Get()));
  Put(*map, "histogram", Value(Histogram(histogram).Get()));
  return map.As<IAttributeMapKLP>();
}

std::string InWords(const VARIANT& value) {
  char number[32];
  switch (value.vt) {
    case VT_EMPTY:
      return "nothing";
    case VT_BSTR:
      return Utf8(value.bstrVal);
    case VT_I4:
      return std::to_string(value.lVal);
    case VT_R8:
      std::snprintf(number, sizeof number, "%g", value.dblVal);
      return number;
  }
  if (const auto vector = ObjectIn<IVectorKLP>(value)) return Elements(*vector);
  if (const auto map = ObjectIn<IAttributeMapKLP>(value)) {
    LONG count = 0;
    Check(map->get_Count(&count), "get_Count");
    return "a map of " + std::to_string(count);
  }
  return "a value of type " + std::to_string(value.vt);
}

void SayAttributes(IAttributeMapKLP& map, const std::string& indent) {
  ComPtr<IEnumAttributeEntryKLP> entries;
  Check(map.GetEnumerator(entries.Put()), "GetEnumerator");
  ComPtr<IAttributeEntryKLP> entry;
  while (entries->Next(1, entry.Put(), nullptr) == S_OK) {
    Value key;
    Value value;
    Check(entry->get_Key(key.Put()), "get_Key");
    Check(map.get_Value(AsArgument(key.Get()), value.Put()), "get_Value");
    Say("  attribute", "%s%s: %s", indent.c_str(), InWords(key.Get()).c_str(),
        InWords(value.Get()).c_str());
    if (const auto inner = ObjectIn<IAttributeMapKLP>(value.Get())) {
      SayAttributes(*inner, indent + "  ");
    }
  }
}

}  // namespace examples
