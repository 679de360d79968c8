// SPDX-License-Identifier: MIT
// For builds without libtiff.
#include <stdexcept>

#include "pictures/formats.h"

namespace pictures {

OpenedPicture OpenTiff(ByteSource& source, int) {
  source.Fail("is a TIFF, which this build cannot read: it is made without libtiff");
}
StartedPicture CreateTiff(const PictureHeader&, ByteSink&) {
  throw std::runtime_error("this build writes no TIFF: it is made without libtiff");
}

}  // namespace pictures
