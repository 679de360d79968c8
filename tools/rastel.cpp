// SPDX-License-Identifier: MIT
// rastel: tells what is in a file that holds the stream of an object, brings it to the newest
// version of its format, and turns pictures into AOIs and back. See docs/rastel_tool.md.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <map>
#include <optional>
#include <string>

#include "interfaces/vector.h"
#include "rastelklp_version.h"
#include "tools/aoi_format.h"
#include "tools/element_types.h"
#include "tools/file_bytes.h"
#include "tools/loaded_aoi.h"
#include "tools/loaded_map.h"
#include "tools/loaded_object.h"
#include "tools/map_format.h"
#include "tools/module_registration.h"
#include "tools/object_format.h"
#include "tools/paths.h"
#include "tools/pictures.h"
#include "tools/vector_format.h"

namespace {

using namespace tools;
using platform::ComPtr;

enum ExitCode { kWhole = 0, kBroken = 1, kWrongUsage = 2 };

// The console shows UTF-8 while the program runs; files and pipes get it anyway.
class Utf8Console {
 public:
#ifdef _WIN32
  Utf8Console() : old_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
  ~Utf8Console() { SetConsoleOutputCP(old_); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;

 private:
  UINT old_;
#else
  Utf8Console() {}
#endif
};

class ComRuntime {
 public:
  ComRuntime() { Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "CoInitializeEx"); }
  ~ComRuntime() { CoUninitialize(); }
  ComRuntime(const ComRuntime&) = delete;
  ComRuntime& operator=(const ComRuntime&) = delete;
};

struct Arguments {
  std::string file;
  std::string newFile;
  // Empty: the class identifier stands in the file.
  std::string className;
  bool isAll = false;

