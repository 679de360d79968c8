// The type library that clients bind to, compared member by member with the C++ slots: on Windows
// it is made from the interface definition file, on the embedded host from those slots.
#include "types/type_library.h"

#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

using platform::ComPtr;
using Text = std::basic_string<OLECHAR>;

// All names of the library are ASCII.
std::string Narrow(BSTR text) {
  std::string narrow;
  for (UINT i = 0; i < SysStringLen(text); ++i) narrow += static_cast<char>(text[i]);
  SysFreeString(text);
  return narrow;
}

std::string NameOf(ITypeInfo& info) {
  BSTR name = nullptr;
  info.GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
  return Narrow(name);
}

// A type as text: the number of its VARTYPE or its name, "[]" for an array, "*" for a pointer.
std::string TypeText(ITypeInfo& info, const TYPEDESC& type) {
  if (type.vt == VT_PTR) return TypeText(info, *type.lptdesc) + "*";
  if (type.vt == VT_SAFEARRAY) return TypeText(info, *type.lptdesc) + "[]";
  if (type.vt != VT_USERDEFINED) return std::to_string(type.vt);
  ComPtr<ITypeInfo> named;
  return FAILED(info.GetRefTypeInfo(type.hreftype, named.Put())) ? "?" : NameOf(*named);
}
std::string TypeText(const HostTypeUse& use) {
  const std::string plain = use.type == VT_USERDEFINED ? use.name : std::to_string(use.type);
  return plain + (use.isArray ? "[]" : "") + std::string(use.pointers, '*');
}

// A member as text: "#id slot kind flags name", and ", type name flags" for each parameter. A
// library has one spelling for names that differ in case only, which is that of the members.
std::string HeadText(DISPID id, int slot, int kind, int flags, const std::string& name) {
  std::ostringstream text;
  text << '#' << id << ' ' << slot << ' ' << kind << ' ' << flags << ' ' << name;
  return text.str();
}
std::string ParameterText(const std::string& type, std::string name, int flags) {
  for (char& letter : name) letter = static_cast<char>(std::tolower(letter));
  return ", " + type + " " + name + " " + std::to_string(flags);
}
// A library names the parameters of the first member with an id, and never what a putter takes.
bool IsNamed(const HostTypeMember* members, DWORD member, int parameter) {
  const HostTypeMember& asked = members[member];
  const HostTypeMember& named =
      members[member > 0 && members[member - 1].id == asked.id ? member - 1 : member];
  return parameter < named.parameterCount - (named.kind == INVOKE_PROPERTYPUT ? 1 : 0) &&
         parameter < asked.parameterCount - (asked.kind == INVOKE_PROPERTYPUT ? 1 : 0);
}

std::string ExpectedText(const HostTypeMember* members, DWORD index) {
  const HostTypeMember& member = members[index];
  std::string text = HeadText(member.id, member.slot, member.kind, member.flags, member.name);
  for (int i = 0; i < member.parameterCount; ++i) {
    const HostTypeParameter& parameter = member.parameters[i];
    text += ParameterText(TypeText(parameter.use), IsNamed(members, index, i) ? parameter.name : "",
                          parameter.flags);
  }
  return text;
}

std::string MemberText(ITypeInfo& info, const HostType& type, UINT index) {
  FUNCDESC* function = nullptr;
  if (FAILED(info.GetFuncDesc(index, &function))) return "?";
  BSTR names[8] = {};
  UINT count = 0;
  info.GetNames(function->memid, names, 8, &count);
  std::string narrow[8];
  for (UINT i = 0; i < count; ++i) narrow[i] = Narrow(names[i]);
  // The system chooses the ids of an interface that is not for late binding.
  const DISPID id =
      type.kind == kHostDualInterface ? function->memid : static_cast<DISPID>(index) + 1;
  std::string text = HeadText(id, function->oVft / static_cast<int>(sizeof(void*)),
                              function->invkind, function->wFuncFlags, narrow[0]);
  for (SHORT i = 0; i < function->cParams; ++i) {
    const ELEMDESC& parameter = function->lprgelemdescParam[i];
    text += ParameterText(TypeText(info, parameter.tdesc),
                          IsNamed(type.members, index, i) ? narrow[i + 1] : "",
                          parameter.paramdesc.wParamFlags);
  }
  EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_HRESULT) << text;
  info.ReleaseFuncDesc(function);
  return text;
}

class TypeLibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(LoadTypeLibEx(TypeLibraryFile().c_str(), REGKIND_NONE, library_.Put()), S_OK);
  }

  // Runs a check for every type of the kind, with its description and attributes.
  template <class Check>
  void ForEach(DWORD kind, Check check) {
    for (DWORD i = 0; i < expected_.typeCount; ++i) {
      const HostType& type = expected_.types[i];
      if (type.kind != kind) continue;
      SCOPED_TRACE(type.name);
      ComPtr<ITypeInfo> info = Find(type.name);
      ASSERT_TRUE(info);
      if (kind == kHostDualInterface) {
        // The slots stand in the other half of a dual interface.
        HREFTYPE half = 0;
        ASSERT_EQ(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &half), S_OK);
        ComPtr<ITypeInfo> slots;
        ASSERT_EQ(info->GetRefTypeInfo(half, slots.Put()), S_OK);
        info = slots;
      }
      TYPEATTR* attributes = nullptr;
      ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
      EXPECT_TRUE(!type.id || IsEqualGUID(attributes->guid, *type.id));
      check(type, *info, *attributes);
      info->ReleaseTypeAttr(attributes);
    }
  }

  ComPtr<ITypeInfo> Find(const std::string& name) {
    for (UINT i = 0; i < library_->GetTypeInfoCount(); ++i) {
      ComPtr<ITypeInfo> info;
      if (SUCCEEDED(library_->GetTypeInfo(i, info.Put())) && NameOf(*info) == name) return info;
    }
    return nullptr;
  }

  const HostTypeLibrary& expected_ = rastel::types::TypeLibrary();
  ComPtr<ITypeLib> library_;
};

TEST_F(TypeLibraryTest, HasTheNameAndIdentifierOfTheRegistration) {
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(library_->GetLibAttr(&attributes), S_OK);
  EXPECT_TRUE(IsEqualGUID(attributes->guid, LIBID_RASTEL_KLP_Lib));
  EXPECT_EQ(attributes->wMajorVerNum, 1);
  EXPECT_EQ(attributes->wMinorVerNum, 0);
  library_->ReleaseTLibAttr(attributes);
  BSTR name = nullptr, text = nullptr;
  ASSERT_EQ(library_->GetDocumentation(-1, &name, &text, nullptr, nullptr), S_OK);
  EXPECT_EQ(Narrow(name), "RASTEL_KLP_Lib");
  EXPECT_EQ(Narrow(text), "Rastel KLP 1.0 Type Library");
  EXPECT_EQ(library_->GetTypeInfoCount(), 26u + 21u + 5u);
}

TEST_F(TypeLibraryTest, HasTheSlotsOfEveryInterface) {
  int interfaces = 0;
  const auto check = [&](const HostType& type, ITypeInfo& info, const TYPEATTR& attributes) {
    ++interfaces;
    EXPECT_EQ(attributes.typekind, TKIND_INTERFACE);
    EXPECT_EQ(attributes.cbSizeVft / sizeof(void*),
              type.memberCount + (type.kind == kHostDualInterface ? 7u : 3u));
    ASSERT_EQ(attributes.cFuncs, type.memberCount);
    for (UINT i = 0; i < type.memberCount; ++i) {
      EXPECT_EQ(MemberText(info, type, i), ExpectedText(type.members, i));
    }
  };
  ForEach(kHostDualInterface, check);
  ForEach(kHostInterface, check);
  EXPECT_EQ(interfaces, 26);
}

TEST_F(TypeLibraryTest, HasTheValuesOfEveryEnumeration) {
  ForEach(kHostEnumeration, [](const HostType& type, ITypeInfo& info, const TYPEATTR& attributes) {
    EXPECT_EQ(attributes.typekind, TKIND_ENUM);
    ASSERT_EQ(attributes.cVars, type.constantCount);
    for (UINT i = 0; i < type.constantCount; ++i) {
      VARDESC* constant = nullptr;
      ASSERT_EQ(info.GetVarDesc(i, &constant), S_OK);
      BSTR name = nullptr;
      UINT count = 0;
      info.GetNames(constant->memid, &name, 1, &count);
      EXPECT_EQ(Narrow(name), type.constants[i].name);
      EXPECT_EQ(constant->lpvarValue->vt, VT_I4);
      EXPECT_EQ(constant->lpvarValue->lVal, type.constants[i].value);
      info.ReleaseVarDesc(constant);
    }
  });
}

TEST_F(TypeLibraryTest, HasTheInterfacesOfEveryClass) {
  ForEach(kHostClass, [](const HostType& type, ITypeInfo& info, const TYPEATTR& attributes) {
    EXPECT_EQ(attributes.typekind, TKIND_COCLASS);
    ASSERT_EQ(attributes.cImplTypes, type.interfaceCount);
    for (UINT i = 0; i < type.interfaceCount; ++i) {
      HREFTYPE reference = 0;
      INT flags = -1;
      ComPtr<ITypeInfo> answered;
      ASSERT_EQ(info.GetRefTypeOfImplType(i, &reference), S_OK);
      ASSERT_EQ(info.GetRefTypeInfo(reference, answered.Put()), S_OK);
      ASSERT_EQ(info.GetImplTypeFlags(i, &flags), S_OK);
      EXPECT_EQ(NameOf(*answered), type.interfaces[i]);
      EXPECT_EQ(flags, i == 0 ? IMPLTYPEFLAG_FDEFAULT : 0);
    }
  });
}

}  // namespace
}  // namespace tests
