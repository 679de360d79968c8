// SPDX-License-Identifier: MIT
#include "examples/second_process.h"

#include <rastelklp/text.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

#include "platform/module_file.h"

#ifndef _WIN32
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace examples {

#ifdef _WIN32
namespace {

using Wide = std::basic_string<OLECHAR>;

// One argument as the C runtime takes it apart again.
Wide Quoted(const Wide& argument) {
  Wide quoted = OLESTR("\"");
  std::size_t backslashes = 0;
  for (const OLECHAR c : argument) {
    if (c == OLESTR('"')) quoted.append(backslashes + 1, OLESTR('\\'));
    backslashes = c == OLESTR('\\') ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, OLESTR('\\')) + OLESTR('"');
}

}  // namespace

SecondProcess::SecondProcess(const std::vector<std::string>& arguments) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  HANDLE readEnd = nullptr;
  if (!CreatePipe(&readEnd, &pipe_, &inherited, 0)) throw std::runtime_error("no pipe");
  SetHandleInformation(pipe_, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = readEnd;
  start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  const Wide program = platform::ModuleFileName(nullptr);
  Wide command = Quoted(program);
  for (const std::string& argument : arguments) {
    command += OLESTR(' ') + Quoted(rastelklp::Text(argument).get());
  }
  PROCESS_INFORMATION child{};
  std::fflush(stdout);
  bool hasStarted = false;
  // Under load Wine refuses to start a program now and then.
  for (int attempt = 0; attempt < 5 && !hasStarted; ++attempt) {
    if (attempt > 0) Sleep(300);
    hasStarted = CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                nullptr, &start, &child);
  }
  const DWORD error = GetLastError();
  CloseHandle(readEnd);
  if (!hasStarted) {
    EndPipe();
    throw std::runtime_error("no second process: error " + std::to_string(error));
  }
  CloseHandle(child.hThread);
  process_ = child.hProcess;
}

void SecondProcess::Send(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    DWORD sent = 0;
    const auto chunk = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1 << 20));
    if (!WriteFile(pipe_, bytes.data(), chunk, &sent, nullptr)) {
      throw std::runtime_error("the second process does not listen");
    }
    bytes = bytes.subspan(sent);
  }
}

void SecondProcess::EndPipe() {
  if (pipe_) CloseHandle(std::exchange(pipe_, nullptr));
}

int SecondProcess::WaitForEnd() {
  EndPipe();
  if (!process_) return -1;
  DWORD code = 0;
  WaitForSingleObject(process_, INFINITE);
  GetExitCodeProcess(process_, &code);
  CloseHandle(std::exchange(process_, nullptr));
  return static_cast<int>(code);
}

std::vector<std::byte> ReceiveAll() {
  std::vector<std::byte> all;
  std::byte chunk[65536];
  DWORD got = 0;
  while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), chunk, sizeof chunk, &got, nullptr) && got > 0) {
    all.insert(all.end(), chunk, chunk + got);
  }
  return all;
}
#else
SecondProcess::SecondProcess(const std::vector<std::string>& arguments) {
  // A process that has gone shows as a failing write, not as a signal.
  signal(SIGPIPE, SIG_IGN);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  pipe_ = ends[1];
  const std::string program = rastelklp::Text(platform::ModuleFileName(nullptr)).utf8();
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  std::fflush(stdout);
  const int error =
      posix_spawn(&process_, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  if (error != 0) {
    process_ = 0;
    EndPipe();
    throw std::runtime_error("no second process: error " + std::to_string(error));
  }
}

void SecondProcess::Send(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = write(pipe_, bytes.data(), bytes.size());
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) throw std::runtime_error("the second process does not listen");
    bytes = bytes.subspan(static_cast<std::size_t>(sent));
  }
}

void SecondProcess::EndPipe() {
  if (pipe_ >= 0) close(std::exchange(pipe_, -1));
}

int SecondProcess::WaitForEnd() {
  EndPipe();
  if (process_ == 0) return -1;
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::byte> ReceiveAll() {
  std::vector<std::byte> all;
  std::byte chunk[65536];
  for (;;) {
    const ssize_t got = read(STDIN_FILENO, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return all;
    all.insert(all.end(), chunk, chunk + got);
  }
}
#endif

SecondProcess::~SecondProcess() { WaitForEnd(); }

}  // namespace examples
