// SPDX-License-Identifier: MIT
// Object references as bytes: what the platform writes for a pointer that leaves for another place.
#pragma once

#include <rastelklp/client.h>

namespace examples {

// A memory stream with this content, at its beginning.
inline rastelklp::com_ptr<IStream> MemoryStream(std::span<const std::byte> content = {}) {
  rastelklp::com_ptr<IStream> stream;
  rastelklp::check_hresult(CreateStreamOnHGlobal(nullptr, TRUE, stream.put()));
  rastelklp::check_hresult(
      stream->Write(content.data(), static_cast<ULONG>(content.size()), nullptr));
  rastelklp::check_hresult(stream->Seek({}, STREAM_SEEK_SET, nullptr));
  return stream;
}

inline std::vector<std::byte> ContentOf(IStream& stream) {
  ULARGE_INTEGER size{};
  rastelklp::check_hresult(stream.Seek({}, STREAM_SEEK_END, &size));
  rastelklp::check_hresult(stream.Seek({}, STREAM_SEEK_SET, nullptr));
  std::vector<std::byte> content(static_cast<std::size_t>(size.QuadPart));
  rastelklp::check_hresult(
      stream.Read(content.data(), static_cast<ULONG>(content.size()), nullptr));
  return content;
}

// context is one of MSHCTX: where the reference goes.
template <class I>
std::vector<std::byte> ReferenceTo(const rastelklp::com_ptr<I>& object, DWORD context) {
  const auto stream = MemoryStream();
  rastelklp::check_hresult(CoMarshalInterface(stream.get(), platform::kIidOf<I>, object.get(),
                                              context, nullptr, MSHLFLAGS_NORMAL));
  return ContentOf(*stream.get());
}

template <class Wanted>
rastelklp::reference_to<Wanted> ObjectOf(std::span<const std::byte> reference) {
  rastelklp::Object object;
  rastelklp::check_hresult(
      CoUnmarshalInterface(MemoryStream(reference).get(), IID_IUnknown, object.put_void()));
  return object.as<Wanted>();
}

}  // namespace examples
