// SPDX-License-Identifier: MIT
#include "module/vector/vector_stream.h"

#include <cstring>

#include "module/frame/exceptions.h"
#include "module/persist/streams.h"
#include "module/persist/zeroed_memory.h"
#include "module/records/variant_arrays.h"

namespace rastel {
namespace {

constexpr WORD kSingleElements = 0x0100;
constexpr WORD kRawBlock = 0x0101;
constexpr WORD kPlainTags = 0x0102;

// An array for the record routines, no further than it went at the start: objects in it may let it
// grow under the walk.
class VariantWalk {
 public:
  explicit VariantWalk(ElementArray<VARIANT>& array) noexcept
      : array_(array), end_(array.Count()) {}

  std::size_t size() const noexcept {
    return static_cast<std::size_t>((std::min)(end_, array_.Count()));
  }
  // Where elements that are known to be the same as this one end.
  std::size_t EndOfEqual(std::size_t index) const noexcept {
    return (std::min)(size(),
                      static_cast<std::size_t>(array_.EndOfEqual(static_cast<LONG>(index))));
  }
  // Empties the elements from here on, those that own nothing at once.
  void EmptyFrom(std::size_t index) {
    for (; index < static_cast<std::size_t>(array_.Touched()) && index < size(); ++index) {
      ElementLoan element(*this, index);
      VariantClear(&element.Value());
    }
    array_.EmptyFrom(static_cast<LONG>(index));
  }
  VARIANT& operator[](std::size_t index) noexcept { return array_.Slot(static_cast<LONG>(index)); }
  // The bits, since the array may move while they are looked at.
  VARIANT operator[](std::size_t index) const noexcept {
    return array_.At(static_cast<LONG>(index));
  }

 private:
  ElementArray<VARIANT>& array_;
  LONG end_;
};

HRESULT ReadRecords(StreamReader& reader, ElementArray<VARIANT>& array) {
  return ReadVariantArray(reader, VariantWalk(array));
}

HRESULT ReadPlainRecords(StreamReader& reader, ElementArray<VARIANT>& array) {
  return ReadPlainVariantArray(reader, VariantWalk(array));
}

// Whether a VARIANT from a stream can be taken as it is: a type without a pointer.
bool IsPlainImage(const VARIANT& image) noexcept {
  const VARTYPE type = image.vt;
  return type <= VT_DATE || type == VT_ERROR || type == VT_BOOL || type == VT_DECIMAL ||
         (type >= VT_I1 && type <= VT_UINT);
}

// The elements of the versions, numbers first.

HRESULT ReadSingly(StreamReader& reader, ElementBlock& elements, LONG count) {
  const std::size_t bytes = elements.ElementBytes();
  for (LONG i = 0; i < count; ++i) {
    std::byte value[sizeof(double)]{};
    if (elements.Has(i)) std::memcpy(value, elements.Address(i), bytes);
    ULONG delivered = static_cast<ULONG>(bytes);
    const HRESULT result = reader.Read(value, delivered, &delivered);
    if (FAILED(result)) return result;
    if (elements.Has(i)) elements.PutBytes(i, value);
    // Further reads would give nothing either.
    if (delivered == 0) break;
  }
  return S_OK;
}

HRESULT ReadSingly(StreamReader& reader, ElementArray<VARIANT>& elements, LONG) {
  return ReadPlainRecords(reader, elements);
}

// False: another number of bytes. The read's result is not looked at.
bool ReadRaw(StreamReader& reader, ElementBlock& elements) {
  const std::size_t bytes = elements.Bytes();
  if (bytes == 0) return true;
  if (bytes > kMostCallBytes) return false;
  bool isWhole = false;
  elements.ReadFrom(reader, &isWhole);
  return isWhole;
}

bool ReadRaw(StreamReader& reader, ElementArray<VARIANT>& elements) {
  const std::size_t bytes = static_cast<std::size_t>(elements.Count()) * sizeof(VARIANT);
  if (bytes == 0) return true;
  if (bytes > kMostCallBytes) return false;
  const auto images = AllocateZeroed<VARIANT>(static_cast<std::uint64_t>(elements.Count()));
  if (!images) RaiseBadAllocation();
  ULONG delivered = 0;
  reader.Read(images.get(), static_cast<ULONG>(bytes), &delivered);
  reader.Close();
  const auto whole = static_cast<LONG>((std::min<std::size_t>)(delivered, bytes) / sizeof(VARIANT));
  for (LONG i = 0; i < whole && elements.Has(i); ++i) {
    const VARIANT& image = images[static_cast<std::size_t>(i)];
    VARIANT displaced = elements.Exchange(i, IsPlainImage(image) ? image : VARIANT{});
    VariantClear(&displaced);
  }
  return delivered == bytes;
}

void ReadElements(StreamReader& reader, ElementBlock& elements) {
  ReadElementBlock(reader, elements);
}
void ReadElements(StreamReader& reader, ElementArray<VARIANT>& elements) {
  ReadRecords(reader, elements);
}

void WriteElements(StreamWriter& writer, ElementBlock& elements) {
  WriteElementBlock(writer, elements);
}
void WriteElements(StreamWriter& writer, ElementArray<VARIANT>& elements) {
  const VariantWalk walk(elements);
  WriteVariantArray(writer, walk);
}

// ReportTexts, behind the stream's memory. Moves: a reader or writer.
template <class Moves, class Body>
HRESULT ReportTextsOf(const VectorState& state, Moves& moves, Body&& body) {
  try {
    return body();
  } catch (const std::exception& error) {
    moves.Close();
    return ReportText(state.ClassId(), error);
  }
}

template <class Elements>
class Loader {
 public:
  Loader(VectorState& state, Elements& elements, IStream* stream) noexcept
      : state_(state),
        elements_(elements),
        elementChange_(elements),
        tagChange_(state.m_ElementTags),
        reader_(stream) {}

