// SPDX-License-Identifier: MIT
#include "tools/loaded_aoi.h"

#include <rastelklp/client.h>

#include <limits>

#include "interfaces/aoi.h"
#include "tools/element_types.h"

namespace tools {
namespace {

using platform::ComPtr;

struct Geometry {
  LONG x = 0, y = 0, width = 0, height = 0;
  LONG marginX = 0, marginY = 0;
  LONG bufferWidth = 0, bufferHeight = 0;
  LONG planes = 0;
};

ComPtr<IAoiKLP> AoiOf(const LoadedObject& object) {
  auto aoi = object.As<IAoiKLP>();
  if (!aoi) throw ComFailure("IAoiKLP", E_NOINTERFACE);
  return aoi;
}

Geometry GeometryOf(IAoiKLP& aoi) {
  Geometry g;
  Check(aoi.GetRect(&g.x, &g.y, &g.width, &g.height), "GetRect");
  Check(aoi.get_MarginX(&g.marginX), "get_MarginX");
  Check(aoi.get_MarginY(&g.marginY), "get_MarginY");
  Check(aoi.get_BufferWidth(&g.bufferWidth), "get_BufferWidth");
  Check(aoi.get_BufferHeight(&g.bufferHeight), "get_BufferHeight");
  Check(aoi.get_PlaneCount(&g.planes), "get_PlaneCount");
  return g;
}

bool CoversBuffer(const Geometry& g) {
  return g.x == g.marginX && g.y == g.marginY && g.width + 2 * g.marginX == g.bufferWidth &&
         g.height + 2 * g.marginY == g.bufferHeight;
}

std::string SizeText(LONG width, LONG height) {
  return NumberText(std::int32_t{width}) + " x " + NumberText(std::int32_t{height});
}
std::string PairText(LONG x, LONG y) {
  return NumberText(std::int32_t{x}) + ", " + NumberText(std::int32_t{y});
}

// In quotes, and as it is.
std::pair<std::string, std::string> NameOf(IAoiKLP& aoi) {
  BSTR name = nullptr;
  Check(aoi.get_Name(&name), "get_Name");
  constexpr std::size_t kMostUnits = 60;
  const Bytes bytes(reinterpret_cast<const std::uint8_t*>(name), SysStringByteLen(name));
  std::pair texts(QuotedText(bytes, kMostUnits), PlainText(bytes));
  SysFreeString(name);
  return texts;
}

}  // namespace

void AddAoiAnswers(const LoadedObject& object, Answers& answers) {
  const auto aoi = AoiOf(object);
  const Geometry g = GeometryOf(*aoi);
  ElementTypeKLP code{};
  MarshalFlagsKLP flags{};
  Check(aoi->get_ElementType(&code), "get_ElementType");
  Check(aoi->get_MarshalFlags(&flags), "get_MarshalFlags");
  const ElementKind* kind = FindElementKind(code);
  answers.Add("element type",
              kind ? std::string(kind->name) + ", " + kind->words
                   : "code " + NumberText(static_cast<std::int32_t>(code)),
              "elementType", kind ? Json(kind->name) : Json(static_cast<std::int32_t>(code)));
  answers.Add("rectangle", SizeText(g.width, g.height) + " at " + PairText(g.x, g.y), "rectangle",
              {{"x", g.x}, {"y", g.y}, {"width", g.width}, {"height", g.height}});
  answers.Add("margins", PairText(g.marginX, g.marginY), "margins",
              {{"x", g.marginX}, {"y", g.marginY}});
  answers.Add("buffer",
              CountText(static_cast<std::uint64_t>(g.planes), "plane") + " of " +
                  SizeText(g.bufferWidth, g.bufferHeight),
              "buffer",
              {{"planes", g.planes}, {"width", g.bufferWidth}, {"height", g.bufferHeight}});
  const bool isBuffer = (flags & MarshalBuffer) != 0;
  answers.Add("travels", isBuffer ? "as the whole buffer" : "as the rectangle", "travelsAs",
              isBuffer ? "buffer" : "rectangle");
  const auto [quoted, plain] = NameOf(*aoi);
  answers.Add("name", quoted, "name", plain);
}

bool IsAoiInStep(const LoadedObject& object, const AoiHead& head) {
  if (object.BytesLeft() != 0) return false;
  if (head.pixels == 0) return true;
  const Geometry g = GeometryOf(*AoiOf(object));
  return static_cast<std::uint64_t>(g.planes) * static_cast<std::uint64_t>(g.bufferWidth) *
             static_cast<std::uint64_t>(g.bufferHeight) >=
         head.pixels;
}

bool ShowPixels(const LoadedObject& object, Bytes file, std::span<const Block> blocks) {
  rastelklp::AnyAoi any(nullptr);
  any.attach(AoiOf(object).Detach());
  const Geometry g = GeometryOf(*any.get());
  if (blocks.empty() || g.planes < 1 || g.width < 1 || g.height < 1) return false;
  return any.visit([&](auto aoi) {
    using T = typename decltype(aoi)::pixel_type;
    // Sizes are multiplied in 32 bits behind the slots.
    const double stated = double{1} * g.planes * g.bufferWidth * g.bufferHeight;
    const std::uint64_t planeBytes = blocks[0].bytes;
    const std::uint8_t* const first = file.data() + blocks[0].offset;
    bool lie = stated <= double{1} * (std::numeric_limits<LONG>::max)() &&
               blocks.size() == static_cast<std::size_t>(g.planes) &&
               planeBytes == sizeof(T) * static_cast<std::uint64_t>(g.bufferWidth) *
                                 static_cast<std::uint64_t>(g.bufferHeight) &&
               reinterpret_cast<std::uintptr_t>(first) % alignof(T) == 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      lie = lie && blocks[i].level == 1 && blocks[i].bytes == planeBytes &&
            blocks[i].offset == blocks[0].offset + i * planeBytes;
    }
    if (!lie) return false;
    const rastelklp::Text name = aoi.name();
    using U = std::conditional_t<std::is_same_v<T, std::int8_t>, std::uint8_t, T>;
    // Nobody writes there.
    auto* const pixels = reinterpret_cast<U*>(const_cast<std::uint8_t*>(first));
    Check(aoi->AttachPlanes(g.planes, g.bufferWidth, g.bufferHeight, pixels), "AttachPlanes");
    // As Load did.
    Check(aoi->SetRect(g.x, g.y, g.x + g.width - 1, g.y + g.height - 1), "SetRect");
    if (g.marginX > 0 || g.marginY > 0) aoi->SetMargins(g.marginX, g.marginY);
    Check(aoi->put_Name(name.get()), "put_Name");
    return true;
  });
}

bool MakeAoiWhole(const LoadedObject& object, const AoiHead& head) {
  const auto aoi = AoiOf(object);
  MarshalFlagsKLP flags{};
  Check(aoi->get_MarshalFlags(&flags), "get_MarshalFlags");
  if ((flags & MarshalBuffer) != 0 || head.pixels == 0) return false;
  if (head.IsRectangleForm()) {
    // Where the rectangle began when it was saved is not kept by any reader.
    aoi->SetRect(head.marginX, head.marginY, head.marginX + head.width - 1,
                 head.marginY + head.height - 1);
    aoi->SetMargins(head.marginX, head.marginY);
  }
  if (CoversBuffer(GeometryOf(*aoi))) return false;
  Check(aoi->put_MarshalFlags(MarshalBuffer), "put_MarshalFlags");
  return true;
}

}  // namespace tools
