// SPDX-License-Identifier: MIT
// Objects that are made by class identifier, loaded and saved through their interfaces. A failing
// call raises ComFailure.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "pictures/byte_sink.h"
#include "platform/com_ptr.h"
#include "tools/byte_streams.h"
#include "tools/class_names.h"
#include "tools/sink_stream.h"
#include "tools/stream_walk.h"

namespace tools {

// The module's file name as it is built.
#ifdef _WIN32
inline constexpr const char* kModuleFile = "RastelKLP.dll";
#else
inline constexpr const char* kModuleFile = "libRastelKLP.so";
#endif

// The text names the call, the code, and what the thread's error object says.
class ComFailure : public std::runtime_error {
 public:
  ComFailure(const std::string& call, HRESULT result);
};

// Raises the failure of a call that was made on the calling thread just now.
void Check(HRESULT result, const std::string& call);

class LoadedObject {
 public:
  // An object that is there already.
  explicit LoadedObject(platform::ComPtr<IPersistStream> object) : persist_(std::move(object)) {}
  // Makes an object of the class, with nothing loaded.
  explicit LoadedObject(const KnownClass& known);
  // Makes an object of the class and loads it from bytes, which start behind the class identifier
  // or at it: the start is where its own stream begins. The blocks, whose offsets are those in the
  // bytes, are not read: what the object holds in their place are zeros.
  LoadedObject(const KnownClass& known, Bytes bytes, std::uint64_t start = 0,
               std::span<const Block> steppedOver = {}, BytesTaken taken = nullptr);

  // How much of the stream Load left over.
  std::uint64_t BytesLeft() const noexcept { return bytesLeft_; }
  template <class Interface>
  platform::ComPtr<Interface> As() const {
    return persist_.As<Interface>();
  }
  // What it says beforehand of its size.
  std::uint64_t StatedBytes() const;
  // How many Save writes, without class identifier.
  std::uint64_t SavedBytes() const;
  // Writes what Save writes; behind the class identifier, as OleSaveToStream does, if so. Written
  // is told now and then how many bytes there are.
  void SaveTo(pictures::ByteSink& sink, bool hasClassId,
              const std::function<void(std::uint64_t bytes)>& written = nullptr) const;
  void SaveTo(const platform::ComPtr<SinkStream>& stream, bool hasClassId) const;

 private:
  platform::ComPtr<IPersistStream> persist_;
  std::uint64_t bytesLeft_ = 0;
};

}  // namespace tools