  HRESULT Load() {
    WORD version = 0;
    HRESULT result = reader_.Get(version);
    if (FAILED(result)) return result;
    if (version == kSingleElements) return LoadSingly();
    if (version != kRawBlock && version != kPlainTags && version != state_.m_StreamVersion) {
      reader_.Close();
      return Report(state_.ClassId(), Message::BadVectorVersion);
    }
    result = ReadHead();
    if (FAILED(result)) return result;
    if (version == state_.m_StreamVersion) {
      return ReportTextsOf(state_, reader_, [&] {
        ReadElements(reader_, elements_);
        return ReadTagsIfOn(&ReadRecords);
      });
    }
    if (version == kRawBlock) {
      if (!ReadRaw(reader_, elements_)) {
        reader_.Close();
        return ReportErrorText(state_.ClassId(), "Insufficient file size");
      }
    } else {
      result = ReportTextsOf(state_, reader_, [&] {
        ReadElements(reader_, elements_);
        return S_OK;
      });
      if (FAILED(result)) return result;
    }
    return ReadTagsIfOn(&ReadPlainRecords);
  }

 private:
  HRESULT LoadSingly() {
    LONG count = 0;
    HRESULT result = reader_.Get(count);
    if (FAILED(result)) return result;
    elementChange_.Resize(count);
    result = ReadSingly(reader_, elements_, count);
    if (FAILED(result)) return result;
    return ReadTags(&ReadPlainRecords);
  }

  HRESULT ReadHead() {
    LONG count = 0;
    HRESULT result = reader_.Get(count);
    if (FAILED(result)) return result;
    // Straight into the field, which keeps the bytes that do not come.
    result = reader_.Get(state_.m_HasElementTags);
    if (FAILED(result)) return result;
    elementChange_.Resize(count);
    return S_OK;
  }

  // One of the two forms of record.
  using ReadForm = HRESULT (*)(StreamReader&, ElementArray<VARIANT>&);

  HRESULT ReadTags(ReadForm readRecords) {
    LONG count = 0;
    const HRESULT result = reader_.Get(count);
    if (FAILED(result)) return result;
    tagChange_.Resize(count);
    return readRecords(reader_, state_.m_ElementTags);
  }

  HRESULT ReadTagsIfOn(ReadForm readRecords) {
    if (state_.HasTags()) return ReadTags(readRecords);
    if (state_.m_ElementTags.Count() > 0) tagChange_.Resize(0);
    return S_OK;
  }

  VectorState& state_;
  Elements& elements_;
  // They release when the window of the reader is closed.
  ElementChange<Elements> elementChange_;
  ElementChange<ElementArray<VARIANT>> tagChange_;
  StreamReader reader_;
};

template <class Elements>
HRESULT Save(VectorState& state, Elements& elements, IStream* stream) {
  StreamWriter writer(stream);
  HRESULT result = writer.Put(WORD{state.m_StreamVersion});
  if (FAILED(result)) return result;
  result = writer.Put(LONG{elements.Count()});
  if (FAILED(result)) return result;
  result = writer.Put(VARIANT_BOOL{state.m_HasElementTags});
  if (FAILED(result)) return result;
  return ReportTextsOf(state, writer, [&]() -> HRESULT {
    WriteElements(writer, elements);
    if (!state.HasTags()) return S_OK;
    const HRESULT written = writer.Put(LONG{state.m_ElementTags.Count()});
    if (FAILED(written)) return written;
    const VariantWalk tags(state.m_ElementTags);
    return WriteVariantArray(writer, tags);
  });
}

}  // namespace

void ReadElementBlock(StreamReader& reader, ElementBlock& elements) {
  const std::size_t bytes = elements.Bytes();
  if (bytes == 0) return;
  if (bytes > kMostCallBytes) throw TextException("insufficient file size");
  bool isWhole = false;
  const HRESULT result = elements.ReadFrom(reader, &isWhole);
  if (FAILED(result)) throw TextException("can't read vector to stream");
  if (!isWhole) throw TextException("insufficient file size");
}

void WriteElementBlock(StreamWriter& writer, const ElementBlock& elements) {
  const std::size_t bytes = elements.Bytes();
  if (bytes == 0) return;
  if (bytes > kMostCallBytes) throw TextException("insufficient file size");
  // A stream that is called may come back to the array.
  const bool isCall = bytes > kWindowBytes || !writer.HasRoom(static_cast<ULONG>(bytes));
  const SharedBlock held = isCall ? elements.Hold() : SharedBlock();
  ULONG moved = 0;
  const HRESULT result = writer.Write(elements.Address(), static_cast<ULONG>(bytes), &moved);
  if (FAILED(result)) throw TextException("can't write vector to stream");
  if (moved != bytes) throw TextException("insufficient file size");
}

HRESULT LoadVector(VectorState& state, ElementBlock& elements, IStream* stream) {
  return Loader(state, elements, stream).Load();
}
HRESULT LoadVector(VectorState& state, ElementArray<VARIANT>& elements, IStream* stream) {
  return Loader(state, elements, stream).Load();
}
HRESULT SaveVector(VectorState& state, ElementBlock& elements, IStream* stream) {
  return Save(state, elements, stream);
}
HRESULT SaveVector(VectorState& state, ElementArray<VARIANT>& elements, IStream* stream) {
  return Save(state, elements, stream);
}

}  // namespace rastel
