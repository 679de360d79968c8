// SPDX-License-Identifier: MIT
// Vectors: growable sequences of numbers, or of VARIANTs, whose elements may have tags. A vector is
// for one thread at a time; reading alone is for any number.
#pragma once

#include <cstdint>
#include <limits>
#include <span>

#include "interfaces/vector.h"
#include "rastelklp/session.h"
#include "rastelklp/value.h"

namespace rastelklp {

namespace detail {

// The interface and the class of an element type.
template <class I, const CLSID& ClassId>
struct VectorRow {
  using Interface = I;
  static constexpr const CLSID& kClass = ClassId;
};
template <class T>
struct VectorOf;
template <>
struct VectorOf<std::uint8_t> : VectorRow<IByteVectorKLP, CLSID_ByteVectorKLP> {};
template <>
struct VectorOf<std::int8_t> : VectorRow<ICharVectorKLP, CLSID_CharVectorKLP> {};
template <>
struct VectorOf<std::uint16_t> : VectorRow<IWordVectorKLP, CLSID_WordVectorKLP> {};
template <>
struct VectorOf<std::int16_t> : VectorRow<IShortVectorKLP, CLSID_ShortVectorKLP> {};
template <>
struct VectorOf<std::uint32_t> : VectorRow<IDWordVectorKLP, CLSID_DWordVectorKLP> {};
template <>
struct VectorOf<std::int32_t> : VectorRow<ILongVectorKLP, CLSID_LongVectorKLP> {};
template <>
struct VectorOf<float> : VectorRow<IFloatVectorKLP, CLSID_FloatVectorKLP> {};
template <>
struct VectorOf<double> : VectorRow<IDoubleVectorKLP, CLSID_DoubleVectorKLP> {};
template <>
struct VectorOf<VARIANT> : VectorRow<IVariantVectorKLP, CLSID_VariantVectorKLP> {};

}  // namespace detail

// T is a number type, or VARIANT: its elements are read as Value(Variant(span[i])) and written by
// put.
template <class T>
class Vector : public com_ptr<typename detail::VectorOf<T>::Interface> {
 public:
  // Not for a count that is a literal 0.
  template <std::same_as<std::nullptr_t> Null>
  Vector(Null) noexcept {}
  // Zeros, or VT_EMPTY.
  explicit Vector(std::size_t count = 0)
      : Vector::com_ptr(create<typename Vector::interface_type>(detail::VectorOf<T>::kClass)) {
    resize(count);
  }
  explicit Vector(std::span<const T> elements) requires(!std::is_same_v<T, VARIANT>)
      : Vector(elements.size()) {
    std::copy(elements.begin(), elements.end(), span().begin());
  }

  std::size_t size() const { return span().size(); }
  void resize(std::size_t count) {
    if (count > std::size_t{(std::numeric_limits<LONG>::max)()}) detail::Raise(E_OUTOFMEMORY);
    check_hresult(this->get()->put_Count(static_cast<LONG>(count)));
  }

  // The live array, until the vector grows or ends.
  std::span<T> span() const {
    LONG count = 0;
    T* elements = nullptr;
    check_hresult(this->get()->GetPointer(&count, &elements));
    return {elements, static_cast<std::size_t>(count)};
  }
  auto begin() const { return span().begin(); }
  auto end() const { return span().end(); }

  void put(int index, const Value& value) requires std::is_same_v<T, VARIANT> {
    check_hresult(this->get()->put_Value(index, value.variant_value().get()));
  }

  // Empty where tags are off.
  Value tag(int index) const {
    Variant tag;
    const HRESULT result = this->get()->get_ElementTag(index, tag.put());
    if (result != E_FAIL) check_hresult(result);
    return Value(std::move(tag));
  }
  // Switches tags on.
  void tag(int index, const Value& value) {
    check_hresult(this->get()->put_HasElementTags(VARIANT_TRUE));
    check_hresult(this->get()->put_ElementTag(index, value.variant_value().get()));
  }
};

}  // namespace rastelklp
