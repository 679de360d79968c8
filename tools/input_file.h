// SPDX-License-Identifier: MIT
// What a command reads: a file by its name in UTF-8, or standard input by the name "-".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/text_forms.h"

namespace tools {

class InputFile {
 public:
  // A file on a disk is mapped, and its pages come into memory where they are looked at; what has
  // no size of its own is read up to its end, at most 2 GiB. Raises std::runtime_error with a text
  // that begins with the name. Where a mapped file becomes shorter meanwhile, the program ends with
  // exit code 1.
  explicit InputFile(const std::string& name);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  Bytes bytes() const { return bytes_; }
  // A part of them that will not be looked at any more: the pages of a mapped file leave memory.
  void Release(Bytes part) const;

 private:
  bool isMapped_ = false;
  std::vector<std::uint8_t> content_;
  Bytes bytes_;
};

}  // namespace tools
