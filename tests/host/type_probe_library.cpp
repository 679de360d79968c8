// SPDX-License-Identifier: MIT
// The type library of the probe for the embedded host; type_probe.idl is the same for the system's
// own platform.
#include "tests/host/type_probe.h"
#include "types/member_rows.h"

namespace rastel::types {

template <>
inline constexpr const char* kTypeName<ITypeProbe> = "ITypeProbe";

}  // namespace rastel::types

namespace {

using rastel::types::Pixels;
using rastel::types::Row;
using I = ITypeProbe;

constexpr auto kRows = [] {
  std::array rows{
      Row<I, &I::get_Level>("get_Level", "level"),
      Row<I, &I::put_Level>("put_Level", "level"),
      Row<I, &I::get_Value>("get_Value", "index", "value"),
      Row<I, &I::put_Value>("put_Value", "index", "value"),
      Row<I, &I::Join>("Join", "text", "number", "flag", "joined"),
      Row<I, &I::Measure>("Measure", "width", "name", "self"),
      Row<I, &I::LevelOf>("LevelOf", "other", "level"),
      Row<I, &I::get_Self>("get_Self", "self"),
      Row<I, &I::Fail>("Fail", "code"),
      Row<I, &I::Add>("Add", "sum"),
      Row<I, &I::Look>("Look", Pixels(VT_UI1, "bytes")),
  };
  rows[9].parameters[0].flags = PARAMFLAG_FIN | PARAMFLAG_FOUT;
  return rows;
}();
constexpr auto kMembers = rastel::types::Number(kRows, 7);
constexpr const char* kInterfaces[] = {"ITypeProbe"};
constexpr HostType kTypes[] = {
    {kHostDualInterface, "ITypeProbe", &IID_ITypeProbe, kMembers.data(), kMembers.size(), nullptr,
     0, nullptr, 0},
    {kHostClass, "TypeProbe", &CLSID_TypeProbe, nullptr, 0, nullptr, 0, kInterfaces, 1}};
constexpr HostTypeLibrary kLibrary{
    kHostTypeForm, 1, 2, &LIBID_TypeProbeLib, "TypeProbeLib", "Type Probe Library", kTypes, 2};

}  // namespace

extern "C" __attribute__((visibility("default"))) const HostTypeLibrary* DllGetTypeLibrary() {
  return &kLibrary;
}
