// SPDX-License-Identifier: MIT
// AOIs that come from an AOI. Siblings share the buffer of their source and go their own ways with
// the rectangle: clones, halves and tiles. A duplicate has a buffer of its own. First the steps
// that do not depend on the class, then the slots.
#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "interfaces/aoi.h"
#include "module/frame/debug_texts.h"
#include "module/image/aoi.h"
#include "module/image/aoi_pixels.h"
#include "module/persist/nesting.h"
#include "platform/com_object.h"

namespace rastel {

// At most so many tiles come out of one call.
inline constexpr LONG kMostTiles = 100;

// Where a rectangle is cut in two. With an odd size the second half is the larger.
enum class Cut {
  kHeight,  // the new AOI takes the upper half
  kWidth,   // the new AOI takes the right half
};

// Gives the part, a sibling of `whole`, its half of the rectangle; what its SetRect gives.
HRESULT TakeHalf(const AoiState& whole, Cut cut, AoiState& part) noexcept;
// Leaves the AOI the other half; what its SetRect gives. A size of 1 has no half: SetRect sorts the
// corners, and the rectangle grows by the pixel before it, if there is one.
HRESULT KeepHalf(AoiState& whole, Cut cut) noexcept;

// How many tiles columns by rows are; the product wraps in 32 bits, and may so be 0 or below.
// Reports 1114 without a buffer, 1118 for a count below 1 or a product above kMostTiles.
HRESULT CountTiles(const AoiState& whole, LONG columns, LONG rows, LONG* count) noexcept;
// Lays siblings of `whole` over its rectangle, row by row, as many as there are; the last column
// and row take what the division leaves. Reports 1119 if a tile would have no pixel.
HRESULT PlaceTiles(const AoiState& whole, LONG columns, LONG rows,
                   std::span<AoiState* const> tiles) noexcept;

// Whether every pixel of the rectangle lies in the stored plane that is active.
bool HasWholeRectangle(const AoiState& aoi) noexcept;

// Gives the duplicate a buffer of its own, of the rectangle with its margins, and copies the active
// plane. Rows of the copy begin with the left margin, and count both margins in bytes; they come
// from row y and go to the duplicate's rectangle. So margins cut the rows of wide pixels short, and
// the last rows would end behind the buffer: clients know duplicates like that. Without pixels
// nothing is copied. Raises std::bad_alloc.
template <class Image>
void DuplicatePixels(const AoiState& source, AoiState& duplicate) {
  const Rect& rect = source.rect;
  const LONG rows = WrapAdd(rect.height, WrapMul(2, source.marginY));
  // What no row reaches must not show what the memory held before.
  const bool isCovered = source.marginX == 0 && source.marginY == 0 && HasWholeRectangle(source) &&
                         source.image->Touched() == source.image->reachableElements();
  duplicate.CreateImage(WrapAdd(rect.width, WrapMul(2, source.marginX)), rows,
                        isCovered ? Contents::Undefined : Contents::Zero);
  duplicate.SetMargins(source.marginX, source.marginY);
  LONG from = 0;
  LONG to = 0;
  const HRESULT hasSource = source.PixelIndex(0, 0, source.activePlane, &from);
  const HRESULT hasTarget = duplicate.PixelIndex(0, 0, duplicate.activePlane, &to);
  if (FAILED(hasSource) || FAILED(hasTarget)) return;
  const auto& pixels = static_cast<const Image&>(*source.image);
  const std::int64_t marginX = source.marginX;
  const std::int64_t elementBytes = sizeof(*pixels.data());
  CopyByteRuns(pixels, from - marginX, source.bufferWidth, static_cast<Image&>(*duplicate.image),
               to, duplicate.bufferWidth, rect.width * elementBytes + 2 * marginX, rows);
}

// Gives the duplicate a deep copy of the tag, a clone of the map and the name. Calls foreign code,
// whose failures are passed over; raises what GetRealCopyOfVariant and PutTag raise.
void CopyClientData(const AoiState& source, AoiState& duplicate);

// References on a buffer that are taken in one step and handed out one by one.
class ImageReferences {
 public:
  ImageReferences(ComImageBase& image, LONG count) noexcept
      : image_(image), left_(count > 0 ? static_cast<ULONG>(count) : 0) {
    if (left_ > 0) image_.AddReferences(left_);
  }
  ~ImageReferences() {
    if (left_ > 0) image_.DropReferences(left_);
  }
  ImageReferences(const ImageReferences&) = delete;
  ImageReferences& operator=(const ImageReferences&) = delete;

