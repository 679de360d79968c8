// SPDX-License-Identifier: MIT
#include "module/image/derived_aois.h"

#include "module/records/tagged_records.h"

namespace rastel {

HRESULT TakeHalf(const AoiState& whole, Cut cut, AoiState& part) noexcept {
  Rect half = whole.rect;
  if (cut == Cut::kHeight) {
    half.height /= 2;
  } else {
    half.x = WrapAdd(half.x, half.width / 2);
    half.width = WrapSub(half.width, half.width / 2);
  }
  return part.SetRect(half);
}

HRESULT KeepHalf(AoiState& whole, Cut cut) noexcept {
  Rect half = whole.rect;
  if (cut == Cut::kHeight) {
    half.y = WrapAdd(half.y, half.height / 2);
    half.height = WrapSub(half.height, half.height / 2);
  } else {
    half.width /= 2;
  }
  return whole.SetRect(half);
}

HRESULT CountTiles(const AoiState& whole, LONG columns, LONG rows, LONG* count) noexcept {
  if (!whole.image) return whole.Report(Message::NoBuffer);
  *count = WrapMul(columns, rows);
  const bool isPossible = columns >= 1 && rows >= 1 && *count <= kMostTiles;
  return isPossible ? S_OK : whole.Report(Message::TilesImpossible);
}

HRESULT PlaceTiles(const AoiState& whole, LONG columns, LONG rows,
                   std::span<AoiState* const> tiles) noexcept {
  const Rect rect = whole.rect;
  const LONG width = rect.width / columns;
  const LONG height = rect.height / rows;
  if (width == 0 || height == 0) return whole.Report(Message::TileEmpty);
  LONG row = 0;
  LONG column = 0;
  for (AoiState* tile : tiles) {
    Rect place{WrapMul(column, width), WrapMul(row, height), width, height};
    if (column == columns - 1) place.width = WrapSub(rect.width, place.x);
    if (row == rows - 1) place.height = WrapSub(rect.height, place.y);
    place.x = WrapAdd(place.x, rect.x);
    place.y = WrapAdd(place.y, rect.y);
    tile->SetRect(place);
    if (++column == columns) {
      column = 0;
      ++row;
    }
  }
  return S_OK;
}

bool HasWholeRectangle(const AoiState& aoi) noexcept {
  if (!aoi.image || !aoi.image->geometry().Fits()) return false;
  const BufferGeometry& buffer = aoi.image->geometry();
  const auto isInside = [&](LONG first, LONG length, LONG stored) {
    return first >= 0 && static_cast<std::int64_t>(first) + buffer.margin + length <= stored;
  };
  // The buffer may have been changed under the AOI by another one that shares it.
  return aoi.bufferWidth == buffer.stride && aoi.activePlane < buffer.planes &&
         isInside(aoi.rect.x, aoi.rect.width, buffer.stride) &&
         isInside(aoi.rect.y, aoi.rect.height, buffer.rows);
}

void CopyClientData(const AoiState& source, AoiState& duplicate) {
  duplicate.PutTag(GetRealCopyOfVariant(source.tag));
  if (const platform::ComPtr<IDispatch> held = source.attributeMap) {
    if (const auto map = held.As<IAttributeMapKLP>()) {
      platform::ComPtr<IAttributeMapKLP> clone;
      map->Clone(clone.Put());
      duplicate.PutAttributeMap(clone.Get());
    }
  }
  duplicate.name = source.name;
}

}  // namespace rastel
