// SPDX-License-Identifier: MIT
#include "host/values/strings.h"

#include <cstdlib>

#include "host/base/constants.h"

namespace host {
namespace {

constexpr std::size_t kHeaderBytes = 16;
// Room for the zero unit, and for the byte that completes the last unit of an odd length.
constexpr std::size_t kTerminatorBytes = 3;
// The length, its 4 bytes and the terminator together stay within 32 bits.
constexpr std::size_t kMaxTextBytes = 0xFFFFFFFFu - 6;

char* BlockOf(BSTR string) noexcept { return reinterpret_cast<char*>(string) - kHeaderBytes; }

BSTR Finish(char* block, std::size_t bytes) noexcept {
  const auto length = static_cast<std::uint32_t>(bytes);
  std::memcpy(block + kHeaderBytes - sizeof(length), &length, sizeof(length));
  std::memset(block + kHeaderBytes + bytes, 0, kTerminatorBytes);
  return reinterpret_cast<BSTR>(block + kHeaderBytes);
}

BSTR Allocate(const void* text, std::size_t bytes) noexcept {
  if (bytes > kMaxTextBytes) return nullptr;
  const std::size_t blockBytes = kHeaderBytes + bytes + kTerminatorBytes;
  // Zeroed by the system where no text is given: a loader that fills less shows no old memory.
  auto* block = static_cast<char*>(text ? std::malloc(blockBytes) : std::calloc(blockBytes, 1));
  if (!block) return nullptr;
  if (text) std::memcpy(block + kHeaderBytes, text, bytes);
  return Finish(block, bytes);
}

INT Replace(BSTR* string, BSTR fresh) noexcept {
  if (!fresh) return FALSE;
  SysFreeString(*string);
  *string = fresh;
  return TRUE;
}

}  // namespace
}  // namespace host

BSTR STDAPICALLTYPE SysAllocString(const OLECHAR* text) noexcept {
  if (!text) return nullptr;
  std::size_t units = 0;
  while (text[units] != 0) ++units;
  return host::Allocate(text, units * sizeof(OLECHAR));
}

BSTR STDAPICALLTYPE SysAllocStringLen(const OLECHAR* text, UINT units) noexcept {
  return host::Allocate(text, std::size_t{units} * sizeof(OLECHAR));
}

BSTR STDAPICALLTYPE SysAllocStringByteLen(LPCSTR text, UINT bytes) noexcept {
  return host::Allocate(text, bytes);
}

INT STDAPICALLTYPE SysReAllocString(BSTR* string, const OLECHAR* text) noexcept {
  if (!string) return FALSE;
  if (text) return host::Replace(string, SysAllocString(text));
  SysFreeString(*string);
  *string = nullptr;
  return TRUE;
}

INT STDAPICALLTYPE SysReAllocStringLen(BSTR* string, const OLECHAR* text, UINT units) noexcept {
  if (!string) return FALSE;
  if (text || !*string) return host::Replace(string, SysAllocStringLen(text, units));
  const std::size_t bytes = std::size_t{units} * sizeof(OLECHAR);
  if (bytes > host::kMaxTextBytes) return FALSE;
  const std::size_t oldBytes = SysStringByteLen(*string);
  auto* block = static_cast<char*>(
      std::realloc(host::BlockOf(*string), host::kHeaderBytes + bytes + host::kTerminatorBytes));
  if (!block) return FALSE;
  if (bytes > oldBytes) std::memset(block + host::kHeaderBytes + oldBytes, 0, bytes - oldBytes);
  *string = host::Finish(block, bytes);
  return TRUE;
}

void STDAPICALLTYPE SysFreeString(BSTR string) noexcept {
  if (string) std::free(host::BlockOf(string));
}

UINT STDAPICALLTYPE SysStringLen(BSTR string) noexcept {
  return SysStringByteLen(string) / static_cast<UINT>(sizeof(OLECHAR));
}

UINT STDAPICALLTYPE SysStringByteLen(BSTR string) noexcept {
  if (!string) return 0;
  std::uint32_t length;
  std::memcpy(&length, reinterpret_cast<const char*>(string) - sizeof(length), sizeof(length));
  return length;
}
