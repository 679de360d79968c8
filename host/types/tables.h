// SPDX-License-Identifier: MIT
// The form in which a library of types hands its interfaces to the host: plain constant structures,
// behind one exported function. The code of a library is trusted as all code in the process is, so
// the host does not check its tables: types/table_checks.h does where they are compiled.
//
// This header includes nothing, so that a library's tables can be compiled and compared where the
// host is not: host/host.h, or the system's own headers, stand before it.
#pragma once

// What a parameter, or what it points to, is.
struct HostTypeUse {
  VARTYPE type;            // VT_I2 .. VT_UINT, or VT_USERDEFINED; of the elements when isArray
  bool isArray;            // a SAFEARRAY of it
  unsigned char pointers;  // levels of indirection, 0 to 2; an interface has at least one
  const char* name;        // with VT_USERDEFINED, of a type in the same library; else null
};

struct HostTypeParameter {
  const char* name;
  HostTypeUse use;
  WORD flags;  // PARAMFLAG_FIN, PARAMFLAG_FOUT, PARAMFLAG_FRETVAL (the last parameter, with FOUT)
};

// One slot of an interface.
struct HostTypeMember {
  const char* name;  // of a property without get_ and put_, its getter and its putter alike
  DISPID id;
  WORD kind;   // INVOKE_FUNC, INVOKE_PROPERTYGET or INVOKE_PROPERTYPUT
  WORD flags;  // FUNCFLAG_FRESTRICTED: not for late binding
  WORD slot;
  WORD parameterCount;
  const HostTypeParameter* parameters;
  // Calls the slot of an instance, a pointer of this very interface. arguments[i] points to the
  // i-th parameter's value, of the C++ type that the parameter has. Null: cannot be called late.
  HRESULT (*call)(void* instance, void* const* arguments);
  const char* text = nullptr;  // for people
};

struct HostTypeConstant {
  const char* name;
  LONG value;
};

// What HostType::kind says: the platform's TYPEKIND values. A dual interface is kHostDualInterface.
inline constexpr DWORD kHostEnumeration = 0;
inline constexpr DWORD kHostInterface = 3;      // derives from IUnknown
inline constexpr DWORD kHostDualInterface = 4;  // derives from IDispatch
inline constexpr DWORD kHostClass = 5;

// The slots of the interface that a kind of interface derives from.
constexpr WORD HostBaseSlots(DWORD kind) noexcept { return kind == kHostDualInterface ? 7 : 3; }

// A member that takes more cannot be called late.
inline constexpr WORD kHostMostParameters = 32;

struct HostType {
  DWORD kind;
  const char* name;
  const GUID* id;  // null for an enumeration
  // Interfaces: the own slots, in slot order, behind those of the base.
  const HostTypeMember* members;
  DWORD memberCount;
  // Enumerations.
  const HostTypeConstant* constants;
  DWORD constantCount;
  // Classes: names of interfaces of the same library, the default one first.
  const char* const* interfaces;
  DWORD interfaceCount;
  const char* text = nullptr;  // for people
};

struct HostTypeLibrary {
  DWORD structureBytes;  // kHostTypeForm
  WORD major;
  WORD minor;
  const GUID* id;
  const char* name;
  const char* text;  // for people
  const HostType* types;
  DWORD typeCount;
};

// Tells libraries apart that were compiled with another form of these structures.
inline constexpr DWORD kHostTypeForm =
    sizeof(HostTypeLibrary) + sizeof(HostType) + sizeof(HostTypeMember);

// What a library of types exports as kHostTypeLibraryExport. The structures stand as long as the
// library is loaded. All names and texts are ASCII.
using HostGetTypeLibrary = const HostTypeLibrary*();
inline constexpr const char* kHostTypeLibraryExport = "DllGetTypeLibrary";
