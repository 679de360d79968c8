// SPDX-License-Identifier: MIT
#include "tools/file_bytes.h"

#include "pictures/byte_sink.h"
#include "tools/paths.h"

namespace tools {

void WriteWholeFile(const std::string& name, Bytes content) {
  pictures::OutputFile file(PathOf(name));
  file.Write(content.data(), content.size());
  file.Commit();
}

std::FILE* NotesBeside(const std::string& name) { return name == "-" ? stderr : stdout; }

}  // namespace tools
