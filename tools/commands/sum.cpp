// SPDX-License-Identifier: MIT
// Checksums beside streams: writing them, and checking them.
#include <algorithm>
#include <cctype>
#include <cstdio>

#include "tools/checksum.h"
#include "tools/commands/commands.h"
#include "tools/file_bytes.h"
#include "tools/input_file.h"
#include "tools/paths.h"

namespace tools {
namespace {

// What goes well is not said either.
bool IsQuiet(const SumOptions& options) { return options.progress == ProgressMode::kNever; }

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

ExitCode SumOne(const SumOptions& options, const std::string& file) {
  const std::string sum = SumOf(file, options.progress);
  const std::string line = sum + "  " + (file == "-" ? file : Utf8(PathOf(file).filename())) + "\n";
  const Bytes bytes(reinterpret_cast<const std::uint8_t*>(line.data()), line.size());
  WriteWholeFile(file == "-" ? file : SumFile(file), bytes);
  if (file != "-" && !IsQuiet(options)) std::printf("%s: %s\n", SumFile(file).c_str(), sum.c_str());
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

ExitCode VerifyOne(const VerifyOptions& options, const std::string& file) {
  if (file == "-" && options.with.empty()) {
    throw std::runtime_error("standard input: --with names its checksum file");
  }
  const std::string stated = StatedSum(options.with.empty() ? SumFile(file) : options.with);
  const bool isSame = SumOf(file, options.progress) == stated;
  if (!isSame || !IsQuiet(options)) {
    std::printf("%s: %s\n", file.c_str(),
                isSame ? "as it was" : "has changed since its checksum was written");
  }
  return isSame ? kWhole : kBroken;
}

}  // namespace

ExitCode Sum(const SumOptions& options) {
  return ForEachFile(options.files, [&](const auto& file) { return SumOne(options, file); });
}

ExitCode Verify(const VerifyOptions& options) {
  return ForEachFile(options.files, [&](const auto& file) { return VerifyOne(options, file); });
}

}  // namespace tools
