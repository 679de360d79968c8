// SPDX-License-Identifier: MIT
// How deep objects nest in each other while they are loaded, saved, counted or asked for dirt.
// Nothing keeps clients or streams from nesting objects a million deep, or from putting an object
// into itself; the depth of a thread's calls is therefore counted here, and only here.
//
// The outermost operation is level 1, and each call of a nested object, ours or foreign, is one
// level more. At kMostNestingLevels the next call is refused with E_ACCESSDENIED, and from then on
// every nested call on the thread is refused at once, until the outermost operation has ended: an
// operation that passes failures over would otherwise walk a cycle again for every element.
//
// Two kinds of scopes open levels; both look at Result first and return it if it is not S_OK.
// - OperationLevel: an operation that hands a stream on to values or objects inside it (Load, Save,
//   GetSizeMax, IsDirty, deep copies), at its beginning. It counts only as the outermost.
// - NestedLevel: around a call of an object's Load, Save, GetSizeMax or IsDirty. It always counts.
//   The stream routines and the variant records do this for the calls that they make.
// An object of ours that a foreign one passes its call on to shares the level of the foreign one.
#pragma once

#include "platform/platform.h"

namespace rastel {

inline constexpr unsigned kMostNestingLevels = 256;

class NestingLevel {
 public:
  NestingLevel(const NestingLevel&) = delete;
  NestingLevel& operator=(const NestingLevel&) = delete;

  // S_OK, or the operation is not to be carried out: E_ACCESSDENIED, or E_OUTOFMEMORY where the
  // host has no room for the thread's count.
  HRESULT Result() const noexcept { return result_; }

 protected:
  enum class Kind { kOperation, kNestedCall };
  explicit NestingLevel(Kind kind) noexcept;
  ~NestingLevel();

 private:
  bool isOpen_ = false;
  HRESULT result_ = S_OK;
};

class OperationLevel final : public NestingLevel {
 public:
  OperationLevel() noexcept : NestingLevel(Kind::kOperation) {}
};

class NestedLevel final : public NestingLevel {
 public:
  NestedLevel() noexcept : NestingLevel(Kind::kNestedCall) {}
};

}  // namespace rastel
