// SPDX-License-Identifier: MIT
// For builds without the picture library.
#include <stdexcept>

#include "tools/commands/commands.h"
#include "tools/pictures.h"

namespace tools {
namespace {

[[noreturn]] void Refuse() {
  throw std::runtime_error(
      "report, import and export need the picture library stb, which was not there "
      "when this program was built");
}

}  // namespace

void ImportPicture(const ImportOptions&) { Refuse(); }
void ExportPicture(const ExportOptions&) { Refuse(); }
ExitCode Report(const ReportOptions&) { Refuse(); }

}  // namespace tools
