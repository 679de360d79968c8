// SPDX-License-Identifier: MIT
// Runs kept inputs once:
//   fuzz_replay FOLDER [TARGET [FILE...]]
// The folder holds a file TARGET.inputs of each target, inputs behind each other, each behind its
// size (32 bits, low byte first), and beside it folders TARGET with what once failed, a file each.
// Without sanitizers it says which input ends the program.
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/module_inside.h"

namespace {

namespace fs = std::filesystem;
using Content = std::vector<std::uint8_t>;

Content Read(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path.string() + ": cannot be read");
  return Content(std::istreambuf_iterator<char>(file), {});
}

void Run(const fuzz::Target& target, fuzz::Bytes input, const std::string& name) {
  // Exactly as large as the input, so that a byte too far is seen.
  const Content own(input.begin(), input.end());
  // What ends the program leaves its name behind.
  std::fprintf(stderr, "\r%-60s", name.c_str());
  target.run(own);
}

int RunKept(const fuzz::Target& target, const fs::path& folder) {
  const std::string name(target.name);
  const Content kept = Read(folder / (name + ".inputs"));
  int count = 0;
  for (std::size_t at = 0; at < kept.size();) {
    std::uint32_t size = 0;
    if (kept.size() - at < sizeof size) throw std::runtime_error(name + ".inputs: cut off");
    for (int i = 0; i < 4; ++i) size |= std::uint32_t{kept[at++]} << (8 * i);
    if (kept.size() - at < size) throw std::runtime_error(name + ".inputs: cut off");
    Run(target, fuzz::Bytes(kept).subspan(at, size), name + ' ' + std::to_string(++count));
    at += size;
  }
  if (fs::exists(folder / name)) {
    for (const fs::path& path : std::set<fs::path>(fs::directory_iterator(folder / name), {})) {
      Run(target, Read(path), path.string());
      ++count;
    }
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: fuzz_replay FOLDER [TARGET [FILE...]]\n");
    return 2;
  }
  try {
    fuzz::PublishModule();
    for (const fuzz::Target& target : fuzz::kTargets) {
      if (argc > 2 && target.name != argv[2]) continue;
      for (int i = 3; i < argc; ++i) Run(target, Read(argv[i]), argv[i]);
      const int count = argc > 3 ? argc - 3 : RunKept(target, argv[1]);
      std::fprintf(stderr, "\r%-60s\r", "");
      std::printf("%.*s: %d inputs\n", static_cast<int>(target.name.size()), target.name.data(),
                  count);
    }
    CoUninitialize();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "\nfuzz_replay: %s\n", error.what());
    return 1;
  }
}