  const KnownClass* BareClass() const { return className.empty() ? nullptr : FindClass(className); }
};

void Say(const char* what, const std::string& text) {
  std::printf("  %-16s %s\n", what, text.c_str());
}

std::string StateText(const FileFindings& found) {
  if (found.IsWhole()) return "whole";
  const Problem& first = found.problems.front();
  if (!found.IsFormatKnown()) return first.text;
  return "broken at " + HexText(first.offset, 8) + ": " + first.text +
         (found.problemCount > 1
              ? " (and " + CountText(found.problemCount - 1, "more problem") + ")"
              : "");
}

// What a loaded vector answers about itself.
struct VectorAnswers {
  ElementTypeKLP type{};
  LONG count = 0;
  VARIANT_BOOL hasTags = 0;
  LONG tagCount = 0;
};

VectorAnswers AskVector(const LoadedObject& object) {
  const auto vector = object.As<IVectorKLP>();
  if (!vector) throw ComFailure("IVectorKLP", E_NOINTERFACE);
  VectorAnswers answers;
  VARIANT* tags = nullptr;
  Check(vector->get_ElementType(&answers.type), "get_ElementType");
  Check(vector->get_Count(&answers.count), "get_Count");
  Check(vector->get_HasElementTags(&answers.hasTags), "get_HasElementTags");
  Check(vector->GetTagPointer(&answers.tagCount, &tags), "GetTagPointer");
  return answers;
}

// Whether the object read what the walk found. A class of somebody else's may have taken more or
// less than its bytes, and all behind it would be something else.
bool IsInStep(const LoadedObject& object, const FileFindings& found) {
  if (found.aoi) return IsAoiInStep(object, *found.aoi);
  if (found.map) return IsMapInStep(object, *found.map);
  const VectorAnswers answers = AskVector(object);
  const LONG tags = found.vector->flag ? found.vector->tagCount.value_or(0) : 0;
  return object.BytesLeft() == 0 && answers.count == found.vector->count &&
         answers.tagCount == tags;
}

// Raises why the file cannot be given to an object.
LoadedObject Load(Bytes file, const FileFindings& found) {
  if (!found.IsFormatKnown()) throw std::runtime_error(found.problems.front().text);
  // Whether the class would read what its byte count says cannot be checked.
  if (!found.unknownFormat.empty()) throw std::runtime_error("not loaded: " + found.unknownFormat);
  if (found.isMisleading) {
    throw std::runtime_error("not loaded: readers would take its broken values for others");
  }
  LoadedObject object(*found.known, file.subspan(found.hasClassId ? sizeof(CLSID) : 0));
  if (found.IsWhole() && !IsInStep(object, found)) {
    throw std::runtime_error("Load lost step with the stream");
  }
  return object;
}

void SayNested(const Findings& found) {
  if (found.nestedClasses.empty()) return Say("nested objects", "none");
  std::uint64_t count = 0;
  for (const auto& [name, objects] : found.nestedClasses) count += objects;
  Say("nested objects", NumberText(count) + ", down to level " + NumberText(found.deepestLevel));
  constexpr std::size_t kMostNames = 16;
  std::size_t names = 0;
  for (const auto& [name, objects] : found.nestedClasses) {
    if (++names > kMostNames) return Say("", "...");
    Say("", NumberText(objects) + " x " + name);
  }
}

void SayVector(const VectorAnswers& answers) {
  const ElementKind* kind = FindElementKind(answers.type);
  Say("element type", kind ? std::string(kind->name) + ", " + kind->words
                           : "code " + NumberText(static_cast<std::int32_t>(answers.type)));
  Say("elements", NumberText(std::int32_t{answers.count}));
  std::string tags = "off";
  if (answers.hasTags == VARIANT_TRUE) {
    tags = "on, " + NumberText(std::int32_t{answers.tagCount});
  } else if (answers.hasTags != 0) {
    tags += ", the flag is " + HexText(static_cast<std::uint16_t>(answers.hasTags), 4);
  }
  Say("tags", tags);
}

// The oldest version always has tags, and Load keeps them out of sight: Save would leave them out.
bool HasHiddenTags(const Findings& found) {
  return found.vector && !found.vector->flag && found.vector->tagCount.value_or(0) > 0;
}

// AOIs and maps count their versions in decimal.
std::string VersionText(const Findings& found) {
  if (found.map) return NumberText(found.map->version);
  return found.aoi ? NumberText(found.aoi->version) : HexText(found.vector->version, 4);
}
std::string NewestVersionText(const Findings& found) {
  if (found.map) return NumberText(kMapVersion);
  return found.aoi ? NumberText(kNewestAoiVersion) : HexText(kNewestVectorVersion, 4);
}

ExitCode Info(const Arguments& arguments) {
  const std::vector<std::uint8_t> file = ReadWholeFile(arguments.file);
  Listing silent(nullptr, Listing::Extent::kShort);
  const FileFindings found = WalkFile(file, arguments.BareClass(), silent);
  std::printf("%s\n", arguments.file.c_str());
  Say("class", ClassText(found.classId));
  Say("file", CountText(file.size(), "byte") + (found.hasClassId ? ", class identifier in front"
                                                                 : ", without class identifier"));
  if (found.vector || found.aoi || found.map) {
    const std::string version = VersionText(found);
    Say("version", version + (version == NewestVersionText(found) ? ", the newest" : ", old"));
  }
  std::optional<LoadedObject> object;
  try {
    object.emplace(Load(file, found));
    if (found.vector) SayVector(AskVector(*object));
    if (found.aoi) {
      for (const auto& [what, text] : AoiAnswers(*object)) Say(what, text);
    }
    if (found.map) {
      for (const auto& [what, text] : MapAnswers(*object)) Say(what, text);
    }
  } catch (const std::runtime_error&) {
    if (found.vector) Say("elements", NumberText(found.vector->count) + ", as stated");
    if (found.IsFormatKnown()) Say("state", StateText(found));
    throw;
  }
  SayNested(found);
  if (HasHiddenTags(found)) {
    Say("old tags", NumberText(*found.vector->tagCount) + ", there once tags are switched on");
  }
  if (found.lostPointers > 0) {
    Say("lost", CountText(found.lostPointers, "element") + " held pointers");
  }
  if (found.IsWhole()) {
    // What AOIs and maps say of their size beforehand is an estimate.
    const bool isWhole = found.aoi && MakeAoiWhole(*object, *found.aoi);
    const std::uint64_t bytes = found.vector ? object->SavedBytes() : object->Saved(false).size();
    Say("saved anew", CountText(bytes, "byte") + " without class identifier" +
                          (isWhole ? ", as the whole buffer" : ""));
  }
  Say("state", StateText(found));
  return found.IsWhole() ? kWhole : kBroken;
}

ExitCode Dump(const Arguments& arguments) {
  const std::vector<std::uint8_t> file = ReadWholeFile(arguments.file);
  Listing listing(&std::cout, arguments.isAll ? Listing::Extent::kAll : Listing::Extent::kShort);
  const FileFindings found = WalkFile(file, arguments.BareClass(), listing);
  std::cout << CountText(file.size(), "byte") << ", " << StateText(found) << '\n';
  return found.IsWhole() ? kWhole : kBroken;
}

void ShowHiddenTags(const LoadedObject& object) {
  const auto vector = object.As<IVectorKLP>();
  if (!vector) throw ComFailure("IVectorKLP", E_NOINTERFACE);
  Check(vector->put_HasElementTags(VARIANT_TRUE), "put_HasElementTags");
}

// Whether nothing is missing in the new stream of an object: elements that no record can hold are
// left out by Save without a failure.
bool HoldsAll(const FileFindings& old, const FileFindings& saved) {
  if (!saved.IsWhole() || old.nestedClasses != saved.nestedClasses || saved.pixels < old.pixels) {
    return false;
  }
  if (old.aoi) return saved.aoi.has_value();
  if (old.map) return saved.map && saved.map->count == old.map->count;
  return old.vector && saved.vector && old.vector->count == saved.vector->count &&
         saved.vector->tagCount.value_or(0) >= old.vector->tagCount.value_or(0);
}

ExitCode Upgrade(const Arguments& arguments) {
  const std::vector<std::uint8_t> file = ReadWholeFile(arguments.file);
  Listing silent(nullptr, Listing::Extent::kShort);
  const FileFindings found = WalkFile(file, arguments.BareClass(), silent);
  const LoadedObject object = Load(file, found);
  // Vectors load with success what they could read of a broken stream; the rest would be gone.
  if (!found.IsWhole()) throw std::runtime_error("not upgraded: " + StateText(found));
  if (HasHiddenTags(found)) ShowHiddenTags(object);
  const bool isMadeWhole = found.aoi && MakeAoiWhole(object, *found.aoi);
  const std::vector<std::uint8_t> saved = object.Saved(found.hasClassId);
  if (!HoldsAll(found, WalkFile(saved, arguments.BareClass(), silent))) {
    throw std::runtime_error("not upgraded: it holds what the newest version cannot store");
  }
  WriteWholeFile(arguments.newFile, saved);
  std::printf("%s: version %s, %s\n", arguments.newFile.c_str(), NewestVersionText(found).c_str(),
              CountText(saved.size(), "byte").c_str());
  if (isMadeWhole) {
    std::printf("  the whole buffer is in it: there are pixels outside the margins\n");
  }
  if (HasHiddenTags(found)) std::printf("  tags are on: the old version did not tell\n");
  if (found.lostPointers > 0) {
    std::printf("  %s held pointers in the old version and are empty now\n",
                CountText(found.lostPointers, "element").c_str());
  }
  return kWhole;
}

std::string CheckClassName(const std::string& name) {
  return FindClass(name) ? "" : "there is no class " + name + "; there are " + ClassNames();
}

CLI::App* AddCommand(CLI::App& app, const char* name, const char* what, Arguments& arguments) {
  CLI::App* const command = app.add_subcommand(name, what);
  command->add_option("FILE", arguments.file, "File with the stream of one object")->required();
  command
      ->add_option("--class", arguments.className,
                   "The class, ByteVectorKLP for instance, of a stream without class identifier")
      ->type_name("NAME")
      ->check(CheckClassName, "");
  return command;
}

CLI::App* AddImport(CLI::App& app, ImportOptions& options) {
  static const std::map<std::string, MarginModeKLP> kModes = {{"zero", MarginZero},
                                                              {"periodic", MarginPeriodic},
                                                              {"mirror", MarginMirror},
                                                              {"replicate", MarginReplicate}};
  CLI::App* const command = app.add_subcommand("import", "Makes an AOI of a picture");
  command->add_option("PICTURE", options.picture, "PNG, grey or colour, 8 or 16 bits")->required();
  command->add_option("OUT", options.out, "File to write the AOI's stream to")->required();
  command->add_option("--margin", options.margin, "Pixels around each plane")
      ->check(CLI::Range(0, 0x3FFFFFFF));
  command->add_option("--margin-mode", options.marginMode, "What fills them, replicate by default")
      ->transform(CLI::CheckedTransformer(kModes));
  command->add_flag("--buffer", options.isBuffer, "Save the whole buffer, margins included");
  return command;
}

CLI::App* AddExport(CLI::App& app, Arguments& arguments, ExportOptions& options) {
  CLI::App* const command = AddCommand(app, "export", "Makes a PNG of an AOI", arguments);
  command->add_option("PICTURE", options.picture, "PNG to write, 8 bits")->required();
  command->add_flag("--buffer", options.isBuffer, "The whole buffer, not the rectangle");
  command->add_flag("--scale", options.isScaled,
                    "Map the lowest value to 0 and the highest to 255; else values are clamped");
  return command;
}

CLI::App* AddModuleCommand(CLI::App& app, const char* name, const char* what, std::string& module) {
  CLI::App* const command = app.add_subcommand(name, what);
  command->add_option("MODULE", module, "The module's file; without it the one of this program");
  return command;
}

int Run(std::vector<std::string> words) {
  CLI::App app(
      "Registers the module, tells what is in the streams of its objects, and turns pictures into "
      "AOIs and back.",
      "rastel");
  // A path may start with a slash on either host.
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.set_version_flag("--version", "rastel " RASTELKLP_VERSION);
  app.footer(
      "Exit code: 0 done, the file is whole; 1 it is broken, cannot be read or cannot be "
      "written; 2 wrong usage.");
  Arguments arguments;
  CLI::App* const info =
      AddCommand(app, "info", "What the loaded object says of itself", arguments);
  CLI::App* const dump = AddCommand(app, "dump", "Every field of the stream", arguments);
  dump->add_flag("--all", arguments.isAll, "Do not shorten long texts, blocks and lists");
  CLI::App* const upgrade =
      AddCommand(app, "upgrade", "Writes the object's newest version", arguments);
  upgrade->add_option("OUT", arguments.newFile, "File to write, in the same form")->required();
  std::string module;
  CLI::App* const registerCommand =
      AddModuleCommand(app, "register", "Enters a module and its type library", module);
#ifndef _WIN32
  std::string package;
  registerCommand->add_option("--package", package,
                              "Write a package's registry file instead, which finds the module "
                              "relative to itself");
#endif
  CLI::App* const unregisterCommand =
      AddModuleCommand(app, "unregister", "Removes a module and its type library", module);
  bool isForUser = false;
  for (CLI::App* const command : {registerCommand, unregisterCommand}) {
    command->add_flag("--user", isForUser, "For the present user alone, without an administrator");
  }
  bool isForced = false;
  unregisterCommand->add_flag("--force", isForced, "Also where another module is registered");
  const CLI::App* const classes = app.add_subcommand("classes", "The classes that are registered");
  ImportOptions importOptions;
  ExportOptions exportOptions;
  const CLI::App* const import = AddImport(app, importOptions);
  const CLI::App* const exportCommand = AddExport(app, arguments, exportOptions);
  try {
    // The library takes them from the end.
    std::reverse(words.begin(), words.end());
    words.pop_back();
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kWhole : kWrongUsage;
  }
  try {
    if (dump->parsed()) return Dump(arguments);
    const ComRuntime runtime;
    if (isForUser) RegisterForUser();
    if (registerCommand->parsed()) {
#ifndef _WIN32
      if (!package.empty()) {
        WritePackage(module, package);
        return kWhole;
      }
#endif
      RegisterModule(module);
      return kWhole;
    }
    if (unregisterCommand->parsed()) {
      UnregisterModule(module, isForced);
      return kWhole;
    }
    if (classes->parsed()) return ListClasses() ? kWhole : kBroken;
    if (import->parsed()) {
      ImportPicture(importOptions);
      return kWhole;
    }
    if (exportCommand->parsed()) {
      exportOptions.file = arguments.file;
      exportOptions.bareClass = arguments.BareClass();
      ExportPicture(exportOptions);
      return kWhole;
    }
    return info->parsed() ? Info(arguments) : Upgrade(arguments);
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "rastel: %s\n", error.what());
    return kBroken;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Utf8Console console;
  return Run(Utf8Arguments(argc, argv));
}
