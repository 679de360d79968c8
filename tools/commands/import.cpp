// SPDX-License-Identifier: MIT
#include <map>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/pictures.h"

namespace tools {

void AddImport(CLI::App& app, Action& action) {
  static const std::map<std::string, MarginModeKLP> kModes = {{"zero", MarginZero},
                                                              {"periodic", MarginPeriodic},
                                                              {"mirror", MarginMirror},
                                                              {"replicate", MarginReplicate}};
  const auto options = std::make_shared<ImportOptions>();
  CLI::App* const command = app.add_subcommand("import", "Makes an AOI of a picture");
  command->add_option("PICTURE", options->picture, "PNG, grey or colour, 8 or 16 bits")->required();
  command->add_option("OUT", options->out, "File to write the AOI's stream to")->required();
  command->add_option("--margin", options->margin, "Pixels around each plane")
      ->check(CLI::Range(0, 0x3FFFFFFF));
  command->add_option("--margin-mode", options->marginMode, "What fills them, replicate by default")
      ->transform(CLI::CheckedTransformer(kModes));
  command->add_flag("--buffer", options->isBuffer, "Save the whole buffer, margins included");
  command->callback([=, &action] {
    action = [=] {
      ImportPicture(*options);
      return kWhole;
    };
  });
}

}  // namespace tools
