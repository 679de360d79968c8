// SPDX-License-Identifier: MIT
#include "pictures/picture_file.h"

#include <stb_image.h>
#include <stb_image_write.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace pictures {
namespace {

namespace fs = std::filesystem;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::runtime_error Failure(const fs::path& path, const std::string& what) {
  const std::u8string name = path.u8string();
  return std::runtime_error(std::string(name.begin(), name.end()) + ": " + what);
}

File Open(const fs::path& path, bool isToRead) {
#ifdef _WIN32
  File file(_wfopen(path.c_str(), isToRead ? L"rb" : L"wb"), &std::fclose);
#else
  File file(std::fopen(path.c_str(), isToRead ? "rb" : "wb"), &std::fclose);
#endif
  if (file) return file;
  throw Failure(path, isToRead ? "no such file, or it cannot be read" : "cannot be written");
}

std::runtime_error NotAPicture(const fs::path& path) {
  const char* reason = stbi_failure_reason();
  return Failure(path, std::string("not a whole picture (") + (reason ? reason : "unknown") + ")");
}

unsigned char* Load(std::FILE* file, int* width, int* height, int* channels, unsigned char*) {
  return stbi_load_from_file(file, width, height, channels, 0);
}
unsigned short* Load(std::FILE* file, int* width, int* height, int* channels, unsigned short*) {
  return stbi_load_from_file_16(file, width, height, channels, 0);
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  const File file = Open(path, false);
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  if (!isWritten || std::fflush(file.get()) != 0) {
    throw Failure(path, "cannot be written");
  }
}

}  // namespace

bool HasSixteenBits(const fs::path& path) {
  const File file = Open(path, true);
  int width = 0;
  int height = 0;
  int channels = 0;
  if (!stbi_info_from_file(file.get(), &width, &height, &channels)) throw NotAPicture(path);
  return stbi_is_16_bit_from_file(file.get()) != 0;
}

template <class Sample>
Picture<Sample> ReadPicture(const fs::path& path) {
  const File file = Open(path, true);
  Picture<Sample> picture;
  Sample* pixelType = nullptr;
  const std::unique_ptr<Sample, void (*)(void*)> samples(
      Load(file.get(), &picture.width, &picture.height, &picture.channels, pixelType),
      &stbi_image_free);
  if (!samples) throw NotAPicture(path);
  const std::size_t count = static_cast<std::size_t>(picture.width) *
                            static_cast<std::size_t>(picture.height) *
                            static_cast<std::size_t>(picture.channels);
  picture.samples.assign(samples.get(), samples.get() + count);
  return picture;
}

template Picture<std::uint8_t> ReadPicture(const fs::path& path);
template Picture<std::uint16_t> ReadPicture(const fs::path& path);

std::string EncodePng(const Picture<std::uint8_t>& picture) {
  std::string bytes;
  const auto append = [](void* target, void* data, int count) {
    static_cast<std::string*>(target)->append(static_cast<const char*>(data),
                                              static_cast<std::size_t>(count));
  };
  if (!stbi_write_png_to_func(append, &bytes, picture.width, picture.height, picture.channels,
                              picture.samples.data(), picture.width * picture.channels)) {
    throw std::runtime_error("the picture cannot be encoded");
  }
  return bytes;
}

std::string WritePicture(const std::string& stem, const Picture<std::uint8_t>& picture) {
  const std::string path = stem + ".png";
  WriteBytes(path, EncodePng(picture));
  return path;
}

std::string WritePicture(const std::string& stem, const Picture<std::uint16_t>& picture) {
  static constexpr const char* kEndings[] = {".pgm", ".pam", ".ppm", ".pam"};
  const std::string path = stem + kEndings[picture.channels - 1];
  const std::string size[] = {std::to_string(picture.width), std::to_string(picture.height)};
  std::string bytes;
  if (picture.channels % 2 == 1) {
    bytes = (picture.channels == 1 ? "P5\n" : "P6\n") + size[0] + ' ' + size[1] + "\n65535\n";
  } else {
    bytes = "P7\nWIDTH " + size[0] + "\nHEIGHT " + size[1] + "\nDEPTH " +
            std::to_string(picture.channels) + "\nMAXVAL 65535\nTUPLTYPE " +
            (picture.channels == 2 ? "GRAYSCALE_ALPHA" : "RGB_ALPHA") + "\nENDHDR\n";
  }
  // The formats store the high byte first.
  bytes.reserve(bytes.size() + picture.samples.size() * 2);
  for (const std::uint16_t sample : picture.samples) {
    bytes += static_cast<char>(sample >> 8);
    bytes += static_cast<char>(sample & 0xFF);
  }
  WriteBytes(path, bytes);
  return path;
}

}  // namespace pictures
