// SPDX-License-Identifier: MIT
#include "examples/aoi_planes.h"

#include "examples/attributes.h"
#include "examples/report.h"

namespace examples {

void SayDescription(const rastelklp::AnyAoi& aoi) {
  Say("  name", "%s", aoi.name().utf8().c_str());
  Say("  tag", "%s", InWords(aoi.tag()).c_str());
  if (const auto attributes = aoi.attributes()) SayAttributes(attributes);
  const auto [x, y, width, height] = aoi.rectangle();
  Say("  rectangle", "%d x %d at (%d, %d), %d plane(s)", width, height, x, y, aoi.plane_count());
}

}  // namespace examples
