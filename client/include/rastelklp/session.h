// SPDX-License-Identifier: MIT
// The host for as long as a program works with objects, and objects by their classes.
#pragma once

#include "rastelklp/object.h"

namespace rastelklp {

// One in main, before the first object and until behind the last, serves all threads. A thread that
// the program runs as an apartment of its own keeps that, and its objects work there as well.
class Session {
 public:
  Session() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {
    if (result_ != RPC_E_CHANGED_MODE) check_hresult(result_);
  }
  ~Session() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

 private:
  HRESULT result_;
};

// A new object of any registered class, by an interface or by a class of this library.
template <class Wanted>
reference_to<Wanted> create(REFCLSID classId) {
  reference_to<Wanted> object(nullptr);
  check_hresult(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER,
                                 platform::kIidOf<typename reference_to<Wanted>::interface_type>,
                                 object.put_void()));
  return object;
}

// The same by the class's ProgID, "AOIKLP.ByteKLP" for instance.
template <class Wanted>
reference_to<Wanted> create(const Text& progId) {
  CLSID classId;
  check_hresult(CLSIDFromProgID(progId.get(), &classId));
  return create<Wanted>(classId);
}

}  // namespace rastelklp
