#include <gtest/gtest.h>

#include <cstring>

#include "tests/rows/row_call.h"

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
  return Shown(SafeArrayPutElement(array, indices.empty() ? nullptr : indices.data(),
                                   isPointer ? value->byref : ElementIn(*value, type)),
               words);
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

std::string PtrOfIndex(Words& words) {
  Argument<void**> place(words);
  std::vector<LONG> indices = Indices(words);
  const HRESULT result = SafeArrayPtrOfIndex(words.row.array, indices.data(), place.Pass());
  return Shown(result, words) + place.Show();
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
  if (keys.empty()) {
    RegDeleteTreeW(HKEY_CLASSES_ROOT, kRootKey);
    RegCreateKeyExW(HKEY_CLASSES_ROOT, kRootKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &keys["root"], nullptr);
    keys["wild"] = reinterpret_cast<HKEY>(ULONG_PTR{0x7FFFFFF0});
  }
  return &keys[Next()];
}

const Operations kSystemOperations = {
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
    {"SafeArrayAccessData", Of(SafeArrayAccessData)},
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
    {"Array", [](Words& words) { return Print(words.row.array); }},
    {"CreateStreamOnHGlobal",
     [](Words& words) {
       IStream** out = words.Take("null") ? nullptr : words.Stream().Put();
       return Shown(CreateStreamOnHGlobal(nullptr, TRUE, out), words);
     }},
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
    {"Release", [](Words& words) { return std::to_string(words.row.streams.erase(words.Next())); }},
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
};

}  // namespace tests::facts
