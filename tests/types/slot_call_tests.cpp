// Every row of the tables calls the slot that it says.
#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "types/type_library.h"

namespace tests {
namespace {

template <int Number>
HRESULT STDMETHODCALLTYPE AnswerNumber() {
  return Number;
}

// An interface whose slots give their own number and look at no argument.
constexpr auto kTable = []<int... Number>(std::integer_sequence<int, Number...>) {
  return std::array{&AnswerNumber<Number>...};
}
(std::make_integer_sequence<int, 80>());

TEST(SlotCalls, ReachTheSlotOfTheirRow) {
  struct {
    const void* table;
  } object{kTable.data()};
  alignas(16) char zeros[64] = {};
  void* arguments[] = {zeros, zeros, zeros, zeros};
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  int calls = 0;
  for (DWORD t = 0; t < library.typeCount; ++t) {
    const HostType& type = library.types[t];
    for (DWORD m = 0; m < type.memberCount; ++m) {
      ++calls;
      EXPECT_EQ(type.members[m].call(&object, arguments), type.members[m].slot)
          << type.name << "::" << type.members[m].name;
    }
  }
  EXPECT_EQ(calls, 8 * 63 + 58 + 9 * 17 + 16 + 2 + 2 * 12 + 2 * 11 + 3 + 4);
}

}  // namespace
}  // namespace tests
