// SPDX-License-Identifier: MIT
#include "host/services/debug_output.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>

#include "host/base/never_destroyed.h"

namespace {

struct Sink {
  HostDebugSink function;
  void* context;
  int running = 0;
};

// Never destroyed: texts may still come while the process ends.
struct Output {
  std::mutex mutex;
  std::condition_variable callsEnded;
  std::shared_ptr<Sink> sink;
  std::atomic<bool> silent{true};
};

constinit thread_local int depthInSink = 0;

}  // namespace

void OutputDebugStringA(LPCSTR text) noexcept {
  Output& output = host::TheOnly<Output>();
  if (text == nullptr || output.silent.load(std::memory_order_acquire)) return;
  std::unique_lock lock(output.mutex);
  const std::shared_ptr<Sink> sink = output.sink;
  if (sink == nullptr) return;
  ++sink->running;
  lock.unlock();
  ++depthInSink;
  sink->function(text, sink->context);
  --depthInSink;
  lock.lock();
  if (--sink->running == 0) output.callsEnded.notify_all();
}

void HostSetDebugSink(HostDebugSink function, void* context) noexcept {
  Output& output = host::TheOnly<Output>();
  std::shared_ptr<Sink> sink;
  try {
    if (function != nullptr) sink = std::make_shared<Sink>(Sink{function, context});
  } catch (const std::bad_alloc&) {
    // Without memory for it the host stays silent.
  }
  std::unique_lock lock(output.mutex);
  output.silent.store(sink == nullptr, std::memory_order_release);
  output.sink.swap(sink);
  if (sink == nullptr || depthInSink > 0) return;
  output.callsEnded.wait(lock, [&] { return sink->running == 0; });
}
