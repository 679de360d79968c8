#include "tests/support/child_process.h"

#include "tests/support/temp_file.h"

#ifdef _WIN32
#include "platform/platform.h"
#else
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>
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
                       std::chrono::milliseconds limit) {
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
  for (int attempt = 0; attempt < 5 && !result.hasStarted; ++attempt) {
    if (attempt > 0) Sleep(300);
    result.hasStarted = CreateProcessA(path.c_str(), command.data(), nullptr, nullptr, TRUE, 0,
                                       nullptr, nullptr, &start, &child) != FALSE;
  }
  if (!result.hasStarted) {
    result.output = "not started: error " + std::to_string(GetLastError());
  }
  CloseHandle(file);
  if (!result.hasStarted) return result;
  if (WaitForSingleObject(child.hProcess, static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) {
    result.hasTimedOut = true;
    TerminateProcess(child.hProcess, 1);
    WaitForSingleObject(child.hProcess, INFINITE);
  } else {
    DWORD code = 0;
    GetExitCodeProcess(child.hProcess, &code);
    result.exitCode = static_cast<int>(code);
  }
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
ChildResult RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                       std::chrono::milliseconds limit) {
  ChildResult result;
  const TempFile output("output");
  std::vector<char*> argv{const_cast<char*>(path.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.path().c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  pid_t child = 0;
  result.hasStarted =
      posix_spawn(&child, path.c_str(), &actions, nullptr, argv.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  if (!result.hasStarted) return result;
  const auto end = std::chrono::steady_clock::now() + limit;
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() >= end) {
      result.hasTimedOut = true;
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  if (!result.hasTimedOut && WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  result.output = output.Content();
  return result;
}

std::string ThisProgram() {
  char path[PATH_MAX];
  return realpath("/proc/self/exe", path) != nullptr ? path : std::string();
}
#endif

}  // namespace tests
