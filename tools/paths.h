// SPDX-License-Identifier: MIT
// Paths: UTF-8 in arguments and in what is printed, the system's own form for operations on files.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"

#ifdef _WIN32
#include <shellapi.h>
#endif

namespace tools {

inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

// Of a path or of any other text.
inline std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

// The arguments of this program as UTF-8, its name first.
inline std::vector<std::string> Utf8Arguments([[maybe_unused]] int count,
                                              [[maybe_unused]] char** arguments) {
#ifdef _WIN32
  // Those given are in a code page that may not have all letters.
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> texts;
  for (int i = 0; i < count; ++i) texts.push_back(Utf8(wide[i]));
  LocalFree(wide);
  return texts;
#else
  return {arguments, arguments + count};
#endif
}

}  // namespace tools
