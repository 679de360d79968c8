// Object references as bytes: what the platform writes for a pointer that leaves for another place.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "examples/client.h"

namespace examples {

inline platform::ComPtr<IStream> MemoryStream(std::span<const std::byte> content = {}) {
  platform::ComPtr<IStream> stream;
  Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()), "CreateStreamOnHGlobal");
  if (!content.empty()) {
    Check(stream->Write(content.data(), static_cast<ULONG>(content.size()), nullptr), "Write");
  }
  Check(stream->Seek({}, STREAM_SEEK_SET, nullptr), "Seek");
  return stream;
}

inline std::vector<std::byte> ContentOf(IStream& stream) {
  ULARGE_INTEGER size{};
  Check(stream.Seek({}, STREAM_SEEK_END, &size), "Seek");
  Check(stream.Seek({}, STREAM_SEEK_SET, nullptr), "Seek");
  std::vector<std::byte> content(static_cast<std::size_t>(size.QuadPart));
  Check(stream.Read(content.data(), static_cast<ULONG>(content.size()), nullptr), "Read");
  return content;
}

// context is one of MSHCTX: where the reference goes.
template <class Interface>
std::vector<std::byte> ReferenceTo(Interface& object, DWORD context) {
  const auto stream = MemoryStream();
  Check(CoMarshalInterface(stream.Get(), platform::kIidOf<Interface>, &object, context, nullptr,
                           MSHLFLAGS_NORMAL),
        "CoMarshalInterface");
  return ContentOf(*stream);
}

template <class Interface>
platform::ComPtr<Interface> ObjectOf(std::span<const std::byte> reference) {
  platform::ComPtr<Interface> object;
  Check(CoUnmarshalInterface(MemoryStream(reference).Get(), platform::kIidOf<Interface>,
                             object.PutVoid()),
        "CoUnmarshalInterface");
  return object;
}

}  // namespace examples
