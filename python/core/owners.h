// SPDX-License-Identifier: MIT
// Owners of memory that lies in Python, as objects that image buffers keep. Native code releases
// them on any thread and with locks of its own held, so that none of them ever waits for the
// interpreter: what is let go where it is not held stays in a list until it is.
#pragma once

#include <pybind11/pybind11.h>

#include <atomic>

#include "platform/com_ptr.h"

namespace rastel_python {

class PythonOwner : public IUnknown {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept final;
  STDMETHODIMP_(ULONG) AddRef() noexcept final { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept final;

  // Lets go of what has come into the list. The interpreter is held.
  static void LetGoOfWaiting() noexcept;

 protected:
  // Runs with the interpreter held.
  virtual ~PythonOwner() = default;

 private:
  std::atomic<ULONG> references_{0};
  PythonOwner* next_ = nullptr;
};

// The export of a buffer, released with its last reference.
class BufferOwner final : public PythonOwner {
 public:
  // Raises what the exporter does.
  BufferOwner(pybind11::handle exporter, int flags);
  const Py_buffer& view() const noexcept { return view_; }

 private:
  ~BufferOwner() override { PyBuffer_Release(&view_); }

  Py_buffer view_;
};

}  // namespace rastel_python
