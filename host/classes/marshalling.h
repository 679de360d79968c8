// SPDX-License-Identifier: MIT
// Object references on streams. An object that answers IMarshal writes itself behind a header of 48
// bytes; the host has no proxies, so an object without IMarshal cannot be marshalled.
//
// clang-format off
//   0  4   4D 45 4F 57
//   4  4   4, the custom form
//   8  16  interface that was marshalled
//   24 16  class whose object reads the data, from GetUnmarshalClass
//   40 4   0, length of an extension; not used on reading
//   44 4   size that GetMarshalSizeMax claimed; not used on reading
//   48     what MarshalInterface wrote
// clang-format on
//
// Nothing in a reference is trusted. Any thread may call; nothing is kept between calls.
#pragma once

#include "host/base/interfaces.h"

// Writes a reference. Interface, pointer, context, its data and flags are passed to the object's
// IMarshal as they stand: GetUnmarshalClass, GetMarshalSizeMax, one Write of the header,
// MarshalInterface. The first failure is returned and what was written stays. An object that names
// the standard marshaler writes its own header, so none is written for it. E_INVALIDARG: null
// stream or object; E_NOINTERFACE: no IMarshal.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CoMarshalInterface(IStream* stream, REFIID iid,
                                                          IUnknown* object, DWORD context,
                                                          void* contextData, DWORD flags);

// The most bytes that CoMarshalInterface writes: the object's claim and 48, at most 0xFFFFFFFF.
// E_INVALIDARG: null bytes or object; E_NOINTERFACE: no IMarshal; else the object's code.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CoGetMarshalSizeMax(ULONG* bytes, REFIID iid,
                                                           IUnknown* object, DWORD context,
                                                           void* contextData, DWORD flags);

// Reads a reference: makes the in-process class of the header and lets its IMarshal read the data
// as the interface of the header, then asks for the one that is wanted; IID_NULL wants the one in
// the header. The caller owns one reference; the stream stands where the object stopped reading. On
// every failure the out pointer is null and no object is left. E_INVALIDARG: null stream or out;
// STG_E_READFAULT: the stream ends inside the header; RPC_E_INVALID_OBJREF: not a custom reference;
// REGDB_E_CLASSNOTREG: unknown class; E_NOINTERFACE; else the code of the call that failed.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CoUnmarshalInterface(IStream* stream, REFIID iid,
                                                            void** out);

// Gives up a reference without making its object: reads the header as above and returns what
// ReleaseMarshalData of the class says.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CoReleaseMarshalData(IStream* stream);
