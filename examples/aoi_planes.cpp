#include "examples/aoi_planes.h"

#include "examples/attributes.h"

namespace examples {

void SayDescription(IAoiKLP& aoi) {
  Text name;
  Value tag;
  platform::ComPtr<IAttributeMapKLP> attributes;
  Check(aoi.get_Name(name.Put()), "get_Name");
  Check(aoi.get_Tag(tag.Put()), "get_Tag");
  Check(aoi.get_AttributeMap(attributes.Put()), "get_AttributeMap");
  Say("  name", "%s", Utf8(name.Get()).c_str());
  Say("  tag", "%s", InWords(tag.Get()).c_str());
  if (attributes) SayAttributes(*attributes);
  LONG x = 0;
  LONG y = 0;
  LONG width = 0;
  LONG height = 0;
  Check(aoi.GetRect(&x, &y, &width, &height), "GetRect");
  Say("  rectangle", "%d x %d at (%d, %d), %d plane(s)", int{width}, int{height}, int{x}, int{y},
      int{PlaneCount(aoi)});
}

}  // namespace examples
