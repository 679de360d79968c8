// SPDX-License-Identifier: MIT
// A temporary path of one test.
#pragma once

#include <string>
#include <string_view>

namespace tests {

// Makes an empty folder with a name that nobody else has and names a file in it, which does not
// exist yet. At the end the folder is removed with everything that lies there.
class TempFile {
 public:
  explicit TempFile(std::string_view name = "file");
  ~TempFile();
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  const std::string& path() const noexcept { return path_; }
  const std::string& folder() const noexcept { return folder_; }

  // Everything in the file; empty when it is missing.
  std::string Content() const;
  void Write(std::string_view content) const;

 private:
  std::string folder_;
  std::string path_;
};

}  // namespace tests
