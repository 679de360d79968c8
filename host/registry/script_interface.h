// SPDX-License-Identifier: MIT
// The registrar: an object that carries out registration scripts. Its class is one of this host's,
// and of the system's on Windows, which has no header for it: there this file is included behind
// the system's own.
//
// A script names keys and values below a root:
//
//   HKCR
//   {
//     NoRemove CLSID
//     {
//       ForceRemove {0D43FE01-F093-11CF-8940-00A0C9054228} = s 'What it is'
//       {
//         InprocServer32 = s '%MODULE%'
//         {
//           val ThreadingModel = s 'Both'
//         }
//       }
//     }
//   }
//
// Words stand between blanks; a name or text in quotes may hold blanks, and a quote if it is
// doubled. A key may have a value of its own and keys below it; "val" gives it a named value. Types
// are s (text), d (number, decimal or &H hexadecimal), b (bytes, hexadecimal) and m (texts, each
// ended by \0). Keywords and replacements are found in any case; %NAME% stands for a replacement,
// %% for a percent sign. There are no comments.
//
// Registering makes the keys and sets the values; "ForceRemove" removes the key with all below it
// first, "Delete" does only that. Unregistering removes the keys from the innermost on, except
// "NoRemove" ones and those with keys that the script does not name; of a "NoRemove" key it removes
// the values given by "val", unless they are "NoRemove" as well. What is gone already is no
// failure.
//
// The embedded host makes all changes of a script or none. Its registry has the root HKCR
// (HKEY_CLASSES_ROOT) alone: HKCU, HKLM, HKU and the others end with E_HANDLE.
//
// Results: DISP_E_EXCEPTION for a script that is not whole and for a replacement that is missing;
// the registry's error as a result code, E_OUTOFMEMORY where it is out of memory; E_INVALIDARG for
// a null text; E_OUTOFMEMORY. Of those that read a file or the resources of a module: 0x80070002 no
// such file, 0x800700C1 not a module, 0x80070714 to 0x80070716 no resources, none of the type, none
// with the number. Bytes are text in the narrow code page. On the embedded host any thread may
// call.
#pragma once

#ifndef _WIN32
#include "host/base/interfaces.h"
#endif

struct IRegistrar : IUnknown {
  // A name that exists already gets the new text.
  virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR name, LPCOLESTR text) = 0;
  virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
  // The number of a resource as a text: "#101".
  virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR module, LPCOLESTR number,
                                                       LPCOLESTR type) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR module, LPCOLESTR number,
                                                         LPCOLESTR type) = 0;
  virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR file) = 0;
  virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR file) = 0;
  virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) = 0;
  virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR module, UINT number,
                                                     LPCOLESTR type) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR module, UINT number,
                                                       LPCOLESTR type) = 0;
};
inline constexpr IID IID_IRegistrar{
    0x44EC053B, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
inline constexpr CLSID CLSID_Registrar{
    0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
