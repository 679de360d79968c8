// SPDX-License-Identifier: MIT
#include <vector>

#include "tests/host/host_operations.h"

namespace tests::facts {
namespace {

std::string Held(const VARIANT* value) { return value ? Print(*value) : "nothing"; }

std::string Outcome(HRESULT result, const VARIANT* target, const std::string& before) {
  const std::string after = Held(target);
  if (result == S_OK) return after;
  return Code(result) + (after == before ? "" : ", " + after);
}

// The outcome on another VARIANT, which is an old text, and in place if that differs.
std::string OnBoth(VARIANT* source, const std::function<HRESULT(VARIANT*)>& operation) {
  Value target(Text("old"));
  const std::string before = Held(source), old = Held(&target);
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

std::string ClearEveryType(Words&) {
  return ByType(EveryType(), [](VARTYPE type) {
    VARIANT variant = Typed(type);
    const HRESULT result = VariantClear(&variant);
    const bool isRight = variant.vt == (result == S_OK ? VARTYPE{VT_EMPTY} : type);
    return Code(result) + (isRight ? "" : " changed");
  });
}

std::string CopyEveryType(Words&) {
  return ByType(EveryType(), [](VARTYPE type) {
    VARIANT source = Typed(type);
    Value target(Bits(VT_I4, 7));
    const HRESULT result = VariantCopy(&target, &source);
    const bool isRight = target->vt == (result == S_OK ? type : VARTYPE{VT_I4});
    return Code(result) + (isRight ? "" : " changed");
  });
}

// To one type, or "every" one, or those of "numbers".
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

Operation WithLastError(const Operation& operation) {
  return [=](Words& words) {
    SetLastError(0);
    const std::string shown = operation(words);
    const DWORD error = GetLastError();
    return error ? shown + ", error " + std::to_string(error) : shown;
  };
}

template <class FromString>
Operation FromText(FromString operation) {
  return [=](Words& words) {
    const OLECHAR* text = words.Text();
    GUID guid{1, 2, 3, {}};
    const HRESULT result = operation(text, words.Take("null") ? nullptr : &guid);
    return Shown(result, words) + (result == S_OK ? ", " + Print(guid) : "");
  };
}

template <class StringFrom>
Operation ToText(StringFrom operation) {
  return [=](Words& words) {
    const GUID guid = words.Guid();
    LPOLESTR text = nullptr;
    const HRESULT result = operation(guid, words.Take("null") ? nullptr : &text);
    const std::string shown = text ? ", " + Quoted(OleText(text)) : "";
    CoTaskMemFree(text);
    return Shown(result, words) + shown;
  };
}

const MoreOperations kOperations(Operations{
    {"SysAllocString", Of(SysAllocString)},
    {"SysAllocStringLen", Of(SysAllocStringLen)},
    {"SysAllocStringByteLen", Of(SysAllocStringByteLen)},
    {"SysStringLen", Of(SysStringLen)},
    {"SysStringByteLen", Of(SysStringByteLen)},
    {"SysFreeString", Of(+[](BSTR text) { return SysFreeString(text), 0; })},
    {"SysReAllocString", Of(SysReAllocString)},
    {"SysReAllocStringLen", Of(SysReAllocStringLen)},
    {"SysReAllocStringLenOfItself", Of(+[](BSTR* text, UINT first, UINT units) {
       return SysReAllocStringLen(text, *text + first, units);
     })},
    {"VariantInit", Of(+[](VARIANT* variant) { return VariantInit(variant), 0; })},
    {"VariantClear", Of(VariantClear)},
    {"ClearEveryType", ClearEveryType},
    {"VariantCopy", Of(VariantCopy)},
    {"CopyEveryType", CopyEveryType},
    {"VariantCopyInd",
     [](Words& words) {
       VARIANT* source = words.Variant();
       return OnBoth(source, [=](VARIANT* target) { return VariantCopyInd(target, source); });
     }},
    {"VariantChangeType", ChangeType},
    {"VariantChangeTypeOver", Of(VariantChangeType)},
    {"MultiByteToWideChar", WithLastError(Of(MultiByteToWideChar))},
    {"WideCharToMultiByte", WithLastError(Of(WideCharToMultiByte))},
    {"StringFromCLSID", ToText(StringFromCLSID)},
    {"StringFromIID", ToText(StringFromIID)},
    {"StringFromGUID2", Of(StringFromGUID2)},
    {"CLSIDFromString", FromText(CLSIDFromString)},
    {"IIDFromString", FromText(IIDFromString)},
    {"CLSIDFromProgID", FromText(CLSIDFromProgID)},
    {"ProgIDFromCLSID", ToText(ProgIDFromCLSID)},
    {"CoCreateGuid",
     [](Words& words) {
       if (words.Take("null")) return Code(CoCreateGuid(nullptr));
       GUID first{}, second{};
       const HRESULT result = CoCreateGuid(&first);
       CoCreateGuid(&second);
       return Shown(result, words) + (IsEqualGUID(first, second) ? ", again" : ", another") +
              ", version " + std::to_string(first.Data3 >> 12) + ", variant " +
              std::to_string(first.Data4[0] >> 6);
     }},
});

}  // namespace
}  // namespace tests::facts
