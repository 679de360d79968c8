// SPDX-License-Identifier: MIT
// What is fuzzed: each target is one reader of foreign bytes, or what callers do in an order that
// the bytes choose. The same targets run under libFuzzer (fuzzer.cpp) and once over kept inputs
// (replay.cpp), with any compiler.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

struct Target {
  std::string_view name;
  // One input. What goes wrong is for the sanitizers to say; a broken promise aborts.
  void (*run)(Bytes input);
};

void RunPlainRecord(Bytes input);
void RunTaggedRecord(Bytes input);
// The first byte chooses the class.
void RunVector(Bytes input);
void RunMap(Bytes input);
void RunAoi(Bytes input);
void RunObjectReference(Bytes input);
void RunRegistryFile(Bytes input);
void RunRegistrationScript(Bytes input);
// Whole files, as the tool is given them.
void RunDump(Bytes input);
void RunPicture(Bytes input);
void RunCalls(Bytes input);

inline constexpr Target kTargets[] = {
    {"plain_record", RunPlainRecord},
    {"tagged_record", RunTaggedRecord},
    {"vector", RunVector},
    {"map", RunMap},
    {"aoi", RunAoi},
    {"object_reference", RunObjectReference},
    {"registry_file", RunRegistryFile},
    {"registration_script", RunRegistrationScript},
    {"dump", RunDump},
    {"picture", RunPicture},
    {"calls", RunCalls},
};

}  // namespace fuzz
