// SPDX-License-Identifier: MIT
#include "tools/result_codes.h"

#include <system_error>

#include "platform/platform.h"
#include "tools/text_forms.h"

namespace tools {
namespace {

// Those that the platform's services, modules and scripts answer with.
constexpr struct {
  std::uint32_t code;
  const char* words;
} kWords[] = {
    {0x00000000, "done"},
    {0x00000001, "done, but not all"},
    {0x80004001, "not implemented"},
    {0x80004002, "no such interface"},
    {0x80004003, "invalid pointer"},
    {0x80004004, "ended early"},
    {0x80004005, "unspecified failure"},
    {0x8000FFFF, "unexpected failure"},
    {0x80020003, "no such member"},
    {0x80020004, "parameter not given"},
    {0x80020005, "type mismatch"},
    {0x80020006, "unknown name"},
    {0x80020008, "invalid type"},
    {0x80020009, "exception occurred"},
    {0x8002000A, "out of the type's range"},
    {0x8002000B, "invalid index"},
    {0x8002801D, "type library not registered"},
    {0x80029C4A, "the type library cannot be loaded"},
    {0x8002801C, "the registry cannot be written"},
    {0x80030002, "not found"},
    {0x80030005, "access denied"},
    {0x80030008, "not enough memory"},
    {0x80030019, "seeking failed"},
    {0x8003001D, "writing failed"},
    {0x8003001E, "the stream ends early"},
    {0x80030070, "the disk is full"},
    {0x80040110, "the class cannot be part of another object"},
    {0x80040111, "class not available"},
    {0x80040150, "the registry cannot be read"},
    {0x80040151, "the registry cannot be written"},
    {0x80040154, "class not registered"},
    {0x80040155, "interface not registered"},
    {0x800401F0, "the runtime is not started"},
    {0x800401F3, "invalid class text"},
    {0x80070002, "file not found"},
    {0x80070003, "path not found"},
    {0x80070005, "access denied"},
    {0x80070006, "invalid handle"},
    {0x8007000B, "wrong format"},
    {0x8007000E, "out of memory"},
    {0x80070020, "the file is in use"},
    {0x80070057, "invalid argument"},
    {0x80070070, "the disk is full"},
    {0x8007007E, "module not found"},
    {0x8007007F, "procedure not found"},
};

}  // namespace

std::string ResultWords(std::uint32_t code) {
  for (const auto& row : kWords) {
    if (row.code == code) return row.words;
  }
#ifdef _WIN32
  // The system's own errors.
  if (code >> 16 == 0x8007) return std::system_category().message(static_cast<int>(code & 0xFFFF));
#endif
  return "";
}

std::string ResultText(std::uint32_t code) {
  const std::string words = ResultWords(code);
  return HexText(code, 8) + (words.empty() ? "" : ", " + words);
}

}  // namespace tools
