// SPDX-License-Identifier: MIT
// Checksums beside streams: writing them, and checking them.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>

#include "tools/checksum.h"
#include "tools/commands/commands.h"
#include "tools/commands/progress_options.h"
#include "tools/file_bytes.h"
#include "tools/input_file.h"
#include "tools/paths.h"

namespace tools {
namespace {

struct Options {
  std::vector<std::string> files;
  std::string with;
  ProgressOptions progress;

  // What goes well is not said either.
  bool IsQuiet() const { return progress.Mode() == ProgressMode::kNever; }
};

std::string SumOf(const std::string& name, ProgressMode mode) {
  constexpr std::size_t kWindowBytes = 1 << 20;
  const InputFile file(name);
  Progress progress(file.bytes().size(), mode);
  Sha256 sum;
  for (Bytes rest = file.bytes(); !rest.empty();) {
    const std::size_t count = std::min(kWindowBytes, rest.size());
    sum.Add(rest.first(count));
    rest = rest.subspan(count);
    progress.Done(file.bytes().size() - rest.size());
  }
  return sum.Digits();
}

std::string SumFile(const std::string& file) { return file + ".sha256"; }

ExitCode Sum(const Options& options, const std::string& file) {
  const std::string sum = SumOf(file, options.progress.Mode());
  const std::string line = sum + "  " + (file == "-" ? file : Utf8(PathOf(file).filename())) + "\n";
  const Bytes bytes(reinterpret_cast<const std::uint8_t*>(line.data()), line.size());
  WriteWholeFile(file == "-" ? file : SumFile(file), bytes);
  if (file != "-" && !options.IsQuiet())
    std::printf("%s: %s\n", SumFile(file).c_str(), sum.c_str());
  return kWhole;
}

// The digits that a checksum file begins with, in lower case.
std::string StatedSum(const std::string& name) {
  std::string digits;
  const InputFile file(name);
  for (const std::uint8_t byte : file.bytes()) {
    if (!std::isxdigit(byte)) break;
    digits += static_cast<char>(std::tolower(byte));
  }
  if (digits.size() != 64) throw std::runtime_error(name + ": is not a SHA-256 checksum file");
  return digits;
}

ExitCode Verify(const Options& options, const std::string& file) {
  if (file == "-" && options.with.empty()) {
    throw std::runtime_error("standard input: --with names its checksum file");
  }
  const std::string stated = StatedSum(options.with.empty() ? SumFile(file) : options.with);
  const bool isSame = SumOf(file, options.progress.Mode()) == stated;
  if (!isSame || !options.IsQuiet()) {
    std::printf("%s: %s\n", file.c_str(),
                isSame ? "as it was" : "has changed since its checksum was written");
  }
  return isSame ? kWhole : kBroken;
}

std::pair<CLI::App*, std::shared_ptr<Options>> AddFilesCommand(CLI::App& app, const char* name,
                                                               const char* what) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand(name, what);
  command->add_option("FILE", options->files, "Any files; - is standard input")->required();
  options->progress.AddTo(*command);
  return {command, options};
}

}  // namespace

void AddSum(CLI::App& app, Action& action) {
  const auto [command, options] =
      AddFilesCommand(app, "sum", "Writes a checksum file, FILE.sha256, beside each file");
  command->callback([options = options, &action] {
    action = [=] {
      return ForEachFile(options->files, [&](const auto& file) { return Sum(*options, file); });
    };
  });
}

void AddVerify(CLI::App& app, Action& action) {
  const auto [command, options] =
      AddFilesCommand(app, "verify", "Checks files against their checksum files");
  command->add_option("--with", options->with, "The checksum file, where it is not FILE.sha256");
  command->callback([options = options, &action] {
    action = [=] {
      return ForEachFile(options->files, [&](const auto& file) { return Verify(*options, file); });
    };
  });
}

}  // namespace tools
