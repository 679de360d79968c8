// SPDX-License-Identifier: MIT
// The station's record as a message with a PNG in it.
#pragma once

#include <png.h>
#include <rastelklp/client.h>

#include <string>
#include <vector>

#include "record.pb.h"

using Picture = rastelklp::Aoi<std::uint16_t>;

inline std::string SavedByProtobuf(const Picture& picture) {
  const auto plane = picture.plane();
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(plane.width());
  image.height = static_cast<png_uint_32>(plane.height());
  image.format = PNG_FORMAT_LINEAR_Y;
  png_alloc_size_t bytes = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string png(bytes, '\0');
  const auto stride = static_cast<png_int_32>(plane.stride());
  if (!png_image_write_to_memory(&image, png.data(), &bytes, 0, plane.data(), stride, nullptr)) {
    throw std::runtime_error("no PNG");
  }
  png.resize(bytes);

  const auto attributes = picture.attributes();
  record::Record message;
  message.set_name(picture.name());
  message.set_seconds(picture.tag().as<double>());
  message.set_unit(attributes["unit"].as<std::string>());
  message.set_png(std::move(png));
  for (const auto& [level, value] : attributes["calibration"].as<rastelklp::Map>().entries()) {
    auto* const point = message.add_calibration();
    point->set_level(level.as<double>());
    point->set_value(value.as<double>());
  }
  const auto histogram = attributes["histogram"].as<rastelklp::Vector<std::uint32_t>>();
  int bin = 0;
  for (const std::uint32_t count : histogram) {
    message.add_histogram(count);
    if (const auto tag = histogram.tag(bin); !tag.empty()) {
      (*message.mutable_labels())[bin] = tag.as<std::string>();
    }
    ++bin;
  }
  return message.SerializeAsString();
}

inline Picture LoadedByProtobuf(const std::string& bytes) {
  record::Record message;
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!message.ParseFromString(bytes) ||
      !png_image_begin_read_from_memory(&image, message.png().data(), message.png().size())) {
    throw std::runtime_error("no record");
  }
  image.format = PNG_FORMAT_LINEAR_Y;
  Picture picture({static_cast<int>(image.width), static_cast<int>(image.height)});
  if (!png_image_finish_read(&image, nullptr, picture.plane().data(), 0, nullptr)) {
    throw std::runtime_error("no picture");
  }
  rastelklp::Map calibration(KeyKindDouble);
  for (const auto& point : message.calibration()) calibration[point.level()] = point.value();
  rastelklp::Vector<std::uint32_t> histogram(
      std::vector<std::uint32_t>(message.histogram().begin(), message.histogram().end()));
  for (const auto& [bin, label] : message.labels()) histogram.tag(bin, label);
  picture.name(message.name());
  picture.tag(message.seconds());
  picture.attributes(rastelklp::Map{
      {"calibration", calibration}, {"histogram", histogram}, {"unit", message.unit()}});
  return picture;
}
