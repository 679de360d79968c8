// SPDX-License-Identifier: MIT
#include "tests/support/child_process.h"

#include <filesystem>

#include "tests/support/temp_file.h"

#ifdef _WIN32
#include "platform/module_file.h"
#else
#include <limits.h>
#include <sys/wait.h>

#include <cstdlib>
#endif

namespace tests {

#ifdef _WIN32
namespace {

std::wstring Wide(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
}

// One argument as the C runtime of the child takes it apart again.
std::string Quoted(const std::string& argument) {
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') quoted.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, '\\') + '"';
}

}  // namespace

ChildResult RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                       std::chrono::seconds limit, const std::string& input) {
  ChildResult result;
  const TempFile output("output");
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  const HANDLE file =
      CreateFileW(Wide(output.path()).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return result;
  const HANDLE from = input.empty()
                          ? nullptr
                          : CreateFileW(Wide(input).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                        &inherited, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = from;
  start.hStdOutput = file;
  start.hStdError = file;
  std::string command = Quoted(path);
  for (const std::string& argument : arguments) command += ' ' + Quoted(argument);
  std::wstring wide = Wide(command);
  PROCESS_INFORMATION child{};
  // Wine now and then refuses to start a program while many come and go.
  BOOL hasStarted = FALSE;
  for (int attempt = 0; attempt < 5 && !hasStarted; ++attempt) {
    if (attempt > 0) Sleep(300);
    hasStarted = CreateProcessW(Wide(path).c_str(), wide.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                nullptr, &start, &child);
  }
  if (!hasStarted) result.output = "not started: error " + std::to_string(GetLastError());
  CloseHandle(file);
  if (from) CloseHandle(from);
  if (!hasStarted) return result;
  const DWORD waited =
      WaitForSingleObject(child.hProcess, static_cast<DWORD>(limit.count() * 1000));
  result.hasTimedOut = waited != WAIT_OBJECT_0;
  DWORD code = 1;
  if (result.hasTimedOut) TerminateProcess(child.hProcess, code);
  WaitForSingleObject(child.hProcess, INFINITE);
  GetExitCodeProcess(child.hProcess, &code);
  result.exitCode = static_cast<int>(code);
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
  result.output = output.Content();
  return result;
}

std::string ThisProgram() {
  const std::u8string path = std::filesystem::path(platform::ModuleFileName(nullptr)).u8string();
  return {path.begin(), path.end()};
}
#else
namespace {

std::string Quoted(const std::string& argument) {
  std::string quoted = "'";
  for (const char c : argument) c == '\'' ? quoted += "'\\''" : quoted += c;
  return quoted + '\'';
}

// What `timeout` answers when the time was over.
constexpr int kTimeIsOver = 124;

}  // namespace

ChildResult RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                       std::chrono::seconds limit, const std::string& input) {
  ChildResult result;
  const TempFile output("output");
  std::string command = "timeout " + std::to_string(limit.count()) + ' ' + Quoted(path);
  for (const std::string& argument : arguments) command += ' ' + Quoted(argument);
  command +=
      " <" + Quoted(input.empty() ? "/dev/null" : input) + " >" + Quoted(output.path()) + " 2>&1";
  const int status = std::system(command.c_str());
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  result.hasTimedOut = result.exitCode == kTimeIsOver;
  result.output = output.Content();
  return result;
}

std::string ThisProgram() {
  char path[PATH_MAX];
  return realpath("/proc/self/exe", path) != nullptr ? path : std::string();
}
#endif

}  // namespace tests
