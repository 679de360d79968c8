// SPDX-License-Identifier: MIT
// Whole pictures in memory, of bytes or words, for small programs.
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

// Whether a picture holds 16-bit samples. Raises std::runtime_error with the reason in words when
// the file is missing, is not a picture, or one of other samples than 8 or 16 bits without sign.
bool HasSixteenBits(const std::filesystem::path& path);

// Reads a whole picture, with its channels as they are in the file. Raises as above, also for a
// file of other samples or one that ends before its last pixel.
template <class Sample>
Picture<Sample> ReadPicture(const std::filesystem::path& path);

// Writes `stem` with the ending of the format and gives the path: PNG for 8 bits, the portable
// any-map formats (PGM, PPM, PAM) for 16. Raises std::runtime_error.
std::string WritePicture(const std::string& stem, const Picture<std::uint8_t>& picture);
std::string WritePicture(const std::string& stem, const Picture<std::uint16_t>& picture);

// The bytes of a PNG.
std::string EncodePng(const Picture<std::uint8_t>& picture);

}  // namespace pictures
