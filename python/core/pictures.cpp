// SPDX-License-Identifier: MIT
// Picture files, and pictures as PNG for a notebook.
#include <algorithm>
#include <stdexcept>

#include "picture_aoi/picture_aoi.h"
#include "python/core/objects.h"
#include "python/core/pixels.h"
#include "python/core/quiet.h"

namespace rastel_python {
namespace {

using rastelklp::AnyAoi;

pictures::PixelType PixelTypeOf(const ElementType& type) {
  return static_cast<pictures::PixelType>(type.code);
}

// What a file or its format is refused for is a wrong value to Python.
template <class Operation>
auto Raising(bool mayOthersRun, Operation operation) {
  try {
    return WithOthers(mayOthersRun, operation);
  } catch (const rastelklp::Error&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw py::value_error(error.what());
  }
}

py::object Read(const py::object& path, int margin) {
  picture_aoi::ReadOptions options;
  options.margin = margin;
  const std::filesystem::path file = PathOf(path).value().get();
  return Wrap(Raising(true, [&] { return picture_aoi::ReadAoi(file, options); }));
}

// Gives how many samples became others.
std::uint64_t Write(const py::object& path, const PyAoi& picture, const py::object& dtype,
                    bool clamps, bool scales, bool isStored) {
  picture_aoi::WriteOptions options;
  options.isBuffer = isStored;
  options.narrowing = scales   ? picture_aoi::Narrowing::kScale
                      : clamps ? picture_aoi::Narrowing::kClamp
                               : picture_aoi::Narrowing::kRefuse;
  if (!dtype.is_none()) options.type = PixelTypeOf(TypeOf(dtype));
  const std::filesystem::path file = PathOf(path).value().get();
  const Quiet quiet(picture.object);
  const auto aoi = quiet.object().as<AnyAoi>();
  return Raising(quiet.MayOthersRun(),
                 [&] { return picture_aoi::WriteAoi(aoi, file, options).changed; });
}

// A small picture of the picture: every n-th pixel, so that neither side is longer than `side`.
// Bytes are shown as they are, other types from their lowest to their highest value.
py::bytes Thumbnail(const PyAoi& picture, int side) {
  Pixels pixels = Locate(picture.aoi, Area::kRectangle).WithPlanes();
  // Grey, with alpha, colours, with alpha; of anything else the first plane.
  if (pixels.shape[0] > 4) pixels.shape[0] = 1;
  const Py_ssize_t longest = (std::max)(pixels.shape[1], pixels.shape[2]);
  const Py_ssize_t pace = (longest + side - 1) / side;
  for (int i = 1; i <= 2; ++i) {
    pixels.shape[i] = (pixels.shape[i] + pace - 1) / pace;
    pixels.strides[i] *= pace;
  }
  const AnyAoi small = rastelklp::create<AnyAoi>(*picture.type->aoi);
  rastelklp::check_hresult(small->CreatePlanes(static_cast<LONG>(pixels.shape[0]),
                                               static_cast<LONG>(pixels.shape[2]),
                                               static_cast<LONG>(pixels.shape[1])));
  const Pixels target = Locate(small, Area::kRectangle);
  picture_aoi::WriteOptions options;
  if (picture.type->code != ElementByte) {
    options.type = pictures::PixelType::kByte;
    options.narrowing = picture_aoi::Narrowing::kScale;
  }
  return Raising(true, [&] {
    CopyPixels(pixels, target);
    return picture_aoi::EncodePng(small, options);
  });
}

}  // namespace

void RegisterPictures(py::module_& m) {
  m.def("_imread", &Read);
  m.def("_imwrite", &Write);
  m.def("_thumbnail", &Thumbnail);
}

}  // namespace rastel_python
