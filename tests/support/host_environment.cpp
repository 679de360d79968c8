// SPDX-License-Identifier: MIT
// Part of every test program: what each of them needs from its host before the first test.
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/platform.h"

namespace tests {

class HostEnvironment final : public testing::Environment {
 public:
  HostEnvironment() {
#ifndef _WIN32
    // No test, and no child of one, reads or writes the registry of whoever runs the tests.
    setenv("RASTEL_HOST_REGISTRY", "", 1);
#endif
  }
  void SetUp() override { hasEntered_ = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
  void TearDown() override {
    if (hasEntered_) CoUninitialize();
  }

 private:
  bool hasEntered_ = false;
};

testing::Environment* const hostEnvironment =
    testing::AddGlobalTestEnvironment(new HostEnvironment);

}  // namespace tests
