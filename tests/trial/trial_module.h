// The class of the trial module as its clients see it: an object with a number and a text, which
// goes by value to other processes.
#pragma once

#include "platform/interface_id.h"

inline constexpr CLSID CLSID_Trial{
    0x1F0A7C51, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x01}};
inline constexpr IID IID_ITrial{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x04}};

inline constexpr ULONG kMostTrialTextUnits = 64;

// Null out pointers are E_POINTER. Any thread may call.
struct ITrial : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE get_Number(LONG* number) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Number(LONG number) = 0;
  // The caller frees the text. E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE get_Text(BSTR* text) = 0;
  // E_INVALIDARG for more than kMostTrialTextUnits.
  virtual HRESULT STDMETHODCALLTYPE put_Text(BSTR text) = 0;
  // Counts the objects that the module has made since it was loaded, from 1.
  virtual HRESULT STDMETHODCALLTYPE get_Serial(LONG* serial) = 0;
};
RASTEL_INTERFACE_ID(ITrial);
