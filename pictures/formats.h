// SPDX-License-Identifier: MIT
// What each picture format brings along; for the table of formats alone.
#pragma once

#include <string_view>

#include "pictures/picture_io.h"

namespace pictures {

using OpenedPicture = std::unique_ptr<PictureReader>;
using StartedPicture = std::unique_ptr<PictureWriter>;

// The source stands at its beginning, and has been recognised.
OpenedPicture OpenPng(ByteSource& source);
OpenedPicture OpenAnymap(ByteSource& source);
OpenedPicture OpenNumpy(ByteSource& source);
OpenedPicture OpenTiff(ByteSource& source, int page);
OpenedPicture OpenByStb(ByteSource& source);
OpenedPicture OpenRaw(ByteSource& source, const RawLayout& layout);

StartedPicture CreatePng(const PictureHeader& header, ByteSink& sink);
StartedPicture CreateAnymap(const PictureHeader& header, ByteSink& sink);
StartedPicture CreatePam(const PictureHeader& header, ByteSink& sink);
StartedPicture CreatePfm(const PictureHeader& header, ByteSink& sink);
StartedPicture CreateNumpy(const PictureHeader& header, ByteSink& sink);
StartedPicture CreateTiff(const PictureHeader& header, ByteSink& sink);
StartedPicture CreateRaw(const PictureHeader& header, ByteSink& sink);

// Whether a picture of these sizes can be had: each at least 1, and as many samples as `bytes` of a
// file can hold when each of them stands for at most `most` bytes of samples. Raises.
void CheckSizes(const ByteSource& source, const PictureHeader& header, std::uint64_t bytes,
                std::uint64_t most);

// Most bytes that one byte of deflated data can stand for.
inline constexpr std::uint64_t kMostDeflated = 1032;

// The order of bytes in each sample turned round.
void SwapSamples(std::byte* samples, std::size_t count, std::size_t bytesEach);

}  // namespace pictures
