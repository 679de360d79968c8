// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>

#include "tests/host/host_operations.h"

namespace tests::facts {
namespace {

VARTYPE TypeOfElements(SAFEARRAY* array) {
  VARTYPE type = VT_EMPTY;
  SafeArrayGetVartype(array, &type);
  return type;
}

std::vector<LONG> Indices(Words& words) {
  std::vector<LONG> indices;
  while (words.HasMore()) indices.push_back(static_cast<LONG>(words.Number()));
  return indices;
}

// Value and indices; no index is a null pointer.
std::string PutElement(Words& words) {
  SAFEARRAY* array = words.row.array;
  VARIANT* value = words.Variant();
  const VARTYPE type = TypeOfElements(array);
  const bool isPointer = type == VT_BSTR || type == VT_DISPATCH || type == VT_UNKNOWN;
  std::vector<LONG> indices = Indices(words);
  return ShownCall<HRESULT>(words, [&] {
    return SafeArrayPutElement(array, indices.empty() ? nullptr : indices.data(),
                               isPointer ? value->byref : ElementIn(*value, type));
  });
}

std::string GetElement(Words& words) {
  const VARTYPE type = TypeOfElements(words.row.array);
  std::vector<LONG> indices = Indices(words);
  Value value;
  const HRESULT result = SafeArrayGetElement(
      words.row.array, indices.empty() ? nullptr : indices.data(), ElementIn(*value, type));
  if (FAILED(result)) return Code(result);
  if (type != VT_VARIANT) value->vt = type;
  return Shown(result, words) + ", " + Print(*value);
}

// What an operation answers that gives out a place in the row's array; null for nowhere.
template <class Operation>
std::string ShownPlace(Words& words, Operation operation) {
  const SAFEARRAY* array = words.row.array;
  void* place = nullptr;
  const bool isNull = words.Next() == "null";
  const std::string shown = Shown(operation(isNull ? nullptr : &place), words);
  if (!place) return shown;
  const auto bytes = static_cast<BYTE*>(place) - static_cast<BYTE*>(array->pvData);
  return shown + ", element " + std::to_string(bytes / array->cbElements);
}

std::string PtrOfIndex(Words& words) {
  return ShownPlace(words, [&](void** place) {
    return SafeArrayPtrOfIndex(words.row.array, Indices(words).data(), place);
  });
}

std::string AccessData(Words& words) {
  return ShownPlace(words,
                    [&](void** place) { return SafeArrayAccessData(words.row.array, place); });
}

std::string Stat(Words& words) {
  STATSTG stat;
  std::memset(&stat, 0xCC, sizeof(stat));
  const HRESULT result = words.Stream()->Stat(&stat, STATFLAG_DEFAULT);
  return Shown(result, words) + ", type " + std::to_string(stat.type) + ", size " +
         std::to_string(stat.cbSize.QuadPart) + (stat.pwcsName ? ", a name, " : ", no name, ") +
         Print(stat.clsid);
}

}  // namespace

HKEY* Words::Key() {
  auto& keys = row.keys;
  const std::string name = Next();
  keys["classes"] = HKEY_CLASSES_ROOT;
  keys["wild"] = reinterpret_cast<HKEY>(ULONG_PTR{0x7FFFFFF0});
  if (name == "root" && !keys.contains(name)) {
    RegDeleteTreeW(HKEY_CLASSES_ROOT, kRootKey);
    RegCreateKeyExW(HKEY_CLASSES_ROOT, kRootKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &keys["root"], nullptr);
  }
  return &keys[name];
}

namespace {

const MoreOperations kOperations(Operations{
    {"SafeArrayCreate", Of(SafeArrayCreate)},
    {"SafeArrayCreateVector", Of(SafeArrayCreateVector)},
    {"SafeArrayRedim", Of(SafeArrayRedim)},
    {"SafeArrayGetDim", Of(SafeArrayGetDim)},
    {"SafeArrayGetElemsize", Of(SafeArrayGetElemsize)},
    {"SafeArrayGetLBound", Of(SafeArrayGetLBound)},
    {"SafeArrayGetUBound", Of(SafeArrayGetUBound)},
    {"SafeArrayGetVartype", Of(SafeArrayGetVartype)},
    {"SafeArrayLock", Of(SafeArrayLock)},
    {"SafeArrayUnlock", Of(SafeArrayUnlock)},
    {"SafeArrayAccessData", AccessData},
    {"SafeArrayUnaccessData", Of(SafeArrayUnaccessData)},
    {"SafeArrayCopy", Of(SafeArrayCopy)},
    {"SafeArrayPutElement", PutElement},
    {"SafeArrayGetElement", GetElement},
    {"SafeArrayPtrOfIndex", PtrOfIndex},
    {"SafeArrayDestroy",
     [](Words& words) {
       const HRESULT result = SafeArrayDestroy(words.row.array);
       if (SUCCEEDED(result)) words.row.array = nullptr;
       return Shown(result, words);
     }},
    {"Locks",
     [](Words& words) {
       return std::to_string(words.row.array->cLocks = static_cast<ULONG>(words.Number()));
     }},
    {"Variant", [](Words& words) { return Print(*words.Variant()); }},
    {"FirstVariant", [](Words& words) { return Print(words.row.variants.front()); }},
    {"Array", [](Words& words) { return Print(words.row.array); }},
    {"CreateStreamOnHGlobal",
     Of(+[](IStream** out) { return CreateStreamOnHGlobal(nullptr, TRUE, out); })},
    {"Read", Of(&IStream::Read)},
    {"Write", Of(&IStream::Write)},
    {"Seek", Of(&IStream::Seek)},
    {"SetSize", Of(&IStream::SetSize)},
    {"CopyTo", Of(&IStream::CopyTo)},
    {"Commit", Of(&IStream::Commit)},
    {"Revert", Of(&IStream::Revert)},
    {"LockRegion", Of(&IStream::LockRegion)},
    {"UnlockRegion", Of(&IStream::UnlockRegion)},
    {"Clone", Of(&IStream::Clone)},
    {"Stat", Stat},
    {"Content", [](Words& words) { return ContentOf(words.Stream().Get()); }},
    {"QueryInterface",
     [](Words& words) {
       IUnknown *stream = words.Stream().Get(), *found = nullptr;
       void** out = reinterpret_cast<void**>(&found);
       const HRESULT result = stream->QueryInterface(words.Guid(), out);
       if (found) found->Release();
       return Shown(result, words) + (found == stream ? ", itself" : found ? ", another" : "");
     }},
    {"Release",
     [](Words& words) {
       const std::string name = words.Next();
       return std::to_string(words.row.streams.erase(name) + words.row.objects.erase(name));
     }},
    {"FormatMessageW",
     [](Words& words) {
       const auto flags = static_cast<DWORD>(words.Number()),
                  code = static_cast<DWORD>(words.Number());
       OleText text(static_cast<std::size_t>(words.Number()), OLECHAR{'?'});
       SetLastError(0);
       const DWORD units = FormatMessageW(flags, nullptr, code, 0, text.data(),
                                          static_cast<DWORD>(text.size()), nullptr);
       return units > 0 ? Quoted(std::basic_string_view<OLECHAR>(text.data(), units + 1))
                        : "error " + std::to_string(GetLastError());
     }},
    {"RegCreateKeyExW", Of(RegCreateKeyExW)},
    {"RegOpenKeyExW", Of(RegOpenKeyExW)},
    {"RegCloseKey", Of(RegCloseKey)},
    {"RegSetValueExW", Of(RegSetValueExW)},
    {"RegQueryValueExW", Of(RegQueryValueExW)},
    {"RegDeleteValueW", Of(RegDeleteValueW)},
    {"RegDeleteKeyW", Of(RegDeleteKeyW)},
    {"RegDeleteTreeW", Of(RegDeleteTreeW)},
    {"RegEnumKeyExW", Of(RegEnumKeyExW)},
    {"RegEnumValueW", Of(RegEnumValueW)},
});

}  // namespace
}  // namespace tests::facts
