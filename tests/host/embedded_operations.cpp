// SPDX-License-Identifier: MIT
// What only the embedded host has: resources by call, memory that runs out.

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <set>

#include "tests/host/host_operations.h"
#include "tests/host/registry_text.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/child_process.h"

namespace tests::facts {
namespace {

// What rows have let go by on the program's clock.
std::atomic<UINT> secondsAhead{0};

}  // namespace
}  // namespace tests::facts

// Stands in front of the system's.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const auto result = syscall(SYS_clock_gettime, clock, now);
  now->tv_sec += tests::facts::secondsAhead;
  return static_cast<int>(result);
}

namespace tests::facts {
namespace {

constexpr char kBytes[] = "HKCR {}";
constexpr HostResource String(UINT number, std::basic_string_view<OLECHAR> text) {
  const auto bytes = static_cast<DWORD>(text.size() * sizeof(OLECHAR));
  return {nullptr, kHostStringResourceType, number, 0x0409, text.data(), bytes};
}
const HostResource kResources[] = {{OLESTR("REGISTRY"), 0, 101, 0x0407, kBytes, 7},
                                   {nullptr, 2, 100, 0x0407, kBytes, 4},
                                   String(100, OLESTR("RastelKLP")),
                                   String(7, OLESTR("  \u00FCber\n ")),
                                   String(8, OLESTR("\xD800x")),
                                   String(9, OLESTR(""))};
HostResourceRows added[3];
// None, the program, and what is none.
const HINSTANCE kModules[] = {nullptr, HostModuleOf(kResources),
                              reinterpret_cast<HINSTANCE>(&added)};

// So many of the rows, or 99 for no rows at all.
HRESULT AddResources(UINT module, UINT count) {
  added[module] = {kModules[module], count == 99 ? nullptr : kResources, count, nullptr};
  // A module that is loaded cannot say that memory is missing, so none is needed.
  const AllocationFaults faults(0);
  return HostAddResources(&added[module]);
}

std::string FindResource(Words& words) {
  const HINSTANCE module = kModules[words.Number()];
  const OLECHAR* type = words.Text();
  const auto typeNumber = static_cast<UINT>(words.Number());
  const auto number = static_cast<UINT>(words.Number());
  HostResource found{OLESTR("?"), 1, 1, 1, &found, 1};
  HostResource* out = words.Take("nowhere") ? nullptr : &found;
  const HRESULT result = HostFindResource(module, type, typeNumber, number, out);
  const std::string_view bytes(static_cast<const char*>(found.bytes), found.size);
  return Shown(result, words) + (!out ? "" : found.bytes ? ", " + Quoted(bytes) : ", nothing");
}

// How much of the program's name there is with so much room.
std::string ModuleFileName(Words& words) {
  const HINSTANCE module =
      words.Take("other") ? reinterpret_cast<HINSTANCE>(&words) : kModules[words.Number()];
  const auto room = static_cast<DWORD>(words.Number());
  OLECHAR text[4096] = {1, 1, 1, 1};
  SetLastError(0);
  const DWORD units = GetModuleFileNameW(module, text, room);
  if (text == Widen(ThisProgram()) && units == ThisProgram().size()) return "all";
  return std::to_string(units) + (units && text[units - 1] == 0 ? ", ended, error " : ", error ") +
         std::to_string(GetLastError());
}

// Decodes all sequences of up to four of the bytes at which something changes in UTF-8, and encodes
// them again where they are sound: how many there are of each, and a sum over all that came out.
std::string DecodeEverySequence(Words&) {
  const std::string edges = std::string(1, '\0') +
                            "z\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE"
                            "\xEF\xF0\xF1\xF3\xF4\xF5\xF7\xF8\xFF";
  const std::size_t count = edges.size();
  std::uint64_t sum = 0;
  int all = 0, sound = 0, same = 0;
  std::size_t sequences = count;
  for (int length = 1; length <= 4; ++length, sequences *= count) {
    for (std::size_t number = 0; number < sequences; ++number) {
      std::string bytes;
      for (std::size_t i = 0, rest = number; i < static_cast<std::size_t>(length); ++i) {
        bytes += edges[rest % count];
        rest /= count;
      }
      OLECHAR wide[4];
      char narrow[4];
      const int units = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, wide, 4);
      for (int i = 0; i < units; ++i) sum = sum * 1099511628211u + wide[i] + 1u;
      ++all;
      if (!MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), length, wide, 4)) {
        continue;
      }
      ++sound;
      const int back = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide, units, narrow, 4,
                                           nullptr, nullptr);
      same += std::string_view(narrow, static_cast<std::size_t>(back)) == bytes;
    }
  }
  return std::to_string(all) + ", sound " + std::to_string(sound) + ", the same again " +
         std::to_string(same) + ", sum " + std::to_string(sum);
}

// What may not change while a call has no memory.
std::string Everything(State& row) {
  std::string shown = row.array ? Print(row.array) : "";
  for (const VARIANT& variant : row.variants) shown += ' ' + Print(variant);
  return shown + ContentOfFile(PathOf("\"registry\""));
}

// Runs the operation behind with each of its allocations refused, and then with all of them.
std::string Starved(Words& words) {
  words.row.runner = [&](const std::function<long long()>& call, std::string* before) {
    long long last = 0;
    std::set<std::string> outcomes;
    const std::string old = Everything(words.row);
    const int refused =
        FailEachAllocation([&] { return last = call(); },
                           [&](long long result, long long leaked) {
                             outcomes.insert(Shown(static_cast<HRESULT>(result), words) +
                                             (leaked > 0 ? ", leaked" : "") +
                                             (Everything(words.row) == old ? "" : ", changed"));
                           });
    *before = refused ? "refused" : "needs none";
    for (const std::string& outcome : outcomes) *before += ' ' + outcome;
    *before += ", then ";
    return last;
  };
  return Run(words);
}

const MoreOperations kOperations(Operations{
    {"Starved", Starved},
    {"Later", Of(+[](UINT seconds) { return secondsAhead += seconds, 0; })},
    {"DecodeEverySequence", DecodeEverySequence},
    {"GetACP", Of(GetACP)},
    {"GetModuleFileNameW", ModuleFileName},
    {"HostModuleOf", [](Words& words) { return HostModuleOf(&words) ? "a module" : "none"; }},
    {"HostAddResources", Of(AddResources)},
    {"HostRemoveResources", Of(+[](UINT module) { return HostRemoveResources(&added[module]); })},
    {"HostFindResource", FindResource},
    {"LoadStringA", Of(+[](UINT module, UINT number, char* buffer, int room) {
       return LoadStringA(kModules[module], number, buffer, room);
     })},
});

}  // namespace
}  // namespace tests::facts
