// SPDX-License-Identifier: MIT
#include <charconv>
#include <map>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/progress_options.h"
#include "tools/commands/sample_types.h"
#include "tools/pictures.h"

namespace tools {
namespace {

using pictures::PixelType;
using pictures::RawLayout;

// "640x480" or "640x480x3".
void TakeSize(const std::string& text, RawLayout& layout) {
  int* const numbers[] = {&layout.width, &layout.height, &layout.channels};
  const char* at = text.data();
  const char* const end = at + text.size();
  int count = 0;
  for (int* number : numbers) {
    const auto [next, error] = std::from_chars(at, end, *number);
    if (error != std::errc() || *number < 1) break;
    ++count;
    at = next;
    if (at == end || *at != 'x') break;
    ++at;
  }
  if (count < 2 || at != end) {
    throw CLI::ValidationError("--size", text + " is not like 640x480 or 640x480x3");
  }
}

}  // namespace

const std::map<std::string, PixelType>& SampleTypes() {
  static const std::map<std::string, PixelType> types = [] {
    std::map<std::string, PixelType> all;
    for (const pictures::PixelTypeRow& row : pictures::kPixelTypes) all[row.name] = row.type;
    return all;
  }();
  return types;
}

void AddImport(CLI::App& app, Action& action) {
  static const std::map<std::string, MarginModeKLP> kModes = {{"zero", MarginZero},
                                                              {"periodic", MarginPeriodic},
                                                              {"mirror", MarginMirror},
                                                              {"replicate", MarginReplicate}};
  const auto options = std::make_shared<ImportOptions>();
  const auto layout = std::make_shared<RawLayout>();
  picture_aoi::ReadOptions& reading = options->reading;
  CLI::App* const command = app.add_subcommand("import", "Makes an AOI of a picture");
  command
      ->add_option("PICTURE", options->picture,
                   "PNG, PBM, PGM, PPM, PAM, PFM, TIFF, NumPy .npy, JPEG, BMP or HDR, by its "
                   "content; - is standard input")
      ->required();
  command
      ->add_option("OUT", options->out, "File to write the AOI's stream to; - is standard output")
      ->required();
  command->add_option("--margin", reading.margin, "Pixels around each plane")
      ->check(CLI::Range(0, 0x3FFFFFFF));
  command->add_option("--margin-mode", reading.marginMode, "What fills them, replicate by default")
      ->transform(CLI::CheckedTransformer(kModes));
  command->add_flag("--buffer", options->isBuffer, "Save the whole buffer, margins included");
  CLI::Option* const size = command->add_option_function<std::string>(
      "--size", [=](const std::string& text) { TakeSize(text, *layout); },
      "Of a file of samples alone: WIDTHxHEIGHT or WIDTHxHEIGHTxCHANNELS");
  command->add_option("--type", layout->type, "Of its samples, byte by default")
      ->transform(CLI::CheckedTransformer(SampleTypes()))
      ->needs(size);
  command->add_option("--page", reading.request.page, "Of a file with several, from 1 on")
      ->check(CLI::PositiveNumber);
  const auto progress = std::make_shared<ProgressOptions>();
  progress->AddTo(*command);
  command->callback([=, &action] {
    options->progress = progress->Mode();
    if (size->count() > 0) options->reading.request.raw = *layout;
    action = [=] {
      ImportPicture(*options);
      return kWhole;
    };
  });
}

}  // namespace tools
