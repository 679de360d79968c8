// SPDX-License-Identifier: MIT
// An interface with the kinds of members that a late-bound call tells apart.
#pragma once

#include "platform/interface_id.h"

inline constexpr GUID LIBID_TypeProbeLib{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x70, 0x01}};
inline constexpr IID IID_ITypeProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x70, 0x02}};
inline constexpr CLSID CLSID_TypeProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x70, 0x03}};

struct ITypeProbe : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_Level(LONG* level) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Level(LONG level) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Value(LONG index, VARIANT* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Value(LONG index, VARIANT value) = 0;
  virtual HRESULT STDMETHODCALLTYPE Join(BSTR text, DOUBLE number, VARIANT_BOOL flag,
                                         BSTR* joined) = 0;
  virtual HRESULT STDMETHODCALLTYPE Measure(LONG* width, BSTR* name, ITypeProbe** self) = 0;
  virtual HRESULT STDMETHODCALLTYPE LevelOf(ITypeProbe* other, LONG* level) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Self(ITypeProbe** self) = 0;
  // Gives the code, with an error object.
  virtual HRESULT STDMETHODCALLTYPE Fail(LONG code) = 0;
  virtual HRESULT STDMETHODCALLTYPE Add(LONG* sum) = 0;
  virtual HRESULT STDMETHODCALLTYPE Look(std::uint8_t* bytes) = 0;
};
RASTEL_INTERFACE_ID(ITypeProbe);
