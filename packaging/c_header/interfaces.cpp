// SPDX-License-Identifier: MIT
// Prints, in C, what the member tables say: identifiers, enumerations and interfaces as structures
// of function pointers.
#include <cctype>
#include <cstdio>
#include <string>
#include <string_view>

#include "types/type_library.h"

namespace {

void PrintId(const char* kind, const HostType& type) {
  const GUID& id = *type.id;
  std::printf("static const GUID %s_%s = {0x%08X, 0x%04X, 0x%04X, {", kind, type.name,
              static_cast<unsigned>(id.Data1), id.Data2, id.Data3);
  for (int i = 0; i < 8; ++i) std::printf("%s0x%02X", i ? ", " : "", id.Data4[i]);
  std::puts("}};");
}

const char* NameOf(VARTYPE type, bool isUnsigned) {
  switch (type) {
    case VT_UI1:
      return "uint8_t";
    case VT_I1:
      return "int8_t";
    case VT_I2:
      return isUnsigned ? "uint16_t" : "int16_t";
    case VT_UI2:
      return "uint16_t";
    case VT_BOOL:
      return "VARIANT_BOOL";
    case VT_I4:
      return isUnsigned ? "uint32_t" : "LONG";
    case VT_UI4:
      return "ULONG";
    case VT_R4:
      return "float";
    case VT_R8:
      return "double";
    case VT_BSTR:
      return "BSTR";
    case VT_VARIANT:
      return "VARIANT";
    default:
      return "a type that the generator of this header does not know";
  }
}

// The tables give pixel pointers as a proxy carries them, signed; the interface's name tells more.
std::string Declare(const HostTypeParameter& parameter, std::string_view interface) {
  const HostTypeUse& use = parameter.use;
  const bool isOut = (parameter.flags & PARAMFLAG_FOUT) != 0;
  const bool isRaw = use.type != VT_USERDEFINED && use.pointers == (isOut ? 2 : 1);
  const bool isUnsigned =
      isRaw && (interface.starts_with("IWord") || interface.starts_with("IDWord"));
  std::string text = use.isArray                  ? "SAFEARRAY*"
                     : use.type == VT_USERDEFINED ? std::string(use.name)
                                                  : NameOf(use.type, isUnsigned);
  return text + std::string(use.pointers, '*') + ' ' + parameter.name;
}

void PrintInterface(const HostType& type) {
  const char* const name = type.name;
  std::printf("\nstruct %sVtbl {\n  %s_SLOTS(%s)\n", name,
              type.kind == kHostDualInterface ? "IDISPATCH" : "IUNKNOWN", name);
  for (DWORD i = 0; i < type.memberCount; ++i) {
    const HostTypeMember& member = type.members[i];
    const char* const prefix = member.kind == INVOKE_PROPERTYGET   ? "get_"
                               : member.kind == INVOKE_PROPERTYPUT ? "put_"
                                                                   : "";
    std::printf("  HRESULT (*%s%s)(%s* self", prefix, member.name, name);
    for (WORD k = 0; k < member.parameterCount; ++k) {
      std::printf(", %s", Declare(member.parameters[k], name).c_str());
    }
    std::puts(");");
  }
  std::printf("};\nstruct %s {\n  const struct %sVtbl* lpVtbl;\n};\n", name, name);
}

}  // namespace

int main() {
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  const HostType* const end = library.types + library.typeCount;
  for (const HostType* type = library.types; type != end; ++type) {
    if (type->kind == kHostEnumeration) {
      std::printf("\ntypedef enum %s {\n", type->name);
      for (DWORD i = 0; i < type->constantCount; ++i) {
        std::printf("  %s = %d,\n", type->constants[i].name,
                    static_cast<int>(type->constants[i].value));
      }
      std::printf("} %s;\n", type->name);
    }
  }
  std::puts("");
  for (const HostType* type = library.types; type != end; ++type) {
    if (type->kind == kHostClass) PrintId("CLSID", *type);
  }
  for (const HostType* type = library.types; type != end; ++type) {
    if (type->kind != kHostInterface && type->kind != kHostDualInterface) continue;
    PrintId("IID", *type);
    std::printf("typedef struct %s %s;\n", type->name, type->name);
  }
  for (const HostType* type = library.types; type != end; ++type) {
    if (type->kind == kHostInterface || type->kind == kHostDualInterface) PrintInterface(*type);
  }
}
