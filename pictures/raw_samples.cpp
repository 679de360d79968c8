// SPDX-License-Identifier: MIT
#include "pictures/formats.h"

namespace pictures {
namespace {

class Reader final : public PictureReader {
 public:
  Reader(ByteSource& source, const RawLayout& layout) : source_(source) {
    header_.type = layout.type;
    header_.width = layout.width;
    header_.height = layout.height;
    header_.channels = layout.channels;
    CheckSizes(source, header_, source.size(), 1);
    if (header_.Bytes() != source.size()) {
      source.Fail("has " + std::to_string(source.size()) + " bytes; this size and type have " +
                  std::to_string(header_.Bytes()));
    }
  }
  void ReadRows(int count, std::byte* samples) override {
    source_.Read(samples, header_.RowBytes() * static_cast<std::size_t>(count));
  }

 private:
  ByteSource& source_;
};

class Writer final : public PictureWriter {
 public:
  Writer(std::size_t rowBytes, ByteSink& sink) : rowBytes_(rowBytes), sink_(sink) {}
  void WriteRows(int count, const std::byte* samples) override {
    sink_.Write(samples, rowBytes_ * static_cast<std::size_t>(count));
  }
  void Finish() override {}

 private:
  std::size_t rowBytes_;
  ByteSink& sink_;
};

}  // namespace

OpenedPicture OpenRaw(ByteSource& source, const RawLayout& layout) {
  return std::make_unique<Reader>(source, layout);
}
StartedPicture CreateRaw(const PictureHeader& header, ByteSink& sink) {
  return std::make_unique<Writer>(header.RowBytes(), sink);
}

}  // namespace pictures
