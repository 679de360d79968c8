// SPDX-License-Identifier: MIT
#include "module/image/aoi_stream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "module/frame/debug_texts.h"
#include "module/frame/exceptions.h"
#include "module/persist/nesting.h"
#include "module/persist/streams.h"
#include "module/persist/zeroed_memory.h"
#include "module/records/tagged_records.h"
#include "module/records/variant_arrays.h"

namespace rastel {
namespace {

using platform::ComPtr;

// Whether the whole buffer travels.
constexpr bool IsBufferForm(MarshalFlagsKLP flags) noexcept { return (flags & 1) != 0; }

void TellException(const char* format, const _com_error& error) noexcept {
  char line[128];
  std::snprintf(line, sizeof(line), format, error.Message() ? error.Message() : "(null)");
  OutputDebugStringA(line);
}

// Elements in a row or plane, as many as a byte count of 32 bits leaves of them.
std::int64_t ElementsOfCall(LONG width, LONG height, std::size_t elementBytes) noexcept {
  if (width < 1 || height < 1) return 0;
  const ULONG bytes =
      static_cast<ULONG>(width) * static_cast<ULONG>(height) * static_cast<ULONG>(elementBytes);
  return bytes / elementBytes;
}

ULONG BytesOf(const ElementRange& run, const ComImageBase& image) noexcept {
  return static_cast<ULONG>(static_cast<std::size_t>(run.count) * image.elementBytes());
}

// Rectangle and margins; all 0, and reported, without a buffer.
struct Place {
  explicit Place(const AoiState& state) noexcept {
    state.GetRect(&rect.x, &rect.y, &rect.width, &rect.height);
    if (!state.image) {
      state.Report(Message::NoBuffer);
      return;
    }
    marginX = state.marginX;
    marginY = state.marginY;
  }
  LONG TotalWidth() const noexcept { return WrapAdd(rect.width, WrapMul(2, marginX)); }
  LONG TotalHeight() const noexcept { return WrapAdd(rect.height, WrapMul(2, marginY)); }

  Rect rect;
  LONG marginX = 0;
  LONG marginY = 0;
};

// The name up to its first null character; a null name is an empty one.
class SavedName {
 public:
  explicit SavedName(const AoiState& state) noexcept : held_(state.name) {}
  const OLECHAR* Text() const noexcept { return held_.Wide() ? held_.Wide() : OLESTR(""); }
  std::uint32_t Chars() const noexcept {
    std::uint32_t chars = 0;
    while (Text()[chars] != 0) ++chars;
    return chars;
  }

