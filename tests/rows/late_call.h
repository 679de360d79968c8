// SPDX-License-Identifier: MIT
// What IDispatch::Invoke is handed, by the words of a row, and what it answers.
#pragma once

#include <vector>

#include "tests/rows/rows.h"

namespace tests::facts {

struct LateCall {
  // Arguments in their order; with `name id` before it, a named one, and those last. `counts n m`
  // gives the call other numbers of arguments and names.
  explicit LateCall(Words& words) {
    while (words.HasMore() && !words.Take("counts")) {
      if (words.Take("name")) names.insert(names.begin(), static_cast<DISPID>(words.Number()));
      arguments.insert(arguments.begin(), *words.Variant());
    }
    params = {arguments.data(), names.data(), static_cast<UINT>(arguments.size()),
              static_cast<UINT>(names.size())};
    if (!words.HasMore()) return;
    params.cArgs = static_cast<UINT>(words.Number());
    params.cNamedArgs = static_cast<UINT>(words.Number());
  }
  ~LateCall() {
    for (BSTR text : {thrown.bstrSource, thrown.bstrDescription, thrown.bstrHelpFile}) {
      SysFreeString(text);
    }
  }
  LateCall(const LateCall&) = delete;
  LateCall& operator=(const LateCall&) = delete;

  // What the arguments by reference lead to.
  std::string References() const {
    std::string shown;
    for (std::size_t i = arguments.size(); i-- > 0;) {
      if (arguments[i].vt & VT_BYREF) shown += ", " + Print(arguments[i]);
    }
    return shown;
  }

  std::vector<VARIANT> arguments;  // the last one first
  std::vector<DISPID> names;
  DISPPARAMS params{};
  Value value;
  EXCEPINFO thrown{};
  UINT bad = 99;
};

}  // namespace tests::facts
