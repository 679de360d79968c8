// SPDX-License-Identifier: MIT
// What random models of objects share: dice with a seed, and what they gave, for a failure to show.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/platform.h"

namespace tests {

class RandomModel {
 public:
  explicit RandomModel(unsigned seed) : random_(seed) {}

  // Does random steps and compares model and object after each, until they differ.
  template <class Model>
  static void Play(Model&& model, int steps) {
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      model.Step();
      model.Compare();
    }
    if (testing::Test::HasFailure()) ADD_FAILURE() << "after " << model.steps_;
  }

 protected:
  LONG Below(LONG end) { return static_cast<LONG>(random_() % static_cast<ULONG>(end)); }
  LONG Between(LONG low, LONG high) { return low + Below(high - low + 1); }
  template <class... Numbers>
  void Note(Numbers... numbers) {
    ((steps_ += std::to_string(numbers) + ' '), ...);
  }

  std::mt19937 random_;
  std::string steps_;
};

}  // namespace tests
