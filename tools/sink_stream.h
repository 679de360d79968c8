// SPDX-License-Identifier: MIT
// An IStream that writes a file.
#pragma once

#include <rastelklp/stream_objects.h>

#include <exception>

#include "pictures/byte_sink.h"

namespace tools {

class SinkStream final : public rastelklp::detail::StreamObject<SinkStream> {
 public:
  // The sink must outlive the stream.
  static rastelklp::com_ptr<IStream> On(pictures::ByteSink& sink) { return new SinkStream(sink); }

  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* written) noexcept override {
    if (written) *written = 0;
    try {
      sink_.Write(data, bytes);
    } catch (const std::exception& error) {
      return STG_E_WRITEFAULT;
    }
    if (written) *written = bytes;
    return S_OK;
  }
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept override {
    if (origin == STREAM_SEEK_END) return E_NOTIMPL;
    const std::uint64_t from = origin == STREAM_SEEK_CUR ? sink_.position() : 0;
    try {
      sink_.Seek(from + static_cast<std::uint64_t>(move.QuadPart));
    } catch (const std::exception& error) {
      return STG_E_SEEKERROR;
    }
    if (reached) reached->QuadPart = sink_.position();
    return S_OK;
  }

 private:
  explicit SinkStream(pictures::ByteSink& sink) : sink_(sink) {}

  pictures::ByteSink& sink_;
};

}  // namespace tools
