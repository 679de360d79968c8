// SPDX-License-Identifier: MIT
// The members of the nine AOI interfaces, in the slot groups of interfaces/aoi.h.
#pragma once

#include "interfaces/aoi.h"
#include "types/type_names.h"

namespace rastel::types {

template <class I>
constexpr auto AoiRectangleRows() noexcept {
  return std::array{
      Row<I, &I::get_Width>("get_Width", "width"),
      Row<I, &I::put_Width>("put_Width", "width"),
      Row<I, &I::get_Height>("get_Height", "height"),
      Row<I, &I::put_Height>("put_Height", "height"),
      Row<I, &I::get_X>("get_X", "x"),
      Row<I, &I::put_X>("put_X", "x"),
      Row<I, &I::get_Y>("get_Y", "y"),
      Row<I, &I::put_Y>("put_Y", "y"),
      Row<I, &I::get_MarginX>("get_MarginX", "pixels"),
      Row<I, &I::put_MarginX>("put_MarginX", "pixels"),
      Row<I, &I::get_MarginY>("get_MarginY", "pixels"),
      Row<I, &I::put_MarginY>("put_MarginY", "pixels"),
      Row<I, &I::CreateImage>("CreateImage", "width", "height"),
      Row<I, &I::get_LineSkip>("get_LineSkip", "pixels"),
      Row<I, &I::get_BufferWidth>("get_BufferWidth", "pixels"),
      Row<I, &I::get_BufferHeight>("get_BufferHeight", "rows"),
      Row<I, &I::SetMargins>("SetMargins", "marginX", "marginY"),
      Row<I, &I::FillMargins>("FillMargins"),
      Row<I, &I::GetPixel>("GetPixel", "x", "y", "value"),
      Row<I, &I::PutPixel>("PutPixel", "x", "y", "value"),
      Row<I, &I::Clone>("Clone", "clone"),
      Row<I, &I::SplitHeight>("SplitHeight", "upper"),
      Row<I, &I::SplitWidth>("SplitWidth", "right"),
      Row<I, &I::SplitTiles>("SplitTiles", "across", "down", Several("tiles")),
      Row<I, &I::Unite>("Unite", "other"),
      Row<I, &I::SetRect>("SetRect", "left", "top", "right", "bottom"),
  };
}

// P is the type that the library gives to the pixels.
template <class I, VARTYPE P>
constexpr auto AoiPointerRows() noexcept {
  return std::array{
      Row<I, &I::GetPointer>("GetPointer", Pixels(P, "pixels")),
      Row<I, &I::GetAccess>("GetAccess", "width", "height", "lineSkip", Pixels(P, "pixels")),
      Row<I, &I::AttachImage>("AttachImage", "width", "height", Pixels(P, "pixels")),
  };
}

template <class I>
constexpr auto AoiDerivedRows() noexcept {
  return std::array{
      Row<I, &I::Duplicate>("Duplicate", "duplicate"),
      Row<I, &I::IsSameSize>("IsSameSize", "other", "same"),
      Row<I, &I::CopyRect>("CopyRect", "other"),
      Row<I, &I::MoveTo>("MoveTo", "x", "y"),
      Row<I, &I::MoveBy>("MoveBy", "dx", "dy"),
      Row<I, &I::ResizeTo>("ResizeTo", "width", "height"),
      Row<I, &I::ResizeBy>("ResizeBy", "dw", "dh"),
      Row<I, &I::Clear>("Clear"),
      Row<I, &I::Fill>("Fill", "value"),
      Row<I, &I::SelectAll>("SelectAll"),
      Row<I, &I::GetRect>("GetRect", "x", "y", "width", "height"),
      Row<I, &I::CopyTo>("CopyTo", "other"),
      Row<I, &I::CreatePlanes>("CreatePlanes", "planes", "width", "height"),
  };
}

template <class I, VARTYPE P>
constexpr auto AoiPlanePointerRows() noexcept {
  return std::array{
      Row<I, &I::AttachPlanes>("AttachPlanes", "planes", "width", "height", Pixels(P, "pixels")),
      Row<I, &I::CreateFromData>("CreateFromData", "planes", "width", "height",
                                 Pixels(P, "pixels")),
  };
}

template <class I>
constexpr auto AoiPropertyRows() noexcept {
  return std::array{
      Row<I, &I::get_PlaneCount>("get_PlaneCount", "planes"),
      Row<I, &I::get_PlaneSelected>("get_PlaneSelected", "plane", "selected"),
      Row<I, &I::put_PlaneSelected>("put_PlaneSelected", "plane", "selected"),
      Row<I, &I::get_ActivePlane>("get_ActivePlane", "plane"),
      Row<I, &I::put_ActivePlane>("put_ActivePlane", "plane"),
      Row<I, &I::get_BufferMargin>("get_BufferMargin", "pixels"),
      Row<I, &I::put_BufferMargin>("put_BufferMargin", "pixels"),
      Row<I, &I::get_MarginMode>("get_MarginMode", "mode"),
      Row<I, &I::put_MarginMode>("put_MarginMode", "mode"),
      Row<I, &I::get_MarshalFlags>("get_MarshalFlags", "flags"),
      Row<I, &I::put_MarshalFlags>("put_MarshalFlags", "flags"),
      Row<I, &I::get_Name>("get_Name", "name"),
      Row<I, &I::put_Name>("put_Name", "name"),
  };
}

template <class I>
constexpr auto AoiClientDataRows() noexcept {
  return std::array{
      Row<I, &I::get_Tag>("get_Tag", "tag"),
      Row<I, &I::put_Tag>("put_Tag", "tag"),
      Row<I, &I::get_AttributeMap>("get_AttributeMap", "map"),
      Row<I, &I::put_AttributeMap>("put_AttributeMap", "map"),
  };
}

template <class I, VARTYPE P>
constexpr auto TypedAoiRows() noexcept {
  return Join(AoiRectangleRows<I>(), AoiPointerRows<I, P>(), AoiDerivedRows<I>(),
              AoiPlanePointerRows<I, P>(), AoiPropertyRows<I>(), AoiClientDataRows<I>(),
              std::array{
                  Row<I, &I::GetAccessChecked>("GetAccessChecked", "width", "height", "lineSkip",
                                               Pixels(P, "pixels")),
                  Row<I, &I::get_IsBound>("get_IsBound", "bound"),
              });
}

constexpr auto GenericAoiRows() noexcept {
  using I = IAoiKLP;
  return Join(AoiRectangleRows<I>(), AoiDerivedRows<I>(), AoiPropertyRows<I>(),
              std::array{Row<I, &I::get_ElementType>("get_ElementType", "type")},
              AoiClientDataRows<I>(), std::array{Row<I, &I::get_IsBound>("get_IsBound", "bound")});
}

}  // namespace rastel::types
