// SPDX-License-Identifier: MIT
// Class identifiers on streams, and objects behind theirs. An identifier is 16 bytes as it lies in
// memory: the first three fields little-endian. Any thread may call; nothing is kept.
#pragma once

#include "host/base/interfaces.h"

// One Write of 16 bytes and no other call; its result is returned. E_INVALIDARG: null stream.
RASTEL_HOST_API HRESULT STDAPICALLTYPE WriteClassStm(IStream* stream, REFCLSID classId);

// One Read of 16 bytes and no other call. A failing Read's code is returned; STG_E_READFAULT: fewer
// bytes came, they are consumed and the out identifier is CLSID_NULL. E_INVALIDARG: null stream or
// out.
RASTEL_HOST_API HRESULT STDAPICALLTYPE ReadClassStm(IStream* stream, CLSID* classId);

// GetClassID, WriteClassStm, Save with the clear flag true; the first failure is returned, and what
// was written stays. S_FALSE of Save is passed on. E_INVALIDARG: null object or stream.
RASTEL_HOST_API HRESULT STDAPICALLTYPE OleSaveToStream(IPersistStream* object, IStream* stream);

// ReadClassStm, a new in-process object of the class, Load, and the interface asked for, on which
// the caller owns one reference. S_FALSE of Load is passed on with the object. On every failure the
// out pointer is null and no object is left. E_INVALIDARG: null stream or out; REGDB_E_CLASSNOTREG:
// unknown class; E_NOINTERFACE: no IPersistStream, or not the interface asked for; else the code of
// the call that failed.
RASTEL_HOST_API HRESULT STDAPICALLTYPE OleLoadFromStream(IStream* stream, REFIID iid, void** out);
