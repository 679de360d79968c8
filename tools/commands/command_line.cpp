// SPDX-License-Identifier: MIT
#include "tools/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <map>
#include <memory>
#include <utility>

#include "rastelklp_version.h"
#include "tools/nearest_word.h"
#include "tools/pictures.h"

namespace tools {
namespace {

using pictures::PixelType;
using pictures::RawLayout;

class Parser {
 public:
  Parser();
  CommandLine Parse(std::vector<std::string> words);

 private:
  // Adds a command, and gives the options that it will run with.
  template <class Options>
  std::pair<CLI::App*, Options&> Add(const char* name, const char* what,
                                     ExitCode (*run)(const Options&)) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = app_.add_subcommand(name, what);
    command->callback([=, this] { asked_ = [=] { return run(*options); }; });
    return {command, *options};
  }

  void AddInfo();
  void AddDump();
  void AddReport();
  void AddSum();
  void AddVerify();
  void AddUpgrade();
  void AddImport();
  void AddExport();
  void AddRegister();
  void AddUnregister();
  void AddClasses();
  // A command that is not there, else empty.
  std::string Mistyped(const std::vector<std::string>& words) const;

  CLI::App app_{
      "Tells what is in the streams of objects, shows and checks them, turns pictures into "
      "AOIs and back, and registers the module.",
      "rastel"};
  std::function<ExitCode()> asked_;
};

std::string CheckClassName(const std::string& name) {
  return FindClass(name) ? "" : "there is no class " + name + "; there are " + ClassNames();
}

void AddClass(CLI::App& command, StreamClass& options) {
  command
      .add_option("--class", options.className,
                  "The class, ByteVectorKLP for instance, of a stream without class identifier")
      ->type_name("NAME")
      ->check(CheckClassName, "");
}

void AddStream(CLI::App& command, StreamOptions& options) {
  command.add_option("FILE", options.file, "File with the stream of one object; - is a pipe")
      ->required();
  AddClass(command, options);
}

void AddStreams(CLI::App& command, StreamsOptions& options) {
  command
      .add_option("FILE", options.files,
                  "Files, each with the stream of one object; - is standard input")
      ->required();
  AddClass(command, options);
}

void AddProgress(CLI::App& command, ProgressMode& mode) {
  CLI::Option* const quiet = command.add_flag_callback(
      "--quiet", [&] { mode = ProgressMode::kNever; }, "No bar on the terminal");
  command
      .add_flag_callback(
          "--progress", [&] { mode = ProgressMode::kAlways; },
          "A bar also where there is no terminal")
      ->excludes(quiet);
}

void AddFiles(CLI::App& command, SumOptions& options) {
  command.add_option("FILE", options.files, "Any files; - is standard input")->required();
  AddProgress(command, options.progress);
}

void AddModule(CLI::App& command, ModuleOptions& options) {
  command.add_option("MODULE", options.module,
                     "The module's file; without it the one of this program");
  command.add_flag("--user", options.isForUser,
                   "For the present user alone, without an administrator");
}

CLI::CheckedTransformer SampleType() {
  std::map<std::string, PixelType> all;
  for (const pictures::PixelTypeRow& row : pictures::kPixelTypes) all[row.name] = row.type;
  return CLI::CheckedTransformer(all);
}

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

ExitCode Import(const ImportOptions& options) {
  ImportPicture(options);
  return kWhole;
}

ExitCode Export(const ExportOptions& options) {
  ExportPicture(options);
  return kWhole;
}

void Parser::AddInfo() {
  const auto [command, options] = Add("info", "What there is to say of the object", Info);
  AddStreams(*command, options);
  command->add_flag("--json", options.isJson, "For programs");
  command->add_flag("--stats", options.hasStatistics,
                    "Minimum, maximum, mean and count of NaN of each plane, as it is stored");
}

void Parser::AddDump() {
  const auto [command, options] = Add("dump", "Every field of the stream", Dump);
  AddStreams(*command, options);
  command->add_flag("--all", options.isAll, "Do not shorten long texts, blocks and lists");
  command->add_flag("--json", options.isJson, "For programs");
}

void Parser::AddReport() {
  const auto [command, options] =
      Add("report", "A page to look at: pictures, plots, the stream", Report);
  AddStream(*command, options);
  command->add_option("-o,--output", options.page, "HTML file to write; - is standard output")
      ->required();
}

void Parser::AddSum() {
  const auto [command, options] =
      Add("sum", "Writes a checksum file, FILE.sha256, beside each file", Sum);
  AddFiles(*command, options);
}

void Parser::AddVerify() {
  const auto [command, options] =
      Add("verify", "Checks files against their checksum files", Verify);
  AddFiles(*command, options);
  command->add_option("--with", options.with, "The checksum file, where it is not FILE.sha256");
}

void Parser::AddUpgrade() {
  const auto [command, options] = Add("upgrade", "Writes the object's newest version", Upgrade);
  AddStream(*command, options);
  command
      ->add_option("OUT", options.newFile, "File to write, in the same form; - is standard output")
      ->required();
  AddProgress(*command, options.progress);
}

void Parser::AddImport() {
  static const std::map<std::string, MarginModeKLP> kModes = {{"zero", MarginZero},
                                                              {"periodic", MarginPeriodic},
                                                              {"mirror", MarginMirror},
                                                              {"replicate", MarginReplicate}};
  const auto [command, options] = Add("import", "Makes an AOI of a picture", Import);
  picture_aoi::ReadOptions& reading = options.reading;
  const auto layout = [&raw = reading.request.raw]() -> RawLayout& {
    return raw ? *raw : raw.emplace();
  };
  command
      ->add_option("PICTURE", options.picture,
                   "PNG, PBM, PGM, PPM, PAM, PFM, TIFF, NumPy .npy, JPEG, BMP or HDR, by its "
                   "content; - is standard input")
      ->required();
  command->add_option("OUT", options.out, "File to write the AOI's stream to; - is standard output")
      ->required();
  command->add_option("--margin", reading.margin, "Pixels around each plane")
      ->check(CLI::Range(0, 0x3FFFFFFF));
  command->add_option("--margin-mode", reading.marginMode, "What fills them, replicate by default")
      ->transform(CLI::CheckedTransformer(kModes));
  command->add_flag("--buffer", options.isBuffer, "Save the whole buffer, margins included");
  CLI::Option* const size = command->add_option_function<std::string>(
      "--size", [=](const std::string& text) { TakeSize(text, layout()); },
      "Of a file of samples alone: WIDTHxHEIGHT or WIDTHxHEIGHTxCHANNELS");
  command
      ->add_option_function<PixelType>(
          "--type", [=](PixelType type) { layout().type = type; },
          "Of its samples, byte by default")
      ->transform(SampleType())
      ->needs(size);
  command->add_option("--page", reading.request.page, "Of a file with several, from 1 on")
      ->check(CLI::PositiveNumber);
  AddProgress(*command, options.progress);
}

void Parser::AddExport() {
  using picture_aoi::Narrowing;
  const auto [command, options] = Add("export", "Makes a picture of an AOI", Export);
  picture_aoi::WriteOptions& writing = options.writing;
  AddStream(*command, options);
  command
      ->add_option("PICTURE", options.picture,
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
      ->add_option_function<PixelType>(
          "--type", [&writing](PixelType type) { writing.type = type; },
          "Of the samples in the file, the AOI's by default or the nearest to it")
      ->transform(SampleType());
  command->add_option("--format", writing.extension, "An extension, .png for instance");
  AddProgress(*command, options.progress);
}

void Parser::AddRegister() {
  const auto [command, options] = Add("register", "Enters a module and its type library", Register);
  AddModule(*command, options);
#ifndef _WIN32
  command->add_option("--package", options.package,
                      "Write a package's registry file instead, which finds the module relative to "
                      "itself");
#endif
}

void Parser::AddUnregister() {
  const auto [command, options] =
      Add("unregister", "Removes a module and its type library", Unregister);
  AddModule(*command, options);
  command->add_flag("--force", options.isForced, "Also where another module is registered");
}

void Parser::AddClasses() {
  const auto [command, options] = Add("classes", "The classes that are registered", Classes);
  command->add_flag("--json", options.isJson, "For programs");
}

Parser::Parser() {
  // A path may start with a slash on either host.
  app_.allow_windows_style_options(false);
  app_.require_subcommand(1);
  app_.set_version_flag("--version", "rastel " RASTELKLP_VERSION);
  app_.footer(
      "Exit code: 0 done, the file is whole; 1 it is broken, or something could not be read or "
      "written; 2 wrong usage.");
  AddInfo();
  AddDump();
  AddReport();
  AddSum();
  AddVerify();
  AddUpgrade();
  AddImport();
  AddExport();
  AddRegister();
  AddUnregister();
  AddClasses();
}

std::string Parser::Mistyped(const std::vector<std::string>& words) const {
  if (words.size() < 2 || words[1].starts_with('-')) return "";
  std::vector<std::string> names;
  for (const CLI::App* command : app_.get_subcommands({})) names.push_back(command->get_name());
  if (std::find(names.begin(), names.end(), words[1]) != names.end()) return "";
  std::string text = "there is no command " + words[1];
  const std::string nearest = NearestWord(words[1], names);
  if (!nearest.empty()) return text + ": is " + nearest + " meant?";
  text += "; there are";
  for (const std::string& name : names) text += ' ' + name;
  return text;
}

CommandLine Parser::Parse(std::vector<std::string> words) {
  const std::string mistyped = Mistyped(words);
  if (!mistyped.empty()) {
    SayFailure(mistyped);
    return {nullptr, kWrongUsage};
  }
  try {
    // The library takes them from the end.
    std::reverse(words.begin(), words.end());
    words.pop_back();
    app_.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return {nullptr, app_.exit(error) == 0 ? kWhole : kWrongUsage};
  }
  return {asked_};
}

}  // namespace

CommandLine ParseCommandLine(std::vector<std::string> words) {
  return Parser().Parse(std::move(words));
}

}  // namespace tools
