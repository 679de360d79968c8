// SPDX-License-Identifier: MIT
#include "tests/tools/shell.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "pictures/picture_file.h"
#include "tests/support/child_process.h"
#include "tests/support/class_table.h"
#include "tests/support/hash.h"
#include "tests/support/registered_module.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

std::string ClassBytes(const std::string& word) {
  CLSID classId{};
  const std::basic_string<OLECHAR> wide(word.begin(), word.end());
  const auto row = std::find_if(std::begin(kClasses), std::end(kClasses),
                                [&](const auto& known) { return word == known.name; });
  if (row != std::end(kClasses)) {
    classId = row->classId;
  } else if (FAILED(CLSIDFromString(wide.c_str(), &classId))) {
    throw std::runtime_error("no class " + word);
  }
  return std::string(reinterpret_cast<const char*>(&classId), sizeof(classId));
}

// Up to the end of the words, or of what stands in brackets.
std::string BytesIn(std::istream& words) {
  std::string all;
  for (std::string word; words >> word && word != ")";) {
    if (word.ends_with("x(")) {
      const std::string part = BytesIn(words);
      for (int times = std::stoi(word); times > 0; --times) all += part;
    } else if (word.size() > 2) {
      all += ClassBytes(word);
    } else {
      all += static_cast<char>(std::stoi(word, nullptr, 16));
    }
  }
  return all;
}

std::string HexRows(const std::string& bytes) {
  constexpr std::size_t kPerRow = 32;
  std::string rows;
  for (std::size_t at = 0; at < bytes.size(); at += kPerRow) {
    rows += HexOf(bytes.data() + at, (std::min)(kPerRow, bytes.size() - at)) + "\n";
  }
  return rows;
}

fs::path PathOf(const std::string& utf8) { return std::u8string(utf8.begin(), utf8.end()); }
std::string Utf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string NamesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.insert(Utf8(entry.path().filename()));
  }
  std::string lines;
  for (const std::string& name : names) lines += name + "\n";
  return lines;
}

// The pictures in a folder, with a hash of their samples; those of 16 bits are any-maps, which are
// written as they are.
std::string PicturesIn(const fs::path& folder) {
  std::string lines;
  std::istringstream names(NamesIn(folder));
  for (std::string name; names >> name;) {
    if (name.ends_with(".aoi")) continue;
    std::string bytes = FileContent(folder / name);
    if (name.ends_with(".png")) {
      const auto picture = pictures::ReadPicture<std::uint8_t>(folder / name);
      bytes.assign(picture.samples.begin(), picture.samples.end());
      name += ' ' + std::to_string(picture.width) + " x " + std::to_string(picture.height);
    }
    lines += name + ' ' + std::to_string(HashOf(bytes)) + '\n';
  }
  return lines;
}

// Before a session goes to a folder that may lie on another drive.
const fs::path kSources = fs::absolute(RASTEL_SOURCES);

fs::path ModuleFile() {
  const fs::path programs = fs::path(ThisProgram()).parent_path();
  const fs::path beside = programs / RASTEL_MODULE_NAME;
  return fs::exists(beside) ? beside : programs.parent_path() / "lib" / RASTEL_MODULE_NAME;
}

void Replace(std::string& text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
}

// What LONG stands for.
const std::string kLong =
    std::string(100, 'a') + '/' + std::string(100, 'b') + '/' + std::string(100, 'c');

// A program of this build.
ChildResult RunBuilt(const Words& words, const std::string& input = "") {
  fs::path program = ThisProgram();
  program.replace_filename(words[0] + program.extension().string());
  const TempFile inputFile("input");
  inputFile.Write(input);
  ChildResult result = RunProgram(program.string(), {words.begin() + 1, words.end()},
                                  std::chrono::seconds(20), inputFile.path());
  // Lines end differently on the hosts; a stream is none.
  if (result.output.find('\0') == std::string::npos) std::erase(result.output, '\r');
  for (const std::string& word : words) {
    Replace(result.output, Utf8(PathOf(word).make_preferred()), word);
  }
  return result;
}

// What was said, without what differs between hosts, machines and runs, and how it ended.
std::string Portable(const ChildResult& result) {
  std::string said = result.output;
  Replace(said, Utf8(fs::current_path() / ""), "");
  Replace(said, Utf8(ModuleFile().parent_path() / ""), "");
  Replace(said, kLong, "LONG");
  Replace(said, RASTEL_MODULE_NAME, "MODULE");
  Replace(said, RASTEL_TYPES_NAME, "LIBRARY");
  Replace(said, "\\MODULE", "/MODULE");
  Replace(said, "\\LIBRARY", "/LIBRARY");
  Replace(said, "\n\n", "\n");
  if (!said.empty() && !said.ends_with('\n')) said += '\n';
  if (result.hasTimedOut) return said + "not ended\n";
  return result.exitCode == 0 ? said : said + "exit " + std::to_string(result.exitCode) + "\n";
}

