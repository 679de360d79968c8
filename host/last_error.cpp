#include "host/last_error.h"

namespace {

// Beside the thread's other static data, so that reading it is no call.
constinit thread_local DWORD lastError __attribute__((tls_model("initial-exec"))) = 0;

}  // namespace

DWORD GetLastError() noexcept { return lastError; }

void SetLastError(DWORD error) noexcept { lastError = error; }