  platform::ComPtr<ComImageBase> Take() noexcept {
    platform::ComPtr<ComImageBase> taken;
    taken.Attach(&image_);
    --left_;
    return taken;
  }

 private:
  ComImageBase& image_;
  ULONG left_;
};

// The slots that make AOIs. Class: the coclass, whose implementation has state_ and counts this as
// a friend. Contracts stand in interfaces/aoi.h.
template <class Class, class ITyped, class Image>
struct DerivedAois {
  template <class Impl>
  static HRESULT Clone(Impl& aoi, ITyped** clone) noexcept {
    *clone = CreateSibling(aoi);
    return *clone ? S_OK : E_FAIL;
  }
  template <class Impl>
  static HRESULT Clone(Impl& aoi, IAoiKLP** clone) noexcept {
    *clone = nullptr;
    ITyped* typed = CreateSibling(aoi);
    return typed ? ConvertAndRelease(typed, clone) : E_FAIL;
  }

  template <class Impl>
  static HRESULT Split(Impl& aoi, Cut cut, ITyped** out) noexcept {
    platform::ComPtr<ITyped> part;
    const HRESULT result = MakePart(aoi, cut, out, part);
    static_cast<void>(part.Detach());
    return result;
  }
  template <class Impl>
  static HRESULT Split(Impl& aoi, Cut cut, IAoiKLP** out) noexcept {
    if (!out) return E_POINTER;
    *out = nullptr;
    platform::ComPtr<ITyped> part;
    ITyped* address = nullptr;
    const HRESULT result = MakePart(aoi, cut, &address, part);
    return FAILED(result) ? result : ConvertAndRelease(part.Detach(), out);
  }

  template <class Impl>
  static HRESULT SplitTiles(Impl& aoi, LONG columns, LONG rows, ITyped** tiles) noexcept {
    LONG count = 0;
    return MakeTiles(aoi, columns, rows, tiles, &count);
  }
  template <class Impl>
  static HRESULT SplitTiles(Impl& aoi, LONG columns, LONG rows, IAoiKLP** tiles) noexcept {
    ITyped* typed[kMostTiles] = {};
    LONG count = 0;
    HRESULT result = MakeTiles(aoi, columns, rows, typed, &count);
    if (FAILED(result)) {
      // A failing typed call leaves tiles to its caller, who is not the client here.
      for (ITyped* tile : typed) {
        if (tile) tile->Release();
      }
      return result;
    }
    for (LONG i = 0; i < count; ++i) {
      tiles[i] = nullptr;
      if (FAILED(result)) {
        typed[i]->Release();
        continue;
      }
      result = ConvertAndRelease(typed[i], &tiles[i]);
      if (SUCCEEDED(result)) continue;
      OutputDebugStringA(debug_texts::kTileWithoutGenericInterface);
      for (LONG made = 0; made < i; ++made) std::exchange(tiles[made], nullptr)->Release();
    }
    return result;
  }

  // Both raise what DuplicatePixels and CopyClientData raise, and then too leave null.
  template <class Impl>
  static HRESULT Duplicate(Impl& aoi, ITyped** out) {
    *out = nullptr;
    return (aoi.state_.marshalFlags & MarshalBuffer) != 0 ? DuplicateBuffer(aoi, out)
                                                          : DuplicateRectangle(aoi, out);
  }
  template <class Impl>
  static HRESULT Duplicate(Impl& aoi, IAoiKLP** out) {
    *out = nullptr;
    ITyped* typed = nullptr;
    const HRESULT result = Duplicate(aoi, &typed);
    return FAILED(result) ? result : ConvertAndRelease(typed, out);
  }

 private:
  // A new AOI on the same buffer, with its first reference; null when it cannot be made.
  template <class Impl>
  static Class* CreateSibling(const Impl& aoi) noexcept {
    return CreateSibling(aoi, aoi.state_.image);
  }
  template <class Impl>
  static Class* CreateSibling(const Impl& aoi, platform::ComPtr<ComImageBase> image) noexcept {
    platform::CComObject<Class>* sibling = nullptr;
    if (FAILED(platform::CComObject<Class>::CreateInstance(&sibling))) return nullptr;
    sibling->AddUnsharedReference();
    try {
      sibling->state_.CopyForSibling(aoi.state_, std::move(image));
    } catch (...) {
      sibling->Release();
      return nullptr;
    }
    return sibling;
  }

