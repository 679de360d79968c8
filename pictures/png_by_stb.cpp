// SPDX-License-Identifier: MIT
// Pixels of PNG where there is no libpng: whole pictures in memory.
#include <cstdlib>
#include <vector>

#include "pictures/formats.h"
#include "pictures/png_chunks.h"
#include "pictures/stb_decoder.h"
#include "pictures/zlib_bytes.h"

namespace pictures {
namespace {

class Reader final : public PictureReader {
 public:
  explicit Reader(ByteSource& source) : source_(source) { ReadPngChunks(source, header_); }
  void ReadRows(int count, std::byte* samples) override {
    if (!decoded_) decoded_.emplace(source_, header_);
    decoded_->TakeRows(count, samples);
  }

 private:
  ByteSource& source_;
  std::optional<StbDecoder> decoded_;
};

class Writer final : public PictureWriter {
 public:
  Writer(const PictureHeader& header, ByteSink& sink)
      : header_(header), sink_(sink), bits_(PngBits(header)) {
    static constexpr unsigned char kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    sink.Write(kSignature, sizeof kSignature);
    Block head;
    for (const int size : {header.width, header.height}) {
      for (int shift = 24; shift >= 0; shift -= 8) {
        head.push_back(static_cast<std::uint8_t>(size >> shift));
      }
    }
    head.insert(head.end(), {static_cast<std::uint8_t>(bits_),
                             static_cast<std::uint8_t>(PngColour(header.channels)), 0, 0, 0});
    WriteChunk("IHDR", head);
    for (const PngChunk& chunk : MakePngChunks(header, bits_)) WriteChunk(chunk.name, chunk.data);
  }

  // Rows of differences to the pixel on the left, which compress better than pixels.
  void WriteRows(int count, const std::byte* samples) override {
    for (; count > 0; --count, samples += header_.RowBytes()) {
      row_.assign(samples, samples + header_.RowBytes());
      if (bits_ == 16) SwapSamples(row_.data(), header_.RowSamples(), 2);
      if (bits_ < 8) Pack();
      const std::size_t pixel =
          bits_ < 8 ? row_.size() : header_.RowBytes() / static_cast<std::size_t>(header_.width);
      filtered_.push_back(bits_ < 8 ? 0 : 1);
      for (std::size_t i = 0; i < row_.size(); ++i) {
        const int left = i < pixel ? 0 : std::to_integer<int>(row_[i - pixel]);
        filtered_.push_back(static_cast<std::uint8_t>(std::to_integer<int>(row_[i]) - left));
      }
    }
  }

  void Finish() override {
    WriteChunk("IDAT", Deflate(filtered_));
    WriteChunk("IEND", {});
  }

 private:
  void WriteChunk(const std::string& name, const Block& data) {
    const Block chunk = ChunkBytes(name, data);
    sink_.Write(chunk.data(), chunk.size());
  }
  // The upper bits of each sample, side by side.
  void Pack() {
    const auto each = static_cast<std::size_t>(8 / bits_);
    std::vector<std::byte> packed((row_.size() + each - 1) / each);
    for (std::size_t i = 0; i < row_.size(); ++i) {
      const int shift = 8 - bits_ - static_cast<int>(i % each) * bits_;
      packed[i / each] |= row_[i] >> (8 - bits_) << shift;
    }
    row_ = std::move(packed);
  }

  PictureHeader header_;
  ByteSink& sink_;
  int bits_;
  std::vector<std::byte> row_;
  Block filtered_;
};

}  // namespace

OpenedPicture OpenPng(ByteSource& source) { return std::make_unique<Reader>(source); }
StartedPicture CreatePng(const PictureHeader& header, ByteSink& sink) {
  return std::make_unique<Writer>(header, sink);
}

}  // namespace pictures
