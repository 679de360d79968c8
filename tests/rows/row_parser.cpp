// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "tests/rows/rows.h"

namespace tests::facts {
namespace {

// A number before the quotes repeats what is in them.
template <class Char>
std::basic_string<Char> Unquoted(std::string_view word) {
  std::basic_string<Char> text, all;
  for (std::size_t i = word.find('"') + 1; i + 1 < word.size(); ++i) {
    const bool isEscaped = word[i] == '\\';
    if (isEscaped) ++i;
    const std::size_t digits = !isEscaped ? 0 : word[i] == 'x' ? 2 : word[i] == 'u' ? 4 : 0;
    const std::string code(word.substr(i + 1, digits));
    text += digits ? static_cast<Char>(std::strtoul(code.c_str(), nullptr, 16))
                   : static_cast<Char>(word[i]);
    i += digits;
  }
  for (int times = std::atoi(std::string(word).c_str()); times > 1; --times) all += text;
  return all + text;
}

BSTR ParseString(std::string_view literal) {
  if (literal.starts_with("bytes")) {
    const std::string bytes = Unquoted<char>(literal);
    return SysAllocStringByteLen(bytes.data(), static_cast<UINT>(bytes.size()));
  }
  const OleText text = Unquoted<OLECHAR>(literal);
  return SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

}  // namespace

std::vector<Line> ReadLines(const std::string& path) {
  std::vector<Line> lines;
  std::ifstream file(path);
  for (std::string text; std::getline(file, text);) {
    const bool isRow = !text.empty() && text[0] != '#';
    const std::size_t arrow = (std::min)(text.find(kArrow), text.size());
    const std::size_t said = (std::min)(arrow + kArrow.size(), text.size());
    const int number = static_cast<int>(lines.size()) + 1;
    lines.push_back(
        {number, text, isRow ? text.substr(0, arrow) : "", isRow ? text.substr(said) : ""});
  }
  return lines;
}

State::~State() {
  for (const auto& [name, cookie] : cookies) CoRevokeClassObject(cookie);
  for (VARIANT& variant : variants) {
    const bool isArray = (variant.vt & VT_ARRAY) != 0 && (variant.vt & VT_BYREF) == 0;
    while (isArray && variant.parray && SUCCEEDED(SafeArrayUnlock(variant.parray))) {
    }
    VariantClear(&variant);
  }
  if (array) array->cLocks = 0;
  SafeArrayDestroy(array);
  EXPECT_EQ(object.references, 0);
  const bool hasRoot = keys.contains("root");
  keys.erase("classes");
  keys.erase("wild");
  for (const auto& [name, key] : keys) RegCloseKey(key);
  if (hasRoot) RegDeleteTreeW(HKEY_CLASSES_ROOT, kRootKey);
}

std::size_t Find(std::string_view text, char character) {
  bool isQuoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == character && !isQuoted) return i;
    if (text[i] == '"') isQuoted = !isQuoted;
    if (text[i] == '\\' && isQuoted) ++i;
  }
  return text.size();
}

std::string Words::Next() {
  left_.remove_prefix((std::min)(left_.find_first_not_of(' '), left_.size()));
  const std::string word(left_.substr(0, Find(left_, ' ')));
  left_.remove_prefix(word.size());
  return word;
}

bool Words::Take(std::string_view word) {
  const std::string_view left = left_;
  if (Next() == word) return true;
  left_ = left;
  return false;
}

long long Words::Number() {
  return static_cast<long long>(std::strtoull(Next().c_str(), nullptr, 0));
}

GUID Words::Guid() {
  const std::string word = Next();
  GUID guid{};
  IIDFromString(OleText(word.begin(), word.end()).c_str(), &guid);
  return guid;
}

const char* Words::Bytes() {
  const std::string word = Next();
  return word == "null" ? nullptr : row.bytes.emplace_back(Unquoted<char>(word)).c_str();
}

const OLECHAR* Words::Text() {
  const std::string word = Next();
  return word == "null" ? nullptr : row.texts.emplace_back(Unquoted<OLECHAR>(word)).c_str();
}

platform::ComPtr<IUnknown> Words::Object() {
  const auto found = row.objects.find(Next());
  return found == row.objects.end() ? nullptr : found->second;
}

VARIANT* Words::Variant() {
  if (Take("itself")) return &row.variants.back();
  return Take("null") ? nullptr : ParseVariant(Next());
}

VARIANT* Words::ParseVariant(std::string_view literal) {
  const std::size_t colon = literal.find(':');
  VARIANT* value = &row.variants.emplace_back(Typed(TypeOf(literal.substr(0, colon))));
  const VARTYPE type = value->vt;
  if (colon == literal.npos) return value;
  const std::string rest(literal.substr(colon + 1));
  const auto number = [&] { return std::strtoull(rest.c_str(), nullptr, 0); };
  if (rest == "nothing" || (rest == "null" && !(type & VT_BYREF))) return value;
  if (type == (VT_BYREF | VT_VARIANT)) {
    value->pvarVal = rest == "itself" ? value : ParseVariant(rest);
  } else if (type & VT_BYREF) {
    VARIANT* place = ParseVariant(NameOf(type & ~VT_BYREF) + ':' + rest);
    value->byref = place->vt == VT_DECIMAL ? static_cast<void*>(place) : &place->llVal;
  } else if (type & VT_ARRAY) {
    const auto elements = static_cast<ULONG>(number());
    value->parray = rest == "row" ? std::exchange(row.array, nullptr)
                                  : SafeArrayCreateVector(type & VT_TYPEMASK, 0, elements);
    if (rest.ends_with(",locked")) SafeArrayLock(value->parray);
  } else if (rest.starts_with('@')) {
    value->punkVal = row.named(rest.substr(1));
  } else if (type == VT_DISPATCH || type == VT_UNKNOWN) {
    CountedObject* object = &row.object;
    value->pdispVal = object;
    object->AddRef();
    object->invokeResult = rest == "object=fails" ? E_FAIL : S_OK;
    if (object->invokeResult == S_OK && rest.starts_with("object=")) {
      object->defaultValue = *ParseVariant(rest.substr(7));
    }
  } else if (type == VT_R4 || type == VT_R8 || type == VT_DATE) {
    *value = Real(std::strtod(rest.c_str(), nullptr), type);
  } else if (type == VT_DECIMAL) {
    unsigned long long fields[4] = {};
    char* at = const_cast<char*>(rest.c_str());
    for (auto& field : fields) field = std::strtoull(at + (*at == ','), &at, 0);
    value->decVal.scale = static_cast<BYTE>(fields[0]);
    value->decVal.sign = static_cast<BYTE>(fields[1]);
    value->decVal.Hi32 = static_cast<ULONG>(fields[2]);
    value->decVal.Lo64 = fields[3];
  } else if (type == VT_BSTR) {
    value->bstrVal = ParseString(rest);
  } else {
    value->llVal = static_cast<long long>(number());
  }
  return value;
}

}  // namespace tests::facts