  // Answers with the generic interface of a typed pointer, whose reference goes.
  static HRESULT ConvertAndRelease(ITyped* typed, IAoiKLP** generic) noexcept {
    platform::ComPtr<ITyped> owner;
    owner.Attach(typed);
    return owner->QueryInterface(IID_IAoiKLP, reinterpret_cast<void**>(generic));
  }

  // Makes the new AOI of a split and cuts both rectangles. `part` holds the new AOI while it lives;
  // *address tells where it stands, also when it could not take its half and is gone.
  template <class Impl>
  static HRESULT MakePart(Impl& aoi, Cut cut, ITyped** address,
                          platform::ComPtr<ITyped>& part) noexcept {
    if (!aoi.state_.image) return aoi.state_.Report(Message::NoBuffer);
    Class* sibling = CreateSibling(aoi);
    if (!sibling) return aoi.state_.Report(Message::CloneNotCreated);
    part.Attach(sibling);
    *address = sibling;
    const HRESULT taken = TakeHalf(aoi.state_, cut, sibling->state_);
    if (SUCCEEDED(taken)) return KeepHalf(aoi.state_, cut);
    part.Reset();
    return taken;
  }

  // *count tells how many tiles a success has made: fewer than columns times rows where that wraps.
  template <class Impl>
  static HRESULT MakeTiles(const Impl& aoi, LONG columns, LONG rows, ITyped** tiles,
                           LONG* count) noexcept {
    const HRESULT counted = CountTiles(aoi.state_, columns, rows, count);
    if (FAILED(counted)) return counted;
    AoiState* states[kMostTiles];
    std::size_t made = 0;
    ImageReferences references(*aoi.state_.image, *count);
    for (LONG i = 0; i < *count; ++i) {
      Class* tile = CreateSibling(aoi, references.Take());
      if (!tile) return aoi.state_.Report(Message::CloneNotCreated);
      tiles[i] = tile;
      states[made++] = &tile->state_;
    }
    return PlaceTiles(aoi.state_, columns, rows, {states, made});
  }

  template <class Impl>
  static HRESULT DuplicateRectangle(Impl& aoi, ITyped** out) {
    const OperationLevel level;
    if (FAILED(level.Result())) return level.Result();
    platform::CComObject<Class>* object = nullptr;
    const HRESULT created = platform::CComObject<Class>::CreateInstance(&object);
    if (FAILED(created)) return created;
    // Foreign code may release the client's reference while tag and map are copied.
    const platform::ComPtr<ITyped> owner(object);
    AoiState& duplicate = object->state_;
    DuplicatePixels<Image>(aoi.state_, duplicate);
    *out = owner.Get();
    owner->AddRef();
    try {
      CopyClientData(aoi.state_, duplicate);
    } catch (...) {
      // Foreign code may have taken it out of there.
      if (*out == owner.Get()) std::exchange(*out, nullptr)->Release();
      throw;
    }
    return S_OK;
  }

  // The whole plane, by a sibling that selects it.
  template <class Impl>
  static HRESULT DuplicateBuffer(Impl& aoi, ITyped** out) {
    Class* sibling = CreateSibling(aoi);
    if (!sibling) return E_FAIL;
    platform::ComPtr<ITyped> owner;
    owner.Attach(sibling);
    const HRESULT selected = sibling->state_.SelectAll();
    if (FAILED(selected)) return selected;
    const HRESULT result = DuplicateRectangle(*sibling, out);
    if (FAILED(result)) return result;
    const platform::ComPtr<ITyped> duplicate(*out);
    duplicate->put_MarshalFlags(aoi.state_.marshalFlags);
    const Rect& rect = aoi.state_.rect;
    duplicate->SetRect(rect.x, rect.y, WrapSub(WrapAdd(rect.x, rect.width), 1),
                       WrapSub(WrapAdd(rect.y, rect.height), 1));
    return result;
  }
};

}  // namespace rastel
