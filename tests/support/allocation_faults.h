// SPDX-License-Identifier: MIT
// Counts the allocations of a test program and makes a chosen one fail, on both hosts. For programs
// that link rastel_allocation_faults: operator new in all its forms but the over-aligned ones, and
// malloc, calloc and realloc as called by code that is linked into the program, not by shared
// libraries. All threads count. A test's own checks allocate too, so they wait until the faults
// end.
#pragma once

#include <initializer_list>
#include <type_traits>

namespace tests {

// Blocks of operator new that have not been deleted yet.
long long LiveBlocks() noexcept;

// From construction on lets the given number of allocations through and refuses the next one, for
// good: and all that follow: null, or std::bad_alloc from the throwing forms. One at a time.
class AllocationFaults {
 public:
  static constexpr long long kNone = -1;

  explicit AllocationFaults(long long granted = kNone, bool forGood = false) noexcept;
  ~AllocationFaults() { Stop(); }
  AllocationFaults(const AllocationFaults&) = delete;
  AllocationFaults& operator=(const AllocationFaults&) = delete;

  // Ends counting and refusing. Gives the number of allocations seen, refused ones included.
  long long Stop() noexcept;

 private:
  bool running_ = true;
};

// Calls operation() again and again, with its first, second, ... allocation refused, once and for
// good, and check(result, leakedBlocks) after each such run; ends after the run that needed no
// more. Gives the number of allocations that can be refused.
template <class Operation, class Check>
int FailEachAllocation(Operation operation, Check check) {
  static_assert(std::is_trivially_copyable_v<decltype(operation())>, "a result that owns nothing");
  for (int granted = 0;; ++granted) {
    for (const bool forGood : {true, false}) {
      const long long before = LiveBlocks();
      AllocationFaults faults(granted, forGood);
      const auto result = operation();
      if (faults.Stop() <= granted) return granted;
      check(result, LiveBlocks() - before);
    }
  }
}

}  // namespace tests
