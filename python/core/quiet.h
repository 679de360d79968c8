// SPDX-License-Identifier: MIT
// Objects that are saved while other threads of Python run.
#pragma once

#include <optional>

#include "python/core/objects.h"

namespace rastel_python {

// Runs an operation with the interpreter given up, if others may have it.
template <class Operation>
decltype(auto) WithOthers(bool mayRun, Operation operation) {
  std::optional<py::gil_scoped_release> others;
  if (mayRun) others.emplace();
  return operation();
}

// An object in a state that nobody changes while this lives: a sibling of a picture, with its name
// and copies of tag and attributes; a vector that keeps its size.
class Quiet {
 public:
  explicit Quiet(rastelklp::Object object);
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

  const rastelklp::Object& object() const noexcept { return object_; }
  // Not where objects hang on it, which Python may change, nor with objects of unknown kind.
  bool MayOthersRun() const noexcept { return mayOthersRun_; }

 private:
  rastelklp::Object object_;
  std::optional<PyVector> pinned_;
  bool mayOthersRun_ = false;
};

}  // namespace rastel_python
