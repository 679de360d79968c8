// SPDX-License-Identifier: MIT
#include <memory>

#include "tools/commands/commands.h"
#include "tools/pictures.h"

namespace tools {

void AddExport(CLI::App& app, Action& action) {
  const auto options = std::make_shared<ExportOptions>();
  CLI::App* const command = AddStreamCommand(app, "export", "Makes a PNG of an AOI", *options);
  command->add_option("PICTURE", options->picture, "PNG to write, 8 bits")->required();
  command->add_flag("--buffer", options->isBuffer, "The whole buffer, not the rectangle");
  command->add_flag("--scale", options->isScaled,
                    "Map the lowest value to 0 and the highest to 255; else values are clamped");
  command->callback([=, &action] {
    action = [=] {
      ExportPicture(*options);
      return kWhole;
    };
  });
}

}  // namespace tools
