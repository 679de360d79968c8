// SPDX-License-Identifier: MIT
#include "host/registry/layers.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "host/base/unicode.h"
#include "host/registry/file.h"
#include "host/services/debug_output.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Keys whose text without a name is, or begins with, a path.
bool NamesPath(RegistryTextView key) {
  return SameFolded(key, OLESTR("InprocServer32")) || SameFolded(key, OLESTR("ToolboxBitmap32")) ||
         SameFolded(key, OLESTR("win64")) || SameFolded(key, OLESTR("HELPDIR"));
}

RegistryKeyPointer WithFullPaths(const RegistryKeyPointer& key, bool isPath,
                                 const fs::path& folder) {
  const std::shared_ptr<RegistryKey> copy = EditableRegistryKey(key);
  const RegistryText path = RegistryTextOf(*key, OLESTR(""));
  if (isPath && path.starts_with(u'.')) {
    const std::string full = (folder / ToUtf8(path)).lexically_normal().string();
    copy->values[RegistryText()] = RegistryValueOf(ToUtf16(full));
  }
  for (auto& [name, below] : copy->keys) {
    below = WithFullPaths(below, NamesPath(name), folder);
  }
  return copy;
}

std::vector<fs::path> DataFolders() {
  const char* const given = std::getenv("XDG_DATA_DIRS");
  std::string_view list = given != nullptr && *given != 0 ? given : "/usr/local/share:/usr/share";
  std::vector<fs::path> folders;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(':'), list.size());
    if (list.starts_with('/')) folders.emplace_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return folders;
}

}  // namespace

RegistryKeyPointer LayRegistryOver(const RegistryKeyPointer& below,
                                   const RegistryKeyPointer& above) {
  if (below == nullptr || above == nullptr) return below == nullptr ? above : below;
  const std::shared_ptr<RegistryKey> both = EditableRegistryKey(below);
  for (const auto& [name, value] : above->values) both->values.insert_or_assign(name, value);
  for (const auto& [name, key] : above->keys) {
    RegistryKeyPointer& place = both->keys[name];
    place = LayRegistryOver(place, key);
  }
  return both;
}

RegistryKeyPointer RegistryBeyond(const RegistryKeyPointer& below,
                                  const RegistryKeyPointer& whole) {
  if (below == nullptr) return whole;
  const std::shared_ptr<RegistryKey> beyond = EditableRegistryKey(whole);
  std::erase_if(beyond->values, [&](const auto& row) {
    const auto found = below->values.find(row.first);
    return found != below->values.end() && found->second == row.second;
  });
  for (auto row = beyond->keys.begin(); row != beyond->keys.end();) {
    const auto found = below->keys.find(row->first);
    if (found != below->keys.end()) {
      row->second = RegistryBeyond(found->second, row->second);
      if (row->second->values.empty() && row->second->keys.empty()) {
        row = beyond->keys.erase(row);
        continue;
      }
    }
    ++row;
  }
  return beyond;
}

bool SameRegistry(const RegistryKey& a, const RegistryKey& b) {
  return a.values == b.values && std::equal(a.keys.begin(), a.keys.end(), b.keys.begin(),
                                            b.keys.end(), [](const auto& one, const auto& other) {
                                              return SameFolded(one.first, other.first) &&
                                                     (one.second == other.second ||
                                                      SameRegistry(*one.second, *other.second));
                                            });
}

RegistryKeyPointer ReadPackageRegistries() {
  RegistryKeyPointer all;
  for (const fs::path& data : DataFolders()) {
    const fs::path folder = data / "rastelhost" / "registry.d";
    std::vector<fs::path> files;
    std::error_code none;
    for (fs::directory_iterator entry(folder, none), end; entry != end; entry.increment(none)) {
      if (entry->path().extension() == ".registry") files.push_back(entry->path());
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
      RegistryFileState state;
      RegistryKeyPointer tree;
      if (ReadRegistryFile(file.string(), state, tree) != ERROR_SUCCESS) {
        OutputDebugStringA((file.string() + ": not a registry that can be read\n").c_str());
        continue;
      }
      all = LayRegistryOver(WithFullPaths(tree, false, folder), all);
    }
  }
  return all;
}

}  // namespace host
