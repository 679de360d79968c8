#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "tests/host/fact_call.h"

namespace tests::facts {
namespace {

using platform::ComPtr;

std::string Text(long long number) { return std::to_string(number); }

// ---- texts

// A string with the length before it and the terminator behind it, and gives it up.
std::string Block(BSTR text, bool hasContent = true) {
  if (!text) return "null";
  const UINT bytes = SysStringByteLen(text);
  const auto* first = reinterpret_cast<const BYTE*>(text);
  const std::string shown = hasContent ? HexOf(first - 4, bytes + 6)
                                       : HexOf(first - 4, 4) + " ... " + HexOf(first + bytes, 2);
  const std::string units = ", units " + Text(SysStringLen(text));
  SysFreeString(text);
  return shown + units;
}

std::string ReAllocLen(Words& words) {
  const OLECHAR* old = words.Text();
  BSTR text = SysAllocString(old);
  const UINT oldUnits = SysStringLen(text);
  const bool isPart = words.Take("itself");
  const OLECHAR* fresh = isPart ? text + words.Number() : words.Text();
  const auto units = static_cast<UINT>(words.Number());
  const std::string done = Text(SysReAllocStringLen(&text, fresh, units));
  const UINT now = SysStringLen(text), defined = fresh ? now : (std::min)(oldUnits, now);
  const std::string shown = Quoted(OleText(text, defined));
  SysFreeString(text);
  return done + ' ' + shown + ", units " + Text(now);
}

// ---- VARIANTs

std::string Print(const VARIANT* value) { return value ? facts::Print(*value) : "nothing"; }

std::string Outcome(HRESULT result, const VARIANT* target, const std::string& before) {
  const std::string after = Print(target);
  if (result == S_OK) return after;
  return Code(result) + (after == before ? "" : ", " + after);
}

// The outcome on another VARIANT, which is an old text, and in place if that differs.
std::string OnBoth(VARIANT* source, const std::function<HRESULT(VARIANT*)>& operation) {
  Value target(tests::Text("old"));
  const std::string before = Print(source), old = Print(&target);
  const std::string separate = Outcome(operation(&target), &target, old);
  const std::string inPlace = Outcome(operation(source), source, before);
  return separate == inPlace ? separate : separate + ", in place " + inPlace;
}

// Which types have which outcome, but for types that are none. The same for all is said once.
std::string ByType(const std::vector<int>& types, std::function<std::string(VARTYPE)> outcomeOf) {
  std::map<std::string, std::string> groups;
  const auto outcome = [&](std::size_t i) { return outcomeOf(static_cast<VARTYPE>(types[i])); };
  for (std::size_t i = 0; i < types.size(); ++i) {
    const std::string common = outcome(i);
    char range[40];
    const int first = types[i];
    while (i + 1 < types.size() && types[i + 1] == types[i] + 1 && outcome(i + 1) == common) ++i;
    std::snprintf(range, sizeof(range), first == types[i] ? " %X" : " %X-%X", first, types[i]);
    groups[common] += range;
  }
  if (groups.size() == 1) return groups.begin()->first;
  std::string all;
  for (const auto& [common, ranges] : groups) {
    if (common != "DISP_E_BADVARTYPE") all += (all.empty() ? "" : ", ") + common + ranges;
  }
  return all;
}

std::vector<int> EveryType() {
  std::vector<int> types(0x10000);
  for (int type = 0; type < 0x10000; ++type) types[static_cast<std::size_t>(type)] = type;
  return types;
}

std::string Clear(Words& words) {
  if (!words.Take("every")) {
    VARIANT* variant = words.Variant();
    const std::string before = Print(variant);
    return Outcome(VariantClear(variant), variant, before);
  }
  return ByType(EveryType(), [](VARTYPE type) {
    VARIANT variant = Typed(type);
    const HRESULT result = VariantClear(&variant);
    return Code(result) +
           (variant.vt == (result == S_OK ? VARTYPE{VT_EMPTY} : type) ? "" : " changed");
  });
}

std::string Copy(Words& words) {
  if (!words.Take("every")) {
    const bool isItself = words.Take("itself");
    VARIANT* target = words.Variant();
    VARIANT* source = isItself ? target : words.Variant();
    const std::string before = Print(target);
    return Outcome(VariantCopy(target, source), target, before);
  }
  return ByType(EveryType(), [](VARTYPE type) {
    VARIANT source = Typed(type);
    Value target(Bits(VT_I4, 7));
    const HRESULT result = VariantCopy(&target, &source);
    return Code(result) +
           (target->vt == (result == S_OK ? type : VARTYPE{VT_I4}) ? "" : " changed");
  });
}

std::string ChangeType(Words& words) {
  VARIANT* given = words.Variant();
  const std::string name = words.Next();
  const auto flags = static_cast<USHORT>(words.Number());
  const auto changed = [&](VARIANT* source, VARTYPE type) {
    return OnBoth(source,
                  [=](VARIANT* target) { return VariantChangeType(target, source, flags, type); });
  };
  if (name != "every" && name != "numbers") return changed(given, TypeOf(name));
  const std::vector<int> numbers = {2, 3, 4, 5, 6, 7, 11, 14, 16, 17, 18, 19, 20, 21, 22, 23};
  return ByType(name == "every" ? EveryType() : numbers, [&](VARTYPE type) {
    Value source;
    VariantCopy(&source, given);
    const std::string outcome = changed(&source, type);
    return outcome.starts_with(NameOf(type)) && !outcome.ends_with("old\"") ? "S_OK" : outcome;
  });
}

// ---- code pages

Operation WithLastError(const Operation& operation) {
  return [=](Words& words) {
    SetLastError(0);
    const std::string shown = operation(words);
    const DWORD error = GetLastError();
    return error ? shown + ", error " + Text(error) : shown;
  };
}

// ---- identifiers

template <class Operation>
std::string FromGuid(Words& words, Operation operation) {
  const GUID guid = words.Guid();
  LPOLESTR text = nullptr;
  const HRESULT result = operation(guid, words.Take("nowhere") ? nullptr : &text);
  const std::string shown = text ? ' ' + Quoted(OleText(text)) : "";
  CoTaskMemFree(text);
  return Code(result) + shown;
}

template <class Operation>
std::string ToGuid(Words& words, Operation operation) {
  const OLECHAR* text = words.Text();
  GUID guid{1, 2, 3, {}};
  const HRESULT result = operation(text, words.Take("nowhere") ? nullptr : &guid);
  return result == S_OK ? facts::Print(guid) : Code(result);
}

std::string FromGuidInto(Words& words) {
  const GUID guid = words.Guid();
  const int room = static_cast<int>(words.Number());
  OleText all(40, OLECHAR{'#'});
  const int units = StringFromGUID2(guid, words.Take("nowhere") ? nullptr : all.data(), room);
  return Text(units) + ' ' + Quoted(all.substr(0, all.find_last_not_of(OLECHAR{'#'}) + 1));
}

std::string NewGuid(Words& words) {
  if (words.Take("nowhere")) return Code(CoCreateGuid(nullptr));
  GUID first{}, second{};
  const HRESULT result = CoCreateGuid(&first);
  if (FAILED(CoCreateGuid(&second)) || IsEqualGUID(first, second)) return "not another";
  return Code(result) + ", version " + Text(first.Data3 >> 12) + ", variant " +
         Text(first.Data4[0] >> 6);
}

}  // namespace

const Operations kValueOperations = {
    {"SysAllocString", [](Words& words) { return Block(SysAllocString(words.Text())); }},
    {"SysAllocStringLen",
     [](Words& words) {
       const OLECHAR* text = words.Text();
       return Block(SysAllocStringLen(text, static_cast<UINT>(words.Number())), text != nullptr);
     }},
    {"SysAllocStringByteLen",
     [](Words& words) {
       const char* bytes = words.Bytes();
       return Block(SysAllocStringByteLen(bytes, static_cast<UINT>(words.Number())),
                    bytes != nullptr);
     }},
    {"SysFreeString",
     [](Words& words) {
       SysFreeString(words.Variant()->bstrVal);
       return std::string("done");
     }},
    {"SysStringLen", [](Words& words) { return Text(SysStringLen(words.Variant()->bstrVal)); }},
    {"SysStringByteLen",
     [](Words& words) { return Text(SysStringByteLen(words.Variant()->bstrVal)); }},
    {"SysReAllocString",
     [](Words& words) {
       if (words.Take("nowhere")) return Text(SysReAllocString(nullptr, words.Text()));
       BSTR text = SysAllocString(words.Text());
       const std::string done = Text(SysReAllocString(&text, words.Text()));
       return done + ", " + Block(text);
     }},
    {"SysReAllocStringLen", ReAllocLen},
    {"VariantInit",
     [](Words&) {
       VARIANT garbage;
       std::memset(static_cast<void*>(&garbage), 0xFF, sizeof(garbage));
       VariantInit(&garbage);
       return facts::Print(garbage);
     }},
    {"VariantClear", Clear},
    {"VariantCopy", Copy},
    {"VariantCopyInd",
     [](Words& words) {
       VARIANT* source = words.Variant();
       return OnBoth(source, [=](VARIANT* target) { return VariantCopyInd(target, source); });
     }},
    {"VariantChangeType", ChangeType},
    {"VariantChangeTypeOver",
     [](Words& words) {
       VARIANT *target = words.Variant(), *source = words.Variant();
       const std::string before = Print(target);
       const VARTYPE type = TypeOf(words.Next());
       return Outcome(VariantChangeType(target, source, 0, type), target, before);
     }},
    {"MultiByteToWideChar", WithLastError(Of(MultiByteToWideChar))},
    {"WideCharToMultiByte", WithLastError(Of(WideCharToMultiByte))},
    {"StringFromCLSID", [](Words& words) { return FromGuid(words, StringFromCLSID); }},
    {"StringFromIID", [](Words& words) { return FromGuid(words, StringFromIID); }},
    {"StringFromGUID2", FromGuidInto},
    {"CLSIDFromString", [](Words& words) { return ToGuid(words, CLSIDFromString); }},
    {"IIDFromString", [](Words& words) { return ToGuid(words, IIDFromString); }},
    {"CoCreateGuid", NewGuid},
};

}  // namespace tests::facts
