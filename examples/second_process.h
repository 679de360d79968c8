// SPDX-License-Identifier: MIT
// A second process of the running program, fed through a pipe.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace examples {

class SecondProcess {
 public:
  // Starts this program again with the arguments. Its standard input is a pipe from here; its
  // output goes where ours goes. Raises std::runtime_error.
  explicit SecondProcess(const std::vector<std::string>& arguments);
  ~SecondProcess();
  SecondProcess(const SecondProcess&) = delete;
  SecondProcess& operator=(const SecondProcess&) = delete;

  // Hands bytes over; raises std::runtime_error when the other process has gone.
  void Send(std::span<const std::byte> bytes);

  // Ends the pipe and waits for the process: its exit code, -1 if it did not end by itself.
  int WaitForEnd();

 private:
  void EndPipe();

#ifdef _WIN32
  void* process_ = nullptr;
  void* pipe_ = nullptr;
#else
  int process_ = 0;
  int pipe_ = -1;
#endif
};

// In the second process: everything that comes through the pipe until its end.
std::vector<std::byte> ReceiveAll();

}  // namespace examples
