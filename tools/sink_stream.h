// SPDX-License-Identifier: MIT
// An IStream that writes a file.
#pragma once

#include <exception>
#include <functional>

#include "pictures/byte_sink.h"
#include "rastelklp/stream_objects.h"

namespace tools {

class SinkStream : public rastelklp::detail::StreamObject<SinkStream> {
 public:
  // The sink must outlive the stream. Written is told now and then how many bytes there are.
  explicit SinkStream(pictures::ByteSink& sink,
                      std::function<void(std::uint64_t bytes)> written = nullptr)
      : sink_(sink), written_(std::move(written)) {}

  virtual ~SinkStream() = default;
  SinkStream(const SinkStream&) = delete;
  SinkStream& operator=(const SinkStream&) = delete;

  // Raises what ended a call: objects pass over failures of their pixels.
  void Check() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* written) noexcept override;
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept override;

 protected:
  // Part of what an object writes. Raises.
  virtual void Put(const std::byte* data, std::size_t bytes) { sink_.Write(data, bytes); }
  pictures::ByteSink& sink() const { return sink_; }

 private:
  void Tell();

  pictures::ByteSink& sink_;
  std::function<void(std::uint64_t bytes)> written_;
  std::uint64_t told_ = 0;
  std::exception_ptr thrown_;
};

}  // namespace tools
