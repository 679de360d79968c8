// SPDX-License-Identifier: MIT
// Identifiers and their text: "{1F0A7C51-3C11-4B1E-9A01-527D10446E01}", 38 units and a terminator.
// Texts are written in upper case and read in either. Any thread may call.
#pragma once

#include "host/base/interfaces.h"

// A new random identifier. E_INVALIDARG: null out; E_FAIL: the system has no random bytes.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CoCreateGuid(GUID* guid);

// Writes the text with its terminator and returns 39; with room for fewer units, or without a
// target, returns 0 and writes nothing.
RASTEL_HOST_API int STDAPICALLTYPE StringFromGUID2(REFGUID guid, LPOLESTR text, int roomUnits);

// A new text that the caller frees with CoTaskMemFree. E_INVALIDARG: null out; E_OUTOFMEMORY.
RASTEL_HOST_API HRESULT STDAPICALLTYPE StringFromCLSID(REFCLSID classId, LPOLESTR* text);
RASTEL_HOST_API HRESULT STDAPICALLTYPE StringFromIID(REFIID iid, LPOLESTR* text);

// Reads exactly the form above. Every other text is taken for a ProgID: CO_E_CLASSSTRING when that
// is unknown. A null text is CLSID_NULL and S_OK. E_INVALIDARG: null out.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CLSIDFromString(LPCOLESTR text, CLSID* classId);
// Alike, but knows no ProgIDs. E_INVALIDARG: null out or a text of another length; CO_E_IIDSTRING:
// a character out of place.
RASTEL_HOST_API HRESULT STDAPICALLTYPE IIDFromString(LPCOLESTR text, IID* iid);
