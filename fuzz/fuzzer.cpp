// SPDX-License-Identifier: MIT
// libFuzzer's entry. The program's own name tells the target: fuzz_vector, fuzz_map, ...
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "fuzz/module_inside.h"

namespace {
const fuzz::Target* chosen = nullptr;
}

extern "C" int LLVMFuzzerInitialize(int*, char*** arguments) {
  const std::string name = std::filesystem::path((*arguments)[0]).filename().string();
  for (const fuzz::Target& target : fuzz::kTargets) {
    if (name == "fuzz_" + std::string(target.name)) chosen = &target;
  }
  if (!chosen) {
    std::fprintf(stderr, "%s: no target has that name\n", name.c_str());
    std::exit(2);
  }
  fuzz::PublishModule();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  chosen->run({data, size});
  return 0;
}