 private:
  const _bstr_t held_;
};

// What is written of each plane: rows of so many elements, so many apart.
struct PlaneRows {
  std::int64_t elements;
  std::int64_t step;
  LONG rows;
};

// Planes that lie in the block as a whole, from this one on, which begins at `first`, without a
// look at each: a stream may state as many as it likes. Gives how many were written; none into a
// stream that is called, and may call back, for each.
LONG WriteWholePlanes(const AoiState& state, StreamWriter& writer, LONG plane, LONG first,
                      const PlaneRows& each) {
  const ComImageBase& image = *state.image;
  const std::int64_t planeStep = image.geometry().planeElements;
  if (!writer.CallsNobody() || !state.planeMask.AreAllSelected() || planeStep < 1 ||
      each.elements < 1 || each.step < 1 || each.rows < 1) {
    return 0;
  }
  const std::int64_t reach = (each.rows - 1) * each.step + each.elements;
  const std::int64_t room =
      (std::min)(image.reachableElements() - reach, image.blockElements() - 1) - first;
  if (room < 0) return 0;
  const std::int64_t left = (std::min)(state.planeCount, image.planes()) - plane;
  const auto planes = static_cast<LONG>((std::min)(room / planeStep + 1, left));
  const ULONG rowBytes = BytesOf({first, each.elements}, image);
  if (CNullDeviceStream* const counter = writer.Counter()) {
    counter->SetCount(counter->Count() + ULONGLONG{rowBytes} * static_cast<ULONG>(each.rows) *
                                             static_cast<ULONG>(planes));
    return planes;
  }
  const auto elementBytes = static_cast<std::ptrdiff_t>(image.elementBytes());
  if (each.rows == 1) {
    writer.WriteRows(image.Address(first), rowBytes, planeStep * elementBytes, planes);
    return planes;
  }
  for (LONG i = 0; i < planes; ++i) {
    writer.WriteRows(image.Address(first + i * planeStep), rowBytes, each.step * elementBytes,
                     each.rows);
  }
  return planes;
}

// Results of the writes of pixels do not count.
void WriteRectangle(const AoiState& state, StreamWriter& writer, const Place& place) {
  if (!state.image) writer.Close();  // that will be reported
  LONG lineSkip = 0;
  state.GetLineSkip(&lineSkip);
  const LONG planes = state.planeCount;
  const std::int64_t step = WrapAdd(lineSkip, place.rect.width);
  for (LONG plane = 0; plane < planes; ++plane) {
    LONG selected = 0;
    state.GetPlaneSelected(plane, &selected);
    if (!selected) continue;
    const ComPtr<ComImageBase> image = state.image;
    LONG first = 0;
    if (FAILED(state.PixelIndex(WrapSub(0, place.marginX), WrapSub(0, place.marginY), plane,
                                &first))) {
      return;
    }
    const std::int64_t elements = ElementsOfCall(place.TotalWidth(), 1, image->elementBytes());
    const LONG whole =
        WriteWholePlanes(state, writer, plane, first, {elements, step, place.TotalHeight()});
    if (whole > 0) {
      plane += whole - 1;
      continue;
    }
    LONG row = 0;
    // Whole rows first; what the block cuts off of the others is clipped.
    const std::int64_t room = image->reachableElements() - first - elements;
    if (elements > 0 && step > 0 && room >= 0) {
      row = static_cast<LONG>(
          std::clamp<std::int64_t>(room / step + 1, 0, (std::max)(place.TotalHeight(), LONG{0})));
      writer.WriteRows(image->Address(first), BytesOf({first, elements}, *image),
                       step * static_cast<std::int64_t>(image->elementBytes()), row);
    }
    for (; row < place.TotalHeight(); ++row) {
      const ElementRange run = image->ClipRun(first + row * step, elements);
      if (run.count == 0) break;
      writer.Write(image->Address(run.first), BytesOf(run, *image));
    }
  }
}

HRESULT WriteBuffer(const AoiState& state, StreamWriter& writer) {
  writer.Close();
  // The AOI's own rectangle is not disturbed.
  AoiState sibling{AoiState::SiblingOf{state}};
  sibling.SelectAll();
  const LONG planes = sibling.planeCount;
  LONG width = 0;
  LONG height = 0;
  sibling.GetWidth(&width);
  sibling.GetHeight(&height);
  const HRESULT written = writer.PutEach(planes, width, height);
  if (FAILED(written)) return written;
  if (!sibling.image) writer.Close();
  for (LONG plane = 0; plane < planes; ++plane) {
    LONG first = 0;
    if (FAILED(sibling.PixelIndex(0, 0, plane, &first))) break;
    const ComImageBase& image = *sibling.image;
    const std::int64_t elements = ElementsOfCall(width, height, image.elementBytes());
    const LONG whole = WriteWholePlanes(sibling, writer, plane, first, {elements, 1, 1});
    if (whole > 0) {
      plane += whole - 1;
      continue;
    }
    const ElementRange run = image.ClipRun(first, elements);
    if (run.count > 0) writer.Write(image.Address(run.first), BytesOf(run, image));
  }
  return S_OK;
}

// How much a Save will write but for tag and map, as far as it lies in the buffer.
ULONGLONG ExpectedBytes(const AoiState& state) noexcept {
  constexpr ULONGLONG kHeader = 128;
  if (!state.image) return kHeader;
  const auto stored = static_cast<double>(state.image->reachableElements());
  const double columns = double{1} * state.rect.width + 2 * double{1} * state.marginX;
  const double rows = double{1} * state.rect.height + 2 * double{1} * state.marginY;
  const double taken = (std::max)(columns, 0.0) * (std::max)(rows, 0.0) * state.planeCount;
  const double elements = IsBufferForm(state.marshalFlags) ? stored : (std::min)(stored, taken);
  return kHeader + static_cast<ULONGLONG>(elements) * state.image->elementBytes();
}

// Header fields of any width, read in a row; behind the first one that fails nothing is read.
class FieldReader {
 public:
  explicit FieldReader(StreamReader& reader) noexcept : reader_(reader) {}
  // Takes a field of the wire's type, with its sign.
  template <class Wire>
  FieldReader& Take(LONG& value) {
    if (FAILED(result_)) return *this;
    Wire wire{};
    result_ = reader_.Get(wire);
    value = wire;
    return *this;
  }
  HRESULT Result() const noexcept { return result_; }

