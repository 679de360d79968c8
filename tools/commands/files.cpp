// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/listing.h"

namespace tools {
namespace {

std::string CheckClassName(const std::string& name) {
  return FindClass(name) ? "" : "there is no class " + name + "; there are " + ClassNames();
}

CLI::App* WithClass(CLI::App* command, StreamClass& options) {
  command
      ->add_option("--class", options.className,
                   "The class, ByteVectorKLP for instance, of a stream without class identifier")
      ->type_name("NAME")
      ->check(CheckClassName, "");
  return command;
}

}  // namespace

CLI::App* AddStreamCommand(CLI::App& app, const char* name, const char* what,
                           StreamOptions& options) {
  CLI::App* const command = app.add_subcommand(name, what);
  command->add_option("FILE", options.file, "File with the stream of one object; - is a pipe")
      ->required();
  return WithClass(command, options);
}

CLI::App* AddStreamsCommand(CLI::App& app, const char* name, const char* what,
                            StreamsOptions& options) {
  CLI::App* const command = app.add_subcommand(name, what);
  command
      ->add_option("FILE", options.files,
                   "Files, each with the stream of one object; - is standard input")
      ->required();
  return WithClass(command, options);
}

void SayFailure(const std::string& text) {
  std::fflush(stdout);
  std::fprintf(stderr, "rastel: %s\n", text.c_str());
}

ExitCode ForEachFile(
    const std::vector<std::string>& files,
    const std::function<ExitCode(const std::string& file)>& work,
    const std::function<void(const std::string& file, const std::string& reason)>& onFailure) {
  ExitCode worst = kWhole;
  for (const std::string& file : files) {
    try {
      worst = std::max(worst, work(file));
    } catch (const OutputFailure&) {
      throw;
    } catch (const std::exception& error) {
      const std::string reason = error.what();
      const bool isNamed = files.size() == 1 || reason.starts_with(file + ": ");
      SayFailure(isNamed ? reason : file + ": " + reason);
      if (onFailure) onFailure(file, reason);
      worst = kBroken;
    }
  }
  return worst;
}

}  // namespace tools
