// SPDX-License-Identifier: MIT
// Memory streams as tests use them: made from and compared with bytes written out in hexadecimal.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/platform.h"

namespace tests {

// The bytes of "4D 45 4F 57"; blanks between bytes may be left out.
inline std::vector<BYTE> BytesOf(std::string_view hex) {
  std::vector<BYTE> bytes;
  std::string pair;
  for (const char c : hex) {
    if (c == ' ') continue;
    pair += c;
    if (pair.size() < 2) continue;
    bytes.push_back(static_cast<BYTE>(std::strtoul(pair.c_str(), nullptr, 16)));
    pair.clear();
  }
  return bytes;
}

// The inverse: upper case, one blank between two bytes.
inline std::string HexOf(const void* data, std::size_t bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  for (std::size_t i = 0; i < bytes; ++i) {
    const BYTE byte = static_cast<const BYTE*>(data)[i];
    if (i > 0) hex += ' ';
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

// The bytes of a file in tests/data, which are there.
inline std::string SampleHex(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (bytes.empty()) std::abort();
  return HexOf(bytes.data(), bytes.size());
}

inline HRESULT SeekTo(IStream* stream, LONGLONG move, DWORD origin = STREAM_SEEK_SET,
                      ULONGLONG* newPosition = nullptr) {
  LARGE_INTEGER distance;
  distance.QuadPart = move;
  ULARGE_INTEGER position;
  position.QuadPart = 0;
  const HRESULT result = stream->Seek(distance, origin, &position);
  if (newPosition) *newPosition = position.QuadPart;
  return result;
}

inline ULONGLONG PositionOf(IStream* stream) {
  ULONGLONG position = 0;
  SeekTo(stream, 0, STREAM_SEEK_CUR, &position);
  return position;
}

// A new memory stream with these bytes, at position 0.
inline platform::ComPtr<IStream> NewStream(std::string_view hex = "") {
  platform::ComPtr<IStream> stream;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) std::abort();
  const std::vector<BYTE> bytes = BytesOf(hex);
  stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  SeekTo(stream.Get(), 0);
  return stream;
}

// Everything in a memory stream, in hexadecimal; its position stays.
inline std::string ContentOf(IStream* stream) {
  platform::ComPtr<IStream> reader;
  STATSTG stat{};
  if (FAILED(stream->Clone(reader.Put())) || FAILED(stream->Stat(&stat, STATFLAG_NONAME))) {
    return "unreadable";
  }
  SeekTo(reader.Get(), 0);
  std::vector<BYTE> bytes(static_cast<std::size_t>(stat.cbSize.QuadPart));
  ULONG count = 0;
  reader->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &count);
  return HexOf(bytes.data(), count);
}

}  // namespace tests