 private:
  StreamReader& reader_;
  HRESULT result_ = S_OK;
};

struct Header {
  LONG totalWidth = 0;
  LONG totalHeight = 0;
  Rect rect;
  LONG marginX = 0;
  LONG marginY = 0;
  LONG planes = 0;
};

// Of the versions from 257 on.
template <class RectWire, class RestWire>
void TakeHeader(FieldReader& fields, Header& header) {
  fields.Take<LONG>(header.totalWidth)
      .Take<LONG>(header.totalHeight)
      .Take<RectWire>(header.rect.x)
      .template Take<RectWire>(header.rect.y)
      .template Take<RectWire>(header.rect.width)
      .template Take<RectWire>(header.rect.height)
      .template Take<RestWire>(header.marginX)
      .template Take<RestWire>(header.marginY)
      .template Take<RestWire>(header.planes);
}

enum class PixelCalls { kByRow, kByPlane };

class Loader {
 public:
  Loader(AoiState& state, std::size_t pixelBytes, IStream* stream) noexcept
      : state_(state), pixelBytes_(pixelBytes), reader_(stream) {}

  HRESULT Load() {
    AoiStreamVersion version{};
    const HRESULT result = reader_.Get(version);
    return FAILED(result) ? result : Load(version);
  }

  HRESULT Load(AoiStreamVersion version) {
    switch (version) {
      case AoiStreamVersion::k256:
        return LoadRounded();
      case AoiStreamVersion::k257:
        return LoadPlain<std::int16_t>();
      case AoiStreamVersion::k258:
        return LoadPlain<LONG>();
      case AoiStreamVersion::k259:
        return LoadWithFlags();
      case AoiStreamVersion::k512:
      case AoiStreamVersion::k513:
      case AoiStreamVersion::k514:
        return LoadNamed(version);
    }
    reader_.Close();
    return state_.Report(Message::AoiNotLoaded);
  }

 private:
  HRESULT LoadRounded() {
    LONG width = 0;
    LONG height = 0;
    HRESULT result =
        FieldReader(reader_).Take<std::int16_t>(width).Take<std::int16_t>(height).Result();
    if (FAILED(result)) return result;
    reader_.Close();
    const LONG stride = ((width + 3) + (((width + 3) >> 31) & 3)) & ~3;
    if (SUCCEEDED(state_.CreateImage(stride, height, Contents::Zero))) {
      ReadPlanes(1, width, height, stride, PixelCalls::kByRow);
    }
    Header header;
    result = FieldReader(reader_)
                 .Take<std::int16_t>(header.rect.x)
                 .Take<std::int16_t>(header.rect.y)
                 .Take<std::int16_t>(header.rect.width)
                 .Take<std::int16_t>(header.rect.height)
                 .Take<std::int16_t>(header.marginX)
                 .Take<std::int16_t>(header.marginY)
                 .Result();
    if (FAILED(result)) return result;
    KeepRectangle(header);
    return S_OK;
  }

  template <class RectWire>
  HRESULT LoadPlain() {
    Header header;
    FieldReader fields(reader_);
    TakeHeader<RectWire, std::int16_t>(fields, header);
    if (FAILED(fields.Result())) return fields.Result();
    BindAndRead(header.planes, header.totalWidth, header.totalHeight, PixelCalls::kByRow);
    KeepRectangle(header);
    return S_OK;
  }

  HRESULT LoadWithFlags() {
    Header header;
    LONG flags = 0;
    FieldReader fields(reader_);
    TakeHeader<LONG, std::int16_t>(fields, header);
    fields.Take<std::int16_t>(flags);
    if (FAILED(fields.Result())) return fields.Result();
    state_.marshalFlags = static_cast<MarshalFlagsKLP>(flags);
    return LoadPixels<std::int16_t>(header, PixelCalls::kByRow);
  }

