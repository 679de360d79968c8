// SPDX-License-Identifier: MIT
#include "tools/commands/commands.h"

namespace tools {
namespace {

std::string CheckClassName(const std::string& name) {
  return FindClass(name) ? "" : "there is no class " + name + "; there are " + ClassNames();
}

}  // namespace

CLI::App* AddStreamCommand(CLI::App& app, const char* name, const char* what,
                           StreamOptions& options) {
  CLI::App* const command = app.add_subcommand(name, what);
  command->add_option("FILE", options.file, "File with the stream of one object")->required();
  command
      ->add_option("--class", options.className,
                   "The class, ByteVectorKLP for instance, of a stream without class identifier")
      ->type_name("NAME")
      ->check(CheckClassName, "");
  return command;
}

}  // namespace tools
