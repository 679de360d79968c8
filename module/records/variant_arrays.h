// SPDX-License-Identifier: MIT
// Arrays of VARIANTs in streams. Streams and objects may call back and change the very array that
// is walked, so no address of an element is kept across a call: an Array is anything with size(),
// operator[] that gives a VARIANT, EndOfEqual and EmptyFrom, which are asked again for each
// element. Elements beyond the present size are passed over.
#pragma once

#include <cstddef>
#include <utility>

#include "module/frame/debug_texts.h"
#include "module/frame/variants.h"
#include "module/persist/streams.h"
#include "module/records/tagged_records.h"
#include "platform/platform.h"

namespace rastel {

// Records in a row without a byte after which a stream counts as ended.
inline constexpr int kMostEmptyRecords = 64;

// An element that is taken out of its array, which holds VT_EMPTY meanwhile, and put back at the
// end; what has come in its place by then is released last.
template <class Array>
class ElementLoan {
 public:
  ElementLoan(Array& array, std::size_t index) : array_(array), index_(index) {
    std::swap(value_, Element());
  }
  ~ElementLoan() {
    if (index_ < array_.size()) std::swap(value_, Element());
    VariantClear(&value_);
  }
  ElementLoan(const ElementLoan&) = delete;
  ElementLoan& operator=(const ElementLoan&) = delete;

  VARIANT& Value() noexcept { return value_; }

 private:
  VARIANT& Element() { return array_[index_]; }

  Array& array_;
  std::size_t index_;
  VARIANT value_{};
};

// WriteToStream for each element in order, without a count. S_OK: an element that gives anything
// else goes to the debug output, and the walk goes on. What is raised ends it. Elements that the
// array knows to be equal are counted as one.
template <class Array>
HRESULT WriteVariantArray(StreamWriter& writer, const Array& array) {
  CNullDeviceStream* const counter = writer.Counter();
  for (std::size_t i = 0, next = 0; i < array.size(); i = next) {
    next = i + 1;
    const ULONGLONG start = counter ? counter->Count() : 0;
    if (WriteToStream(writer, array[i]) != S_OK) {
      writer.Close();
      OutputDebugStringA(debug_texts::kElementNotWritten);
    } else if (counter && i < array.size()) {
      next = array.EndOfEqual(i);
      writer.Close();
      counter->SetCount(start + (counter->Count() - start) * (next - i));
    }
  }
  return S_OK;
}

// ReadFromStream into each element of an array that has the size already. S_OK, as in writing.
// Behind kMostEmptyRecords elements for which the stream gave no byte nothing more is read; the
// rest is left as further reads would have left it, but for their debug texts.
template <class Array>
HRESULT ReadVariantArray(StreamReader& reader, Array&& array) {
  int emptyRecords = 0;
  for (std::size_t i = 0; i < array.size(); ++i) {
    RecordProgress progress;
    {
      ElementLoan element(array, i);
      if (ReadFromStream(reader, element.Value(), &progress) != S_OK) {
        reader.Close();
        OutputDebugStringA(debug_texts::kElementNotRead);
      }
    }
    emptyRecords = progress.hasDelivered ? 0 : emptyRecords + 1;
    if (emptyRecords < kMostEmptyRecords) continue;
    // A failing stream leaves elements alone, one that is at its end clears them.
    reader.Close();
    if (progress.hasReadType) array.EmptyFrom(i + 1);
    break;
  }
  return S_OK;
}

// ReadPlainVariant into each element of an array that has the size already, up to the first
// negative result, which is given back; else S_OK.
template <class Array>
HRESULT ReadPlainVariantArray(StreamReader& reader, Array&& array) {
  for (std::size_t i = 0; i < array.size(); ++i) {
    ElementLoan element(array, i);
    const HRESULT result = ReadPlainVariant(element.Value(), reader);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

}  // namespace rastel
