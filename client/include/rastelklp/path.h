// SPDX-License-Identifier: MIT
// Names of files, the same on both hosts.
#pragma once

#include <concepts>
#include <filesystem>
#include <string>
#include <string_view>

namespace rastelklp {

// A std::filesystem::path, or a text, which is UTF-8 here on every system.
class Path {
 public:
  template <std::convertible_to<std::string_view> From>
  Path(const From& utf8) {
    const std::string_view text = utf8;
    path_ = std::u8string(text.begin(), text.end());
  }
  Path(std::filesystem::path path) : path_(std::move(path)) {}

  const std::filesystem::path& get() const noexcept { return path_; }
  std::string utf8() const {
    const std::u8string text = path_.u8string();
    return {text.begin(), text.end()};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace rastelklp
