// SPDX-License-Identifier: MIT
// Pixels of PNG by libpng, row by row.
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "pictures/formats.h"
#include "pictures/png_chunks.h"

namespace pictures {
namespace {

// The library ends a failing call by a jump, which ends here: nothing that it passes over has a
// destructor, and nothing is thrown through it.
class Guard {
 public:
  // The library's words for what failed; a stream's own failure is kept and raised as it was.
  template <class Call>
  void Do(png_structp png, Call call) {
    if (setjmp(png_jmpbuf(png)) == 0) {  // NOLINT
      call();
      return;
    }
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    throw std::runtime_error(words_);
  }
  template <class Transfer>
  static void Carry(png_structp png, Guard& guard, Transfer transfer) {
    if (!guard.Try(transfer)) png_error(png, "the stream failed");
  }
  static void OnError(png_structp png, png_const_charp words) {
    static_cast<Guard*>(png_get_error_ptr(png))->Keep(words);
    png_longjmp(png, 1);
  }
  static void OnWarning(png_structp, png_const_charp) {}

 private:
  template <class Transfer>
  bool Try(Transfer transfer) noexcept {
    try {
      transfer();
      return true;
    } catch (...) {
      thrown_ = std::current_exception();
      return false;
    }
  }
  void Keep(const char* words) noexcept {
    std::size_t i = 0;
    for (; words[i] != '\0' && i + 1 < sizeof words_; ++i) words_[i] = words[i];
    words_[i] = '\0';
  }

  char words_[128] = {};
  std::exception_ptr thrown_;
};

struct Stream {
  Guard guard;
  ByteSource* source = nullptr;
  ByteSink* sink = nullptr;
};

class Reader final : public PictureReader {
 public:
  explicit Reader(ByteSource& source) {
    pixels_ = ReadPngChunks(source, header_);
    stream_.source = &source;
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, &stream_.guard, &Guard::OnError,
                                  &Guard::OnWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) {
      png_destroy_read_struct(&png_, nullptr, nullptr);
      throw std::bad_alloc();
    }
    try {
      Begin();
    } catch (...) {
      png_destroy_read_struct(&png_, &info_, nullptr);
      throw;
    }
  }
  ~Reader() override { png_destroy_read_struct(&png_, &info_, nullptr); }

  void ReadRows(int count, std::byte* samples) override {
    if (pixels_.isInterlaced) {
      if (row_ == 0) ReadInterlaced();
      std::copy_n(all_.data() + row_ * header_.RowBytes(),
                  static_cast<std::size_t>(count) * header_.RowBytes(), samples);
      row_ += static_cast<std::size_t>(count);
      return;
    }
    Do([&] {
      for (int i = 0; i < count; ++i) {
        png_read_row(
            png_,
            reinterpret_cast<png_bytep>(samples) + static_cast<std::size_t>(i) * header_.RowBytes(),
            nullptr);
      }
    });
  }

 private:
  template <class Call>
  void Do(Call call) {
    try {
      stream_.guard.Do(png_, call);
    } catch (const std::runtime_error& error) {
      const std::string words = error.what();
      if (words.starts_with(stream_.source->name())) throw;
      stream_.source->Fail("not a whole picture (" + words + ")");
    }
  }

  void Begin() {
    Do([&] {
      // Sizes have been tested; texts and profiles have been read.
      png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
      png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
      png_set_read_fn(png_, &stream_, [](png_structp png, png_bytep to, std::size_t bytes) {
        auto* stream = static_cast<Stream*>(png_get_io_ptr(png));
        Guard::Carry(png, stream->guard, [&] { stream->source->Read(to, bytes); });
      });
      png_read_info(png_, info_);
      png_set_expand(png_);
      if (header_.type == PixelType::kWord) png_set_swap(png_);
      if (pixels_.isInterlaced) png_set_interlace_handling(png_);
      png_read_update_info(png_, info_);
      if (png_get_rowbytes(png_, info_) != header_.RowBytes()) {
        png_error(png_, "its rows are not as long as they should be");
      }
    });
  }

  // Each pass goes over all rows.
  void ReadInterlaced() {
    all_.resize(static_cast<std::size_t>(header_.Bytes()));
    std::vector<png_bytep> rows(static_cast<std::size_t>(header_.height));
    for (std::size_t y = 0; y < rows.size(); ++y) {
      rows[y] = reinterpret_cast<png_bytep>(all_.data() + y * header_.RowBytes());
    }
    Do([&] { png_read_image(png_, rows.data()); });
  }

  Stream stream_;
  PngPixels pixels_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::vector<std::byte> all_;
  std::size_t row_ = 0;
};

class Writer final : public PictureWriter {
 public:
  Writer(const PictureHeader& header, ByteSink& sink) : header_(header) {
    stream_.sink = &sink;
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, &stream_.guard, &Guard::OnError,
                                   &Guard::OnWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) {
      png_destroy_write_struct(&png_, nullptr);
      throw std::bad_alloc();
    }
    try {
      Begin();
    } catch (...) {
      png_destroy_write_struct(&png_, &info_);
      throw;
    }
  }
  ~Writer() override { png_destroy_write_struct(&png_, &info_); }

  void WriteRows(int count, const std::byte* samples) override {
    if (PngBits(header_) < 8) {
      // The upper bits of a sample are its number.
      narrow_.assign(samples, samples + static_cast<std::size_t>(count) * header_.RowBytes());
      for (std::byte& sample : narrow_) sample >>= 8 - PngBits(header_);
      samples = narrow_.data();
    }
    stream_.guard.Do(png_, [&] {
      for (int i = 0; i < count; ++i) {
        png_write_row(png_, reinterpret_cast<png_const_bytep>(samples) +
                                static_cast<std::size_t>(i) * header_.RowBytes());
      }
    });
  }
  void Finish() override {
    stream_.guard.Do(png_, [&] { png_write_end(png_, nullptr); });
  }

 private:
  void Begin() {
    const int bits = PngBits(header_);
    const std::vector<PngChunk> chunks = MakePngChunks(header_, bits);
    stream_.guard.Do(png_, [&] {
      png_set_write_fn(
          png_, &stream_,
          [](png_structp png, png_bytep bytes, std::size_t count) {
            auto* stream = static_cast<Stream*>(png_get_io_ptr(png));
            Guard::Carry(png, stream->guard, [&] { stream->sink->Write(bytes, count); });
          },
          [](png_structp) {});
      png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
      png_set_IHDR(png_, info_, static_cast<png_uint_32>(header_.width),
                   static_cast<png_uint_32>(header_.height), bits, PngColour(header_.channels),
                   PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
      png_write_info(png_, info_);
      for (std::size_t i = 0; i < chunks.size(); ++i) {
        png_write_chunk(png_, reinterpret_cast<png_const_bytep>(chunks[i].name.c_str()),
                        chunks[i].data.data(), chunks[i].data.size());
      }
      if (bits == 16) png_set_swap(png_);
      if (bits < 8) png_set_packing(png_);
    });
  }

  Stream stream_;
  PictureHeader header_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::vector<std::byte> narrow_;
};

}  // namespace

OpenedPicture OpenPng(ByteSource& source) { return std::make_unique<Reader>(source); }
StartedPicture CreatePng(const PictureHeader& header, ByteSink& sink) {
  return std::make_unique<Writer>(header, sink);
}

}  // namespace pictures
