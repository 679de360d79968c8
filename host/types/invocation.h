// SPDX-License-Identifier: MIT
// Late-bound calls: arguments in VARIANTs, converted to what a slot takes.
#pragma once

#include "host/types/library.h"

namespace host {

// Calls a member of an instance. The counts and arrays of params fit together; everything else
// about them is tested.
//
// A value is converted as VariantChangeType does, a reference followed first. An interface argument
// is asked for the declared interface. An out argument is a reference of exactly the declared type,
// or a reference to a VARIANT, which receives the value when the call succeeds; what a plain value
// would receive is dropped, but an object by itself in the place of anything else is
// DISP_E_TYPEMISMATCH. A raw pointer that goes in must be a reference of exactly its type.
//
// A property that takes no argument but is given some, and whose value is an object, hands them on
// to that object's default property.
//
// DISP_E_PARAMNOTFOUND: a put whose first named argument is not DISPID_PROPERTYPUT, or a named
// argument that the member has not. DISP_E_BADVARTYPE: a parameter that no VARIANT can hold, such
// as a pointer to a pointer, and a null VT_DISPATCH for a value. DISP_E_BADPARAMCOUNT;
// DISP_E_PARAMNOTOPTIONAL; DISP_E_TYPEMISMATCH, DISP_E_OVERFLOW and what else a conversion gives;
// E_NOINTERFACE; E_INVALIDARG for a null reference. *badArgument is then the index in rgvarg.
// DISP_E_EXCEPTION: the member failed; *exception, if given, takes its code and the thread's error
// object. A success is always S_OK, and *result, which is taken for uninitialised, has the value or
// is VT_EMPTY. Throws std::bad_alloc.
HRESULT InvokeMember(const TypeLibrary& library, const HostTypeMember& member, void* instance,
                     const DISPPARAMS& params, VARIANT* result, EXCEPINFO* exception,
                     UINT* badArgument);

}  // namespace host
