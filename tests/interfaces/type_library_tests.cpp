// SPDX-License-Identifier: MIT
// The type library that clients bind to: on Windows it is made from the interface definition file,
// on the embedded host from the C++ slots. Both read as the same text. That each name calls its own
// slot shows where objects are tested by rows.
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <utility>

#include "platform/com_ptr.h"
#include "tests/rows/rows.h"
#include "tests/support/expected_text.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

using platform::ComPtr;

std::string Taken(BSTR name) {
  const std::string text = name ? Narrow(name) : "";
  SysFreeString(name);
  return text;
}

std::string NameOf(ITypeInfo& info) {
  BSTR name = nullptr;
  info.GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
  return Taken(name);
}

// What is said for people, as it stands at the end of a line.
std::string HelpOn(ITypeInfo& info, MEMBERID member) {
  BSTR text = nullptr;
  info.GetDocumentation(member, nullptr, &text, nullptr, nullptr);
  const std::string help = Taken(text);
  return help.empty() ? help : " -- " + help;
}

ComPtr<ITypeInfo> Referenced(ITypeInfo& info, HREFTYPE type) {
  ComPtr<ITypeInfo> referenced;
  EXPECT_EQ(info.GetRefTypeInfo(type, referenced.Put()), S_OK);
  return referenced;
}

std::string Shown(ITypeInfo& info, const TYPEDESC& type) {
  if (type.vt == VT_PTR) return Shown(info, *type.lptdesc) + "*";
  if (type.vt == VT_SAFEARRAY) return Shown(info, *type.lptdesc) + "[]";
  return type.vt == VT_USERDEFINED ? NameOf(*Referenced(info, type.hreftype))
                                   : facts::NameOf(type.vt);
}

// A library names the parameters of the first member with an id only, and has one spelling for
// names that differ in case. The ids of what is not for late binding are the system's choice.
std::string Shown(ITypeInfo& info, const FUNCDESC& function, bool isDual) {
  const std::map<int, std::string> kinds{{1, "call"}, {2, "get"}, {4, "put"}};
  const std::map<int, std::string> directions{{1, ""}, {2, " out"}, {10, " returned"}};
  BSTR names[8] = {};
  UINT count = 0;
  info.GetNames(function.memid, names, 8, &count);
  std::string text = "  " + std::to_string(function.oVft / static_cast<int>(sizeof(void*)));
  if (isDual) text += " #" + std::to_string(function.memid);
  text += ' ' + kinds.at(function.invkind) + ' ' + Taken(names[0]) + '(';
  for (SHORT i = 0; i < function.cParams; ++i) {
    const ELEMDESC& parameter = function.lprgelemdescParam[i];
    std::string name = Taken(std::exchange(names[i + 1], nullptr));
    for (char& letter : name) letter = static_cast<char>(std::tolower(letter));
    text += (i == 0 ? "" : ", ") + Shown(info, parameter.tdesc) + ' ' + name +
            directions.at(parameter.paramdesc.wParamFlags);
  }
  for (SHORT i = function.cParams; i < 7; ++i) SysFreeString(names[i + 1]);
  EXPECT_EQ(function.elemdescFunc.tdesc.vt, VT_HRESULT) << text;
  text += function.wFuncFlags == FUNCFLAG_FRESTRICTED ? ") restricted" : ")";
  return text + HelpOn(info, function.memid) + '\n';
}

std::string Shown(ITypeInfo& info, const TYPEATTR& attributes, bool isDual) {
  std::string text = NameOf(info);
  if (attributes.typekind != TKIND_ENUM) text += ' ' + facts::Print(attributes.guid);
  if (attributes.typekind == TKIND_INTERFACE) {
    text += isDual ? ", dual, " : ", ";
    text += std::to_string(attributes.cbSizeVft / sizeof(void*)) + " slots";
  }
  text += HelpOn(info, MEMBERID_NIL) + '\n';
  for (UINT i = 0; i < attributes.cFuncs; ++i) {
    FUNCDESC* function = nullptr;
    if (FAILED(info.GetFuncDesc(i, &function))) return "no function";
    text += Shown(info, *function, isDual);
    info.ReleaseFuncDesc(function);
  }
  for (UINT i = 0; i < attributes.cVars; ++i) {
    VARDESC* constant = nullptr;
    BSTR name = nullptr;
    UINT count = 0;
    if (FAILED(info.GetVarDesc(i, &constant))) return "no constant";
    info.GetNames(constant->memid, &name, 1, &count);
    text += "  " + Taken(name) + " = " + facts::Print(*constant->lpvarValue) + '\n';
    info.ReleaseVarDesc(constant);
  }
  for (UINT i = 0; attributes.typekind == TKIND_COCLASS && i < attributes.cImplTypes; ++i) {
    HREFTYPE type = 0;
    INT flags = -1;
    info.GetRefTypeOfImplType(i, &type);
    info.GetImplTypeFlags(i, &flags);
    text += "  " + NameOf(*Referenced(info, type)) + (flags == 0 ? "\n" : " default\n");
  }
  return text;
}

std::string Shown(ComPtr<ITypeInfo> info) {
  HREFTYPE half = 0;
  // The slots stand in the other half of a dual interface.
  const bool isDual = info->GetRefTypeOfImplType(static_cast<UINT>(-1), &half) == S_OK;
  if (isDual) info = Referenced(*info, half);
  TYPEATTR* attributes = nullptr;
  if (FAILED(info->GetTypeAttr(&attributes))) return "no attributes";
  const std::string text = Shown(*info, *attributes, isDual);
  info->ReleaseTypeAttr(attributes);
  return text;
}

TEST(TypeLibrary, ReadsTheSameOnBothHosts) {
  ComPtr<ITypeLib> library;
  TLIBATTR* attributes = nullptr;
  BSTR name = nullptr, description = nullptr;
  ASSERT_EQ(LoadTypeLibEx(TypeLibraryFile().c_str(), REGKIND_NONE, library.Put()), S_OK);
  ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
  library->GetDocumentation(-1, &name, &description, nullptr, nullptr);
  std::string text = Taken(name) + ' ' + facts::Print(attributes->guid) + ' ' +
                     std::to_string(attributes->wMajorVerNum) + '.' +
                     std::to_string(attributes->wMinorVerNum) + ' ' + Taken(description) + '\n';
  library->ReleaseTLibAttr(attributes);
  std::map<std::string, std::string> types;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(library->GetTypeInfo(i, info.Put()), S_OK);
    types[NameOf(*info)] += Shown(info);
  }
  for (const auto& [type, lines] : types) text += lines;
  ExpectText("type_library.txt", text);
}

}  // namespace
}  // namespace tests
