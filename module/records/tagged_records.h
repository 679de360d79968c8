// SPDX-License-Identifier: MIT
// The tagged record of a VARIANT, in which element tags, attribute values and AOI tags are kept,
// and the deep copy that goes through it.
//
//   vt             u16
//   plain record   everything but objects: vt stands there a second time
//
//   vt             u16   VT_DISPATCH, VT_UNKNOWN
//   class          16    CLSID_NULL for an object that cannot be saved, and then the record ends
//   size           u64   bytes of data
//   data           what the object's Save writes
//
// The size lets a reader keep the data of an object whose class it cannot create. An object is
// saved twice, to count and for real, and writes the same bytes both times.
//
// All routines run on the calling thread. Streams and objects may call back to whoever owns the
// VARIANT: what is written is copied or counted before the stream is first called, unless the
// stream shows its memory and so calls nobody, and what is replaced is released when the new value
// is in place. Arrays of VARIANTs: variant_arrays.h.
#pragma once

#include "module/frame/variants.h"
#include "module/records/plain_records.h"
#include "platform/platform.h"

namespace rastel {

// S_OK, or
//   the stream's code     a failing write
//   raises CAtlException  a VARIANT that cannot be copied; the type has been written
//   WritePlainVariant's   failures, the type written twice
//   raises _com_error     an object that fails to answer IPersistStream, but for E_NOINTERFACE
//   E_ACCESSDENIED        objects nested too deep, behind the class
//   Save's result         if it is not S_OK. If that comes from the second Save, size and data
//                         disagree, and the stream is spoiled.
// An object without IPersistStream, and a null pointer, are written as CLSID_NULL, with a debug
// text and S_OK. A null text is written as an empty one. On a CNullDeviceStream an object is saved
// once, with clearDirty true, and where that Save is not S_OK the count ends behind the class.
HRESULT WriteToStream(StreamWriter& writer, const VARIANT& variant);
HRESULT WriteToStream(IStream* stream, const VARIANT& variant);

// What a read record tells beyond its result.
struct RecordProgress {
  // A byte came out of the stream.
  bool hasDelivered = false;
  // The type could be read, so that the VARIANT does not stay as it was.
  bool hasReadType = false;
};

// S_OK, or
//   the stream's code        a failing read
//   ReadPlainVariant's       failures
//   E_NOINTERFACE            an object without IPersistStream; its data is still in the stream
//   E_ACCESSDENIED           objects nested too deep; the same
//   Load's result            if it is not S_OK
//   raises _com_error        an object that fails to answer IPersistStream, but for E_NOINTERFACE
//   raises CAtlException     the object is read, but the VARIANT cannot be cleared
//   raises std::bad_alloc    no room for the data of an object whose class cannot be created
// A failing object leaves the VARIANT as it was. Every object comes back as VT_UNKNOWN. A class
// that cannot be created is replaced by a CInternalClassHolder, with debug texts and S_OK;
// CLSID_NULL gives VT_EMPTY.
HRESULT ReadFromStream(StreamReader& reader, VARIANT& variant, RecordProgress* progress = nullptr);
HRESULT ReadFromStream(IStream* stream, VARIANT& variant);

// The bytes that WriteToStream writes. A failing record counts as far as it came; raises as it.
ULONGLONG GetVariantStreamSize(const VARIANT& variant);

// A copy that shares no object with the source: an object is written to a memory stream and read
// back, everything else is copied by VariantCopy. What persistence does shows in the copy: a null
// pointer and an object without IPersistStream become VT_EMPTY, VT_DISPATCH becomes VT_UNKNOWN, and
// a failing Save or Load leaves whatever the stream gives; results of the two are ignored, and what
// they raise is raised.
// Raises CAtlException when VariantCopy fails, and when there is no memory stream std::exception
// "can't create stream on hGlobal". The caller is an operation of its own, see nesting.h.
CComVariant GetRealCopyOfVariant(const VARIANT& source);

}  // namespace rastel