  HRESULT LoadNamed(AoiStreamVersion version) {
    Header header;
    LONG flags = 0;
    LONG elementType = 0;
    LONG nameChars = 0;
    FieldReader fields(reader_);
    TakeHeader<LONG, LONG>(fields, header);
    fields.Take<std::int16_t>(flags).Take<LONG>(elementType).Take<LONG>(nameChars);
    if (FAILED(fields.Result())) return fields.Result();
    _bstr_t name;
    HRESULT result = ReadName(static_cast<ULONG>(nameChars), name);
    if (FAILED(result)) return result;
    if (version != AoiStreamVersion::k512) ReadClientData(version);
    state_.elementType = static_cast<ElementTypeKLP>(elementType);
    state_.marshalFlags = static_cast<MarshalFlagsKLP>(flags);
    result = LoadPixels<LONG>(header, PixelCalls::kByPlane);
    if (FAILED(result)) return result;
    // Last, since the bind has named the AOI anew.
    state_.name = std::move(name);
    return S_OK;
  }

  HRESULT ReadName(ULONG chars, _bstr_t& name) {
    const ULONGLONG bytes = sizeof(chars) + ULONGLONG{chars} * sizeof(OLECHAR);
    const BYTE* const known =
        bytes <= kWindowBytes ? reader_.Look(static_cast<ULONG>(bytes)) : nullptr;
    if (known && reader_.At<ULONG>(known) == chars) {
      reader_.Take(static_cast<ULONG>(bytes));
      name = AoiState::DefaultName();
      const bool isDefault =
          chars == name.Length() &&
          std::memcmp(known + sizeof(chars), name.Wide(), chars * sizeof(OLECHAR)) == 0;
      if (!isDefault) name = TextAt(known + sizeof(chars), chars);
      return S_OK;
    }
    const auto text = AllocateZeroed<OLECHAR>(std::uint64_t{chars} + 1);
    if (!text) return E_OUTOFMEMORY;
    const HRESULT result = ReadWideChars(reader_, text.get(), chars);
    if (FAILED(result)) return result;
    text[chars] = 0;
    name = _bstr_t(text.get());
    return S_OK;
  }

  void ReadClientData(AoiStreamVersion version) {
    try {
      const bool isPlain = version == AoiStreamVersion::k513;
      const HRESULT result = ReadTag(isPlain);
      if (isPlain) {
        CheckResult(result);
      } else {
        ReadMap();
      }
    } catch (const _com_error& error) {
      reader_.Close();
      TellException(debug_texts::kAoiLoadException, error);
      OutputDebugStringA(debug_texts::kAoiTagNotRead);
    }
  }

  // A record that says nothing about its VARIANT leaves the tag alone.
  HRESULT ReadTag(bool isPlain) {
    constexpr VARTYPE kUntouched = VT_BYREF | VT_VARIANT;  // no record gives a reference
    _variant_t tag;
    tag.vt = kUntouched;
    const HRESULT result = isPlain ? ReadPlainVariant(tag, reader_) : ReadFromStream(reader_, tag);
    if (tag.vt != kUntouched) displacedTag_ = std::exchange(state_.tag, std::move(tag));
    return result;
  }

  // The member changes if the presence mark can be read: what came is kept if it is a map, and what
  // could not be loaded leaves null. Only an object from the stream is asked what it is.
  void ReadMap() {
    if (state_.attributeMap) reader_.Close();
    displacedMap_ = state_.attributeMap;
    ComPtr<IDispatch> map = displacedMap_;
    try {
      ReadObject(reader_, map);
    } catch (...) {
      const bool isMarkRead = displacedMap_ && !map;
      if (isMarkRead) state_.attributeMap.Reset();
      throw;
    }
    if (map && !map.As<IAttributeMapKLP>()) map.Reset();
    state_.attributeMap = std::move(map);
  }

