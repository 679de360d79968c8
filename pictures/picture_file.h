// SPDX-License-Identifier: MIT
// Picture files: reads PNG (grey or colour, with or without alpha, 8 or 16 bit),
// writes PNG for 8 bit and the portable any-map formats (PGM, PPM, PAM) for 16 bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace pictures {

// Samples stand row by row, pixel by pixel, channel by channel.
template <class Sample>
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 0;  // 1 grey, 2 grey and alpha, 3 colour, 4 colour and alpha
  std::vector<Sample> samples;

  Sample* At(int x, int y) {
    return samples.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                             static_cast<std::size_t>(x)) *
                                static_cast<std::size_t>(channels);
  }
};

// Whether a PNG holds 16-bit samples. Raises std::runtime_error with the reason in words when the
// file is missing or is not a picture.
bool HasSixteenBits(const std::filesystem::path& path);

// Reads a whole picture, with its channels as they are in the file. Raises as above; a file that
// ends before its last pixel is refused.
template <class Sample>
Picture<Sample> ReadPicture(const std::filesystem::path& path);

// The bytes of a PNG. Raises std::runtime_error.
std::string EncodePng(const Picture<std::uint8_t>& picture);

// Writes `stem` with the ending of the format and gives the path. Raises std::runtime_error.
std::string WritePicture(const std::string& stem, const Picture<std::uint8_t>& picture);
std::string WritePicture(const std::string& stem, const Picture<std::uint16_t>& picture);

}  // namespace pictures
