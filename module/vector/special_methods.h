// SPDX-License-Identifier: MIT
// The layer of a vector that knows what its elements are: how they convert to and from double, and
// for VARIANTs to and from VARIANT.
//
// Four numeric routes. get_Value widens and never clamps. put_Value and Fill clamp and convert. So
// does PutElement, and so does GetElement on the way out: an infinity that came into a Float vector
// by GetPointer or a stream is read as an infinity by get_Value and as the limit by GetElement. For
// Double nothing is ever changed.
#pragma once

#include <type_traits>

#include "module/frame/element_conversion.h"
#include "module/vector/variant_elements.h"
#include "module/vector/vector_state.h"

namespace rastel {

// Slots 24 to 27, right behind the typed interface's own. They cross no process boundary. Tested
// and reported as get_Value and put_Value.
template <class T, class Base>
struct VectorElementSlots : Base {
  virtual HRESULT STDMETHODCALLTYPE GetElement(LONG index, T* element) = 0;
  virtual HRESULT STDMETHODCALLTYPE PutElement(LONG index, T element) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetElementImpl(LONG index, T* element) = 0;
  virtual HRESULT STDMETHODCALLTYPE PutElementImpl(LONG index, T element) = 0;
};

// Base: the typed interface.
template <class T, class Base>
class SpecialMethods : public VectorElementSlots<T, Base> {
 public:
  STDMETHODIMP GetElement(LONG index, T* element) override {
    return this->GetElementImpl(index, element);
  }
  STDMETHODIMP PutElement(LONG index, T element) override {
    return this->PutElementImpl(index, element);
  }
  STDMETHODIMP GetElementImpl(LONG index, T* element) override {
    if (!m_Elements.Has(index)) return state_.BadIndex();
    *element = Clamped(m_Elements.At(index));
    return S_OK;
  }
  STDMETHODIMP PutElementImpl(LONG index, T element) override {
    if (!m_Elements.Has(index)) return state_.BadIndex();
    m_Elements.Put(index, Clamped(element));
    return S_OK;
  }

 protected:
  SpecialMethods(REFCLSID classId, ElementTypeKLP type) noexcept : state_(classId, type) {}
  ~SpecialMethods() = default;

  static constexpr T DefaultElement() noexcept { return T{0}; }
  static constexpr T ElementOf(double value) noexcept {
    if constexpr (std::is_same_v<T, double>) {
      return value;
    } else {
      return ElementFromDouble<T>(value);
    }
  }

  // Behind the index test.
  HRESULT GetDouble(LONG index, DOUBLE* value) const noexcept {
    *value = DoubleFromElement(m_Elements.At(index));
    return S_OK;
  }
  HRESULT PutDouble(LONG index, DOUBLE value) noexcept {
    m_Elements.Put(index, ElementOf(value));
    return S_OK;
  }

  VectorState state_;
  ElementArray<T> m_Elements;

 private:
  static constexpr T Clamped(T element) noexcept {
    if constexpr (std::is_same_v<T, double>) {
      return element;
    } else {
      return ElementFromDouble<T>(DoubleFromElement(element));
    }
  }
};

template <class Base>
class SpecialMethods<VARIANT, Base> : public VectorElementSlots<VARIANT, Base> {
 public:
  STDMETHODIMP get_Value(LONG index, VARIANT* value) override { return GetElement(index, value); }
  STDMETHODIMP put_Value(LONG index, VARIANT value) override { return PutElement(index, value); }

  STDMETHODIMP GetElement(LONG index, VARIANT* element) override {
    if (!m_Elements.Has(index)) return state_.BadIndex();
    return GuardedTexts([&] { GetVariantElement(m_Elements, index, element); });
  }
  STDMETHODIMP PutElement(LONG index, VARIANT element) override {
    if (!m_Elements.Has(index)) return state_.BadIndex();
    PutVariantElement(m_Elements, index, element);
    return S_OK;
  }
  STDMETHODIMP GetElementImpl(LONG index, VARIANT* element) override {
    return GetElement(index, element);
  }
  STDMETHODIMP PutElementImpl(LONG index, VARIANT element) override {
    return PutElement(index, element);
  }

 protected:
  SpecialMethods(REFCLSID classId, ElementTypeKLP type) noexcept : state_(classId, type) {}
  ~SpecialMethods() = default;

  // VT_INT 0, not VT_EMPTY.
  static constexpr VARIANT DefaultElement() noexcept {
    VARIANT zero{};
    zero.vt = VT_INT;
    return zero;
  }
  static constexpr VARIANT ElementOf(double value) noexcept { return DoubleVariant(value); }

  // Behind the index test.
  HRESULT GetDouble(LONG index, DOUBLE* value) const noexcept {
    return GuardedTexts([&] { *value = DoubleFromVariant(m_Elements.At(index)); });
  }
  HRESULT PutDouble(LONG index, DOUBLE value) noexcept {
    return Guarded(state_.ClassId(), [&] {
      PutDoubleElement(m_Elements, index, value);
      return S_OK;
    });
  }

  VectorState state_;
  ElementArray<VARIANT> m_Elements;

 private:
  // What a std::exception says is reported, whichever it is; the boundary has the rest.
  template <class Body>
  HRESULT GuardedTexts(Body&& body) const noexcept {
    return Guarded(state_.ClassId(), [&] {
      return ReportTexts(state_.ClassId(), [&] {
        body();
        return S_OK;
      });
    });
  }
};

}  // namespace rastel
