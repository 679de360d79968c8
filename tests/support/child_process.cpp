#include "tests/support/child_process.h"

#include "tests/support/temp_file.h"

#ifdef _WIN32
#include "platform/platform.h"
#else
#include <limits.h>
#include <sys/wait.h>

#include <cstdlib>
#endif

namespace tests {

#ifdef _WIN32
namespace {

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
                       std::chrono::seconds limit) {
  ChildResult result;
  const TempFile output("output");
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  const HANDLE file =
      CreateFileA(output.path().c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return result;
  STARTUPINFOA start{};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = file;
  start.hStdError = file;
  std::string command = Quoted(path);
  for (const std::string& argument : arguments) command += ' ' + Quoted(argument);
  PROCESS_INFORMATION child{};
  // Wine now and then refuses to start a program while many come and go.
  BOOL hasStarted = FALSE;
  for (int attempt = 0; attempt < 5 && !hasStarted; ++attempt) {
    if (attempt > 0) Sleep(300);
    hasStarted = CreateProcessA(path.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                nullptr, &start, &child);
  }
  if (!hasStarted) result.output = "not started: error " + std::to_string(GetLastError());
  CloseHandle(file);
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
  std::string path(MAX_PATH, 0);
  path.resize(GetModuleFileNameA(nullptr, path.data(), MAX_PATH));
  return path;
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
                       std::chrono::seconds limit) {
  ChildResult result;
  const TempFile output("output");
  std::string command = "timeout " + std::to_string(limit.count()) + ' ' + Quoted(path);
  for (const std::string& argument : arguments) command += ' ' + Quoted(argument);
  command += " </dev/null >" + Quoted(output.path()) + " 2>&1";
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
