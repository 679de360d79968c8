// SPDX-License-Identifier: MIT
#include "host/types/standard_types.h"

#include <iterator>

namespace host {
namespace {

// Identifiers and out pointers of unknown type.
constexpr HostTypeUse kMemory{VT_VOID, false, 1, nullptr};
constexpr HostTypeUse kPointer{VT_VOID, false, 2, nullptr};
constexpr HostTypeUse kCount{VT_UINT, false, 0, nullptr};
constexpr HostTypeUse kCountOut{VT_UINT, false, 1, nullptr};
constexpr HostTypeUse kLocale{VT_UI4, false, 0, nullptr};
constexpr HostTypeUse kId{VT_I4, false, 0, nullptr};
constexpr HostTypeUse kIds{VT_I4, false, 1, nullptr};
constexpr HostTypeUse kVariantOut{VT_VARIANT, false, 1, nullptr};

constexpr HostTypeParameter kQueryInterface[] = {{"riid", kMemory, PARAMFLAG_FIN},
                                                 {"ppvObj", kPointer, PARAMFLAG_FOUT}};
constexpr HostTypeParameter kGetTypeInfoCount[] = {{"pctinfo", kCountOut, PARAMFLAG_FOUT}};
constexpr HostTypeParameter kGetTypeInfo[] = {{"itinfo", kCount, PARAMFLAG_FIN},
                                              {"lcid", kLocale, PARAMFLAG_FIN},
                                              {"pptinfo", kPointer, PARAMFLAG_FOUT}};
constexpr HostTypeParameter kGetIDsOfNames[] = {{"riid", kMemory, PARAMFLAG_FIN},
                                                {"rgszNames", kPointer, PARAMFLAG_FIN},
                                                {"cNames", kCount, PARAMFLAG_FIN},
                                                {"lcid", kLocale, PARAMFLAG_FIN},
                                                {"rgdispid", kIds, PARAMFLAG_FOUT}};
constexpr HostTypeParameter kInvoke[] = {
    {"dispidMember", kId, PARAMFLAG_FIN},    {"riid", kMemory, PARAMFLAG_FIN},
    {"lcid", kLocale, PARAMFLAG_FIN},        {"wFlags", {VT_UI2, false, 0, nullptr}, PARAMFLAG_FIN},
    {"pdispparams", kMemory, PARAMFLAG_FIN}, {"pvarResult", kVariantOut, PARAMFLAG_FOUT},
    {"pexcepinfo", kMemory, PARAMFLAG_FOUT}, {"puArgErr", kCountOut, PARAMFLAG_FOUT}};

template <std::size_t Count>
constexpr HostTypeMember Member(const char* name, DISPID id, WORD slot,
                                const HostTypeParameter (&parameters)[Count]) {
  return {name, id, INVOKE_FUNC, FUNCFLAG_FRESTRICTED, slot, Count, parameters, nullptr};
}
constexpr HostTypeMember Count(const char* name, DISPID id, WORD slot) {
  return {name, id, INVOKE_FUNC, FUNCFLAG_FRESTRICTED, slot, 0, nullptr, nullptr};
}

constexpr HostTypeMember kUnknownMembers[] = {
    Member("QueryInterface", 0x60000000, 0, kQueryInterface), Count("AddRef", 0x60000001, 1),
    Count("Release", 0x60000002, 2)};
constexpr HostTypeMember kDispatchMembers[] = {
    Member("GetTypeInfoCount", 0x60010000, 3, kGetTypeInfoCount),
    Member("GetTypeInfo", 0x60010001, 4, kGetTypeInfo),
    Member("GetIDsOfNames", 0x60010002, 5, kGetIDsOfNames),
    Member("Invoke", 0x60010003, 6, kInvoke)};

constexpr HostType kTypes[] = {{kHostInterface, "IUnknown", &IID_IUnknown, kUnknownMembers,
                                std::size(kUnknownMembers), nullptr, 0, nullptr, 0},
                               {kHostInterface, "IDispatch", &IID_IDispatch, kDispatchMembers,
                                std::size(kDispatchMembers), nullptr, 0, nullptr, 0}};

constexpr GUID kLibraryId{0x00020430, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr HostTypeLibrary kLibrary{kHostTypeForm, 2,       0,      &kLibraryId,
                                   "stdole",      nullptr, kTypes, std::size(kTypes)};

}  // namespace

const HostTypeLibrary& StandardTypes() noexcept { return kLibrary; }

}  // namespace host