fs::path Place(const std::string& word) {
  if (word == "MODULE") return ModuleFile();
  if (word == "LIBRARY") return fs::path(ModuleFile()).replace_filename(RASTEL_TYPES_NAME);
  return word.starts_with("tests/data/") ? kSources / word : PathOf(word);
}

const std::map<std::string, std::string (*)(const Words&)> kBuiltins = {
    {"bytes",
     [](const Words& words) {
       std::string hex;
       for (std::size_t i = 1; i < words.size(); ++i) hex += words[i] + " ";
       std::istringstream stream(hex);
       return BytesIn(stream);
     }},
    {"head",
     [](const Words& words) {
       return FileContent(Place(words.at(2))).substr(0, std::stoul(words[1]));
     }},
    {"tail",
     [](const Words& words) {
       const std::string all = FileContent(PathOf(words.at(2)));
       std::size_t from = all.size();
       for (int lines = std::stoi(words[1]); lines >= 0 && from != all.npos; --lines) {
         from = all.rfind('\n', from - 1);
       }
       return all.substr(from + 1);
     }},
    {"cat",
     [](const Words& words) {
       std::string all;
       for (std::size_t i = 1; i < words.size(); ++i) all += FileContent(Place(words[i]));
       return all;
     }},
    {"cmp",
     [](const Words& words) {
       return FileContent(Place(words.at(1))) == FileContent(Place(words.at(2)))
                  ? std::string()
                  : words[1] + " and " + words[2] + " differ\n";
     }},
    {"hex", [](const Words& words) { return HexRows(FileContent(PathOf(words.at(1)))); }},
    {"pictures", [](const Words& words) { return PicturesIn(PathOf(words.at(1))); }},
    {"ls", [](const Words& words) { return NamesIn(PathOf(words.size() > 1 ? words[1] : ".")); }},
    {"cp",
     [](const Words& words) {
       fs::copy(Place(words.at(1)), PathOf(words.at(2)), fs::copy_options::overwrite_existing);
       return std::string();
     }},
    {"rm",
     [](const Words& words) {
       fs::remove(PathOf(words.at(1)));
       return std::string();
     }},
    {"mv",
     [](const Words& words) {
       fs::rename(PathOf(words.at(1)), PathOf(words.at(2)));
       return std::string();
     }},
    {"mkdir",
     [](const Words& words) {
       fs::create_directories(PathOf(words.at(1)));
       return std::string();
     }},
};

}  // namespace

std::string FileContent(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Shell::Shell() {
  UseRegistryFile(registry_.path());
  fs::current_path(work_.folder());
}

Shell::~Shell() {
  RunBuilt({"rastel", "unregister", "--force"});
  fs::current_path(oldFolder_);
  UseRegistryFile("");
}

std::string Shell::Play(const std::string& session) {
  std::istringstream lines(session);
  std::string played, line;
  while (std::getline(lines, line)) {
    if (line.empty() || line[0] == '#') played += line + "\n";
    if (!line.starts_with("$ ")) continue;
    std::string command = line.substr(2);
    played += line + "\n";
    while (lines.peek() == '>' && std::getline(lines, line)) {
      command += line.substr(1);
      played += line + "\n";
    }
    played += Run(command);
  }
  return played;
}

std::string Shell::Run(const std::string& command) {
  std::istringstream stream(command);
  Words words;
  for (std::string word; stream >> std::quoted(word);) {
    Replace(word, "LONG", kLong);
    if (word.ends_with("/MODULE")) Replace(word, "MODULE", RASTEL_MODULE_NAME);
    words.push_back(word);
  }
  std::string target;
  if (words.size() > 2 && words.end()[-2] == ">") {
    target = words.back();
    words.resize(words.size() - 2);
  }
  ChildResult result;
  for (auto first = words.begin(), end = first; first != words.end(); first = end) {
    end = std::find(first, words.end(), "|");
    const Words part(first, end);
    if (end != words.end()) ++end;
    const auto builtin = kBuiltins.find(part[0]);
    if (builtin == kBuiltins.end()) {
      result = RunBuilt(part, result.output);
    } else {
      result = {false, 0, builtin->second(part)};
    }
  }
  if (target.empty()) return Portable(result);
  if (target != "/dev/null") std::ofstream(target, std::ios::binary) << result.output;
  result.output.clear();
  return Portable(result);
}

}  // namespace tests