  template <class PlanesWire>
  HRESULT LoadPixels(const Header& header, PixelCalls calls) {
    if (IsBufferForm(state_.marshalFlags)) {
      LONG planes = 0;
      LONG width = 0;
      LONG height = 0;
      const HRESULT result = FieldReader(reader_)
                                 .Take<PlanesWire>(planes)
                                 .template Take<LONG>(width)
                                 .template Take<LONG>(height)
                                 .Result();
      if (FAILED(result)) return result;
      BindAndRead(planes, width, height, calls);
      KeepRectangle(header);
    } else {
      BindAndRead(header.planes, header.totalWidth, header.totalHeight, calls);
      // In this order: the rectangle at 0, 0 takes the margins back.
      state_.SetMargins(header.marginX, header.marginY);
      state_.SetRect({0, 0, header.rect.width, header.rect.height});
    }
    return S_OK;
  }

  void KeepRectangle(const Header& header) noexcept {
    reader_.Close();
    state_.SetRect(header.rect);
    state_.SetMargins(header.marginX, header.marginY);
  }

  void BindAndRead(LONG planes, LONG width, LONG height, PixelCalls calls) {
    const bool isKnown = WillBeFilled(planes, width, height);
    reader_.Close();
    fill_ = isKnown ? Contents::Undefined : Contents::Zero;
    if (FAILED(state_.CreatePlanes(planes, width, height, fill_))) return;
    ReadPlanes(planes, width, height, width, calls);
  }

  // Whether the stream shows as many bytes as the buffer will hold: it need not be zeroed then.
  bool WillBeFilled(LONG planes, LONG width, LONG height) noexcept {
    if (state_.bufferMargin != 0 || planes < 1 || width < 1 || height < 1) return false;
    constexpr double kMostBytes = 0x7FFFFFFF;
    const double bytes =
        double{1} * planes * width * height * double{1} * static_cast<double>(pixelBytes_);
    return bytes <= kMostBytes && reader_.Shows(static_cast<ULONG>(bytes));
  }

  // Into the buffer that was just bound, `step` elements from row to row.
  void ReadPlanes(LONG planes, LONG width, LONG height, LONG step, PixelCalls calls) {
    for (LONG plane = 0; plane < planes; ++plane) {
      const ComPtr<ComImageBase> image = state_.image;
      LONG first = 0;
      if (FAILED(state_.PixelIndex(0, 0, plane, &first))) return;
      const bool isByRow = calls == PixelCalls::kByRow;
      const std::int64_t elements =
          ElementsOfCall(width, isByRow ? 1 : height, image->elementBytes());
      for (LONG row = 0; row < (isByRow ? height : 1); ++row) {
        const std::int64_t start = first + static_cast<std::int64_t>(row) * step;
        if (!ReadRun(*image, start, elements)) return;
      }
    }
  }

  // One Read, and of a run that the buffer cannot hold the rest too, so that what follows stays in
  // step. False: no further run will deliver anything.
  bool ReadRun(ComImageBase& image, std::int64_t first, std::int64_t elements) {
    const ElementRange run = image.ClipRun(first, elements);
    const ULONG bytes = BytesOf(run, image);
    ULONG rest = BytesOf({0, elements}, image) - bytes;
    bool hasMore = bytes == 0 ? rest > 0 : ReadPixels(image, run, bytes);
    std::byte dropped[4096];
    while (hasMore && rest > 0) {
      const ULONG part = (std::min)(rest, ULONG{sizeof(dropped)});
      hasMore = ReadBytes(dropped, part) == part;
      rest -= part;
    }
    return !hasEnded_ && elements > 0;
  }

  // Whether a Read delivered the run. While it has the address all may change.
  bool ReadPixels(ComImageBase& image, const ElementRange& run, ULONG bytes) {
    const std::int64_t loaded = image.SetLoaded(image.reachableElements());
    const ULONG delivered = ReadBytes(image.Address(run.first), bytes);
    const ULONG written = failuresInARow_ > 0 ? bytes : (std::min)(delivered, bytes);
    if (fill_ == Contents::Undefined && delivered < bytes) {
      // Others have cut the stream meanwhile. What comes yet is read over the zeros.
      const std::byte* const end = image.Address(image.blockElements());
      std::byte* const rest = image.Address(run.first) + delivered;
      std::memset(rest, 0, static_cast<std::size_t>(end - rest));
    }
    const auto elementBytes = static_cast<ULONG>(image.elementBytes());
    image.SetLoaded(
        (std::max)(loaded, run.first + (written / elementBytes + (written % elementBytes != 0))));
    return delivered == bytes;
  }

