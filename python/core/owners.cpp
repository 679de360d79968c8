// SPDX-License-Identifier: MIT
#include "python/core/owners.h"

namespace rastel_python {
namespace {

std::atomic<PythonOwner*> waiting{nullptr};

}  // namespace

STDMETHODIMP PythonOwner::QueryInterface(REFIID iid, void** out) noexcept {
  if (!out) return E_POINTER;
  *out = IsEqualGUID(iid, IID_IUnknown) ? this : nullptr;
  if (!*out) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) PythonOwner::Release() noexcept {
  const ULONG left = --references_;
  if (left > 0) return left;
  // Behind the interpreter's end nobody is left to let go.
  if (!Py_IsInitialized()) return 0;
  if (PyGILState_Check()) {
    delete this;
    return 0;
  }
  next_ = waiting.load(std::memory_order_relaxed);
  while (!waiting.compare_exchange_weak(next_, this, std::memory_order_release)) {
  }
  // Where there is no room for the call the next attach does it.
  Py_AddPendingCall(
      [](void*) {
        LetGoOfWaiting();
        return 0;
      },
      nullptr);
  return 0;
}

void PythonOwner::LetGoOfWaiting() noexcept {
  PythonOwner* owner = waiting.exchange(nullptr, std::memory_order_acquire);
  while (owner) {
    PythonOwner* const next = owner->next_;
    delete owner;
    owner = next;
  }
}

BufferOwner::BufferOwner(pybind11::handle exporter, int flags) {
  if (PyObject_GetBuffer(exporter.ptr(), &view_, flags) != 0) throw pybind11::error_already_set();
}

}  // namespace rastel_python
