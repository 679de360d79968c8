// SPDX-License-Identifier: MIT
#include "pictures/stb_decoder.h"

#include <stb_image.h>

#include <cstring>
#include <exception>

namespace pictures {
namespace {

// Nothing is thrown through the library.
struct Input {
  ByteSource& source;
  bool isEndless;  // whether bytes come behind the end
  std::exception_ptr thrown;

  template <class Use>
  auto Try(Use use) noexcept -> decltype(use()) {
    try {
      if (!thrown) return use();
    } catch (...) {
      thrown = std::current_exception();
    }
    return {};
  }
};

constexpr stbi_io_callbacks kCallbacks = {
    [](void* user, char* to, int count) {
      auto& input = *static_cast<Input*>(user);
      const auto bytes = static_cast<std::size_t>(count);
      const int read =
          input.Try([&] { return static_cast<int>(input.source.ReadSome(to, bytes)); });
      if (read > 0 || !input.isEndless) return read;
      input.Try([&]() -> int { input.source.Fail("ends early"); });
      std::memset(to, 0xFF, bytes);
      return count;
    },
    [](void* user, int count) {
      auto& input = *static_cast<Input*>(user);
      input.Try([&] {
        const auto to = static_cast<std::int64_t>(input.source.position()) + count;
        input.source.Seek(std::min(static_cast<std::uint64_t>(to), input.source.size()));
        return 0;
      });
    },
    [](void* user) {
      const auto& input = *static_cast<Input*>(user);
      return input.thrown || input.source.left() == 0 ? 1 : 0;
    }};

[[noreturn]] void Refuse(Input& input) {
  if (input.thrown) std::rethrow_exception(input.thrown);
  const char* reason = stbi_failure_reason();
  input.source.Fail(std::string("not a whole picture (") + (reason ? reason : "unknown") + ")");
}

}  // namespace

StbDecoder::StbDecoder(ByteSource& source, const PictureHeader& header)
    : samples_(nullptr, &stbi_image_free), rowBytes_(header.RowBytes()) {
  source.Seek(0);
  // The runs of floats end where one is too long: behind the end the library would read empty ones
  // for ever.
  Input input{source, header.type == PixelType::kFloat, nullptr};
  int width = 0, height = 0, channels = 0;
  // The channels are asked for, since the library has its own ways of telling transparent colours.
  const auto by = [&](auto load) {
    return static_cast<void*>(
        load(&kCallbacks, &input, &width, &height, &channels, header.channels));
  };
  samples_.reset(header.type == PixelType::kByte   ? by(&stbi_load_from_callbacks)
                 : header.type == PixelType::kWord ? by(&stbi_load_16_from_callbacks)
                                                   : by(&stbi_loadf_from_callbacks));
  if (!samples_ || input.thrown) Refuse(input);
  if (width != header.width || height != header.height) {
    source.Fail("not a whole picture (its header)");
  }
}

void StbDecoder::TakeRows(int count, std::byte* samples) {
  const std::size_t bytes = rowBytes_ * static_cast<std::size_t>(count);
  std::memcpy(samples, static_cast<const std::byte*>(samples_.get()) + taken_, bytes);
  taken_ += bytes;
}

void ReadStbSizes(ByteSource& source, PictureHeader& header) {
  source.Seek(0);
  Input input{source, false, nullptr};
  if (!stbi_info_from_callbacks(&kCallbacks, &input, &header.width, &header.height,
                                &header.channels)) {
    Refuse(input);
  }
  source.Seek(0);
}

}  // namespace pictures
