// SPDX-License-Identifier: MIT
// What objects hold, as text.
#include <cstring>

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "tests/objects/session.h"
#include "tests/support/hash.h"

namespace tests::objects {
namespace {

using platform::ComPtr;

constexpr std::size_t kShownAtMost = 200;

std::string ShowNumbers(const std::vector<double>& numbers) {
  std::string shown;
  for (const double number : numbers) {
    if (!shown.empty()) shown += ' ';
    shown += tests::Show(Real(number));
  }
  return numbers.size() <= kShownAtMost ? shown : Summary(shown);
}

struct Geometry {
  explicit Geometry(const ComPtr<IAoiKLP>& aoi) {
    result = aoi->GetRect(&x, &y, &width, &height);
    aoi->get_MarginX(&marginX);
    aoi->get_MarginY(&marginY);
    aoi->get_BufferWidth(&bufferWidth);
    aoi->get_BufferHeight(&bufferHeight);
    aoi->get_PlaneCount(&planes);
    aoi->get_ActivePlane(&active);
    aoi->get_BufferMargin(&bufferMargin);
    // How wide the margin is that the buffer has, its pixels tell alone.
    double pixel = 0;
    while (aoi->GetPixel(-x - margin - 1, -y - margin - 1, &pixel) == S_OK) ++margin;
  }
  HRESULT result = S_OK;
  LONG x = 0, y = 0, width = 0, height = 0, marginX = 0, marginY = 0, bufferWidth = 0,
       bufferHeight = 0, planes = 0, active = 0, bufferMargin = 0, margin = 0;
};

std::string ShowAoi(const ComPtr<IAoiKLP>& aoi) {
  const Geometry g(aoi);
  const auto numbers = [](std::initializer_list<LONG> values) {
    std::string shown;
    for (const LONG value : values) shown += ' ' + std::to_string(value);
    return shown;
  };
  std::string selected;
  for (LONG plane = 0; plane < g.planes && plane < 9; ++plane) {
    LONG isSelected = 0;
    aoi->get_PlaneSelected(plane, &isSelected);
    selected += numbers({isSelected});
  }
  const std::string tail = " planes" + numbers({g.planes}) + " active" + numbers({g.active}) +
                           " margin" + numbers({g.bufferMargin}) + " selected" + selected;
  if (FAILED(g.result)) return facts::Code(g.result) + tail;
  return "rect" + numbers({g.x, g.y, g.width, g.height}) + " margins" +
         numbers({g.marginX, g.marginY}) + " buffer" + numbers({g.bufferWidth, g.bufferHeight}) +
         tail;
}

std::string ShowVector(Session& session, const ComPtr<IVectorKLP>& vector) {
  LONG count = 0;
  vector->get_Count(&count);
  std::string shown = std::to_string(count) + ':';
  if (const auto typed = vector.As<IVariantVectorKLP>()) {
    VARIANT* data = nullptr;
    typed->GetPointer(&count, &data);
    for (LONG i = 0; i < count; ++i) shown += ' ' + session.Print(data[i]);
  } else {
    std::vector<double> values(static_cast<std::size_t>(count));
    for (LONG i = 0; i < count; ++i) vector->get_Value(i, &values[static_cast<std::size_t>(i)]);
    shown += ' ' + ShowNumbers(values);
  }
  VARIANT* tags = nullptr;
  VARIANT_BOOL hasTags = 0;
  vector->get_HasElementTags(&hasTags);
  vector->GetTagPointer(&count, &tags);
  shown += " tags " + std::to_string(hasTags) + ':';
  for (LONG i = 0; tags && i < count; ++i) shown += ' ' + session.Print(tags[i]);
  return shown;
}

std::string ShowMap(Session& session, const ComPtr<IAttributeMapKLP>& map) {
  ComPtr<IEnumAttributeEntryKLP> enumerator;
  map->GetEnumerator(enumerator.Put());
  std::string shown = "{";
  ComPtr<IAttributeEntryKLP> entry;
  for (int count = 0; enumerator && enumerator->Next(1, entry.Put(), nullptr) == S_OK; ++count) {
    Value key, value;
    entry->get_Key(&key);
    VARIANT asked = *key;
    if (asked.vt == VT_I4) asked.vt = VT_INT;  // what a generic integer map takes
    map->get_Value(asked, &value);
    if (count > 0) shown += ", ";
    shown += facts::Print(*key) + " = " + session.Print(*value);
  }
  VARIANT_BOOL replaces = 0;
  map->get_OverrideMode(&replaces);
  return shown + "} override " + std::to_string(replaces);
}

}  // namespace

std::string Summary(const std::string& text) {
  return std::to_string(text.size()) + " characters, hash " + std::to_string(HashOf(text));
}

std::size_t WidthOf(VARTYPE type) {
  constexpr BYTE kWidths[] = {0, 0,  2, 4, 4, 8, 8, 8, 8, 8, 4, 2, sizeof(VARIANT),
                              8, 16, 0, 1, 1, 2, 4, 8, 8, 4, 4};
  return kWidths[type];
}

std::string ShowElements(const Elements& elements, std::size_t first, std::size_t count) {
  std::string shown;
  for (std::size_t i = first; i < first + count; ++i) {
    VARIANT value = Typed(elements.type);
    const auto* data = static_cast<const BYTE*>(elements.first) + i * WidthOf(elements.type);
    std::memcpy(facts::ElementIn(value, elements.type), data, WidthOf(elements.type));
    if (!shown.empty()) shown += ' ';
    shown += elements.type == VT_VARIANT ? facts::Print(value) : tests::Show(value);
  }
  return shown;
}

std::string Show(Session& session, const std::string& name) {
  const ComPtr<IUnknown> object = session.Object(name).pointer;
  if (const auto aoi = object.As<IAoiKLP>()) return ShowAoi(aoi);
  if (const auto vector = object.As<IVectorKLP>()) return ShowVector(session, vector);
  if (const auto map = object.As<IAttributeMapKLP>()) return ShowMap(session, map);
  return "nothing to be shown";
}

std::string ShowPixels(Session& session, const std::string& name, facts::Words& words) {
  const auto aoi = session.Object(name).pointer.As<IAoiKLP>();
  const Geometry g(aoi);
  std::vector<double> pixels;
  const auto add = [&](LONG left, LONG top, LONG width, LONG height) {
    for (LONG i = 0; i < width * height; ++i) {
      aoi->GetPixel(left + i % width, top + i / width, &pixels.emplace_back(-99));
    }
  };
  if (words.HasMore()) {
    LONG box[4];
    for (LONG& side : box) side = static_cast<LONG>(words.Number());
    add(box[0], box[1], box[2], box[3]);
  } else {
    for (LONG plane = 0; plane < g.planes; ++plane) {
      aoi->put_ActivePlane(plane);
      add(-g.x - g.margin, -g.y - g.margin, g.bufferWidth, g.bufferHeight);
    }
    aoi->put_ActivePlane(g.active);
  }
  return ShowNumbers(pixels);
}

std::string NumberPixels(Session& session, const std::string& name) {
  const auto aoi = session.Object(name).pointer.As<IAoiKLP>();
  const Geometry g(aoi);
  double number = 0;
  for (LONG plane = 0; plane < g.planes; ++plane) {
    aoi->put_ActivePlane(plane);
    for (LONG y = 0; y < g.bufferHeight; ++y) {
      for (LONG x = 0; x < g.bufferWidth; ++x) {
        aoi->PutPixel(x - g.x - g.margin, y - g.y - g.margin, ++number);
      }
    }
  }
  aoi->put_ActivePlane(g.active);
  return "";
}

}  // namespace tests::objects
