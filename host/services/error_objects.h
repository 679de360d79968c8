// SPDX-License-Identifier: MIT
// Error objects and the slot that each thread has for one.
//
// The slot owns one reference. Other threads neither see nor clear it, and a thread that ends
// releases what it holds. The objects may be counted from any thread; their texts are not locked,
// so who changes an object while another thread reads it must see to that.
#pragma once

#include "host/base/interfaces.h"

// Makes an empty error object, which answers ICreateErrorInfo and IErrorInfo: GUID_NULL, null
// texts, help context 0. Its getters give a copy that the caller frees with SysFreeString, null for
// a text that was never set. E_INVALIDARG: null out; E_OUTOFMEMORY.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CreateErrorInfo(ICreateErrorInfo** out);

// Puts an object, or null for none, into the calling thread's slot; the slot takes a reference of
// its own and releases what it held. E_INVALIDARG: reserved is not 0. E_UNEXPECTED: the thread is
// ending and has released its slot for good. E_OUTOFMEMORY: the system cannot watch the thread.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SetErrorInfo(ULONG reserved, IErrorInfo* object);

// Moves the slot's reference to the caller and leaves the slot empty. S_FALSE and null: it was
// empty. E_INVALIDARG: null out, or reserved is not 0.
RASTEL_HOST_API HRESULT STDAPICALLTYPE GetErrorInfo(ULONG reserved, IErrorInfo** out);
