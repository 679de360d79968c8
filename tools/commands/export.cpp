// SPDX-License-Identifier: MIT
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/progress_options.h"
#include "tools/commands/sample_types.h"
#include "tools/pictures.h"

namespace tools {

void AddExport(CLI::App& app, Action& action) {
  using picture_aoi::Narrowing;
  const auto options = std::make_shared<ExportOptions>();
  picture_aoi::WriteOptions& writing = options->writing;
  CLI::App* const command = AddStreamCommand(app, "export", "Makes a picture of an AOI", *options);
  command
      ->add_option("PICTURE", options->picture,
                   "PNG, PGM, PPM, PNM, PAM, PFM, TIFF, NumPy .npy or .raw samples, by its "
                   "extension; - is standard output, of the --format")
      ->required();
  command->add_flag("--buffer", writing.isBuffer, "The whole buffer, not the rectangle");
  CLI::Option* const clamp = command->add_flag_callback(
      "--clamp", [&writing] { writing.narrowing = Narrowing::kClamp; },
      "Take the nearest of values that the file cannot hold; else they are an error");
  command
      ->add_flag_callback(
          "--scale", [&writing] { writing.narrowing = Narrowing::kScale; },
          "Map the lowest value to 0 and the highest to the largest of the file")
      ->excludes(clamp);
  command
      ->add_option_function<pictures::PixelType>(
          "--type", [&writing](pictures::PixelType type) { writing.type = type; },
          "Of the samples in the file, the AOI's by default or the nearest to it")
      ->transform(CLI::CheckedTransformer(SampleTypes()));
  command->add_option("--format", writing.extension, "An extension, .png for instance");
  const auto progress = std::make_shared<ProgressOptions>();
  progress->AddTo(*command);
  command->callback([=, &action] {
    options->progress = progress->Mode();
    action = [=] {
      ExportPicture(*options);
      return kWhole;
    };
  });
}

}  // namespace tools