  // What a Read delivered; a stream that does not say so has delivered all. Failures are passed
  // over.
  ULONG ReadBytes(void* target, ULONG bytes) {
    ULONG delivered = bytes;
    const bool isRead = SUCCEEDED(reader_.Stream()->Read(target, bytes, &delivered));
    if (!isRead) delivered = 0;
    failuresInARow_ = isRead ? 0 : failuresInARow_ + 1;
    hasEnded_ = isRead ? delivered == 0 : failuresInARow_ >= kMostEmptyRecords;
    return delivered;
  }

  AoiState& state_;
  const std::size_t pixelBytes_;
  int failuresInARow_ = 0;
  bool hasEnded_ = false;
  Contents fill_ = Contents::Zero;
  // Go with the loader, when the AOI is in its final state: their release may call back.
  _variant_t displacedTag_;
  ComPtr<IDispatch> displacedMap_;
  StreamReader reader_;
};

}  // namespace

HRESULT LoadAoi(AoiState& state, std::size_t pixelBytes, IStream* stream) {
  const OperationLevel level;
  if (FAILED(level.Result())) return level.Result();
  return Loader(state, pixelBytes, stream).Load();
}

HRESULT LoadAoi(AoiState& state, std::size_t pixelBytes, IStream* stream,
                AoiStreamVersion version) {
  const OperationLevel level;
  if (FAILED(level.Result())) return level.Result();
  return Loader(state, pixelBytes, stream).Load(version);
}

HRESULT SaveAoi(const AoiState& state, IStream* stream) {
  const OperationLevel level;
  if (FAILED(level.Result())) return level.Result();
  StreamWriter writer(stream);
  writer.Expect(ExpectedBytes(state));
  HRESULT result = writer.Put(WORD{state.streamVersion});
  if (FAILED(result)) return result;
  if (!state.image) writer.Close();  // that will be reported
  const Place place(state);
  const MarshalFlagsKLP flags = state.marshalFlags;
  const SavedName name(state);
  result =
      writer.PutEach(place.TotalWidth(), place.TotalHeight(), place.rect.x, place.rect.y,
                     place.rect.width, place.rect.height, place.marginX, place.marginY,
                     state.planeCount, static_cast<WORD>(flags), state.elementType, name.Chars());
  if (FAILED(result)) return result;
  result = WriteWideString(writer, name.Text());
  if (FAILED(result)) return result;
  try {
    WriteToStream(writer, state.tag);
    WriteObject(writer, state.attributeMap.Get());
  } catch (const _com_error& error) {
    writer.Close();
    TellException(debug_texts::kAoiSaveException, error);
    OutputDebugStringA(debug_texts::kAoiTagNotSaved);
  }
  if (IsBufferForm(flags)) return WriteBuffer(state, writer);
  WriteRectangle(state, writer, place);
  return S_OK;
}

HRESULT EstimateAoi(const AoiState& state, ULONGLONG* bytes) {
  const OperationLevel level;
  if (FAILED(level.Result())) return level.Result();
  constexpr ULONGLONG kFixedBytes = 52;
  const Place place(state);
  ULONGLONG total = kFixedBytes + ULONGLONG{2} * SavedName(state).Chars();
  try {
    total += GetVariantStreamSize(state.tag);
    AddObjectSize(total, state.attributeMap.Get());
  } catch (const _com_error& error) {
    TellException(debug_texts::kAoiSizeException, error);
  }
  const auto pixelBytes = [&](LONG width, LONG height) -> ULONGLONG {
    if (!state.image) return 0;
    return static_cast<ULONGLONG>(std::int64_t{width}) *
           static_cast<ULONGLONG>(std::int64_t{height}) *
           static_cast<ULONGLONG>(std::int64_t{state.planeCount}) * state.image->elementBytes();
  };
  if (IsBufferForm(state.marshalFlags)) {
    constexpr ULONGLONG kBufferFields = 12;
    total += pixelBytes(place.TotalWidth(), place.TotalHeight()) + kBufferFields;
  } else {
    total += pixelBytes(place.rect.width, place.rect.height);
  }
  *bytes = total;
  return S_OK;
}

}  // namespace rastel
